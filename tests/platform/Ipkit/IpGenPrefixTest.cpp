#include "Ipkit/IpGenPrefix.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <sstream>

using Ipkit::Ip6Addr;
using Ipkit::IpAddr;
using Ipkit::IpGenAddr;
using Ipkit::IpGenPrefix;
using namespace IpkitTest;

namespace {
IpGenPrefix prefix(char const* text) {
   return IpGenPrefix(Vex::String(text));
}
IpGenAddr gen(char const* text) {
   return IpGenAddr(Vex::String(text));
}
} // namespace

TEST(IpGenPrefix, ReadsPrefixesAndClearsHostBits) {
   struct {
      char const* description;
      char const* text;
      char const* printed;
      unsigned len;
   } const valid[] = {
       {"IPv4 network", "10.0.0.0/8", "10.0.0.0/8", 8},
       {"IPv4 host bits cleared", "10.1.2.3/8", "10.0.0.0/8", 8},
       {"IPv4 odd length", "192.168.255.255/17", "192.168.128.0/17", 17},
       {"IPv4 default route", "1.2.3.4/0", "0.0.0.0/0", 0},
       {"IPv4 bare address is a host", "10.1.2.3", "10.1.2.3/32", 32},
       {"IPv4 full length", "255.255.255.255/32", "255.255.255.255/32", 32},
       {"IPv6 network", "2001:db8::/32", "2001:db8::/32", 32},
       {"IPv6 host bits cleared", "2001:db8:ffff::1/33", "2001:db8:8000::/33", 33},
       {"IPv6 inside a group", "2001:db8::ffff:ffff/125", "2001:db8::ffff:fff8/125", 125},
       {"IPv6 default route", "ffff::/0", "::/0", 0},
       {"IPv6 bare address is a host", "2001:DB8::1", "2001:db8::1/128", 128},
       {"IPv6 mapped", "::ffff:10.1.2.3/120", "::ffff:10.1.2.0/120", 120},
   };
   for (auto const& c : valid) {
      IpGenPrefix const p = prefix(c.text);
      EXPECT_EQ(p.stringValue(), c.printed) << c.description;
      EXPECT_EQ(p.len(), c.len) << c.description;
      EXPECT_EQ(prefix(c.printed), p) << c.description;
      std::ostringstream os;
      os << p;
      EXPECT_EQ(os.str(), c.printed) << c.description;
   }

   IpGenPrefix const p(gen("10.1.2.3"), 16);
   EXPECT_EQ(p.af(), Ipkit::AddressFamily::ipv4);
   EXPECT_EQ(p.addr(), gen("10.1.0.0"));
   EXPECT_FALSE(p.isEmpty());
   EXPECT_FALSE(prefix("0.0.0.0/0").isEmpty());

   IpGenPrefix const empty;
   EXPECT_TRUE(empty.isEmpty());
   EXPECT_EQ(empty.af(), Ipkit::AddressFamily::ipunknown);
   EXPECT_EQ(empty.len(), 0u);
   EXPECT_EQ(empty.stringValue(), "");
   EXPECT_EQ(IpGenPrefix(IpGenAddr(), 0), empty);
}

TEST(IpGenPrefix, RefusesLengthsBeyondTheFamily) {
   EXPECT_NO_THROW(IpGenPrefix(IpAddr(), 32));
   EXPECT_NO_THROW(IpGenPrefix(Ip6Addr(), 128));
   EXPECT_EQ(messageOf([] { IpGenPrefix(IpAddr(), 33); }), "IpGenPrefix::len > 32 not allowed");
   EXPECT_EQ(messageOf([] { IpGenPrefix(Ip6Addr(), 129); }), "IpGenPrefix::len > 128 not allowed");
   EXPECT_EQ(messageOf([] { IpGenPrefix(IpGenAddr(), 1); }), "IpGenPrefix::len > 0 not allowed");
   EXPECT_THROW(IpGenPrefix(IpAddr(), 4096), Vex::RangeException);
}

TEST(IpGenPrefix, RefusesBadTextSayingWhy) {
   struct {
      char const* description;
      char const* text;
      char const* why;
   } const cases[] = {
       {"empty", "", "the text is empty"},
       {"no address", "/8", "the address before '/' is missing"},
       {"bad address", "10.0.0/8",
        "invalid IPv4 address '10.0.0': expected 4 decimal parts separated by '.', "
        "found 3"},
       {"no length", "10.0.0.0/", "the length after '/' is missing"},
       {"sign", "10.0.0.0/+8", "the length '+8' is not a decimal number"},
       {"trailing text", "10.0.0.0/8x", "the length '8x' is not a decimal number"},
       {"leading zero", "10.0.0.0/08", "the length '08' has a leading zero"},
       {"IPv4 too long", "10.0.0.0/33",
        "the length 33 is greater than 32, the bits of an IPv4 address"},
       {"IPv6 too long", "::/129",
        "the length 129 is greater than 128, the bits of an IPv6 address"},
       {"many digits", "::/1000000000000000000000",
        "the length 1000000000000000000000 is greater than 128, the bits of an IPv6 "
        "address"},
       {"zone id", "fe80::%eth0/64",
        "invalid IPv6 address 'fe80::%eth0': zone ids ('%eth0') are not accepted"},
   };
   for (auto const& c : cases) {
      EXPECT_EQ(messageOf([&] { prefix(c.text); }),
                "invalid IP prefix " + Vex::valueToStrep(c.text).str() + ": " + c.why)
          << c.description;
   }
   EXPECT_EQ(prefix("10.0.0.0/0").len(), 0u); // a lone "0" is no leading zero
}

TEST(IpGenPrefix, OrdersByFamilyAddressLengthAndHashesByValue) {
   expectStrictOrder(std::vector<IpGenPrefix>{
       IpGenPrefix(), prefix("0.0.0.0/0"), prefix("0.0.0.0/8"), prefix("10.0.0.0/8"),
       prefix("10.0.0.0/16"), prefix("10.0.0.0/32"), prefix("10.128.0.0/9"), prefix("::/0"),
       prefix("::/1"), prefix("2001:db8::/32"), prefix("2001:db8::/48")});
   EXPECT_EQ(prefix("10.1.2.3/8").hash(), prefix("10.0.0.0/8").hash());
   EXPECT_NE(prefix("10.0.0.0/8").hash(), prefix("10.0.0.0/9").hash());
}

TEST(IpGenPrefix, ValueTextRoundTrips) {
   expectValueText(IpGenPrefix(), "''");
   expectValueText(prefix("10.1.2.3/8"), "'10.0.0.0/8'");
   expectValueText(prefix("2001:db8::/32"), "'2001:db8::/32'");
   expectValueText(prefix("::1"), "'::1/128'");
   expectValueTextRefused("'10.0.0.0/33'", prefix("1.0.0.0/8"));
   expectValueTextRefused("'10.0.0.0/8", prefix("1.0.0.0/8"));
   expectValueTextRefused("'10.0.0.0/8' x", prefix("1.0.0.0/8"));
}

TEST(IpGenPrefix, LogFormAndCorruptRecords) {
   expectLogForm(IpGenPrefix(), {0, 0, 0, 0, 0});
   expectLogForm(prefix("10.0.0.0/8"), {0, 0, 0, 1, 10, 0, 0, 0, 8});
   expectLogForm(prefix("2001:db8::/32"),
                 {0, 0, 0, 2, 0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 32});

   struct {
      char const* description;
      Bytes bytes;
      char const* message;
   } const corrupt[] = {
       {"unknown family",
        {0, 0, 0, 7, 10, 0, 0, 0, 8},
        "IpGenAddr: address family 7 in the log is none of ipunknown (0), ipv4 (1), "
        "ipv6 (2)"},
       {"IPv4 length 33",
        {0, 0, 0, 1, 10, 0, 0, 0, 33},
        "IpGenPrefix: length 33 in the log exceeds the 32 bits of an ipv4 address"},
       {"IPv6 length 129",
        {0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 129},
        "IpGenPrefix: length 129 in the log exceeds the 128 bits of an ipv6 address"},
       {"length without family",
        {0, 0, 0, 0, 1},
        "IpGenPrefix: length 1 in the log for a prefix without address family"},
       {"host bits set",
        {0, 0, 0, 1, 10, 1, 0, 0, 8},
        "IpGenPrefix: the address 10.1.0.0 in the log has bits set beyond its length "
        "8"},
       {"IPv6 host bit set",
        {0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 127},
        "IpGenPrefix: the address ::1 in the log has bits set beyond its length 127"},
   };
   for (auto const& c : corrupt) {
      EXPECT_EQ(messageOf([&] { readLog<IpGenPrefix>(c.bytes); }), c.message) << c.description;
   }
}
