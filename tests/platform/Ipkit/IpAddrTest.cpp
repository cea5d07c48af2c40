#include "Ipkit/IpAddr.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

using Ipkit::Ip6Addr;
using Ipkit::IpAddr;
using namespace IpkitTest;

namespace {

struct TextCase {
   char const* description;
   char const* text;
   char const* expected; // the printed form, or for refused texts what is wrong
};

/// The message a refused text raises: the kind, the quoted text, the reason.
std::string refusal(char const* kind, char const* text, char const* why) {
   return std::string("invalid ") + kind + " " + Vex::valueToStrep(text).str() + ": " + why;
}

} // namespace

TEST(IpAddr, ReadsStrictDottedQuads) {
   struct {
      char const* description;
      char const* text;
      std::uint32_t value;
   } const valid[] = {
       {"all zero", "0.0.0.0", 0},
       {"private", "10.0.0.1", 0x0a000001},
       {"top bit set", "192.168.1.254", 0xc0a801fe},
       {"all ones", "255.255.255.255", 0xffffffff},
   };
   for (auto const& c : valid) {
      IpAddr const a{Vex::String(c.text)};
      EXPECT_EQ(a.value(), c.value) << c.description;
      EXPECT_EQ(a.stringValue(), c.text) << c.description;
      std::ostringstream os;
      os << a;
      EXPECT_EQ(os.str(), c.text) << c.description;
   }

   TextCase const invalid[] = {
       {"empty", "", "the text is empty"},
       {"three parts", "1.2.3", "expected 4 decimal parts separated by '.', found 3"},
       {"five parts", "1.2.3.4.5", "expected 4 decimal parts separated by '.', found 5"},
       {"empty octet", "1..3.4", "octet 2 is empty"},
       {"trailing dot", "1.2.3.", "octet 4 is empty"},
       {"leading zero", "010.0.0.1",
        "octet 1 ('010') has a leading zero, which is ambiguous (octal or decimal)"},
       {"above 255", "1.2.3.256", "octet 4 ('256') is greater than 255"},
       {"four digits", "1.2.1000.4", "octet 3 ('1000') is greater than 255"},
       {"leading blank", " 1.2.3.4", "octet 1 (' 1') is not a decimal number"},
       {"trailing blank", "1.2.3.4 ", "octet 4 ('4 ') is not a decimal number"},
       {"trailing text", "1.2.3.4x", "octet 4 ('4x') is not a decimal number"},
       {"hex octet", "1.2.3.0x4", "octet 4 ('0x4') is not a decimal number"},
       {"newline escaped in the message", "1.2.3.4\n", "octet 4 ('4\\n') is not a decimal number"},
   };
   for (auto const& c : invalid) {
      EXPECT_EQ(messageOf([&] { IpAddr{Vex::String(c.text)}; }),
                refusal("IPv4 address", c.text, c.expected))
          << c.description;
   }
}

TEST(Ip6Addr, ReadsRfc4291FormsAndPrintsCanonically) {
   TextCase const valid[] = {
       {"all zero", "::", "::"},
       {"loopback", "::1", "::1"},
       {"trailing compression", "1::", "1::"},
       {"longest run compressed, not the first", "2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1"},
       {"leading zeros dropped", "2001:0db8:0000:0000:0000:0000:0002:0001", "2001:db8::2:1"},
       {"single zero group kept", "2001:db8:0:1:1:1:1:1", "2001:db8:0:1:1:1:1:1"},
       {"upper case lowered", "2001:DB8::A", "2001:db8::a"},
       {"longer run wins", "1:0:0:2:0:0:0:3", "1:0:0:2::3"},
       {"first of equal runs", "1:0:0:2:0:0:3:4", "1::2:0:0:3:4"},
       {"run at the end", "2001:db8:0:0:1:0:0:0", "2001:db8:0:0:1::"},
       {"no zeros", "1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8"},
       {"'::' for one group", "1:2:3:4:5:6:7::", "1:2:3:4:5:6:7:0"},
       {"all ones", "FFFF:ffff:ffff:ffff:ffff:ffff:ffff:ffff",
        "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff"},
       {"mapped IPv4", "::ffff:1.2.3.4", "::ffff:1.2.3.4"},
       {"mapped IPv4 in hex", "0:0:0:0:0:ffff:0102:0304", "::ffff:1.2.3.4"},
       {"mapped zero", "::ffff:0:0", "::ffff:0.0.0.0"},
       {"not mapped: ffff in the last group", "::ffff", "::ffff"},
       {"translation prefix printed in hex", "64:ff9b::192.0.2.33", "64:ff9b::c000:221"},
       {"compatible form printed in hex", "::1.2.3.4", "::102:304"},
       {"dotted quad without '::'", "1:2:3:4:5:6:1.2.3.4", "1:2:3:4:5:6:102:304"},
   };
   for (auto const& c : valid) {
      Ip6Addr const a{Vex::String(c.text)};
      EXPECT_EQ(a.stringValue(), c.expected) << c.description;
      EXPECT_EQ(Ip6Addr(Vex::String(c.expected)), a) << c.description;
      std::ostringstream os;
      os << a;
      EXPECT_EQ(os.str(), c.expected) << c.description;
   }
   EXPECT_EQ(Ip6Addr(Vex::String("2001:db8::2:1")).bytes(),
             (Ip6Addr::Bytes{0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x02, 0, 0x01}));

   TextCase const invalid[] = {
       {"empty", "", "the text is empty"},
       {"zone id", "fe80::1%eth0", "zone ids ('%eth0') are not accepted"},
       {"triple colon", ":::", "':::' is not allowed"},
       {"triple colon inside", "1:::2", "':::' is not allowed"},
       {"two gaps", "1::2::3", "'::' may appear only once"},
       {"lone leading colon", ":1::2", "a single ':' may not begin the address"},
       {"lone colon", ":", "a single ':' may not begin the address"},
       {"lone trailing colon", "1::2:", "a single ':' may not end the address"},
       {"seven groups", "1:2:3:4:5:6:7", "expected 8 groups, found 7"},
       {"dotted quad alone", "1.2.3.4", "expected 8 groups, found 2"},
       {"nine groups", "1:2:3:4:5:6:7:8:9", "more than 8 groups"},
       {"nine groups with a dotted quad", "1:2:3:4:5:6:7:1.2.3.4", "more than 8 groups"},
       {"eight groups and '::'", "1:2:3:4::5:6:7:8",
        "more than 7 groups besides '::', which stands for at least one"},
       {"eight groups then '::'",
        "1:2:3:4:5:6:7:8::", "more than 7 groups besides '::', which stands for at least one"},
       {"five digits", "12345::", "group '12345' has more than 4 hexadecimal digits"},
       {"not hex", "db8g::", "group 'db8g' is not hexadecimal"},
       {"trailing blank", "::1 ", "group '1 ' is not hexadecimal"},
       {"dotted quad first",
        "1.2.3.4::", "the dotted-quad part '1.2.3.4' may only end the address"},
       {"short dotted quad", "::1.2.3",
        "dotted-quad part '1.2.3': expected 4 decimal parts separated by '.', found 3"},
       {"dotted quad with leading zero", "::ffff:010.0.0.1",
        "dotted-quad part '010.0.0.1': octet 1 ('010') has a leading zero, which is "
        "ambiguous "
        "(octal or decimal)"},
   };
   for (auto const& c : invalid) {
      EXPECT_EQ(messageOf([&] { Ip6Addr{Vex::String(c.text)}; }),
                refusal("IPv6 address", c.text, c.expected))
          << c.description;
   }
}

TEST(IpAddr, OrderIsUnsignedAndHashFollowsEquality) {
   expectStrictOrder(std::vector<IpAddr>{IpAddr(), IpAddr(0xff), IpAddr(0x01000000),
                                         IpAddr(0x7fffffff), IpAddr(0x80000000),
                                         IpAddr(0xffffffff)});
   EXPECT_EQ(IpAddr(Vex::String("10.0.0.1")).hash(), IpAddr(0x0a000001).hash());

   auto v6 = [](char const* text) { return Ip6Addr(Vex::String(text)); };
   expectStrictOrder(std::vector<Ip6Addr>{Ip6Addr(), v6("::1"), v6("::ffff:1.2.3.4"), v6("1::"),
                                          v6("7fff::"), v6("8000::"), v6("ffff::ffff")});
   EXPECT_EQ(v6("2001:db8::1").hash(), v6("2001:DB8:0:0:0:0:0:0001").hash());
}

TEST(IpAddr, ValueTextIsTheQuotedAddress) {
   expectValueText(IpAddr(0x0a000001), "'10.0.0.1'");
   expectValueText(IpAddr(), "'0.0.0.0'");
   expectValueText(Ip6Addr(Vex::String("2001:db8::1")), "'2001:db8::1'");
   expectValueText(Ip6Addr(Vex::String("::ffff:10.0.0.1")), "'::ffff:10.0.0.1'");

   IpAddr const a(0x01020304);
   expectValueTextRefused("10.0.0.1", a); // not quoted
   expectValueTextRefused("''", a);       // no empty IPv4 address
   expectValueTextRefused("'1.2.3'", a);
   expectValueTextRefused("'1.2.3.4' ", a);
   expectValueTextRefused("'1.2.3.4'", Ip6Addr());
   EXPECT_EQ(messageOf([] {
                IpAddr v;
                Vex::strepToValue(Vex::String("'1.2.3.04'"), v);
             }),
             "invalid IPv4 address '1.2.3.04': octet 4 ('04') has a leading zero, which is "
             "ambiguous (octal or decimal)");
}

TEST(IpAddr, LogFormIsNetworkOrder) {
   expectLogForm(IpAddr(0x0a000001), {10, 0, 0, 1});
   expectLogForm(IpAddr(0xffffffff), {0xff, 0xff, 0xff, 0xff});
   expectLogForm(Ip6Addr(Vex::String("2001:db8::ff")),
                 {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff});
}
