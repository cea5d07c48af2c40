#include "Flowspec/values/FlowspecUtil.h"

#include "Vex/Assert.h"

#include <string>

namespace Flowspec {

namespace {
// Indexed by the MatchCompType number.
constexpr char const* compTypeLabels[numComponentTypes] = {
   "INVALID", "", "", "IP", "P", "DP", "SP", "IT", "IC", "TCP", "LEN", "DSCP", "FRAG", "FL",
};
static_assert(
   [] {
      for (char const* label : compTypeLabels) {
         if (std::char_traits<char>::length(label) > Internal::compTypeLabelMax) {
            return false;
         }
      }
      return true;
   }(),
   "Internal::compTypeLabelMax is the longest short label");
char const* const compTypeDetailLabels[numComponentTypes] = {
   "INVALID",   "Destination Prefix", "Source Prefix", "IP Protocol",   "Port",
   "Destination Port", "Source Port", "ICMP Type",     "ICMP Code",     "TCP Flags",
   "Packet Length",    "DSCP",        "Fragment Flags", "Flow Label",
};

char const* labelAt(char const* const* table, MatchCompType compType) {
   VEX_ASSERT_TEXT(static_cast<std::uint32_t>(compType) < numComponentTypes,
                   "compType < numComponentTypes");
   char const* text = table[static_cast<std::uint32_t>(compType)];
   return text ? text : "";
}
} // namespace

char const* Internal::compTypeLabelText(MatchCompType compType) {
   return labelAt(compTypeLabels, compType);
}

Vex::String FlowspecUtil::compTypeToLabel(MatchCompType compType) const {
   return labelAt(compTypeLabels, compType);
}

Vex::String FlowspecUtil::compTypeToDetailLabel(MatchCompType compType) const {
   return labelAt(compTypeDetailLabels, compType);
}

Vex::String FlowspecUtil::statusCodeToStrep(HwRuleProgrammingStatus status) const {
   switch (status) {
   case HwRuleProgrammingStatus::unprocessed: return "Not processed";
   case HwRuleProgrammingStatus::programmed: return "Programmed";
   case HwRuleProgrammingStatus::programmedWithFailures: return "Programmed with some failures";
   case HwRuleProgrammingStatus::unsupportedMatch: return "Unsupported Match";
   case HwRuleProgrammingStatus::unsupportedTcamProfile: return "Unsupported TCAM Profile";
   case HwRuleProgrammingStatus::unsupportedAction: return "Unsupported Action";
   case HwRuleProgrammingStatus::resourceExhausted: return "Resource Exhausted";
   }
   VEX_ASSERT_TEXT(false, "false && \"Unexpected status code\"");
   return "";
}

} // namespace Flowspec
