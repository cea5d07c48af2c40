#include "Vex/AllocTrack.h"

#include "Vex/Ptr.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {
class Tracked : public Vex::PtrInterface, public Vex::AllocTracked<Tracked> {
 public:
   static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
   static constexpr char vexTypeName[] = "AllocTrackTest::Tracked";
   explicit Tracked(bool fail) {
      if (fail) throw std::runtime_error("constructor failed");
   }
   char payload[24] = {};
};
Vex::AllocTrackSlot Tracked::vexAllocTrackTypeInfo_{nullptr};
} // namespace

TEST(AllocTrack, CountsAllocationsAndReleasesOfATrackedType) {
   auto before = Vex::allocTrackCounts(Tracked::vexAllocTrackTypeInfo_);
   EXPECT_EQ(before.allocations, 0u);
   {
      Vex::Ptr<Tracked> a = new Tracked(false);
      Vex::Ptr<Tracked> b = new Tracked(false);
      auto during = Vex::allocTrackCounts(Tracked::vexAllocTrackTypeInfo_);
      EXPECT_EQ(during.typeName, "AllocTrackTest::Tracked");
      EXPECT_EQ(during.size, sizeof(Tracked));
      EXPECT_EQ(during.allocations, 2u);
      EXPECT_EQ(during.live(), 2u);
   }
   auto after = Vex::allocTrackCounts(Tracked::vexAllocTrackTypeInfo_);
   EXPECT_EQ(after.allocations, 2u);
   EXPECT_EQ(after.releases, 2u);

   // A constructor that throws releases the memory and the record again.
   EXPECT_THROW(new Tracked(true), std::runtime_error);
   auto failed = Vex::allocTrackCounts(Tracked::vexAllocTrackTypeInfo_);
   EXPECT_EQ(failed.allocations, 3u);
   EXPECT_EQ(failed.live(), 0u);

   bool listed = false;
   for (auto const& c : Vex::allocTrackCountsAll()) {
      listed = listed || c.typeName == "AllocTrackTest::Tracked";
   }
   EXPECT_TRUE(listed);
}
