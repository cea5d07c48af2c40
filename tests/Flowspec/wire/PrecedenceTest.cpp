#include "Flowspec/wire/Precedence.h"

#include "Flowspec/wire/KeyComponents.h"

#include "WireTestUtil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

using namespace Flowspec;
using Prefix = Ipkit::IpGenPrefix;

namespace {

FlowspecKey key(char const* cli, Ipkit::AddressFamily af = Ipkit::ipv4) {
   return WireTest::cliKey(cli, af);
}

Prefix prefix(char const* text) {
   return Prefix(Vex::String(text));
}

} // namespace

TEST(Precedence, RulesOfTheRfcDecideInComponentOrder) {
   struct Case {
      char const* what;
      char const* first; // the key applied first
      char const* second;
   };
   Case const cases[] = {
       {"a destination prefix before none", "10.0.0.0/8;*;", "*;*;IP:=6;"},
       {"a destination prefix before none, whatever follows", "10.0.0.0/8;*;",
        "*;192.0.2.0/24;IP:=6;DP:=80;"},
       {"the more specific of two nested prefixes", "10.1.0.0/16;*;", "10.0.0.0/8;*;"},
       {"the more specific, though its address is higher", "10.255.0.0/16;*;", "10.0.0.0/8;*;"},
       {"the lower of two disjoint prefixes", "10.0.0.0/8;*;", "11.0.0.0/8;*;"},
       {"the lower of two disjoint prefixes, though shorter", "9.0.0.0/8;*;", "10.1.2.0/24;*;"},
       {"a host prefix inside a /24", "192.0.2.1/32;*;", "192.0.2.0/24;*;"},
       {"disjoint halves of an octet", "10.0.0.0/9;*;", "10.128.0.0/9;*;"},
       {"disjoint in the last bit", "192.0.2.0/32;*;", "192.0.2.1/32;*;"},
       {"nested, the shorter one higher", "10.0.0.128/25;*;", "10.0.0.0/24;*;"},
       {"0.0.0.0/0 is a destination component all the same", "0.0.0.0/0;*;", "*;10.0.0.0/8;"},
       {"equal destinations, then a source prefix before none", "10.0.0.0/8;10.0.0.0/8;",
        "10.0.0.0/8;*;DP:=80;"},
       {"equal destinations, then the more specific source", "10.0.0.0/8;10.1.0.0/16;",
        "10.0.0.0/8;10.0.0.0/8;"},
       {"protocol (type 3) before a port (type 5)", "*;*;IP:=6;", "*;*;DP:=80;"},
       {"the key that also has the lower type", "*;*;IP:=6;DP:=80;", "*;*;DP:=80;"},
       {"a port before a destination port", "*;*;P:=80;", "*;*;DP:=80;"},
       {"operator lists by their bytes: 81 50 before 91 01 bb", "*;*;DP:=80;", "*;*;DP:=443;"},
       {"bytes, not numbers: 01 50 91 01 bb before 81 50 (=80|=443 before =80)", "*;*;DP:=80|=443;",
        "*;*;DP:=80;"},
       {"bytes: = (81) before >= (83)", "*;*;DP:=80;", "*;*;DP:>=80;"},
       {"equal first components, the next decides", "*;*;IP:=6;DP:=22;", "*;*;IP:=6;DP:=80;"},
       {"equal up to the end of one, which lacks the next type", "*;*;IP:=6;TCP:=2;", "*;*;IP:=6;"},
       {"a 4-byte value compares by its four bytes", "*;*;LEN:=65536;", "*;*;LEN:=65537;"},
       {"prefixes outrank operator lists", "10.0.0.0/8;*;LEN:=9000;", "11.0.0.0/8;*;IP:=6;"},
   };
   for (Case const& c : cases) {
      FlowspecKey a = key(c.first), b = key(c.second);
      EXPECT_LT(comparePrecedence(a, b), 0) << c.what;
      EXPECT_GT(comparePrecedence(b, a), 0) << c.what;
      EXPECT_TRUE(PrecedenceLess()(a, b)) << c.what;
      EXPECT_FALSE(PrecedenceLess()(b, a)) << c.what;
   }
}

TEST(Precedence, EqualMatchesHaveEqualPrecedence) {
   struct Case {
      char const* what;
      FlowspecKey a;
      FlowspecKey b;
   };
   FlowspecKey vrf1 = key("10.0.0.0/8;*;IP:=6;"), vrf2 = vrf1;
   vrf1.vrfIdIs(1);
   vrf2.vrfIdIs(2);
   Case const cases[] = {
       {"the same key", key("10.0.0.0/8;*;IP:=6;DP:=80;"), key("10.0.0.0/8;*;IP:=6;DP:=80;")},
       {"two default keys", FlowspecKey(), FlowspecKey()},
       {"the VRF is not looked at", vrf1, vrf2},
       {"components stored out of type order compare as the wire orders them",
        key("*;*;DP:=80;IP:=6;"), key("*;*;IP:=6;DP:=80;")},
       {"the end-of-list bit as the wire sets it, whatever the key stored",
        [] {
           FlowspecKey k = key("*;*;IP:=6;");
           MatchOpVal w = k.matchOpVal(0);
           w.endOfListIs(false);
           k.matchOpValIs(0, w);
           return k;
        }(),
        key("*;*;IP:=6;")},
   };
   for (Case const& c : cases) {
      EXPECT_EQ(comparePrecedence(c.a, c.b), 0) << c.what;
      EXPECT_EQ(comparePrecedence(c.b, c.a), 0) << c.what;
   }
}

TEST(Precedence, FamiliesAndIpv6Prefixes) {
   // IPv4 rules sort before IPv6 ones; they never compete.
   EXPECT_LT(comparePrecedence(key("*;*;DP:=80;"), key("2001:db8::/32;*;", Ipkit::ipv6)), 0);
   EXPECT_GT(comparePrecedence(key("10.0.0.0/8;*;", Ipkit::ipv6), key("*;*;", Ipkit::ipv4)), 0);
   // RFC 8956 keeps the prefix rules of RFC 8955 for IPv6.
   EXPECT_LT(comparePrecedence(key("2001:db8:1::/48;*;", Ipkit::ipv6),
                               key("2001:db8::/32;*;", Ipkit::ipv6)),
             0);
   EXPECT_LT(comparePrecedence(key("2001:db8::/32;*;", Ipkit::ipv6),
                               key("2001:db9::/48;*;", Ipkit::ipv6)),
             0);
   EXPECT_LT(comparePrecedence(key("*;2001:db8::1/128;FL:=5;", Ipkit::ipv6),
                               key("*;2001:db8::/64;", Ipkit::ipv6)),
             0);
}

TEST(Precedence, PrefixComponentsWithOffsets) {
   struct Case {
      char const* what;
      char const* a;
      unsigned offsetA;
      char const* b;
      unsigned offsetB;
      int expected;
   };
   Case const cases[] = {
       {"the lower offset first, though longer and higher", "ffff::/128", 0, "::/16", 8, -1},
       {"the lower offset first, the other way round", "::/16", 8, "ffff::/128", 0, 1},
       {"equal offsets: the bits before the offset do not count", "2001:db8::/32", 16,
        "3001:db8::/32", 16, 0},
       {"equal offsets: the bits after it do", "2001:db8::/32", 16, "2001:db9::/32", 16, -1},
       {"equal offsets: nested, the longer first", "2001:db8:1::/48", 16, "2001:db8::/32", 16, -1},
       {"an offset past the shorter length: the longer first", "2001:db8::/32", 40, "2001:db8::/48",
        40, 1},
       {"offset 0 is the IPv4 rule", "10.0.0.0/8", 0, "10.0.0.0/8", 0, 0},
       {"families by number, the empty prefix first", "", 0, "10.0.0.0/8", 0, -1},
       {"IPv4 before IPv6", "10.0.0.0/8", 0, "::/0", 0, -1},
   };
   for (Case const& c : cases) {
      Prefix a = *c.a ? prefix(c.a) : Prefix(), b = *c.b ? prefix(c.b) : Prefix();
      EXPECT_EQ(comparePrefixPrecedence(a, b, c.offsetA, c.offsetB), c.expected) << c.what;
      EXPECT_EQ(comparePrefixPrecedence(b, a, c.offsetB, c.offsetA), -c.expected) << c.what;
   }
}

TEST(Precedence, IsAStrictWeakOrderOverMixedKeys) {
   std::vector<FlowspecKey> keys;
   for (char const* cli :
        {"*;*;", "10.0.0.0/8;*;", "10.1.0.0/16;*;", "10.1.0.0/16;*;IP:=6;", "11.0.0.0/8;*;",
         "10.0.0.0/8;192.0.2.0/24;", "10.0.0.0/8;192.0.2.0/25;", "*;*;IP:=6;", "*;*;IP:=17;DP:=53;",
         "*;*;DP:=80;IP:=6;", "*;*;IP:=6;DP:=80;", "*;*;DP:>=1024&<=2047;", "*;*;TCP:=2;",
         "*;*;TCP:!=16;", "*;*;LEN:=70000;", "*;*;DSCP:=46;", "*;*;FRAG:=2;", "0.0.0.0/0;*;",
         "*;0.0.0.0/0;"})
      keys.push_back(key(cli));
   keys.push_back(key("2001:db8::/32;*;", Ipkit::ipv6));
   keys.push_back(key("*;*;FL:=5;", Ipkit::ipv6));
   for (auto const& a : keys) {
      EXPECT_EQ(comparePrecedence(a, a), 0) << a.toStrepCli();
      for (auto const& b : keys) {
         int ab = comparePrecedence(a, b);
         EXPECT_EQ(ab, -comparePrecedence(b, a)) << a.toStrepCli() << " " << b.toStrepCli();
         for (auto const& c : keys) {
            int bc = comparePrecedence(b, c);
            if (ab < 0 && bc < 0) {
               EXPECT_LT(comparePrecedence(a, c), 0)
                   << a.toStrepCli() << " " << b.toStrepCli() << " " << c.toStrepCli();
            }
            if (ab == 0 && bc == 0) {
               EXPECT_EQ(comparePrecedence(a, c), 0);
            }
         }
      }
   }
   // A sort puts them in the order a router applies them.
   std::vector<FlowspecKey> sorted = keys;
   std::stable_sort(sorted.begin(), sorted.end(), PrecedenceLess());
   std::string order;
   for (auto const& k : sorted)
      order += k.toStrepCli().c_str() + std::string(" ");
   EXPECT_EQ(order,
             // 0.0.0.0/0 holds every other destination: the more specific first.
             "10.1.0.0/16;*;IP:=6; 10.1.0.0/16;*; 10.0.0.0/8;192.0.2.0/25; "
             "10.0.0.0/8;192.0.2.0/24; 10.0.0.0/8;*; 11.0.0.0/8;*; 0.0.0.0/0;*; *;0.0.0.0/0; "
             // Equal precedence: the stable sort keeps their order.
             "*;*;DP:=80;IP:=6; *;*;IP:=6;DP:=80; "
             "*;*;IP:=6; *;*;IP:=17;DP:=53; *;*;DP:>=1024&<=2047; "
             // TCP:=2 is 81 02, TCP:!=16 is 83 10.
             "*;*;TCP:=2; *;*;TCP:!=16; *;*;LEN:=70000; *;*;DSCP:=46; *;*;FRAG:=2; *;*; "
             "2001:db8::/32;*; *;*;FL:=5; ");
}

TEST(Precedence, KeysTheWireCannotCarryStillCompareWithoutAborting) {
   auto raw = [](std::initializer_list<std::pair<std::uint16_t, std::uint32_t>> words) {
      return WireTest::rawKey(Ipkit::ipv4, words);
   };
   struct Case {
      char const* what;
      FlowspecKey k;
      KeyShapeProblem problem;
      std::uint16_t pair;
   };
   Case const cases[] = {
       {"well formed", key("*;*;IP:=6;DP:=80|=443;"), KeyShapeProblem::none, 0},
       {"an 8-byte length", raw({{0, 0x03b10050}}), KeyShapeProblem::eightByteValue, 0},
       {"a 4-byte value without its low half", raw({{0, 0x0aa10001}}), KeyShapeProblem::halfValue,
        0},
       {"a low half of another operator", raw({{0, 0x0aa10001}, {1, 0x0a210002}}),
        KeyShapeProblem::halfValue, 0},
       {"a gap in the indices", raw({{0, 0x03010006}, {2, 0x05810050}}),
        KeyShapeProblem::sparseIndices, 2},
       {"type 0", raw({{0, 0x00810006}}), KeyShapeProblem::unknownType, 0},
       {"type 2 holds no operator list", raw({{0, 0x02810006}}), KeyShapeProblem::unknownType, 0},
       {"type 14", raw({{0, 0x0e810006}}), KeyShapeProblem::unknownType, 0},
       {"reserved bit 3", raw({{0, 0x03890006}}), KeyShapeProblem::reservedBit, 0},
       {"lt in a bitmask operator", raw({{0, 0x09850002}}), KeyShapeProblem::reservedBit, 0},
       {"a 1-byte pair holding 256", raw({{0, 0x03810100}}), KeyShapeProblem::valueTooWide, 0},
       {"a type twice", key("*;*;DP:=80;IP:=6;DP:=443;"), KeyShapeProblem::repeatedType, 2},
       {"a type twice, split by end-of-list", raw({{0, 0x03810006}, {1, 0x03810011}}),
        KeyShapeProblem::repeatedType, 1},
   };
   for (Case const& c : cases) {
      KeyComponents shape(c.k);
      EXPECT_EQ(shape.problem(), c.problem) << c.what;
      EXPECT_EQ(shape.problemPair(), c.pair) << c.what;
      for (Case const& d : cases)
         EXPECT_EQ(comparePrecedence(c.k, d.k), -comparePrecedence(d.k, c.k)) << c.what;
   }
}

TEST(KeyComponents, GroupsPairsAsTheWireCarriesThem) {
   FlowspecKey k = key("*;*;DP:=80|=443;IP:=6;LEN:>=65536&<=70000;");
   KeyComponents shape(k);
   ASSERT_EQ(shape.problem(), KeyShapeProblem::none);
   auto components = shape.components();
   ASSERT_EQ(components.size(), 3u);
   std::string text;
   for (auto const& c : components) {
      text += std::to_string(static_cast<unsigned>(c.type)) + ":";
      for (WirePair p : shape.pairs(c)) {
         char buf[40];
         std::snprintf(buf, sizeof buf, " %02x/%u@%u", p.op, p.value, p.keyIndex);
         text += buf;
      }
      text += ";";
   }
   EXPECT_EQ(text, "3: 81/6@2;5: 01/80@0 91/443@1;10: 23/65536@3 e5/70000@5;");
}
