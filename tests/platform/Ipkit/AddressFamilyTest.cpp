#include "Ipkit/AddressFamily.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <sstream>

using Ipkit::AddressFamily;
using namespace IpkitTest;

TEST(AddressFamily, NamesAndOtherNumbers) {
   struct {
      AddressFamily af;
      char const* text;
   } const cases[] = {
       {AddressFamily::ipunknown, "ipunknown"},
       {AddressFamily::ipv4, "ipv4"},
       {AddressFamily::ipv6, "ipv6"},
       {static_cast<AddressFamily>(3), "3"},
       {static_cast<AddressFamily>(-7), "-7"},
       {static_cast<AddressFamily>(2147483647), "2147483647"},
       {static_cast<AddressFamily>(-2147483647 - 1), "-2147483648"},
   };
   for (auto const& c : cases) {
      std::ostringstream os;
      os << c.af;
      EXPECT_EQ(os.str(), c.text);
      EXPECT_EQ(valueToStrep(c.af), c.text);
      AddressFamily back = AddressFamily::ipunknown;
      Vex::strepToValue(Vex::String(c.text), back);
      EXPECT_EQ(back, c.af) << c.text;

      Bytes const bytes = logBytes(c.af);
      EXPECT_EQ(bytes.size(), 4u);
      EXPECT_EQ(readLog<AddressFamily>(bytes), c.af) << c.text;
   }
   EXPECT_EQ(logBytes(AddressFamily::ipv6), (Bytes{0, 0, 0, 2}));
   EXPECT_EQ(logBytes(static_cast<AddressFamily>(-2)), (Bytes{0xff, 0xff, 0xff, 0xfe}));
   EXPECT_EQ(Ipkit::addressBits(Ipkit::ipv4), 32u);
   EXPECT_EQ(Ipkit::addressBits(Ipkit::ipv6), 128u);
   EXPECT_EQ(Ipkit::addressBits(static_cast<AddressFamily>(9)), 0u);
}

TEST(AddressFamily, RefusesOtherTexts) {
   for (char const* text : {"", "ipv5", "IPV4", "ipv4x", "'ipv4'", "2147483648", "-", "ipv4 "}) {
      AddressFamily af = AddressFamily::ipv6;
      EXPECT_THROW(Vex::strepToValue(Vex::String(text), af), Vex::Exception) << text;
      EXPECT_EQ(af, AddressFamily::ipv6) << text;
   }
   EXPECT_EQ(messageOf([] {
                AddressFamily af{};
                Vex::strepToValue(Vex::String("ipv5"), af);
             }),
             "expected an address family (ipunknown, ipv4, ipv6 or a number) at 'ipv5'");
}
