#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/IpVersion.h"
#include "Flowspec/values/TrafficAction.h"
#include "ValueChecks.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Flowspec;

namespace {

// One flag of set S: its name, accessors and constant, all spelled alike.
template <class S>
struct Flag {
   char const* name;
   bool (S::*get)() const noexcept;
   void (S::*set)(bool) noexcept;
   S const* constant;
};
#define FLAG(f)                                                                                    \
   { #f, &S::f, &S::f##Is, &S::f##_ }

// Each set's flags in bit order, its highest word and the message refusing more.
template <class S>
struct Expected;
template <>
struct Expected<ActionFieldSet> {
   using S = ActionFieldSet;
   static constexpr std::uint32_t highest = 0x7f;
   static constexpr char const* message = "ActionFieldSet::value > 0x7f not allowed";
   inline static std::vector<Flag<S>> const flags = {
       FLAG(invalid),       FLAG(trafficPermit),   FLAG(trafficDrop),   FLAG(trafficRate),
       FLAG(trafficAction), FLAG(trafficRedirect), FLAG(trafficMarking)};
};
template <>
struct Expected<TrafficAction> {
   using S = TrafficAction;
   static constexpr std::uint32_t highest = 0x3;
   static constexpr char const* message = "TrafficAction::value > 0x3 not allowed";
   inline static std::vector<Flag<S>> const flags = {FLAG(sampleAndLog), FLAG(continueMatch)};
};
template <>
struct Expected<IpVersion> {
   using S = IpVersion;
   static constexpr std::uint32_t highest = 0x3;
   static constexpr char const* message = "IpVersion::value > 0x3 not allowed";
   inline static std::vector<Flag<S>> const flags = {FLAG(ipv4), FLAG(ipv6)};
};
#undef FLAG

template <class S>
class FlagSetTest : public ::testing::Test {};
using FlagSets = ::testing::Types<ActionFieldSet, TrafficAction, IpVersion>;
TYPED_TEST_SUITE(FlagSetTest, FlagSets);

} // namespace

TYPED_TEST(FlagSetTest, EachFlagIsOneBitInOrderByNameAndByConstant) {
   using S = TypeParam;
   auto const& flags = Expected<S>::flags;
   ASSERT_EQ(S::flagNames.size(), flags.size());
   S const none;
   EXPECT_EQ(none.value(), 0u);
   EXPECT_TRUE(!none);
   S all;
   for (std::uint32_t bit = 0; bit < flags.size(); ++bit) {
      Flag<S> const& f = flags[bit];
      SCOPED_TRACE(f.name);
      EXPECT_EQ(std::string(S::flagNames[bit]), f.name);
      EXPECT_EQ(f.constant->value(), 1u << bit);
      S one;
      (one.*f.set)(true);
      (one.*f.set)(true);
      EXPECT_EQ(one, *f.constant);
      for (Flag<S> const& g : flags)
         EXPECT_EQ((one.*g.get)(), &g == &f) << g.name;
      (one.*f.set)(false);
      EXPECT_EQ(one, none);
      (all.*f.set)(true);
   }
   // All flags together are exactly the highest allowed word; clearing the
   // top one leaves the others.
   EXPECT_EQ(all.value(), Expected<S>::highest);
   (all.*flags.back().set)(false);
   EXPECT_EQ(all.value(), Expected<S>::highest >> 1);
}

TYPED_TEST(FlagSetTest, ValueAboveTheHighestIsRefusedAndLeavesTheSetUnchanged) {
   std::uint32_t const highest = Expected<TypeParam>::highest;
   TypeParam s;
   s.valueIs(highest);
   for (std::uint32_t refused : {highest + 1, 0x80000000u, 0xffffffffu}) {
      EXPECT_EQ(FlowspecTest::raisedMessage<Vex::RangeException>([&] { s.valueIs(refused); }),
                Expected<TypeParam>::message);
      EXPECT_EQ(s.value(), highest) << refused;
   }
}

TYPED_TEST(FlagSetTest, EqualityAndHashAreTheWord) {
   for (std::uint32_t v = 0; v <= Expected<TypeParam>::highest; ++v) {
      TypeParam a, b, other;
      a.valueIs(v);
      b.valueIs(v);
      other.valueIs(v ^ 1);
      EXPECT_EQ(a, b);
      EXPECT_NE(a, other);
      EXPECT_EQ(a.hash(), v);
   }
}
