#include "Flowspec/values/FlowspecUtil.h"

#include <gtest/gtest.h>

using namespace Flowspec;

TEST(FlowspecUtil, LabelsOfEveryKindAndTextOfEveryStatus) {
   // Indexed by the enumerator number.
   char const* const labels[] = {"INVALID", "",   "",    "IP",  "P",    "DP",   "SP",
                                 "IT",      "IC", "TCP", "LEN", "DSCP", "FRAG", "FL"};
   char const* const details[] = {
       "INVALID",        "Destination Prefix", "Source Prefix", "IP Protocol",
       "Port",           "Destination Port",   "Source Port",   "ICMP Type",
       "ICMP Code",      "TCP Flags",          "Packet Length", "DSCP",
       "Fragment Flags", "Flow Label"};
   char const* const statuses[] = {"Not processed",
                                   "Programmed",
                                   "Programmed with some failures",
                                   "Unsupported Match",
                                   "Unsupported TCAM Profile",
                                   "Unsupported Action",
                                   "Resource Exhausted"};
   FlowspecUtil const util;
   for (std::uint32_t t = 0; t < numComponentTypes; ++t) {
      auto const type = static_cast<MatchCompType>(t);
      EXPECT_EQ(util.compTypeToLabel(type), labels[t]) << type;
      EXPECT_EQ(util.compTypeToDetailLabel(type), details[t]) << type;
   }
   for (std::uint32_t s = 0; s < std::size(statuses); ++s) {
      auto const status = static_cast<HwRuleProgrammingStatus>(s);
      EXPECT_EQ(util.statusCodeToStrep(status), statuses[s]) << status;
   }
   EXPECT_TRUE(util == FlowspecUtil());
   EXPECT_FALSE(util != FlowspecUtil());
}

TEST(FlowspecUtilDeathTest, ValuesOutsideTheEnumerationsAbort) {
   FlowspecUtil const util;
   char const* const pastKinds = "Assertion failed: compType < numComponentTypes";
   EXPECT_DEATH(util.compTypeToLabel(static_cast<MatchCompType>(14)), pastKinds);
   EXPECT_DEATH(util.compTypeToDetailLabel(static_cast<MatchCompType>(14)), pastKinds);
   EXPECT_DEATH(util.compTypeToLabel(static_cast<MatchCompType>(0xffffffff)), pastKinds);
   char const* const unexpected = "Assertion failed: false && \"Unexpected status code\"";
   EXPECT_DEATH(util.statusCodeToStrep(static_cast<HwRuleProgrammingStatus>(7)), unexpected);
   EXPECT_DEATH(util.statusCodeToStrep(static_cast<HwRuleProgrammingStatus>(0xffffffff)),
                unexpected);
}
