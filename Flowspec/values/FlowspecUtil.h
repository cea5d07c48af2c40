// Flowspec/values/FlowspecUtil.h: the fixed texts the command line prints for
// match kinds and programming outcomes.
//
// A value type without fields: any two FlowspecUtil objects are equal. It
// gives the label functions a home in the reflection interface.
//
//   | kind          | label | detail label         |   | status                 | text                            |
//   |---------------|-------|----------------------|---|------------------------|---------------------------------|
//   | invalid       | INVALID | INVALID            |   | unprocessed            | Not processed                   |
//   | destPrefix    |       | Destination Prefix   |   | programmed             | Programmed                      |
//   | srcPrefix     |       | Source Prefix        |   | programmedWithFailures | Programmed with some failures   |
//   | ipProto       | IP    | IP Protocol          |   | unsupportedMatch       | Unsupported Match               |
//   | port          | P     | Port                 |   | unsupportedTcamProfile | Unsupported TCAM Profile        |
//   | destPort      | DP    | Destination Port     |   | unsupportedAction      | Unsupported Action              |
//   | srcPort       | SP    | Source Port          |   | resourceExhausted      | Resource Exhausted              |
//   | icmpType      | IT    | ICMP Type            |
//   | icmpCode      | IC    | ICMP Code            |
//   | tcpFlags      | TCP   | TCP Flags            |
//   | packetLength  | LEN   | Packet Length        |
//   | dscp          | DSCP  | DSCP                 |
//   | fragment      | FRAG  | Fragment Flags       |
//   | flowLabel     | FL    | Flow Label           |
//
// The prefix kinds have an empty short label: the compact rule text knows
// the two prefixes by their position.
#pragma once

#include "Flowspec/values/HwRuleProgrammingStatus.h"
#include "Flowspec/values/MatchCompType.h"
#include "Vex/String.h"

#include <cstddef>

namespace Vex {
class VexType;
}

namespace Flowspec {

class FlowspecUtil {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

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
inline Vex::String valueToStrep(FlowspecUtil const&) { return Vex::String(); }
/// Reads the empty value text: consumes nothing.
inline void sequenceToValue(Vex::TextIter&, Vex::TextIter, FlowspecUtil&) {}

namespace Internal {
/// The short label of `compType` as a constant text (no copy), with the same
/// abort as FlowspecUtil::compTypeToLabel: for the parsers and printers.
char const* compTypeLabelText(MatchCompType compType);
/// The length of the longest short label ("INVALID"), for printers that
/// compose a component's opening in a buffer.
inline constexpr std::size_t compTypeLabelMax = 7;
} // namespace Internal

} // namespace Flowspec
