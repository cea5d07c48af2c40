#include "Flowspec/values/FlowspecUtil.h"

#include "Vex/Assert.h"
#include "Vex/ReflectTable.h"

#include <iterator>
#include <string>

namespace Flowspec {

namespace {

static_assert(
    [] {
       for (MatchCompTypeInfo const& info : matchCompTypeTable) {
          if (std::char_traits<char>::length(info.label) > Internal::compTypeLabelMax) {
             return false;
          }
       }
       return true;
    }(),
    "Internal::compTypeLabelMax is the longest short label");

MatchCompTypeInfo const& infoOf(MatchCompType compType) {
   VEX_ASSERT_TEXT(static_cast<std::uint32_t>(compType) < numComponentTypes,
                   "compType < numComponentTypes");
   return *matchCompTypeInfo(compType);
}

} // namespace

char const* Internal::compTypeLabelText(MatchCompType compType) {
   return infoOf(compType).label;
}

Vex::String FlowspecUtil::compTypeToLabel(MatchCompType compType) const {
   return infoOf(compType).label;
}

Vex::String FlowspecUtil::compTypeToDetailLabel(MatchCompType compType) const {
   return infoOf(compType).detailLabel;
}

Vex::String FlowspecUtil::statusCodeToStrep(HwRuleProgrammingStatus status) const {
   auto const i = static_cast<std::uint32_t>(status);
   if (i < std::size(hwRuleProgrammingStatusTable)) return hwRuleProgrammingStatusTable[i].text;
   VEX_ASSERT_TEXT(false, "false && \"Unexpected status code\"");
   return "";
}

// --- Reflection ----------------------------------------------------------------

namespace {

constexpr auto flowspecUtilRows = Vex::valueRows({
    Vex::method<&FlowspecUtil::compTypeToLabel, "compType">("compTypeToLabel"),
    Vex::method<&FlowspecUtil::compTypeToDetailLabel, "compType">("compTypeToDetailLabel"),
    Vex::method<&FlowspecUtil::statusCodeToStrep, "status">("statusCodeToStrep"),
});

} // namespace

constinit Vex::VexType const FlowspecUtil::_vexType = Vex::valueDescriptor<FlowspecUtil>({
    .name = vexTypeName,
    .rows = flowspecUtilRows,
    .construct = &Vex::Reflection::constructValue<FlowspecUtil>,
});

} // namespace Flowspec
