#include "Ipkit/IpTos.h"

#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <sstream>

using Ipkit::IpProtocolNumber;
using Ipkit::IpTos;
using namespace IpkitTest;

// Both one-byte types behave alike; one typed suite runs over both.
template <class T>
class ByteValue : public ::testing::Test {};
using ByteTypes = ::testing::Types<IpTos, IpProtocolNumber>;
TYPED_TEST_SUITE(ByteValue, ByteTypes);

TYPED_TEST(ByteValue, HoldsZeroTo255) {
   using T = TypeParam;
   EXPECT_EQ(T().value(), 0);
   EXPECT_EQ(T(255).value(), 255);
   char const* const name = std::is_same_v<T, IpTos> ? "IpTos" : "IpProtocolNumber";
   EXPECT_EQ(messageOf([] { T(256); }), std::string(name) + "::value > 255 not allowed");
   EXPECT_THROW(T(~0u), Vex::RangeException);
   EXPECT_THROW(T(-1), Vex::RangeException);

   std::ostringstream os;
   os << T(46);
   EXPECT_EQ(os.str(), "46");
   expectStrictOrder(std::vector<T>{T(0), T(1), T(127), T(128), T(255)});
}

TYPED_TEST(ByteValue, ValueTextIsDecimalAndLogIsOneByte) {
   using T = TypeParam;
   expectValueText(T(), "0");
   expectValueText(T(6), "6");
   expectValueText(T(255), "255");
   expectValueTextRefused("256", T(6));
   expectValueTextRefused("-1", T(6));
   expectValueTextRefused("'6'", T(6));
   expectValueTextRefused("99999999999999999999999", T(6));
   T v(1);
   EXPECT_THROW(Vex::strepToValue(Vex::String("256"), v), Vex::RangeException);

   expectLogForm(T(0), {0});
   expectLogForm(T(0xb8), {0xb8});
}
