#include "Flowspec/values/FlowspecKeyParse.h"

#include "Ipkit/IpGenPrefix.h"
#include "ValueChecks.h"
#include "Vex/Exception.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

using namespace Flowspec;
using FlowspecTest::TraceCapture;

namespace {

// Keys in the spelling the printer uses: each must print back as itself.
std::vector<std::string> const canonical = {
    "*;*;",
    "10.1.0.0/16;*;",
    "*;192.0.2.0/24;",
    "198.51.100.0/24;*;IP:=6;DP:>=1000&<=2000|=80;TCP:=2&!=16;LEN:=1500;",
    "2001:db8::/32;2001:db8:bad::/48;IT:=128;FRAG:!=2;FL:=48879;",
    "*;*;IP:=17;SP:=53;",
    "*;*;IP:<>=0;P:<>80;",
    "*;*;DP:=0|=65535;",
    "*;*;IP:=255;SP:<1024;IT:=255;IC:=255;",
    "*;*;TCP:!511;FRAG:15|=1;",
    "*;*;DSCP:=63;",
    "2001:db8::/32;*;FL:=1048575;",
    "*;*;LEN:>=468&<=500;DSCP:<5|>60;",
};

TEST(FlowspecKeyParse, CanonicalTextPrintsBackAsItselfAndAgreesWithTheLenientParser) {
   for (std::string const& text : canonical) {
      SCOPED_TRACE(text);
      KeyParseResult const r = parseKeyCli(text);
      ASSERT_TRUE(r.ok()) << r.error().column << ": " << r.error().message;
      EXPECT_EQ(r.key().toStrepCli().str(), text);
      FlowspecKey lenient;
      ASSERT_TRUE(lenient.copyInStrCli(text));
      EXPECT_EQ(r.key(), lenient);
   }
}

TEST(FlowspecKeyParse, SpellingFreedomsPrintInTheCanonicalFormAndReadBackEqual) {
   struct Case {
      char const* description;
      char const* text;
      char const* printed;
   } const cases[] = {
       {"hexadecimal numbers", "*;*;TCP:=0x12;FL:=0xBEEF;", "*;*;TCP:=18;FL:=48879;"},
       {"no final ';'", "*;*;IP:=6", "*;*;IP:=6;"},
       {"no components and no ';'", "*;*", "*;*;"},
       {"an IPv6 address in capitals", "2001:DB8:0::/32;*;", "2001:db8::/32;*;"},
   };
   for (Case const& c : cases) {
      SCOPED_TRACE(c.description);
      KeyParseResult const r = parseKeyCli(c.text);
      ASSERT_TRUE(r.ok()) << r.error().message;
      EXPECT_EQ(r.key().toStrepCli().str(), c.printed);
      KeyParseResult const again = parseKeyCli(r.key().toStrepCli().view());
      ASSERT_TRUE(again.ok());
      EXPECT_EQ(again.key(), r.key());
   }
}

TEST(FlowspecKeyParse, EveryRefusalHasItsColumnAndReason) {
   struct Case {
      char const* description;
      char const* text;
      Ipkit::AddressFamily af;
      std::size_t column;
      char const* message;
   } const cases[] = {
       {"ICMP is not IC", "*;*;ICMP:=8;", Ipkit::ipunknown, 5,
        "'ICMP' is not a label; the labels are IP, P, DP, SP, IT, IC, TCP, LEN, DSCP, "
        "FRAG and FL"},
       {"IPX is not IP", "*;*;IPX:=6;", Ipkit::ipunknown, 5,
        "'IPX' is not a label; the labels are IP, P, DP, SP, IT, IC, TCP, LEN, DSCP, "
        "FRAG and FL"},
       {"DPORT is not DP", "*;*;DPORT:=80;", Ipkit::ipunknown, 5,
        "'DPORT' is not a label; the labels are IP, P, DP, SP, IT, IC, TCP, LEN, DSCP, "
        "FRAG and FL"},
       {"a port above 65535", "*;*;DP:=70000;", Ipkit::ipunknown, 9,
        "the number 70000 is out of range for DP (Destination Port): 0 to 65535"},
       {"a protocol above 255", "*;*;IP:=256;", Ipkit::ipunknown, 9,
        "the number 256 is out of range for IP (IP Protocol): 0 to 255"},
       {"DSCP 64", "*;*;DSCP:=64;", Ipkit::ipunknown, 11,
        "the number 64 is out of range for DSCP (DSCP): 0 to 63"},
       {"a flow label above 0xfffff", "*;*;FL:=0x100000;", Ipkit::ipunknown, 9,
        "the number 0x100000 is out of range for FL (Flow Label): 0 to 1048575 "
        "(0xfffff)"},
       {"a TCP flag above NS", "*;*;TCP:=512;", Ipkit::ipunknown, 10,
        "the number 512 is out of range for TCP (TCP Flags): 0 to 511 (0x1ff)"},
       {"a number beyond 32 bits", "*;*;LEN:=4294967377;", Ipkit::ipunknown, 10,
        "the number 4294967377 is out of range for LEN (Packet Length): 0 to 65535"},
       {"a value without an operator", "*;*;DP:80;", Ipkit::ipunknown, 8,
        "the value '80' has no operator: write =, <, > or a combination before it"},
       {"digits that stop early", "*;*;DP:=08;", Ipkit::ipunknown, 9,
        "the number '08' has a leading zero: write 8, or 0x... for hexadecimal (octal "
        "is not read)"},
       {"0x without digits", "*;*;DP:=0x;", Ipkit::ipunknown, 9,
        "'0x' needs hexadecimal digits after it"},
       {"a letter after a number", "*;*;DP:=8a;", Ipkit::ipunknown, 10, "unexpected character 'a'"},
       {"a control byte", "*;*;DP:=8\x01;", Ipkit::ipunknown, 10, "unexpected character '\\x01'"},
       {"operators out of order", "*;*;DP:=>80;", Ipkit::ipunknown, 9,
        "write a number's operators once each, in the order <, >, ="},
       {"an operator twice", "*;*;TCP:!!2;", Ipkit::ipunknown, 10,
        "write a bit mask's operators once each, ! before ="},
       {"two values without & or |", "*;*;DP:=80=443;", Ipkit::ipunknown, 11,
        "'&' (and) or '|' (or) must join two values of DP (Destination Port)"},
       {"& before the first value", "*;*;DP:&=80;", Ipkit::ipunknown, 8,
        "'&' joins two values; none stands before it"},
       {"two connectors", "*;*;DP:=80|&=443;", Ipkit::ipunknown, 12, "two of '&' and '|' in a row"},
       {"a connector after an operator", "*;*;DP:=80|<&=443;", Ipkit::ipunknown, 13,
        "'&' goes before the operators of a value"},
       {"a trailing connector", "*;*;DP:=80|;", Ipkit::ipunknown, 12,
        "'|' needs a number after it"},
       {"an operator without a value", "*;*;DP:>=1000&<=", Ipkit::ipunknown, 17,
        "'=' needs a number after it"},
       {"a component without values", "*;*;IT:;", Ipkit::ipunknown, 8,
        "IT (ICMP Type) has no value"},
       {"< on a bit mask", "*;*;TCP:<2;", Ipkit::ipunknown, 9,
        "'<' compares numbers, but TCP (TCP Flags) is a bit mask (use ! and =)"},
       {"! on a number", "*;*;DP:!=2;", Ipkit::ipunknown, 8,
        "'!' negates a bit mask, but DP (Destination Port) is a number (use <, > and "
        "=)"},
       {"a kind twice", "*;*;DP:=80;DP:=443;", Ipkit::ipunknown, 12,
        "DP (Destination Port) is given twice; join its values in one component"},
       {"kinds out of order", "*;*;FRAG:=4;LEN:<200;", Ipkit::ipunknown, 13,
        "LEN (Packet Length) must come before FRAG (Fragment Flags): components go in "
        "the order IP, "
        "P, DP, SP, IT, IC, TCP, LEN, DSCP, FRAG and FL"},
       {"an empty component", "*;*;IP:=6;;", Ipkit::ipunknown, 11,
        "an empty component: two ';' in a row"},
       {"no ':'", "*;*;IP=6;", Ipkit::ipunknown, 5,
        "the component 'IP=6' has no ':' (LABEL:OPERATORS)"},
       {"an empty text", "", Ipkit::ipunknown, 1,
        "the key is empty: it starts with the destination prefix or *"},
       {"no source", "10.0.0.0/8", Ipkit::ipunknown, 11,
        "the source prefix (or *) is missing after the destination's ';'"},
       {"a prefix too long", "10.1.0.0/33;*;", Ipkit::ipunknown, 1, nullptr},
       {"host bits", "10.1.2.3/8;*;", Ipkit::ipunknown, 1,
        "the destination prefix '10.1.2.3/8' has bits set past its length: "
        "10.0.0.0/8?"},
       {"a prefix of the other family", "10.0.0.0/8;*;", Ipkit::ipv6, 1,
        "the destination prefix '10.0.0.0/8' is not ipv6"},
       {"a source of the other family", "*;2001:db8::/32;", Ipkit::ipv4, 3,
        "the source prefix '2001:db8::/32' is not ipv4"},
       {"prefixes of two families", "10.0.0.0/8;2001:db8::/32;", Ipkit::ipunknown, 12,
        "the source prefix '2001:db8::/32' is ipv6, the destination prefix ipv4"},
       {"a flow label in IPv4", "10.0.0.0/8;*;FL:=1;", Ipkit::ipunknown, 14,
        "a flow label is an IPv6 match (RFC 8956); this key is ipv4"},
       {"a flow label in an IPv4 key without prefixes", "*;*;FL:=1;", Ipkit::ipv4, 5,
        "a flow label is an IPv6 match (RFC 8956); this key is ipv4"},
   };
   for (Case const& c : cases) {
      SCOPED_TRACE(c.description);
      KeyParseResult const r = parseKeyCli(c.text, c.af);
      ASSERT_FALSE(r.ok()) << r.key().toStrepCli();
      EXPECT_EQ(r.error().column, c.column);
      if (c.message) {
         EXPECT_EQ(r.error().message, c.message);
      }
   }
}

TEST(FlowspecKeyParse, TheFamilyIsSetAndNothingIsTraced) {
   TraceCapture capture(~0u);
   KeyParseResult const r = parseKeyCli("2001:db8::/32;*;FL:=7;", Ipkit::ipv6);
   ASSERT_TRUE(r.ok());
   EXPECT_EQ(r.key().addressFamily(), Ipkit::ipv6);
   EXPECT_EQ(r.key().vrfId(), Vrf::VrfIdMap::noVrfId);
   EXPECT_FALSE(parseKeyCli("*;*;ICMP:=8;").ok());
   EXPECT_TRUE(capture.lines.empty());
   EXPECT_EQ(parseKeyCli("*;*;").key().addressFamily(), Ipkit::ipunknown);
}

TEST(FlowspecKeyParse, EveryPrefixOfAValidKeyParsesOrSaysWhereItStops) {
   std::string const text = "198.51.100.0/24;*;IP:=6;DP:>=1000&<=2000|=80;TCP:=0x2&!=16;LEN:<1500;";
   for (std::size_t n = 0; n <= text.size(); ++n) {
      std::string const cut = text.substr(0, n);
      SCOPED_TRACE(cut);
      KeyParseResult const r = parseKeyCli(cut);
      if (r.ok()) {
         KeyParseResult const again = parseKeyCli(r.key().toStrepCli().view());
         ASSERT_TRUE(again.ok());
         EXPECT_EQ(again.key(), r.key());
      } else {
         EXPECT_GE(r.error().column, 1u);
         EXPECT_LE(r.error().column, n + 1);
         EXPECT_FALSE(r.error().message.empty());
      }
   }
}

TEST(FlowspecKeyParse, ResultAccessorsAssert) {
   EXPECT_DEATH((void)parseKeyCli("*;*;").error(), "!ok\\(\\)");
   EXPECT_DEATH((void)parseKeyCli("").key(), "ok\\(\\)");
}

TEST(AddressFamilyText, OnlyTheTwoNamesAreFamilies) {
   EXPECT_EQ(Ipkit::addressFamilyFromText("ipv4"), Ipkit::ipv4);
   EXPECT_EQ(Ipkit::addressFamilyFromText("ipv6"), Ipkit::ipv6);
   for (char const* other : {"", "IPv4", "ipv5", "ipunknown", "1", "ipv4 ", "ipv"})
      EXPECT_EQ(Ipkit::addressFamilyFromText(other), std::nullopt) << other;
}

} // namespace

TEST(FlowspecKeyParse, IPv4PrefixesReadAsIpkitReadsThem) {
   // Plain dotted quads take a shortcut: every text, plain or not, reads
   // to the prefix Ipkit reads, and is refused where it refuses or where
   // bits are set past the length.
   std::vector<std::string> texts = {
       "0.0.0.0/0",        "255.255.255.255/32", "10.0.0.0/8",   "10.0.0.1/8",    "10.0.0.0/33",
       "10.0.0.0/08",      "010.0.0.0/8",        "10.0.0/8",     "10.0.0.0.0/8",  "256.0.0.0/8",
       "10.0.0.0",         "10.0.0.0/",          "10.0.0.0/8x",  "1.2.3.4/32",    "1.2.3.4/31",
       "0.0.0.0/32",       "10.0.0.0/100",       "1000.0.0.0/8", "10..0.0/8",     "10.0.0.0//8",
       "192.168.1.128/25", "192.168.1.128/24",   "::/0",         "2001:db8::/32",
   };
   for (unsigned len : {0u, 1u, 7u, 8u, 9u, 16u, 23u, 24u, 25u, 31u, 32u}) {
      for (std::uint32_t a : {0u, 0x80000000u, 0x0a000000u, 0xc0a80180u, 0xffffffffu}) {
         std::uint32_t const net = len == 0 ? 0 : a & ~std::uint32_t(0) << (32 - len);
         texts.push_back(std::to_string(net >> 24) + "." + std::to_string(net >> 16 & 255) + "." +
                         std::to_string(net >> 8 & 255) + "." + std::to_string(net & 255) + "/" +
                         std::to_string(len));
      }
   }
   for (std::string const& text : texts) {
      SCOPED_TRACE(text);
      KeyParseResult const r = parseKeyCli(text + ";*;");
      std::optional<Ipkit::IpGenPrefix> ipkit;
      try {
         ipkit = Ipkit::IpGenPrefix(Vex::String(text));
      } catch (Vex::Exception const&) {
      }
      bool const exact =
          ipkit && Ipkit::IpGenAddr(Vex::String(text.substr(0, text.find('/')))) == ipkit->addr();
      ASSERT_EQ(r.ok(), ipkit && exact) << (r.ok() ? "" : r.error().message);
      if (r.ok()) {
         EXPECT_EQ(r.key().destPrefix(), *ipkit);
      }
   }
}
