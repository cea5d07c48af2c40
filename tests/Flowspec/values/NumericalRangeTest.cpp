#include "Flowspec/values/NumericalRange.h"

#include "ValueChecks.h"
#include "Vex/Hash.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace Flowspec;
using FlowspecTest::raisedMessage;
using Range = NumericalRange;

namespace {
constexpr std::uint32_t unset = Range::invalidValue;
std::string const bound = " < NumericalRange::min or > NumericalRange::invalidValue not allowed";
std::string const orderMessage = "NumericalRange::rangeMin > NumericalRange::rangeMax not allowed";
std::string const minMessage = "NumericalRange::rangeMin" + bound;
std::string const maxMessage = "NumericalRange::rangeMax" + bound;
} // namespace

TEST(NumericalRange, ConstructorChecksOrderThenEachBoundAndSettersOnlyTheirOwn) {
   EXPECT_EQ(Range::max, 0xffffffu); // min and invalidValue are pinned below
   EXPECT_EQ(Range(), Range(unset, unset));
   struct Case {
      std::uint32_t lo, hi;
      std::string message; // empty: accepted
      bool valid;
   };
   // clang-format off
   Case const cases[] = {
      {5, 3, orderMessage, false},               {0x1000002, 0x1000001, orderMessage, false},
      {0x1000001, 0x1000002, minMessage, false}, {0xffffffff, 0xffffffff, minMessage, false},
      {0, 0x1000001, maxMessage, false},         {unset, unset, "", false},
      {0, unset, "", false},                     {0, 0, "", true},
      {0xffffff, 0xffffff, "", true},            {0, 0xffffff, "", true},
   };
   // clang-format on
   for (Case const& c : cases) {
      SCOPED_TRACE(testing::Message() << c.lo << ", " << c.hi);
      if (!c.message.empty()) {
         EXPECT_EQ(raisedMessage<Vex::RangeException>([&] { Range(c.lo, c.hi); }), c.message);
         continue;
      }
      Range const r(c.lo, c.hi);
      EXPECT_EQ(r.rangeMin(), c.lo);
      EXPECT_EQ(r.rangeMax(), c.hi);
      EXPECT_EQ(r.isValid(), c.valid);
      EXPECT_EQ(!r, c.lo == unset && c.hi == unset);
   }
   Range r(10, 20);
   EXPECT_EQ(raisedMessage<Vex::RangeException>([&] { r.rangeMinIs(0x1000001); }), minMessage);
   EXPECT_EQ(raisedMessage<Vex::RangeException>([&] { r.rangeMaxIs(0x1000001); }), maxMessage);
   EXPECT_EQ(r, Range(10, 20)) << "a refused bound changes nothing";
   r.rangeMinIs(0x30);
   r.rangeMaxIs(5); // the order of the bounds is not checked here
   EXPECT_EQ(r.toStrep(), "[ 48, 5 ]");
   r.rangeMaxIs(unset);
   EXPECT_EQ(r.rangeMax(), unset);
}

TEST(NumericalRange, ContainsOnlyInsideAValidRange) {
   std::tuple<Range, std::uint32_t, bool> const cases[] = {
       {{0, 0xffffff}, 0, true},      {{0, 0xffffff}, 0xffffff, true},
       {{0, 0xffffff}, unset, false}, {{10, 20}, 9, false},
       {{10, 20}, 10, true},          {{10, 20}, 20, true},
       {{10, 20}, 21, false}};
   for (auto const& [r, v, in] : cases)
      EXPECT_EQ(r.contains(v), in) << r.toStrep() << v;
   for (std::uint32_t v : {0u, 5u, 0xffffffu, 0x1000000u, 0xffffffffu}) {
      EXPECT_FALSE(Range().contains(v)) << v;
      EXPECT_FALSE(Range(5, unset).contains(v)) << v;
   }
}

TEST(NumericalRange, IntersectionAndUnionAreSymmetric) {
   Range const none(unset, unset);
   struct Case {
      Range a, b;
      bool overlap;
      Range common, join;
   };
   // clang-format off
   Case const cases[] = {
      {{10, 20}, {20, 30}, true, {20, 20}, {10, 30}},   // sharing one bound
      {{10, 19}, {20, 30}, false, none, none},          // adjacent: no overlap
      {{1, 4}, {6, 9}, false, none, none},              // a gap: no hull either
      {{0, 100}, {40, 60}, true, {40, 60}, {0, 100}},   // one inside the other
      {{3, 3}, {3, 3}, true, {3, 3}, {3, 3}},           // equal single values
      {{15, 25}, {10, 20}, true, {15, 20}, {10, 25}},   // partial overlap
      {{0, 0xffffff}, {0xffffff, 0xffffff}, true, {0xffffff, 0xffffff}, {0, 0xffffff}},
   };
   // clang-format on
   for (Case const& c : cases) {
      SCOPED_TRACE(c.a.toStrep() + " " + c.b.toStrep());
      for (auto [x, y] : {std::pair(c.a, c.b), std::pair(c.b, c.a)}) {
         EXPECT_EQ(x.isRangeOverlap(y), c.overlap);
         EXPECT_EQ(x.rangeIntersection(y).toStrep(), c.common.toStrep());
         EXPECT_EQ(x.rangeUnion(y).toStrep(), c.join.toStrep());
      }
   }
}

TEST(NumericalRange, MatchCompTypeMaxOfEveryNumericKind) {
   using enum MatchCompType;
   std::pair<MatchCompType, std::uint32_t> const cases[] = {
       {ipProto, 255},        {port, 65535},   {destPort, 65535},
       {srcPort, 65535},      {icmpType, 255}, {icmpCode, 255},
       {packetLength, 65535}, {dscp, 63},      {flowLabel, 1048575}};
   FlowspecTest::TraceCapture capture(1u << 2);
   for (auto [type, max] : cases)
      EXPECT_EQ(Range::matchCompTypeMax(type), max) << type;
   EXPECT_TRUE(capture.lines.empty());
   // `invalid` falls to the byte-sized kinds and traces through isBitfieldType.
   EXPECT_EQ(Range::matchCompTypeMax(invalid), 255u);
   FlowspecTest::expectInvalidKindTrace(capture.lines);
}

TEST(NumericalRangeDeathTest, SetOperationsOnInvalidRangesAndMaxOfNonNumericKindsAbort) {
   char const* const text = "Assertion failed: isValid\\(\\) && otherRange\\.isValid\\(\\)";
   Range const valid(1, 2), halfSet(1, unset);
   EXPECT_DEATH(Range().isRangeOverlap(valid), text);
   EXPECT_DEATH(valid.isRangeOverlap(halfSet), text);
   EXPECT_DEATH(valid.rangeIntersection(Range()), text);
   EXPECT_DEATH(Range().rangeUnion(valid), text);
   for (std::uint32_t t : {1u, 2u, 9u, 12u, 14u, 0xffffffffu})
      EXPECT_DEATH(Range::matchCompTypeMax(static_cast<MatchCompType>(t)),
                   "Assertion failed: !isBitfieldType\\( matchCompType \\) && "
                   "matchCompType != destPrefix\\(\\) && matchCompType != srcPrefix\\(\\)")
          << t;
}

TEST(NumericalRange, HashOrderAndTextFollowMinThenMax) {
   auto mixed = [](std::uint32_t lo, std::uint32_t hi) {
      Vex::HashAccumulator h;
      return h.mixU32(lo), h.mixU32(hi), h.result();
   };
   EXPECT_EQ(Range(80, 443).hash(), mixed(80, 443));
   EXPECT_EQ(Range().hash(), mixed(unset, unset));
   EXPECT_NE(Range(1, 2), Range(1, 3));
   EXPECT_NE(Range(1, 2), Range(0, 2));
   EXPECT_FALSE(Range(2, 3) < Range(2, 3));
   std::vector<Range> sorted = {Range(), {2, 4}, {0xffffff, 0xffffff}, {2, 3}, {1, 9}};
   std::sort(sorted.begin(), sorted.end());
   EXPECT_EQ(sorted, (std::vector<Range>{{1, 9}, {2, 3}, {2, 4}, {0xffffff, 0xffffff}, Range()}));
   EXPECT_EQ(Range(0, 0xffffff).toStrep(), "[ 0, 16777215 ]");
   EXPECT_EQ(Range().toStrep(), "[ 16777216, 16777216 ]");
}
