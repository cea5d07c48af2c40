#include "Flowspec/values/KeyMatchSet.h"

#include "Flowspec/entities/RuleConfig.h"
#include "ValueChecks.h"
#include "Vex/NboAttrLog.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

using namespace Flowspec;
using FlowspecTest::raisedMessage;
using T = MatchCompType;

namespace {

FlowspecKey cliKey(std::string const& text) {
   FlowspecKey k;
   EXPECT_TRUE(k.copyInStrCli(Vex::String(text))) << text;
   return k;
}

// The ranges, ascending; each must be mapped to true and stand apart from
// the one before.
std::vector<NumericalRange> rangesOf(MatchComponent const& c) {
   std::vector<NumericalRange> rs;
   for (auto i = c.numericalRangeIteratorConst(); i; ++i) {
      EXPECT_TRUE(i.value());
      rs.push_back(i.key());
   }
   std::sort(rs.begin(), rs.end());
   for (std::size_t i = 1; i < rs.size(); ++i)
      EXPECT_GT(rs[i].rangeMin(), rs[i - 1].rangeMax() + 1) << rs[i].toStrep();
   return rs;
}

// The masks of either kind as (any, val, mask), sorted; each must be valid
// and mapped to true.
using Mask = std::tuple<bool, unsigned, unsigned>;
std::vector<Mask> masksOf(MatchComponent const& c) {
   std::vector<Mask> ms;
   auto take = [&ms](auto i) {
      for (; i; ++i) {
         EXPECT_TRUE(i.value() && i.key().isValid()) << i.key().toStrep();
         ms.emplace_back(!i.key().matchAll(), i.key().val(), i.key().mask());
      }
   };
   take(c.tcpBitMaskIteratorConst());
   take(c.ipBitMaskIteratorConst());
   std::sort(ms.begin(), ms.end());
   return ms;
}

// Whether the component lets the value or flag word x through.
std::function<bool(std::uint32_t)> acceptor(MatchComponent const& c) {
   return [rs = rangesOf(c), ms = masksOf(c)](std::uint32_t x) {
      return std::any_of(rs.begin(), rs.end(), [x](auto const& r) { return r.contains(x); }) ||
             std::any_of(ms.begin(), ms.end(), [x](Mask m) {
                auto [any, val, mask] = m;
                unsigned const same = ~(x ^ val) & mask;
                return any ? same != 0 : same == mask;
             });
   };
}

// "destPort [80,81] [1000,2000]; tcpFlags all 2/12": each component with its
// prefix, ranges, or masks (val/mask in hex).
std::string describe(std::vector<MatchComponent> const& set) {
   std::string out;
   for (auto const& c : set) {
      out += (out.empty() ? "" : "; ") + stringValue(c.compType()).str();
      if (c.matchTypePrefix()) out += " " + c.prefix().stringValue().str();
      for (auto const& r : rangesOf(c))
         out += " [" + std::to_string(r.rangeMin()) + "," + std::to_string(r.rangeMax()) + "]";
      for (auto [any, val, mask] : masksOf(c)) {
         char buf[32];
         std::snprintf(buf, sizeof buf, " %s %x/%x", any ? "any" : "all", val, mask);
         out += buf;
      }
   }
   return out;
}

std::string describe(std::string const& cli) {
   return describe(matchSetFromKey(cliKey(cli)));
}

struct Case {
   char const* what;
   char const* cli;
   char const* set;
};

} // namespace

TEST(KeyMatchSet, NumericListsBecomeDisjointRangesClippedToTheKind) {
   Case const cases[] = {
       // clang-format off
      {"AND-groups ORed",           "*;*;DP:>=1000&<=2000|=80|=81;", "destPort [80,81] [1000,2000]"},
      {"overlapping groups merge",  "*;*;P:>=10&<=20|>=15&<=30;",    "port [10,30]"},
      {"touching groups merge",     "*;*;SP:>=1&<=5|>=6&<=9|=11;",   "srcPort [1,9] [11,11]"},
      {"AND binds tighter",         "*;*;P:=1|>5&<9;",               "port [1,1] [6,8]"},
      {"empty group adds nothing",  "*;*;P:=1&>5|<3;",               "port [0,2]"},
      {"lt 0 accepts nothing",      "*;*;IP:<0;",                    "ipProto"},
      {"no operator bit: false",    "*;*;IP:6|=17;",                 "ipProto [17,17]"},
      {"lt gt eq: true",            "*;*;DSCP:<>=7;",                "dscp [0,63]"},
      {"lt gt: all but one",        "*;*;DSCP:<>7|<>0;",             "dscp [0,63]"},
      {"!= at both ends",           "*;*;DSCP:<>0&<>63;",            "dscp [1,62]"},
      {"gt max accepts nothing",    "*;*;DSCP:>63|>=64;",            "dscp"},
      {"operands above the max",    "*;*;DSCP:=100|>=62&<100;",      "dscp [62,63]"},
      {"port max, 4-byte operand",  "*;*;DP:>65534|<70000&>=65535;", "destPort [65535,65535]"},
      {"flow label max",            "*;*;FL:>=0xFFFFE|=0x100000;",   "flowLabel [1048574,1048575]"},
      {"byte-wide kinds",           "*;*;IT:>250;IC:<>=1;",          "icmpType [251,255]; icmpCode [0,255]"},
      {"contradiction",             "*;*;LEN:<10&>20;",              "packetLength"},
      {"adjacent lists join",       "*;*;DP:=80;DP:=443;",           "destPort [80,80] [443,443]"},
      {"separate lists AND",        "*;*;DP:>=80;IP:=6;DP:<=443;",   "ipProto [6,6]; destPort [80,443]"},
      {"separate lists, nothing",   "*;*;DP:=80;IP:=6;DP:=443;",     "ipProto [6,6]; destPort"},
      {"leading & opens the list",  "*;*;DP:&=80|=90;",              "destPort [80,80] [90,90]"},
      {"no component",              "*;*;",                          ""},
      {"prefixes, kinds ascending", "10.1.0.0/16;2001:db8::/32;FL:=1;FRAG:=2;DP:=80;IP:=6;",
       "destPrefix 10.1.0.0/16; srcPrefix 2001:db8::/32; ipProto [6,6]; destPort [80,80]; "
       "fragment all 2/2; flowLabel [1,1]"},
       // clang-format on
   };
   for (auto const& c : cases)
      EXPECT_EQ(describe(c.cli), c.set) << c.what;
}

TEST(KeyMatchSet, LongKeysGiveEveryRangeAndEveryList) {
   // Thirty ORed values: thirty ranges, more than a rule usually has.
   std::string cli = "*;*;DP:", want = "destPort";
   for (int v = 1; v <= 59; v += 2) {
      cli += (v == 1 ? "=" : "|=") + std::to_string(v);
      want += " [" + std::to_string(v) + "," + std::to_string(v) + "]";
   }
   EXPECT_EQ(describe(cli + ";"), want);

   // Sixteen lists of two kinds, alternating, ANDed per kind: each list of
   // ports narrows the range by one at each end.
   cli = "*;*;";
   for (int i = 0; i < 8; ++i)
      cli += "DP:>=" + std::to_string(100 + i) + "&<=" + std::to_string(200 - i) +
             ";IP:<=" + std::to_string(50 - i) + "|=" + std::to_string(90 + i) + ";";
   EXPECT_EQ(describe(cli), "ipProto [0,43]; destPort [107,193]");

   // Eight AND-groups of four bounds each, ORed: the intervals of each
   // group and of the whole list outgrow a short list.
   cli = "*;*;LEN:";
   want = "packetLength";
   for (int g = 0; g < 8; ++g) {
      int const lo = 100 * g;
      cli += (g ? "|" : "") + std::string(">=") + std::to_string(lo) + "&<>" +
             std::to_string(lo + 5) + "&<=" + std::to_string(lo + 10) + "&<>" +
             std::to_string(lo + 7);
      want += " [" + std::to_string(lo) + "," + std::to_string(lo + 4) + "] [" +
              std::to_string(lo + 6) + "," + std::to_string(lo + 6) + "] [" +
              std::to_string(lo + 8) + "," + std::to_string(lo + 10) + "]";
   }
   EXPECT_EQ(describe(cli + ";"), want);
}

TEST(KeyMatchSet, BitMaskPairsBecomeMasksThatAcceptWhatTheyAccept) {
   Case const cases[] = {
       // clang-format off
      {"all set",                     "*;*;TCP:=0x12;",              "tcpFlags all 12/12"},
      {"any set",                     "*;*;TCP:0x12;",               "tcpFlags any 12/12"},
      {"none set",                    "*;*;TCP:!0x12;",              "tcpFlags all 0/12"},
      {"not all set: any clear",      "*;*;TCP:!=0x12;",             "tcpFlags any 0/12"},
      {"one bit keeps the match bit", "*;*;TCP:!=2|!0x10|0x100;",    "tcpFlags all 0/2 any 0/10 any 100/100"},
      {"ORed masks",                  "*;*;TCP:=2|=0x10;",           "tcpFlags all 2/2 all 10/10"},
      {"implied masks dropped",       "*;*;TCP:=0x12|=2|0x2;",       "tcpFlags all 2/2"},
      {"AND of all-masks",            "*;*;TCP:=2&!=0x10;",          "tcpFlags all 2/12"},
      {"AND with an any-mask",        "*;*;TCP:3&!0x10;",            "tcpFlags all 1/11 all 2/12"},
      {"AND and OR",                  "*;*;TCP:=2&!=0x10|=4;",       "tcpFlags all 2/12 all 4/4"},
      {"contradiction",               "*;*;TCP:=2&!2;",              "tcpFlags"},
      {"no bit, match: true",         "*;*;TCP:=0;",                 "tcpFlags all 0/1 all 1/1"},
      {"no bit, any: false",          "*;*;TCP:0|!=0;",              "tcpFlags"},
      {"covers every word",           "*;*;TCP:=2|!=2;",             "tcpFlags all 0/1 all 1/1"},
      {"bits beyond NS never set",    "*;*;TCP:=0x202|=0x10|0x400;", "tcpFlags all 10/10"},
      {"separate lists AND",          "*;*;TCP:=2;IP:=6;TCP:!=0x10;", "ipProto [6,6]; tcpFlags all 2/12"},
      {"is fragment",                 "*;*;FRAG:=2;",                "fragment all 2/2"},
      {"first and last: impossible",  "*;*;FRAG:=0xc;",              "fragment"},
      {"first or last, for isValid",  "*;*;FRAG:0xc;",               "fragment all 4/4 all 8/8"},
      {"an any-mask isValid takes",   "*;*;FRAG:0xa;",               "fragment any a/a"},
      {"AND over fragment states",    "*;*;FRAG:=2&!=4;",            "fragment all 2/6"},
      {"last implies is-fragment",    "*;*;FRAG:=2&=8;",             "fragment all 8/8"},
      {"true over fragment states",   "*;*;FRAG:!=0xc;",             "fragment all 0/1 all 1/1"},
       // clang-format on
   };
   for (auto const& c : cases) {
      auto const set = matchSetFromKey(cliKey(c.cli));
      EXPECT_EQ(describe(set), c.set) << c.what;
      // Replicable: the log refuses a mask equal to its set's terminator.
      for (auto const& m : set) {
         auto out = Vex::NboAttrLog::Out::OutIs();
         Vex::nboWrite(out, m);
         Vex::NboAttrLog::In in(out->bytes().data(), out->bytes().size());
         EXPECT_EQ(Vex::nboRead<MatchComponent>(in), m) << c.what;
      }
   }
}

TEST(KeyMatchSet, EveryTwoPairListAcceptsWhatItsOperatorsAccept) {
   // Every two pairs joined by & and by |, checked value by value against the
   // operator definitions: numeric lt (4), gt (2), eq (1) on 0 to 63; bitmask
   // match (1), (x & v) == v, else (x & v) != 0, negated by not (2), on every
   // TCP flag word and every fragment state a packet can be in.
   auto opText = [](bool numeric, unsigned op) {
      return numeric ? std::string(op & 4 ? "<" : "") + (op & 2 ? ">" : "") + (op & 1 ? "=" : "")
                     : std::string(op & 2 ? "!" : "") + (op & 1 ? "=" : "");
   };
   auto holds = [](bool numeric, unsigned op, std::uint32_t v, std::uint32_t x) {
      if (numeric) return x <= 63 && ((op & 4 && x < v) || (op & 2 && x > v) || (op & 1 && x == v));
      return (op & 1 ? (x & v) == v : (x & v) != 0) != bool(op & 2);
   };
   std::vector<std::uint32_t> tcpWords(512);
   for (std::uint32_t x = 0; x < 512; ++x)
      tcpWords[x] = x;
   std::vector<std::uint32_t> const bitOperands = {0, 1, 2, 0xa, 0xc, 0xf, 0x12, 0x1ff, 0x202};
   struct {
      char const* label;
      unsigned ops;
      std::vector<std::uint32_t> operands, values;
   } const kinds[] = {
       {"DSCP", 8, {0, 1, 62, 63, 64, 100}, {0, 1, 2, 61, 62, 63, 64}},
       {"TCP", 4, bitOperands, tcpWords},
       // No fragment (DF or not), middle, first and last fragment.
       {"FRAG", 4, bitOperands, {0, 1, 2, 3, 6, 7, 10, 11}},
   };
   for (auto const& k : kinds) {
      bool const numeric = k.ops == 8;
      std::vector<std::pair<unsigned, std::uint32_t>> pairs;
      for (unsigned op = 0; op < k.ops; ++op)
         for (std::uint32_t v : k.operands)
            pairs.emplace_back(op, v);
      for (auto [op1, v1] : pairs) {
         for (auto [op2, v2] : pairs) {
            for (char join : {'&', '|'}) {
               std::string const cli = std::string("*;*;") + k.label + ":" + opText(numeric, op1) +
                                       std::to_string(v1) + join + opText(numeric, op2) +
                                       std::to_string(v2) + ";";
               auto const set = matchSetFromKey(cliKey(cli));
               ASSERT_EQ(set.size(), 1u);
               auto const accepts = acceptor(set[0]);
               for (std::uint32_t x : k.values) {
                  bool const a = holds(numeric, op1, v1, x), b = holds(numeric, op2, v2, x);
                  ASSERT_EQ(accepts(x), join == '&' ? a && b : a || b) << cli << " at " << x;
               }
            }
         }
      }
   }
}

TEST(KeyMatchSet, DerivedSetsMeetTheRuleFeasibilityTest) {
   struct {
      char const* cli;
      Ipkit::AddressFamily af;
      T verdict;
      char const* afterSanitizing;
   } const cases[] = {
       // clang-format off
      {"*;*;IP:<0;DP:=80;",     Ipkit::ipv4, T::destPort,  "ipProto; destPort [80,80]"},
      {"*;*;IP:=17|=1;TCP:=2;", Ipkit::ipv4, T::tcpFlags,  "ipProto [1,1] [17,17]; tcpFlags all 2/2"},
      {"*;*;IP:<=255;DP:=80;",  Ipkit::ipv4, T::invalid,   "ipProto [6,6] [17,17]; destPort [80,80]"},
      {"*;*;IP:<>6;SP:>1023;",  Ipkit::ipv4, T::invalid,   "ipProto [17,17]; srcPort [1024,65535]"},
      {"*;*;TCP:=2|=1;DP:=80;", Ipkit::ipv4, T::invalid,   "ipProto [6,6]; destPort [80,80]; tcpFlags all 1/1 all 2/2"},
      {"*;*;DP:=80;IT:=8;",     Ipkit::ipv4, T::icmpType,  "destPort [80,80]; icmpType [8,8]"},
      {"*;*;IP:=58;IT:=128;",   Ipkit::ipv4, T::icmpType,  "ipProto [58,58]; icmpType [128,128]"},
      {"*;*;IP:=58;IT:=128;",   Ipkit::ipv6, T::invalid,   "ipProto [58,58]; icmpType [128,128]"},
      // The test weighs only ports, TCP flags and ICMP against the protocol:
      // a dscp or TCP-flags component that matches nothing passes it, and is
      // told by its missing ranges or masks.
      {"10.0.0.0/8;*;DSCP:>63;", Ipkit::ipv4, T::invalid, "destPrefix 10.0.0.0/8; dscp"},
      {"*;*;TCP:=2&!2;",         Ipkit::ipv4, T::invalid, "ipProto [6,6]; tcpFlags"},
       // clang-format on
   };
   for (auto const& c : cases) {
      FlowspecKey k = cliKey(c.cli);
      k.addressFamilyIs(c.af);
      auto rule = RuleConfig::RuleConfigIs(k);
      for (auto const& m : matchSetFromKey(k))
         rule->matchSetIs(m);
      EXPECT_EQ(rule->infeasibleMatchInMatchSet(), c.verdict) << c.cli;
      EXPECT_EQ(rule->sanitizeMatchSet(), c.verdict) << c.cli;
      std::vector<MatchComponent> after;
      for (auto i = rule->matchSetIteratorConst(); i; ++i)
         after.push_back(i.value());
      EXPECT_EQ(describe(after), c.afterSanitizing) << c.cli;
   }
}

TEST(KeyMatchSet, MalformedPairsAreRefusedNotAborted) {
   auto refusal = [](char const* raw) {
      FlowspecKey k;
      k.copyInStr(Vex::String(raw));
      return raisedMessage<Vex::Exception>([&] { matchSetFromKey(k); });
   };
   std::string const at0 = "matchSetFromKey: the pair at index 0 ";
   // Raw words: kind << 24 | operator << 16 | value. destPort =6, then a
   // destPrefix pair; kind 15; len 3 (8 bytes); len 2 as the last pair.
   EXPECT_EQ(refusal(";;;;83951622;25231365;"),
             "matchSetFromKey: the pair at index 1 is of kind destPrefix, which has no "
             "operator-value match");
   EXPECT_EQ(refusal(";;;;260112384;"), at0 + "is of kind 15, which has no operator-value match");
   EXPECT_EQ(refusal(";;;;95485952;"), at0 + "has an 8-byte value");
   EXPECT_EQ(refusal(";;;;94437377;"), at0 + "has a 4-byte value whose low half is missing");
}

TEST(KeyMatchSet, RememberedMasksAreTheMasksWorkedOut) {
   // The same lists give the same masks when met first, when met again
   // (remembered), and after more distinct lists than are remembered.
   std::vector<std::string> const lists = {
       "*;*;TCP:=2&!=0x10;", "*;*;TCP:3&!0x10;", "*;*;TCP:=2&!=0x10|=4;", "*;*;TCP:=2;TCP:!=0x10;",
       "*;*;FRAG:0xc;",      "*;*;FRAG:=0xc;",   "*;*;TCP:=2&!2;",
   };
   std::vector<std::string> first;
   for (auto const& cli : lists)
      first.push_back(describe(cli));
   for (auto const& cli : lists)
      EXPECT_EQ(describe(cli), first[&cli - &lists[0]]) << cli;
   for (unsigned v = 1; v <= 300; ++v)
      matchSetFromKey(cliKey("*;*;TCP:=" + std::to_string(v % 256) +
                             "&!=" + std::to_string(v / 256 + 1) + ";"));
   for (auto const& cli : lists)
      EXPECT_EQ(describe(cli), first[&cli - &lists[0]]) << cli;
   EXPECT_EQ(first[0], "tcpFlags all 2/12");
   EXPECT_EQ(first[4], "fragment all 4/4 all 8/8") << "an any-mask isValid refuses, split";
}

TEST(KeyMatchSet, EveryTwoPairTcpListGivesTheSameMasksColdAndRemembered) {
   // All two-pair TCP lists over a few operands and every operator byte of
   // one length: the masks worked out first, remembered on the second pass,
   // and worked out again once a flood of other lists made the cache start
   // afresh, are the same.
   std::vector<std::string> lists;
   for (char const* a : {"=2", "!=0x10", "4", "!0x12", "=0x29"})
      for (char const* join : {"&", "|"})
         for (char const* b : {"=0x10", "!=2", "0x6", "!4", "=0"})
            lists.push_back(std::string("*;*;TCP:") + a + join + b + ";");
   std::vector<std::string> first;
   for (auto const& cli : lists)
      first.push_back(describe(cli));
   auto again = [&](char const* when) {
      for (std::size_t i = 0; i < lists.size(); ++i)
         EXPECT_EQ(describe(lists[i]), first[i]) << lists[i] << " " << when;
   };
   again("remembered");
   for (unsigned v = 0; v < 300; ++v)
      matchSetFromKey(cliKey("*;*;TCP:" + std::to_string(v) + ";"));
   again("after the cache started afresh");
}
