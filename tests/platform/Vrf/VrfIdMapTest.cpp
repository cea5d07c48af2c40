#include "Vrf/VrfIdMap.h"

#include "Vex/Exception.h"

#include <gtest/gtest.h>

#include <sstream>

using Vrf::VrfIdMap;

TEST(VrfIdMap, AssignsInOrderAndKeepsIds) {
   static_assert(VrfIdMap::noVrfId == 0x00FFFFFF && VrfIdMap::maxVrfId == 0x00FFFFFE);
   VrfIdMap map;
   EXPECT_EQ(map.vrfId("default"), VrfIdMap::defaultVrfId);
   EXPECT_EQ(map.vrfIdIs("default"), 0u);
   EXPECT_EQ(map.vrfIdIs("red"), 1u);
   EXPECT_EQ(map.vrfIdIs("blue"), 2u);
   EXPECT_EQ(map.vrfIdIs("red"), 1u);
   EXPECT_EQ(map.vrfIdIs("!~"), 3u); // the printable extremes
   EXPECT_EQ(map.size(), 4u);
   EXPECT_EQ(map.vrfName(2), Vex::String("blue"));
   EXPECT_EQ(map.vrfName(VrfIdMap::noVrfId), std::nullopt);
   EXPECT_EQ(map.vrfId("Red"), std::nullopt);

   std::ostringstream os;
   os << VrfIdMap::noVrfId;
   EXPECT_EQ(os.str(), "16777215");
}

TEST(VrfIdMap, FreedIdsComeBackAfterTheOthers) {
   VrfIdMap map(4);
   EXPECT_EQ(map.vrfIdIs("a"), 1u);
   EXPECT_EQ(map.vrfIdIs("b"), 2u);
   map.vrfDel("a");
   map.vrfDel("never"); // nothing to do
   EXPECT_EQ(map.vrfId("a"), std::nullopt);
   EXPECT_EQ(map.vrfName(1), std::nullopt);
   EXPECT_EQ(map.size(), 2u);

   EXPECT_EQ(map.vrfIdIs("c"), 3u);
   EXPECT_EQ(map.vrfIdIs("a"), 4u);
   EXPECT_EQ(map.vrfIdIs("d"), 1u); // wrapped around
   EXPECT_THROW(map.vrfIdIs("e"), Vex::RangeException);
   EXPECT_EQ(map.size(), 5u);
   map.vrfDel("c");
   EXPECT_EQ(map.vrfIdIs("e"), 3u);
   EXPECT_THROW(map.vrfIdIs("f"), Vex::RangeException);
}

TEST(VrfIdMap, Refusals) {
   VrfIdMap map;
   try {
      map.vrfDel("default");
      ADD_FAILURE() << "deleted default";
   } catch (Vex::Exception const& e) {
      EXPECT_STREQ(e.what(), "VRF 'default' cannot be deleted");
   }
   EXPECT_EQ(map.vrfId("default"), 0u);

   std::pair<Vex::String, char const*> const cases[] = {
       {"", "VRF name must not be empty"},
       {"my vrf", "VRF name 'my vrf' must be printable ASCII without blanks"},
       {"a\x7f", "VRF name 'a\\x7f' must be printable ASCII without blanks"},
       {"caf\xc3\xa9", "VRF name 'caf\xc3\xa9' must be printable ASCII without blanks"},
   };
   for (auto const& [name, message] : cases) {
      try {
         map.vrfIdIs(name);
         ADD_FAILURE() << name << ": accepted";
      } catch (Vex::RangeException const&) {
         ADD_FAILURE() << name << ": a range error";
      } catch (Vex::Exception const& e) {
         EXPECT_STREQ(e.what(), message);
      }
   }
   EXPECT_EQ(map.size(), 1u);

   EXPECT_NO_THROW(VrfIdMap{VrfIdMap::maxVrfId});
   EXPECT_THROW(VrfIdMap{VrfIdMap::noVrfId}, Vex::RangeException);
}
