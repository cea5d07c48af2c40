// Flowspec/values/FlowspecUtil.h: the fixed texts the command line prints for
// match kinds and programming outcomes.
//
// A value type without fields: any two FlowspecUtil objects are equal. It
// gives the label functions a home in the reflection interface.
//
// The labels come from matchCompTypeTable (MatchCompType.h), the status texts
// from hwRuleProgrammingStatusTable (HwRuleProgrammingStatus.h).
#pragma once

#include "Flowspec/values/HwRuleProgrammingStatus.h"
#include "Flowspec/values/MatchCompType.h"
#include "Vex/String.h"

#include <cstddef>
#include <ostream>

namespace Vex {
class VexType;
}

namespace Flowspec {

class FlowspecUtil {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   static constexpr char vexTypeName[] = "Flowspec::FlowspecUtil";

   /// The short label of `compType`. A value above flowLabel is a bug: the
   /// process aborts with "compType < numComponentTypes".
   Vex::String compTypeToLabel(MatchCompType compType) const;
   /// The detail label of `compType`; the same abort above flowLabel.
   Vex::String compTypeToDetailLabel(MatchCompType compType) const;
   /// The status text of `status`. A value outside the enumeration aborts
   /// with "false && \"Unexpected status code\"".
   Vex::String statusCodeToStrep(HwRuleProgrammingStatus status) const;

   friend bool operator==(FlowspecUtil const&, FlowspecUtil const&) noexcept { return true; }
};

/// The value text of a FlowspecUtil: the empty string (it has no fields).
inline Vex::String valueToStrep(FlowspecUtil const&) {
   return Vex::String();
}
/// Reads the empty value text: consumes nothing.
inline void sequenceToValue(Vex::TextIter&, Vex::TextIter, FlowspecUtil&) {}
/// Writes the value text: nothing.
inline std::ostream& operator<<(std::ostream& os, FlowspecUtil const&) {
   return os;
}

namespace Internal {
/// The short label of `compType` as a constant text (no copy), with the same
/// abort as FlowspecUtil::compTypeToLabel: for the parsers and printers.
char const* compTypeLabelText(MatchCompType compType);
/// The length of the longest short label ("INVALID"), for printers that
/// compose a component's opening in a buffer.
inline constexpr std::size_t compTypeLabelMax = 7;
} // namespace Internal

} // namespace Flowspec
