#include "Flowspec/values/FlowspecUtil.h"

#include <gtest/gtest.h>

using namespace Flowspec;

TEST(FlowspecUtil, LabelsOfEveryKind) {
   struct Case {
      MatchCompType type;
      char const* label;
      char const* detail;
   };
   Case const cases[] = {
      {MatchCompType::invalid, "INVALID", "INVALID"},
      {MatchCompType::destPrefix, "", "Destination Prefix"},
      {MatchCompType::srcPrefix, "", "Source Prefix"},
      {MatchCompType::ipProto, "IP", "IP Protocol"},
      {MatchCompType::port, "P", "Port"},
      {MatchCompType::destPort, "DP", "Destination Port"},
      {MatchCompType::srcPort, "SP", "Source Port"},
      {MatchCompType::icmpType, "IT", "ICMP Type"},
      {MatchCompType::icmpCode, "IC", "ICMP Code"},
      {MatchCompType::tcpFlags, "TCP", "TCP Flags"},
      {MatchCompType::packetLength, "LEN", "Packet Length"},
      {MatchCompType::dscp, "DSCP", "DSCP"},
      {MatchCompType::fragment, "FRAG", "Fragment Flags"},
      {MatchCompType::flowLabel, "FL", "Flow Label"},
   };
   ASSERT_EQ(std::size(cases), numComponentTypes);
   FlowspecUtil const util;
   for (Case const& c : cases) {
      EXPECT_EQ(util.compTypeToLabel(c.type), c.label) << stringValue(c.type);
      EXPECT_EQ(util.compTypeToDetailLabel(c.type), c.detail) << stringValue(c.type);
   }
}

TEST(FlowspecUtil, TextOfEveryProgrammingStatus) {
   struct Case {
      HwRuleProgrammingStatus status;
      char const* text;
   };
   Case const cases[] = {
      {HwRuleProgrammingStatus::unprocessed, "Not processed"},
      {HwRuleProgrammingStatus::programmed, "Programmed"},
      {HwRuleProgrammingStatus::programmedWithFailures, "Programmed with some failures"},
      {HwRuleProgrammingStatus::unsupportedMatch, "Unsupported Match"},
      {HwRuleProgrammingStatus::unsupportedTcamProfile, "Unsupported TCAM Profile"},
      {HwRuleProgrammingStatus::unsupportedAction, "Unsupported Action"},
      {HwRuleProgrammingStatus::resourceExhausted, "Resource Exhausted"},
   };
   FlowspecUtil const util;
   for (Case const& c : cases) {
      EXPECT_EQ(util.statusCodeToStrep(c.status), c.text) << stringValue(c.status);
   }
}

TEST(FlowspecUtil, AnyTwoAreEqual) {
   FlowspecUtil const a, b;
   EXPECT_TRUE(a == b);
   EXPECT_FALSE(a != b);
}

TEST(FlowspecUtilDeathTest, ValuesOutsideTheEnumerationsAbort) {
   FlowspecUtil const util;
   auto const pastKinds = static_cast<MatchCompType>(14);
   EXPECT_DEATH(util.compTypeToLabel(pastKinds), "Assertion failed: compType < numComponentTypes");
   EXPECT_DEATH(util.compTypeToDetailLabel(pastKinds),
                "Assertion failed: compType < numComponentTypes");
   EXPECT_DEATH(util.compTypeToLabel(static_cast<MatchCompType>(0xffffffffu)),
                "Assertion failed: compType < numComponentTypes");
   char const* const unexpected = "Assertion failed: false && \"Unexpected status code\"";
   EXPECT_DEATH(util.statusCodeToStrep(static_cast<HwRuleProgrammingStatus>(7)), unexpected);
   EXPECT_DEATH(util.statusCodeToStrep(static_cast<HwRuleProgrammingStatus>(0xffffffffu)),
                unexpected);
}
