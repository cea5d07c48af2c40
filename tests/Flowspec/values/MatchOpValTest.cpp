#include "Flowspec/values/MatchOpVal.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <random>
#include <sstream>
#include <string>

using namespace Flowspec;
using FlowspecTest::indexRangeMessage;
using FlowspecTest::raisedMessage;
using T = MatchCompType;

// The exact texts and the log of MatchOpValIndex are in ValueEncodingTest.
TEST(MatchOpValIndex, NullDefaultUncheckedSumsAndCheckedStores) {
   EXPECT_EQ(MatchOpValIndex().value(), 2047);
   EXPECT_TRUE(!MatchOpValIndex());
   EXPECT_FALSE(!MatchOpValIndex(0));
   EXPECT_EQ(MatchOpValIndex(2046) + MatchOpValIndex(1), MatchOpValIndex());
   EXPECT_EQ((MatchOpValIndex(65535) + MatchOpValIndex(1)).value(), 0) << "wraps";
   MatchOpValIndex i(3);
   EXPECT_EQ((i += MatchOpValIndex(4)).value(), 7);
   EXPECT_LT(MatchOpValIndex(6), MatchOpValIndex(7));
   EXPECT_EQ(MatchOpValIndex::checked(2047).value(), 2047);
   auto const refused = [](auto f) { return raisedMessage<Vex::RangeException>(f); };
   EXPECT_EQ(refused([] { MatchOpValIndex::checked(2048); }), indexRangeMessage);
   EXPECT_EQ(refused([&] { i.valueIs(2048); }), indexRangeMessage);
   EXPECT_EQ(refused([&] {
                Vex::strepToValue("Value('Flowspec::MatchOpValIndex', ** {'value': 2048})", i);
             }),
             indexRangeMessage);
   EXPECT_EQ(i.value(), 7) << "a refused value changes nothing";
}

TEST(MatchOpVal, EachSetterReplacesOnlyItsOwnBits) {
   using P = MatchOpVal&;
   using U = std::uint32_t;
   struct Setter {
      char const* name;
      unsigned shift;
      U width; // the field's mask before shifting
      void (*set)(P, U);
   };
   // gt and invert share bit 17, eq and match bit 16.
   // clang-format off
   Setter const setters[] = {
      {"storage", 0, 0xffffffff, [](P p, U r) { p.storageIs(r); }},
      {"matchType", 24, 0xff, [](P p, U r) { p.matchTypeIs(MatchCompType(r & 0xff)); }},
      {"op", 16, 0xff, [](P p, U r) { p.opIs(std::uint8_t(r)); }},
      {"val", 0, 0xffff, [](P p, U r) { p.valIs(std::uint16_t(r)); }},
      {"endOfList", 23, 1, [](P p, U r) { p.endOfListIs(r & 1); }},
      {"andPrevious", 22, 1, [](P p, U r) { p.andPreviousIs(r & 1); }},
      {"len", 20, 3, [](P p, U r) { p.lenIs(std::uint8_t(r)); }},
      {"lt", 18, 1, [](P p, U r) { p.ltIs(r & 1); }},
      {"gt", 17, 1, [](P p, U r) { p.gtIs(r & 1); }},
      {"eq", 16, 1, [](P p, U r) { p.eqIs(r & 1); }},
      {"invert", 17, 1, [](P p, U r) { p.invertIs(r & 1); }},
      {"match", 16, 1, [](P p, U r) { p.matchIs(r & 1); }},
   };
   // clang-format on
   std::mt19937 rng(8955);
   for (int round = 0; round < 2000; ++round) {
      for (Setter const& s : setters) {
         U const before = rng(), r = rng();
         MatchOpVal p(before);
         s.set(p, r);
         U const w = (before & ~(s.width << s.shift)) | (r & s.width) << s.shift;
         ASSERT_EQ(p, MatchOpVal(w)) << s.name << std::hex << " from " << before;
         // Every reader decodes its own bits of the word.
         ASSERT_EQ(U(p.matchType()), w >> 24);
         ASSERT_EQ(p.op(), (w >> 16) & 0xff);
         ASSERT_EQ(p.val(), w & 0xffff);
         ASSERT_EQ(p.endOfList(), bool(w >> 23 & 1));
         ASSERT_EQ(p.andPrevious(), bool(w >> 22 & 1));
         ASSERT_EQ(p.len(), (w >> 20) & 3);
         ASSERT_EQ(p.byteLength(), 1u << ((w >> 20) & 3));
         ASSERT_EQ(p.lt(), bool(w >> 18 & 1));
         ASSERT_TRUE(p.gt() == bool(w >> 17 & 1) && p.invert() == p.gt());
         ASSERT_TRUE(p.eq() == bool(w >> 16 & 1) && p.match() == p.eq());
      }
   }
   EXPECT_NE(MatchOpVal(0x05010050), MatchOpVal(0x06010050)) << "type alone differs";
   // The result's operator byte follows the same rules.
   MatchOpValResult res(T::port, 0xff, 9, MatchOpValIndex(4));
   res.invertIs(false);
   res.lenIs(5);
   EXPECT_EQ(res, MatchOpValResult(T::port, 0xdd, 9, MatchOpValIndex(4)));
}

TEST(MatchOpVal, DebugTextsPrintEveryFlagByBothNames) {
   // clang-format off
   std::pair<std::uint32_t, char const*> const words[] = {
      {0, "<matchType=invalid;andPrevious=0;lt=0;gt=0;eq=0;invert=0;match=0;byteLength=1;val=0x0>"},
      {0x05910050, "<matchType=destPort;andPrevious=0;lt=0;gt=0;eq=1;invert=0;match=1;byteLength=2;val=0x50>"},
      {0x0dfeabcd, "<matchType=flowLabel;andPrevious=1;lt=1;gt=1;eq=0;invert=1;match=0;byteLength=8;val=0xabcd>"},
      {0xc8200000, "<matchType=200;andPrevious=0;lt=0;gt=0;eq=0;invert=0;match=0;byteLength=4;val=0x0>"},
   };
   // clang-format on
   for (auto [word, text] : words)
      EXPECT_EQ(MatchOpVal(word).toStrep(), text);
   EXPECT_EQ(MatchOpValResult(T::tcpFlags, 0x47, 0xdeadbeef, 3).toStrep(),
             "<matchType=tcpFlags;andPrevious=1;lt=1;gt=1;eq=1;invert=1;match=1;"
             "nextIndex=Value('Flowspec::MatchOpValIndex', ** {'value': 3});"
             "val32=0xdeadbeef>");
}

TEST(MatchOpValResult, EqualityComparesAllFourFields) {
   using R = MatchOpValResult;
   R const base(T::port, 0x81, 80, 1);
   EXPECT_EQ(R(), R(T::invalid, 0, 0, 2047));
   EXPECT_EQ(base, R(T::port, 0x81, 80, 1));
   for (R const& other : {R(T::srcPort, 0x81, 80, 1), R(T::port, 0x01, 80, 1),
                          R(T::port, 0x81, 81, 1), R(T::port, 0x81, 80, 2)})
      EXPECT_NE(base, other) << other.toStrep();
}

TEST(MatchOpValResult, CommandLineAndDetailedPairTexts) {
   struct Case {
      T type;
      std::uint8_t op;
      std::uint32_t val32;
      bool first;
      char const *cli, *detail;
   };
   // clang-format off
   Case const cases[] = {
      {T::destPort, 0x81, 80, true, ";DP:=80", ";Destination Port : =80"},
      {T::destPort, 0x91, 443, false, "|=443", " | =443"},
      {T::port, 0x47, 7, false, "&<>=7", " & <>=7"},
      {T::port, 0xa3, 70000, true, ";P:>=70000", ";Port : >=70000"},
      {T::ipProto, 0x00, 6, true, ";IP:6", ";IP Protocol : 6"},
      {T::packetLength, 0x05, 0, true, ";LEN:<=0", ";Packet Length : <=0"},
      {T::dscp, 0x02, 63, true, ";DSCP:>63", ";DSCP : >63"},
      {T::flowLabel, 0xa1, 0xffffffff, false, "|=4294967295", " | =4294967295"},
      // Bit-field kinds: "!" for invert and no "<" or ">"; the detail names bits.
      {T::tcpFlags, 0x03, 0x12, true, ";TCP:!=18", ";TCP Flags : ALL(SYN:0,ACK:0)"},
      {T::tcpFlags, 0x44, 0x12, false, "&18", " & ANY(SYN:1,ACK:1)"},
      {T::tcpFlags, 0x00, 0x1ff, true, ";TCP:511",
       ";TCP Flags : ANY(FIN:1,SYN:1,RST:1,PSH:1,ACK:1,URG:1,ECE:1,CWR:1,NS:1)"},
      {T::fragment, 0x01, 2, true, ";FRAG:=2", ";Fragment Flags : ALL(is-fragment:1)"},
      {T::fragment, 0x82, 0xa, false, "|!10", " | ANY(is-fragment:0,last-fragment:0)"},
      // The longest text: the longest label, every operator, the widest number.
      {T::invalid, 0x07, 0xffffffff, true, ";INVALID:<>=4294967295",
       ";INVALID : <>=4294967295"},
   };
   // clang-format on
   for (Case const& c : cases) {
      MatchOpValResult const r(c.type, c.op, c.val32, 1);
      std::ostringstream cli, detail;
      r.formatForCli(cli, c.first);
      r.formatForCliDetail(detail, c.first);
      EXPECT_EQ(cli.str(), c.cli);
      EXPECT_EQ(detail.str(), c.detail);
      std::string appended = "*;*";
      r.appendForCli(appended, c.first);
      EXPECT_EQ(appended, "*;*" + std::string(c.cli)) << "the key printer's fast path";
   }
}
