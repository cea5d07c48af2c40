// Flowspec/values/MatchCompType.h: the kinds of match component of a rule.
//
// The component types of BGP flowspec (RFC 8955, RFC 8956), numbered as the
// rest of the system stores and replicates them; `invalid` (0) is the default
// and means no kind. The enumeration is registered with the framework as
// "Flowspec::MatchCompType"; name and number conversions go through it.
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

enum class MatchCompType : std::uint32_t {
   invalid = 0,
   destPrefix = 1,
   srcPrefix = 2,
   ipProto = 3,
   port = 4,
   destPort = 5,
   srcPort = 6,
   icmpType = 7,
   icmpCode = 8,
   tcpFlags = 9,
   packetLength = 10,
   dscp = 11,
   fragment = 12,
   flowLabel = 13,
};

/// One past the last kind.
inline constexpr std::uint32_t numComponentTypes = 14;

/// The registered enumeration "Flowspec::MatchCompType" (the framework's
/// hook, found by argument-dependent lookup).
Vex::EnumType const& vexEnumType(MatchCompType);
/// The descriptor "Flowspec::MatchCompType", and the hook that ties the
/// enumeration to it.
extern Vex::VexType const _vexType_MatchCompType;
Vex::VexType const& vexTypeOf(MatchCompType const*);

/// The kind numbered `value`; raises Vex::Exception for a number that is not
/// a kind.
MatchCompType MatchCompTypeInstance(unsigned int value);
/// The kind named `name` ("tcpFlags"); raises Vex::Exception for a name that
/// is not a kind.
MatchCompType MatchCompTypeInstance(Vex::String const& name);
/// The kind's enumerator name ("tcpFlags"); the decimal number for a value
/// outside the enumeration.
Vex::String stringValue(MatchCompType t);
/// Writes stringValue(t).
inline std::ostream& operator<<(std::ostream& os, MatchCompType t) {
   return Vex::writeEnum(os, t);
}

/// The kind whose short label (FlowspecUtil::compTypeToLabel) begins `text`,
/// trying ipProto (3) up to flowLabel (13) in that order and comparing as
/// many characters as the label has; `invalid` when none does. The prefix
/// kinds and `invalid` are never tried. So any text beginning with "P" gives
/// `port`, and "DSCP" gives `dscp` because "DP" does not match it.
MatchCompType getCompType(char const* text);

/// destPrefix or srcPrefix: the kinds whose value is one prefix.
constexpr bool isPrefixType(MatchCompType t) noexcept {
   return t == MatchCompType::destPrefix || t == MatchCompType::srcPrefix;
}
/// ipProto, the three ports, icmpType, icmpCode, packetLength, dscp and
/// flowLabel: the kinds whose values are numerical ranges.
constexpr bool isNumericalRangeType(MatchCompType t) noexcept {
   switch (t) {
   case MatchCompType::ipProto:
   case MatchCompType::port:
   case MatchCompType::destPort:
   case MatchCompType::srcPort:
   case MatchCompType::icmpType:
   case MatchCompType::icmpCode:
   case MatchCompType::packetLength:
   case MatchCompType::dscp:
   case MatchCompType::flowLabel: return true;
   default: return false;
   }
}

/// Whether the kind's match values are bit masks: true for tcpFlags and
/// fragment, and for any value above flowLabel; false for the other kinds.
/// `invalid` answers false and writes the level-2 trace "Found invalid type
/// in routeKey" on the "Flowspec" handle.
bool isBitfieldType(MatchCompType t);

} // namespace Flowspec
