#include "Flowspec/values/FlowspecKey.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <stdexcept>
#include <vector>

using namespace Flowspec;
using FlowspecTest::indexRangeMessage;
using FlowspecTest::raisedMessage;
using FlowspecTest::TraceCapture;
using T = MatchCompType;

namespace {

struct Pair {
   T type;
   std::uint8_t op;
   std::uint32_t val;
};

// A key whose pairs are stored one after another by setOpVal.
FlowspecKey keyOf(std::vector<Pair> const& pairs, char const* dest = "", char const* src = "",
                  std::uint32_t vrf = Vrf::VrfIdMap::noVrfId, std::int32_t af = 0) {
   FlowspecKey k;
   k.vrfIdIs(vrf);
   k.addressFamilyIs(Ipkit::AddressFamily(af));
   if (*dest) k.destPrefixIs(Ipkit::IpGenPrefix(Vex::String(dest)));
   if (*src) k.srcPrefixIs(Ipkit::IpGenPrefix(Vex::String(src)));
   MatchOpValIndex next(0);
   for (Pair const& p : pairs)
      next = k.setOpVal(next, p.type, p.op, p.val);
   return k;
}

// The one level-2 line a failed parse of `text` writes, or "(parsed)".
std::string failureOf(FlowspecKey& k, std::string const& text) {
   TraceCapture capture(1u << 2);
   if (k.copyInStrCli(Vex::String(text))) return "(parsed)";
   if (capture.lines.size() != 1) return "(not one line)";
   EXPECT_EQ(capture.lines[0].level, 2u);
   EXPECT_EQ(capture.lines[0].function, "copyInStrCli");
   return capture.lines[0].message.str();
}

std::string prefixError(char const* text) {
   return raisedMessage<Vex::Exception>([&] { Ipkit::IpGenPrefix(Vex::String(text)); });
}

std::string repeated(char const* piece, int times) {
   std::string s;
   while (times-- > 0)
      s += piece;
   return s;
}

} // namespace

TEST(FlowspecKeyText, FiveFormsToTheCharacter) {
   struct Case {
      char const* what;
      FlowspecKey key;
      char const *raw, *cli, *value, *detail;
   };
   // clang-format off
   Case const cases[] = {
      {"default", FlowspecKey(), ";;;;", "*;*;", "16777215;ipunknown;*;*;",
       "Destination Prefix : *;Source Prefix : *;"},
      {"source only", keyOf({}, "", "2001:db8::/32", 0, 2), "0;ipv6;;2001:db8::/32;",
       "*;2001:db8::/32;", "0;ipv6;*;2001:db8::/32;",
       "Destination Prefix : *;Source Prefix : 2001:db8::/32;"},
      {"two components",
       keyOf({{T::ipProto, 0x81, 6}, {T::port, 0x13, 1000}, {T::port, 0x55, 2000},
              {T::port, 0x81, 80}}, "10.1.0.0/16", "", 0, 1),
       "0;ipv4;10.1.0.0/16;;58785798;68355048;72681424;75563088;",
       "10.1.0.0/16;*;IP:=6;P:>=1000&<=2000|=80;",
       "0;ipv4;10.1.0.0/16;*;IP:=6;P:>=1000&<=2000|=80;",
       "Destination Prefix : 10.1.0.0/16;Source Prefix : *;IP Protocol : =6;"
       "Port : >=1000 & <=2000 | =80;"},
      {"one type twice is joined; a 4-byte pair",
       keyOf({{T::destPort, 0x81, 80}, {T::destPort, 0xd1, 443},
              {T::flowLabel, 0xa1, 0x12345678}}, "", "", 7, 1),
       "7;ipv4;;;92340304;97583547;228659764;228677240;",
       "*;*;DP:=80&=443;FL:=305419896;", "7;ipv4;*;*;DP:=80&=443;FL:=305419896;",
       "Destination Prefix : *;Source Prefix : *;Destination Port : =80 & =443;"
       "Flow Label : =305419896;"},
      {"bit-field operands",
       keyOf({{T::tcpFlags, 0x83, 0x12}, {T::fragment, 0x01, 2}, {T::fragment, 0x82, 8}}),
       ";;;;159580178;201392130;209846280;", "*;*;TCP:!=18;FRAG:=2|!8;",
       "16777215;ipunknown;*;*;TCP:!=18;FRAG:=2|!8;",
       "Destination Prefix : *;Source Prefix : *;TCP Flags : ALL(SYN:0,ACK:0);"
       "Fragment Flags : ALL(is-fragment:1) | ANY(last-fragment:0);"},
   };
   // clang-format on
   for (Case const& c : cases) {
      SCOPED_TRACE(c.what);
      EXPECT_EQ(c.key.toStrep(), c.raw);
      EXPECT_EQ(valueToStrep(c.key), std::string(c.raw) + "@");
      EXPECT_EQ(c.key.toStrepCli(), c.cli);
      EXPECT_EQ(c.key.stringValue(), c.value);
      std::ostringstream os;
      os << c.key;
      EXPECT_EQ(os.str(), c.value);
      EXPECT_EQ(c.key.toStrepCliDetail(), c.detail);
   }
   FlowspecKey tooLong;
   for (std::uint16_t i = 0; i <= 2048; ++i)
      tooLong.matchOpValIs(i, MatchOpVal(1));
   EXPECT_EQ(raisedMessage<Vex::RangeException>([&] { tooLong.toStrep(); }), indexRangeMessage);
}

// Each text parses to `key` ("(parsed)") or traces the one line why.
TEST(FlowspecKeyText, CommandLineParsesOrTracesOneLineWhy) {
   std::string const many = "P:" + repeated("1|", 2047) + "1";
   std::string const wide = "P:" + repeated("1|", 2046) + "70000";
   struct Case {
      std::string text, outcome;
      FlowspecKey key = {};
   };
   std::string const ok = "(parsed)";
   // clang-format off
   Case const cases[] = {
      {"*;*;", ok}, {"*;*", ok}, {"*;*;IT:;IC:", ok},
      {"10.1.2.3/8;2001:db8::1;IP:=6;DP:>1023", ok,
       keyOf({{T::ipProto, 0x81, 6}, {T::destPort, 0x92, 1023}}, "10.0.0.0/8",
             "2001:db8::1/128")},
      {"*;*;IP:6", ok, keyOf({{T::ipProto, 0x80, 6}})},
      {"*;*;IP:=010;DP:0x1F", ok, keyOf({{T::ipProto, 0x81, 8}, {T::destPort, 0x80, 31}})},
      {"*;*;LEN:=255|=256|=65535|=65536", ok,
       keyOf({{T::packetLength, 0x01, 255}, {T::packetLength, 0x11, 256},
              {T::packetLength, 0x11, 65535}, {T::packetLength, 0xa1, 65536}})},
      {"*;*;DP:=&80", ok, keyOf({{T::destPort, 0xc1, 80}})},
      {"*;*;SP:=6=17", ok, keyOf({{T::srcPort, 0x01, 6}, {T::srcPort, 0x81, 17}})},
      {"*;*;SP:=6&", ok, keyOf({{T::srcPort, 0x01, 6}})},
      {"*;*;IPX:=6;PX:7", ok, keyOf({{T::ipProto, 0x81, 6}, {T::port, 0x80, 7}})},
      {"*;*;DSCP:=46;FLOW:=5", ok, keyOf({{T::dscp, 0x81, 46}, {T::flowLabel, 0x81, 5}})},
      {"*;*;TCP:!=0x12;FRAG:|2", ok, keyOf({{T::tcpFlags, 0x83, 18}, {T::fragment, 0x80, 2}})},
      {"", "Did not find a destination prefix "},
      {"10.0.0.0/8", "Did not find a source prefix 10.0.0.0/8"},
      {"10.0.0.0/8;", "Did not find a source prefix 10.0.0.0/8;"},
      {"bogus;*", "Could not parse dest prefix bogus : " + prefixError("bogus")},
      {";*", "Could not parse dest prefix  : " + prefixError("")},
      {"*;1.0.0.0/33", "Could not parse source prefix 1.0.0.0/33 : " +
                           prefixError("1.0.0.0/33")},
      {"*;*;IP=6", "Did not find a match component in IP=6"},
      {"*;*;;", "Did not find a match component in "},
      {"*;*;XY:=1", "Did not find a valid component label in XY:=1"},
      {"*;*;INVALID:=1", "Did not find a valid component label in INVALID:=1"},
      {"*;*;FRAX:=1", "Did not find a valid component label in FRAX:=1"},
      {"*;*;TCP:<5", "Received value operator for a bitfield component TCP:<5"},
      {"*;*;FRAG:>1", "Received value operator for a bitfield component FRAG:>1"},
      {"*;*;DP:=80|!", "Received bitfield operator for a value component DP:=80|!"},
      {"*;*;IP:=6;DP:=", " Missing value in DP:="},
      {"*;*;TCP:=1|!&", " Missing value in TCP:=1|!&"},
      {"*;*;IP:=-6", "Unexpected character -"},
      {"*;*;IP:= 6", "Unexpected character  "},
      {"*;*;IP:=6x", "Unexpected character x"},
      {"*;*;" + many, "Too many match values in " + many},
      {"*;*;" + wide, "Too many match values in " + wide},
   };
   // clang-format on
   for (Case const& c : cases) {
      FlowspecKey k;
      EXPECT_EQ(failureOf(k, c.text), c.outcome) << c.text.substr(0, 40);
      EXPECT_TRUE(c.outcome != ok || k == c.key) << c.text;
   }
   FlowspecKey k;
   EXPECT_EQ(failureOf(k, "*;*;P:" + repeated("1|", 2046) + "1"), "(parsed)");
   EXPECT_EQ(k.matchOpVals(), 2047u) << "2047 pairs fit";

   // The progress line comes first; on failure the failure line follows.
   TraceCapture capture((1u << 2) | (1u << 8));
   EXPECT_FALSE(FlowspecKey().copyInStrCli("*;*;IP"));
   ASSERT_EQ(capture.lines.size(), 2u);
   EXPECT_EQ(capture.lines[0].level, 8u);
   EXPECT_EQ(capture.lines[0].function, "copyInStrCli");
   EXPECT_EQ(capture.lines[0].message, "copyInStrCli constructing match components from *;*;IP");
   EXPECT_EQ(capture.lines[1].message, "Did not find a match component in IP");
}

TEST(FlowspecKeyText, CommandLineKeepsWhatWasReadBeforeAFailure) {
   FlowspecKey k = keyOf({{T::port, 0x01, 1}, {T::port, 0x01, 2}, {T::port, 0x81, 3}});
   EXPECT_NE(failureOf(k, "10.0.0.0/8;*;IP:=6;DP:=80|!443"), "(parsed)");
   EXPECT_EQ(
       k, keyOf({{T::ipProto, 0x81, 6}, {T::destPort, 0x01, 80}, {T::port, 0x81, 3}}, "10.0.0.0/8"))
       << "the pairs before the failure are stored; later indices are left";
   EXPECT_EQ(failureOf(k, "*;11.0.0.0/8"), "(parsed)");
   EXPECT_EQ(k.destPrefix(), Ipkit::IpGenPrefix(Vex::String("10.0.0.0/8"))) << "* keeps";
   EXPECT_EQ(k.srcPrefix(), Ipkit::IpGenPrefix(Vex::String("11.0.0.0/8")));
}

TEST(FlowspecKeyText, StringValueParserAbortsOrThrowsOnBadText) {
   FlowspecKey k;
   k.copyInStringValue("5;ipv6;*;2001:db8::/32;IP:=6");
   EXPECT_EQ(k, keyOf({{T::ipProto, 0x81, 6}}, "", "2001:db8::/32", 5, 2));
   k.copyInStringValue("4294967295;ipv4;*;*;");
   EXPECT_EQ(k, keyOf({{T::ipProto, 0x81, 6}}, "", "2001:db8::/32", 0xffffffff, 1))
       << "prefixes and pairs are kept";
   {
      TraceCapture capture(1u << 8);
      k.copyInStringValue("1;ipv4;*;*");
      ASSERT_EQ(capture.lines.size(), 2u) << "its own line and copyInStrCli's";
      EXPECT_EQ(capture.lines[0].function, "copyInStringValue");
      EXPECT_EQ(capture.lines[0].message, "copyInStringValueParsing arg 1;ipv4;*;*");
   }
   std::string const field = "Assertion failed: std::getline\\( istr, compString, "
                             "compSeparator\\(\\) \\) && !compString.empty\\(\\)";
   std::string const rest = "Assertion failed: std::getline\\( istr, compString \\) && "
                            "!compString.empty\\(\\)";
   // clang-format off
   std::pair<char const*, std::string> const deaths[] = {
       {";ipv4;*;*", field}, {"5", field}, {"5;;*;*", field}, {"5;ipv4", rest},
       {"5;ipv4;", rest}, {"5;IPV4;*;*", "Assertion failed: false && \"invalid address-family\""},
       {"5;ipv4;bogus;*", "copyInStrCli\\( compString \\)"}};
   // clang-format on
   for (auto const& [text, death] : deaths)
      EXPECT_DEATH(k.copyInStringValue(text), death) << text;
   auto const vrf = [&](char const* text) { return [&k, text] { k.copyInStringValue(text); }; };
   EXPECT_EQ(raisedMessage<std::invalid_argument>(vrf("x;ipv4;*;*")), "stol");
   EXPECT_EQ(raisedMessage<std::out_of_range>(vrf("99999999999999999999;ipv4;*;*")), "stol");
}

TEST(FlowspecKeyText, RawFormParsers) {
   FlowspecKey k;
   k.copyInStr("5;ipv4;10.0.0.0/8;;58785798;");
   FlowspecKey const five = keyOf({{T::ipProto, 0x81, 6}}, "10.0.0.0/8", "", 5, 1);
   EXPECT_EQ(k, five);
   auto const parse = [&](std::string text) { return [&k, text] { k.copyInStr(text); }; };
   EXPECT_EQ(raisedMessage<Vex::Exception>(parse("1;ipv4;bogus;;")), prefixError("bogus"));
   std::string const pairs = repeated("1;", 2047);
   EXPECT_EQ(raisedMessage<Vex::RangeException>(parse(";;;;" + pairs + "1;")), indexRangeMessage);
   EXPECT_EQ(k, five) << "a failed parse changes nothing";
   k.copyInStr(";;;;" + pairs);
   EXPECT_EQ(k.matchOpVals(), 2047u);
   k.copyInStr("");
   EXPECT_TRUE(!k);
   EXPECT_DEATH(k.copyInStr("1;ipv5;;;"), "false && \"invalid address-family\"");

   std::string const text = "2;ipv6;;;7;@rest";
   Vex::TextIter pos = text.c_str();
   sequenceToValue(pos, text.c_str() + text.size(), k);
   EXPECT_EQ(std::string(pos), "rest") << "the '@' ends the value and is consumed";
   EXPECT_EQ(k, keyOf({{T::invalid, 0, 7}}, "", "", 2, 2));
   Vex::strepToValue(";;;;@", k);
   EXPECT_TRUE(!k);
}

// Generated command lines: every text the printer can write, parsed, printed
// and parsed again, and taken through the raw form and the string value.
TEST(FlowspecKeyText, GeneratedKeysRoundTripThroughEveryForm) {
   // The labels of the kinds 3 to 13, in order.
   char const* const labels[] = {"IP",  "P",   "DP",   "SP",   "IT", "IC",
                                 "TCP", "LEN", "DSCP", "FRAG", "FL"};
   char const* const numbers[] = {"%u", "0x%x", "0X%X", "0%o"};
   std::mt19937 rng(5575);
   auto pick = [&](std::uint32_t n) { return std::uint32_t(rng() % n); };
   auto prefix = [&]() -> std::string {
      char b[64];
      if (pick(2))
         std::snprintf(b, sizeof b, "%u.%u.%u.%u/%u", pick(256), pick(256), pick(256), pick(256),
                       pick(33));
      else
         std::snprintf(b, sizeof b, "%x:%x::%x:%x/%u", pick(0x10000), pick(0x10000), pick(3),
                       pick(0x10000), pick(129));
      return pick(3) ? b : "*";
   };
   for (int round = 0; round < 3000; ++round) {
      std::string text = prefix() + ";" + prefix();
      std::vector<MatchOpValResult> expected;
      std::uint32_t type = 0, next = 0;
      for (std::uint32_t c = 0, n = pick(6); c < n; ++c) {
         for (std::uint32_t previous = type; type == previous;)
            type = 3 + pick(11);
         bool const bits = type == 9 || type == 12;
         text += std::string(";") + labels[type - 3] + ":";
         for (std::uint32_t i = 0, count = 1 + pick(4); i < count; ++i) {
            std::string ops = i == 0 ? "" : pick(2) ? "|" : "&";
            std::uint8_t op = ops == "&" ? 0x40 : 0;
            for (char const* sign = bits ? "!=" : "<>="; *sign; ++sign)
               if (pick(2)) ops += *sign, op |= *sign == '<' ? 4 : *sign == '=' ? 1 : 2;
            std::shuffle(ops.begin(), ops.end(), rng);
            std::uint32_t const width = pick(3); // 1, 2 or 4 bytes
            std::uint32_t const val = width == 0   ? pick(256)
                                      : width == 1 ? 256 + pick(65280)
                                                   : 65536 + rng() % 0xfffeffff;
            char num[16];
            std::snprintf(num, sizeof num, numbers[pick(4)], val);
            text += ops + num;
            op |= (width << 4) | (i + 1 == count ? 0x80 : 0);
            next += width == 2 ? 2 : 1;
            expected.push_back(MatchOpValResult(T(type), op, val, std::uint16_t(next)));
         }
      }
      if (pick(2)) text += ";";
      SCOPED_TRACE(text);
      FlowspecKey k, cli, raw, value, full;
      ASSERT_TRUE(k.copyInStrCli(text));
      MatchOpValResult r = k.getOptVal(0);
      for (MatchOpValResult const& e : expected) {
         ASSERT_EQ(r, e);
         r = k.getOptVal(r.nextIndex());
      }
      ASSERT_EQ(r, MatchOpValResult());
      ASSERT_TRUE(cli.copyInStrCli(k.toStrepCli()));
      ASSERT_EQ(cli, k) << k.toStrepCli();
      k.vrfIdIs(pick(4) ? rng() : Vrf::VrfIdMap::noVrfId);
      k.addressFamilyIs(Ipkit::AddressFamily(pick(3)));
      raw.copyInStr(k.toStrep());
      ASSERT_EQ(raw, k) << k.toStrep();
      Vex::strepToValue(valueToStrep(k), value);
      ASSERT_EQ(value, k);
      if (k.addressFamily() == Ipkit::ipunknown) continue;
      full.copyInStringValue(k.stringValue());
      ASSERT_EQ(full, k) << k.stringValue();
   }
}
