#include "Ipkit/IpGenAddr.h"
#include "Ipkit/IpGenPrefix.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <sstream>
#include <unordered_set>

using Ipkit::Ip6Addr;
using Ipkit::IpAddr;
using Ipkit::IpGenAddr;
using namespace IpkitTest;

namespace {
IpGenAddr gen(char const* text) {
   return IpGenAddr(Vex::String(text));
}
} // namespace

TEST(IpGenAddr, HoldsEitherFamilyOrNone) {
   IpGenAddr const none;
   EXPECT_EQ(none.af(), Ipkit::AddressFamily::ipunknown);
   EXPECT_TRUE(none.isUnspecified());
   EXPECT_EQ(none.stringValue(), "");
   EXPECT_EQ(none.bytes().size(), 0u);
   EXPECT_EQ(none.v4(), IpAddr());
   EXPECT_EQ(none.v6(), Ip6Addr());

   IpGenAddr const a = IpAddr(0x0a000001);
   EXPECT_EQ(a.af(), Ipkit::AddressFamily::ipv4);
   EXPECT_EQ(a.v4(), IpAddr(0x0a000001));
   EXPECT_EQ(a.v6(), Ip6Addr()); // the other family reads as zero
   EXPECT_EQ(a.bitLength(), 32u);
   EXPECT_EQ(a, gen("10.0.0.1"));
   std::ostringstream os;
   os << a;
   EXPECT_EQ(os.str(), "10.0.0.1");

   IpGenAddr const b = Ip6Addr(Vex::String("2001:db8::1"));
   EXPECT_EQ(b.af(), Ipkit::AddressFamily::ipv6);
   EXPECT_EQ(b.v6(), Ip6Addr(Vex::String("2001:db8::1")));
   EXPECT_EQ(b.v4(), IpAddr());
   EXPECT_EQ(b.bytes().size(), 16u);
   EXPECT_EQ(b, gen("2001:DB8::0:1"));
   EXPECT_EQ(b.stringValue(), "2001:db8::1");

   // The zero addresses are specified ones, distinct from each other and from none.
   EXPECT_FALSE(gen("0.0.0.0").isUnspecified());
   EXPECT_FALSE(gen("::").isUnspecified());
   EXPECT_NE(gen("0.0.0.0"), none);
   EXPECT_NE(gen("::"), gen("0.0.0.0"));
}

TEST(IpGenAddr, RefusesBadTextWithTheReaderOfItsForm) {
   struct {
      char const* description;
      char const* text;
      char const* message;
   } const cases[] = {
       {"empty", "", "invalid IP address '': the text is empty"},
       {"neither form", "localhost",
        "invalid IP address 'localhost': neither a dotted-quad IPv4 address nor an "
        "IPv6 "
        "address"},
       {"bad dotted quad", "10.0.0",
        "invalid IPv4 address '10.0.0': expected 4 decimal parts separated by '.', "
        "found 3"},
       {"dotted quad with a port", "10.0.0.1:80",
        "invalid IPv6 address '10.0.0.1:80': the dotted-quad part '10.0.0.1' may only "
        "end the "
        "address"},
       {"bad IPv6", "1::2::3", "invalid IPv6 address '1::2::3': '::' may appear only once"},
   };
   for (auto const& c : cases) {
      EXPECT_EQ(messageOf([&] { gen(c.text); }), c.message) << c.description;
   }
}

// An address is its family byte and 16 address bytes, without padding: rule
// keys and match components hold them by the million.
static_assert(sizeof(IpGenAddr) == 17 && sizeof(Ipkit::IpGenPrefix) == 18);

TEST(IpGenAddr, OrdersByFamilyThenAddressAndHashesByValue) {
   std::vector<IpGenAddr> const ascending = {
       IpGenAddr(), gen("0.0.0.0"), gen("10.0.0.1"),   gen("255.255.255.255"), gen("::"),
       gen("::1"),  gen("::a00:1"), gen("2001:db8::"), gen("ffff::ffff")};
   expectStrictOrder(ascending);
   // 10.0.0.1 and ::a00:1 have the same leading bytes; the family tells them apart.
   EXPECT_NE(gen("10.0.0.1").hash(), gen("::a00:1").hash());
   std::unordered_set<IpGenAddr> const set(ascending.begin(), ascending.end());
   EXPECT_EQ(set.size(), ascending.size());
   EXPECT_EQ(set.count(gen("2001:DB8:0::0")), 1u);
}

TEST(IpGenAddr, ValueTextQuotesTheAddressAndEmptyIsUnspecified) {
   expectValueText(IpGenAddr(), "''");
   expectValueText(gen("10.0.0.1"), "'10.0.0.1'");
   expectValueText(gen("2001:DB8:0:0::1"), "'2001:db8::1'");
   expectValueText(gen("::ffff:1.2.3.4"), "'::ffff:1.2.3.4'");
   expectValueTextRefused("'10.0.0'", gen("1.1.1.1"));
   expectValueTextRefused("'eth0'", gen("1.1.1.1"));
   expectValueTextRefused("10.0.0.1", gen("1.1.1.1"));
}

TEST(IpGenAddr, LogFormIsFamilyThenAddressBytes) {
   expectLogForm(IpGenAddr(), {0, 0, 0, 0});
   expectLogForm(gen("10.0.0.1"), {0, 0, 0, 1, 10, 0, 0, 1});
   expectLogForm(gen("2001:db8::1"),
                 {0, 0, 0, 2, 0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});

   for (Bytes const& corrupt : {Bytes{0, 0, 0, 3, 10, 0, 0, 1}, Bytes{0xff, 0xff, 0xff, 0xff},
                                Bytes{1, 0, 0, 1, 10, 0, 0, 1}}) {
      Vex::NboAttrLog::In in(corrupt.data(), corrupt.size());
      EXPECT_THROW(IpGenAddr(&in, Vex::StreamBogon()), Vex::Exception);
   }
   EXPECT_EQ(messageOf([] {
                Bytes const bytes{0, 0, 0, 3};
                Vex::NboAttrLog::In in(bytes.data(), bytes.size());
                IpGenAddr(&in, Vex::StreamBogon());
             }),
             "IpGenAddr: address family 3 in the log is none of ipunknown (0), ipv4 "
             "(1), ipv6 (2)");
}
