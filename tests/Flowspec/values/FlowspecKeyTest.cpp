#include "Flowspec/values/FlowspecKey.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <map>
#include <thread>
#include <vector>

using namespace Flowspec;
using FlowspecTest::indexRangeMessage;
using FlowspecTest::raisedMessage;
using Prefix = Ipkit::IpGenPrefix;
using T = MatchCompType;

namespace {

struct KeyFields {
   Vrf::VrfIdMap::VrfId vrf = Vrf::VrfIdMap::noVrfId;
   std::int32_t af = 0;
   char const* dest = nullptr;
   char const* src = nullptr;
   std::map<std::uint16_t, std::uint32_t> words = {}; // index -> MatchOpVal word
};

FlowspecKey keyOf(KeyFields const& f) {
   FlowspecKey k;
   k.vrfIdIs(f.vrf);
   k.addressFamilyIs(Ipkit::AddressFamily(f.af));
   if (f.dest) k.destPrefixIs(Prefix(Vex::String(f.dest)));
   if (f.src) k.srcPrefixIs(Prefix(Vex::String(f.src)));
   for (auto [index, word] : f.words)
      k.matchOpValIs(index, MatchOpVal(word));
   return k;
}

} // namespace

TEST(FlowspecKey, SetOpValStoresEachWidthAndGetOptValJoinsIt) {
   FlowspecKey k;
   EXPECT_EQ(k.getOptVal(0), MatchOpValResult()) << "an empty key ends at once";
   EXPECT_EQ(k.setOpVal(0, T::destPort, 0x01, 0x1234), MatchOpValIndex(1));
   EXPECT_EQ(k.setOpVal(1, T::port, 0x11, 0x12345), MatchOpValIndex(2));
   EXPECT_EQ(k.setOpVal(2, T::flowLabel, 0xa1, 0x12345678), MatchOpValIndex(4));
   EXPECT_EQ(k.matchOpVals(), 4u);
   EXPECT_EQ(k.matchOpVal(0).storage(), 0x05010034u) << "1 byte: the low 8 bits";
   EXPECT_EQ(k.matchOpVal(1).storage(), 0x04112345u) << "2 bytes: the low 16 bits";
   EXPECT_EQ(k.matchOpVal(2).storage(), 0x0da11234u) << "4 bytes: high half first";
   EXPECT_EQ(k.matchOpVal(3).storage(), 0x0da15678u);
   EXPECT_EQ(k.getOptVal(0), MatchOpValResult(T::destPort, 0x01, 0x34, 1));
   EXPECT_EQ(k.getOptVal(1), MatchOpValResult(T::port, 0x11, 0x2345, 2));
   EXPECT_EQ(k.getOptVal(2), MatchOpValResult(T::flowLabel, 0xa1, 0x12345678, 4));
   EXPECT_EQ(k.getOptVal(4), MatchOpValResult());
   EXPECT_EQ(k.setOpVal(0, T::ipProto, 0x81, 6), MatchOpValIndex(1));
   EXPECT_EQ(k.matchOpVal(0).storage(), 0x03810006u) << "a second store overwrites";
   EXPECT_EQ(k.matchOpVals(), 4u);
   // The low half read alone as a 4-byte pair needs a pair past the count.
   EXPECT_DEATH(k.getOptVal(3), "Assertion failed: index < matchOpVals\\(\\)");
   EXPECT_DEATH(k.setOpVal(0, T::port, 0x31, 1), "Assertion failed");
   k.matchOpValIs(0, MatchOpVal(0x04310001));
   EXPECT_DEATH(k.getOptVal(0), "Assertion failed") << "an 8-byte pair";
}

TEST(FlowspecKey, IndicesPastTheLastRaiseAfterTheStore) {
   for (std::uint8_t op : {0x01, 0x11}) {
      FlowspecKey k;
      auto const store = [&] { k.setOpVal(2047, T::port, op, 80); };
      EXPECT_EQ(raisedMessage<Vex::RangeException>(store), indexRangeMessage);
      EXPECT_EQ(k.matchOpVal(2047), MatchOpVal(0x04000050u | op << 16));
   }
   FlowspecKey k;
   EXPECT_EQ(k.setOpVal(2045, T::port, 0x21, 0x10002), MatchOpValIndex(2047));
   auto const both = [&] { k.setOpVal(2046, T::port, 0x21, 0x30004); };
   EXPECT_EQ(raisedMessage<Vex::RangeException>(both), indexRangeMessage);
   EXPECT_EQ(k.matchOpVal(2046).storage(), 0x04210003u);
   EXPECT_EQ(k.matchOpVal(2047).storage(), 0x04210004u);
   auto const half = [&] { k.setOpVal(2047, T::port, 0x21, 0x50006); };
   EXPECT_EQ(raisedMessage<Vex::RangeException>(half), indexRangeMessage);
   EXPECT_EQ(k.matchOpVal(2047).storage(), 0x04210005u) << "the high half is stored";
   EXPECT_EQ(k.matchOpVals(), 3u) << "and nothing past 2047";

   // A key of 2048 pairs cannot be read past index 2047.
   FlowspecKey full;
   for (std::uint16_t i = 0; i < 2048; ++i)
      full.matchOpValIs(i, MatchOpVal(0x04010000));
   EXPECT_EQ(full.getOptVal(2046).nextIndex(), MatchOpValIndex(2047));
   auto const read = [&](std::uint16_t at) { return [&full, at] { full.getOptVal(at); }; };
   EXPECT_EQ(raisedMessage<Vex::RangeException>(read(2047)), indexRangeMessage);
   full.matchOpValIs(2046, MatchOpVal(0x04210000));
   full.matchOpValIs(2047, MatchOpVal(0x04210000));
   EXPECT_EQ(raisedMessage<Vex::RangeException>(read(2046)), indexRangeMessage);
   EXPECT_EQ(raisedMessage<Vex::RangeException>(read(2047)), indexRangeMessage);
}

TEST(FlowspecKey, EqualityAndOrderDecideAtTheFirstDifference) {
   struct Case {
      char const* why;
      KeyFields less, greater;
   };
   // clang-format off
   Case const cases[] = {
      {"vrfId unsigned", {.vrf = 5}, {}},
      {"vrfId unsigned, top bit", {.vrf = 0x7fffffff}, {.vrf = 0x80000000}},
      {"vrfId before family", {.vrf = 1, .af = 2}, {.vrf = 2, .af = 1}},
      {"family signed", {.af = -1}, {.af = 0}},
      {"family before prefixes", {.af = 1}, {.af = 2, .dest = "10.0.0.0/8"}},
      {"a destination before none", {.dest = "10.0.0.0/8"}, {}},
      {"::/0 is not the empty prefix", {.dest = "::/0"}, {}},
      {"destinations by address", {.dest = "9.0.0.0/8"}, {.dest = "10.0.0.0/8"}},
      {"destinations by length", {.dest = "10.0.0.0/8"}, {.dest = "10.0.0.0/16"}},
      {"address before length", {.dest = "9.255.0.0/16"}, {.dest = "10.0.0.0/8"}},
      {"addresses unsigned", {.dest = "127.255.255.0/24"}, {.dest = "128.0.0.0/24"}},
      {"addresses to the last octet", {.dest = "10.0.0.1/32"}, {.dest = "10.0.0.2/32"}},
      {"destinations IPv4 first", {.dest = "99.0.0.0/8"}, {.dest = "::1"}},
      {"destination before source", {.dest = "10.0.0.0/8"}, {.src = "9.0.0.0/8"}},
      {"a source before none", {.src = "10.0.0.0/8"}, {}},
      {"sources by address", {.src = "9.0.0.0/8"}, {.src = "10.0.0.0/8"}},
      {"the smaller index", {.words = {{0, 0xffffffff}}}, {.words = {{1, 0}}}},
      {"the smaller word", {.words = {{0, 1}, {1, 9}}}, {.words = {{0, 2}, {1, 0}}}},
      {"words unsigned", {.words = {{0, 0x7fffffff}}}, {.words = {{0, 0x80000000}}}},
      {"pairs before length", {.words = {{0, 1}, {1, 5}}}, {.words = {{0, 2}}}},
      {"the longer key first", {.words = {{0, 1}, {1, 5}}}, {.words = {{0, 1}}}},
      {"any pair before none", {.words = {{0, 0}}}, {}},
   };
   // clang-format on
   for (Case const& c : cases) {
      FlowspecKey const a = keyOf(c.less), b = keyOf(c.greater);
      EXPECT_TRUE(a < b) << c.why;
      EXPECT_FALSE(b < a) << c.why;
      EXPECT_FALSE(a < a) << c.why;
      EXPECT_FALSE(a == b || b == a) << c.why;
      EXPECT_TRUE(a == FlowspecKey(a)) << c.why;
   }
   FlowspecKey const a = keyOf({5, 1, "10.0.0.0/8", "::/0", {{0, 0x03810006}, {1, 7}}});
   FlowspecKey b = keyOf({5, 1, "10.0.0.0/8", "::/0"});
   b.matchOpValIs(1, MatchOpVal(7)); // the other insertion order
   b.matchOpValIs(0, MatchOpVal(0x03810006));
   EXPECT_TRUE(a.compare(b));
   EXPECT_EQ(a.hash(), b.hash());
   EXPECT_EQ(std::hash<FlowspecKey>()(a), a.hash());
   EXPECT_TRUE(!FlowspecKey());
   EXPECT_FALSE(!keyOf({.vrf = 0}));
   EXPECT_EQ(a.matchOpVal(9), MatchOpVal()) << "absent pairs read as zero";
   Prefix const none, p8("10.0.0.0/8"), p9("11.0.0.0/8");
   // clang-format off
   for (auto [x, y, want] : {std::tuple{none, none, 0}, {p8, Prefix("10.1.0.0/8"), 0},
                             {p8, none, -1}, {none, p8, 1}, {p8, p9, -1}, {p9, p8, 1}})
      // clang-format on
      EXPECT_EQ(FlowspecKey::cmpPrefix(x, y), want) << x << " " << y; // host bits cleared
}

TEST(FlowspecKey, HashIsFixedByFieldsPrefixesAndPairs) {
   // Golden values: the hash is replicated and stored by other processes, so
   // it must not drift between builds.
   FlowspecKey const k =
       keyOf({0, 1, "10.1.0.0/16", "2001:db8::/32", {{0, 0x03810006}, {1, 0x0d810012}}});
   struct Case {
      char const* what;
      FlowspecKey key;
      std::uint32_t hash;
   };
   // clang-format off
   std::vector<Case> const cases = {
      {"default key",              FlowspecKey(),                                   0xde9a48dbu},
      {"two prefixes, two pairs",  k,                                               0xe4c09dfcu},
      {"last pair's word differs", keyOf({0, 1, "10.1.0.0/16", "2001:db8::/32",
                                          {{0, 0x03810006}, {1, 0x0d810013}}}),    0xcffc40b5u},
      {"prefix length only",       keyOf({Vrf::VrfIdMap::noVrfId, 1, "10.1.0.0/17"}), 0x22acd433u},
   };
   // clang-format on
   for (Case const& c : cases)
      EXPECT_EQ(c.key.hash(), c.hash) << c.what;
   // Equal keys hash alike.
   EXPECT_EQ(FlowspecKey(k).hash(), k.hash());
}

TEST(FlowspecKey, CopiesAreWholeAndIndependent) {
   FlowspecKey const src = keyOf({3, 2, "2001:db8::/32", nullptr, {{0, 1}, {1, 2}, {2, 3}}});
   FlowspecKey dst = keyOf({4, 1, "10.0.0.0/8", "11.0.0.0/8", {{0, 9}, {4, 9}}});
   dst.copyIn(src);
   EXPECT_EQ(dst, src);
   EXPECT_FALSE(dst.matchOpValHas(4)) << "old pairs are gone";
   dst.copyIn(dst);
   EXPECT_EQ(dst, src);

   FlowspecKey copy(src), assigned;
   copy.matchOpValIs(1, MatchOpVal(7));
   copy.matchOpValDel(0);
   EXPECT_EQ(src, keyOf({3, 2, "2001:db8::/32", nullptr, {{0, 1}, {1, 2}, {2, 3}}}));
   EXPECT_EQ(copy.matchOpVal(2).storage(), 3u) << "deleting does not renumber";
   assigned = src;
   assigned.matchOpValDelAll();
   EXPECT_EQ(src.matchOpVals(), 3u);
   EXPECT_EQ(assigned.matchOpVals(), 0u);
}

TEST(FlowspecKey, CopiesShareTheirPairsUntilOneChanges) {
   auto blocks = [] { return Vex::allocTrackCounts(FlowspecKey::pairBlockAllocTrack_); };
   FlowspecKey const src = keyOf({0, 1, "10.0.0.0/8", nullptr, {{0, 1}, {1, 2}, {2, 3}}});
   std::uint64_t const made = blocks().allocations, live = blocks().live();

   // Copies, assignments, copyIn and moves take no block of their own.
   std::vector<FlowspecKey> copies(100);
   for (FlowspecKey& c : copies)
      c = src;
   FlowspecKey copied(src), filled;
   filled.copyIn(src);
   FlowspecKey moved(std::move(copied));
   EXPECT_EQ(blocks().allocations, made);
   for (FlowspecKey const* k : {&copies[0], &copies[99], &filled, &moved}) {
      EXPECT_TRUE(k->matchOpValShared(src));
      EXPECT_EQ(*k, src);
      EXPECT_FALSE(*k < src || src < *k);
      EXPECT_EQ(k->hash(), src.hash());
   }
   EXPECT_EQ(copied.matchOpVals(), 0u) << "a moved-from key has no pairs";
   EXPECT_FALSE(copied.matchOpValShared(FlowspecKey())) << "empty keys share nothing";

   // Writing what is there already copies nothing; a change copies the
   // block once, and no other key sees it.
   copies[0].matchOpValIs(1, MatchOpVal(2));
   EXPECT_TRUE(copies[0].matchOpValShared(src));
   copies[0].matchOpValIs(1, MatchOpVal(7));
   copies[1].matchOpValDel(0);
   copies[2].matchOpValIs(5, MatchOpVal(9));
   copies[3].matchOpValDelAll();
   EXPECT_EQ(blocks().allocations, made + 3);
   EXPECT_EQ(src, keyOf({0, 1, "10.0.0.0/8", nullptr, {{0, 1}, {1, 2}, {2, 3}}}));
   EXPECT_TRUE(copies[4].matchOpValShared(src));
   EXPECT_EQ(copies[0].matchOpVal(1).storage(), 7u);
   EXPECT_FALSE(copies[1].matchOpValHas(0));
   EXPECT_EQ(copies[2].matchOpVals(), 4u);
   EXPECT_TRUE(copies[2] < src) << "more pairs sort first, as before";
   std::uint64_t const before = blocks().allocations;
   copies[0].matchOpValIs(1, MatchOpVal(8));
   EXPECT_EQ(blocks().allocations, before) << "a block of its own is changed in place";

   copies.clear();
   filled = FlowspecKey();
   moved = FlowspecKey();
   EXPECT_EQ(blocks().live(), live) << "the last reference frees a block";
}

TEST(FlowspecKey, IteratorsSurviveChangesOfASharedKey) {
   FlowspecKey const src = keyOf({0, 1, nullptr, nullptr, {{0, 10}, {1, 11}, {2, 12}, {3, 13}}});
   FlowspecKey k = src;
   std::vector<std::pair<unsigned, std::uint32_t>> seen;
   for (auto i = k.matchOpValIteratorConst(); i; ++i) {
      seen.emplace_back(i.key().value(), i.value().storage());
      if (i.key().value() == 0) k.matchOpValDel(i);                // the pair it stands on
      if (i.key().value() == 1) k.matchOpValDel(2);                // a later pair
      if (i.key().value() == 1) k.matchOpValIs(7, MatchOpVal(17)); // a new later pair
      if (i.key().value() == 3) k.matchOpValIs(3, MatchOpVal(23)); // its own pair, changed
      if (i.key().value() == 3) {
         EXPECT_EQ(i.value().storage(), 23u);
      }
   }
   EXPECT_EQ(seen,
             (std::vector<std::pair<unsigned, std::uint32_t>>{{0, 10}, {1, 11}, {3, 13}, {7, 17}}));
   EXPECT_EQ(src.matchOpVals(), 4u) << "the original keeps every pair";
   EXPECT_EQ(k, keyOf({0, 1, nullptr, nullptr, {{1, 11}, {3, 23}, {7, 17}}}));
}

TEST(FlowspecKey, ThreadsCopyOneConstKeyAtOnce) {
   // The block's count is atomic whether or not Vex counts are: two threads
   // copy and drop copies of one key (10 000 each), and every copy is gone
   // after.
   FlowspecKey const k = keyOf({0, 1, "10.0.0.0/8", nullptr, {{0, 1}, {1, 2}}});
   std::uint64_t const live = Vex::allocTrackCounts(FlowspecKey::pairBlockAllocTrack_).live();
   auto copyMany = [&k] {
      std::vector<FlowspecKey> copies;
      for (int i = 0; i < 10000; ++i) {
         copies.push_back(k);
         if (copies.size() == 100) copies.clear();
      }
   };
   std::thread a(copyMany), b(copyMany);
   a.join();
   b.join();
   EXPECT_EQ(Vex::allocTrackCounts(FlowspecKey::pairBlockAllocTrack_).live(), live);
   FlowspecKey copy = k;
   copy.matchOpValIs(0, MatchOpVal(5));
   EXPECT_EQ(k.matchOpVal(0).storage(), 1u) << "the block was shared once more, not changed";
}

TEST(FlowspecKey, CopiesAndRebuiltBlocksReadAsTheOriginal) {
   // Every form of a key is the same for the key, a copy sharing its block,
   // and a copy whose block was rebuilt by a change and its undoing.
   auto logOf = [](FlowspecKey const& k) {
      auto out = Vex::NboAttrLog::Out::OutIs();
      out << k;
      return out->bytes();
   };
   for (char const* cli : {"*;*;", "10.1.0.0/16;*;IP:=6;P:>=1000&<=2000|=80;",
                           "192.0.2.0/24;198.51.100.0/24;IP:=17;LEN:>=70000;TCP:=2&!=16;"}) {
      FlowspecKey k;
      ASSERT_TRUE(k.copyInStrCli(cli)) << cli;
      k.vrfIdIs(3);
      k.addressFamilyIs(Ipkit::ipv4);
      FlowspecKey const shared = k;
      FlowspecKey rebuilt = k;
      rebuilt.matchOpValIs(40, MatchOpVal(1));
      rebuilt.matchOpValDel(40);
      EXPECT_FALSE(rebuilt.matchOpValShared(k) && k.matchOpVals() > 0) << cli;
      for (FlowspecKey const* c : {&shared, static_cast<FlowspecKey const*>(&rebuilt)}) {
         EXPECT_EQ(c->toStrep(), k.toStrep()) << cli;
         EXPECT_EQ(c->toStrepCli(), k.toStrepCli()) << cli;
         EXPECT_EQ(c->stringValue(), k.stringValue()) << cli;
         EXPECT_EQ(c->toStrepCliDetail(), k.toStrepCliDetail()) << cli;
         EXPECT_EQ(valueToStrep(*c), valueToStrep(k)) << cli;
         EXPECT_EQ(logOf(*c), logOf(k)) << cli;
         EXPECT_EQ(c->hash(), k.hash()) << cli;
         EXPECT_TRUE(c->compare(k) && k.compare(*c)) << cli;
         EXPECT_FALSE(*c < k || k < *c) << cli;
         std::vector<std::pair<unsigned, std::uint32_t>> a, b;
         for (auto i = c->matchOpValIteratorConst(); i; ++i)
            a.emplace_back(i.key().value(), i->value().storage());
         for (auto i = k.matchOpValIteratorConst(); i; ++i)
            b.emplace_back(i.key().value(), i.value().storage());
         EXPECT_EQ(a, b) << cli;
      }
      EXPECT_EQ(k.toStrepCli(), cli + std::string()) << "and the form is the text read";
   }
}
