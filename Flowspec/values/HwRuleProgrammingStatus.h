// Flowspec/values/HwRuleProgrammingStatus.h: the outcome of programming one
// rule into the forwarding hardware, reported per rule. `unprocessed` is the
// default. Registered with the framework as "Flowspec::HwRuleProgrammingStatus";
// FlowspecUtil::statusCodeToStrep gives the command-line text of each.
#pragma once

#include "Flowspec/framework/ValueCodec.h"
#include "Vex/Enum.h"
#include "Vex/String.h"

#include <cstdint>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Flowspec {

enum class HwRuleProgrammingStatus : std::uint32_t {
   unprocessed = 0,
   programmed = 1,
   programmedWithFailures = 2,
   unsupportedMatch = 3,
   unsupportedTcamProfile = 4,
   unsupportedAction = 5,
   resourceExhausted = 6,
};

/// The qualified name the enumeration is registered under.
inline constexpr char vexTypeName_HwRuleProgrammingStatus[] = "Flowspec::HwRuleProgrammingStatus";

/// One status: its enumerator name and the text the command line prints.
struct HwRuleProgrammingStatusInfo {
   char const* name;
   HwRuleProgrammingStatus value;
   char const* text;
};

/// Every status, indexed by its number.
inline constexpr HwRuleProgrammingStatusInfo hwRuleProgrammingStatusTable[] = {
    // clang-format off
   {.name = "unprocessed",            .value = HwRuleProgrammingStatus::unprocessed,            .text = "Not processed"},
   {.name = "programmed",             .value = HwRuleProgrammingStatus::programmed,             .text = "Programmed"},
   {.name = "programmedWithFailures", .value = HwRuleProgrammingStatus::programmedWithFailures, .text = "Programmed with some failures"},
   {.name = "unsupportedMatch",       .value = HwRuleProgrammingStatus::unsupportedMatch,       .text = "Unsupported Match"},
   {.name = "unsupportedTcamProfile", .value = HwRuleProgrammingStatus::unsupportedTcamProfile, .text = "Unsupported TCAM Profile"},
   {.name = "unsupportedAction",      .value = HwRuleProgrammingStatus::unsupportedAction,      .text = "Unsupported Action"},
   {.name = "resourceExhausted",      .value = HwRuleProgrammingStatus::resourceExhausted,      .text = "Resource Exhausted"},
    // clang-format on
};
static_assert(
    [] {
       std::uint32_t i = 0;
       for (auto const& s : hwRuleProgrammingStatusTable) {
          if (static_cast<std::uint32_t>(s.value) != i++) return false;
       }
       return true;
    }(),
    "hwRuleProgrammingStatusTable is indexed by the status's number");

/// The registered enumeration "Flowspec::HwRuleProgrammingStatus".
Vex::EnumType const& vexEnumType(HwRuleProgrammingStatus);
/// The descriptor "Flowspec::HwRuleProgrammingStatus", and the hook that ties
/// the enumeration to it.
extern Vex::VexType const _vexType_HwRuleProgrammingStatus;
Vex::VexType const& vexTypeOf(HwRuleProgrammingStatus const*);

/// The status numbered `value`, or named `name`; raises Vex::Exception for
/// anything else.
HwRuleProgrammingStatus HwRuleProgrammingStatusInstance(unsigned int value);
HwRuleProgrammingStatus HwRuleProgrammingStatusInstance(Vex::String const& name);
/// The enumerator name ("programmedWithFailures"); the decimal number for a
/// value outside the enumeration.
Vex::String stringValue(HwRuleProgrammingStatus s);
inline std::ostream& operator<<(std::ostream& os, HwRuleProgrammingStatus s) {
   return Vex::writeEnum(os, s);
}

} // namespace Flowspec
