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

/// The qualified name the enumeration is registered under.
inline constexpr char vexTypeName_MatchCompType[] = "Flowspec::MatchCompType";

/// How a kind's match values are given.
enum class MatchCompClass : std::uint8_t {
   none,           ///< invalid: no values
   prefix,         ///< one prefix
   numericalRange, ///< numerical ranges
   bitMask,        ///< bit masks
};

/// What the system knows of one kind of match component.
struct MatchCompTypeInfo {
   char const* name;        ///< the enumerator's name
   MatchCompType value;     ///< the kind (the table is indexed by it)
   char const* label;       ///< short label of the compact rule text ("" for the prefixes)
   char const* detailLabel; ///< label of the detailed rule text
   std::uint32_t max;       ///< largest value of a range kind (0 for the others)
   MatchCompClass compClass;
};

/// Every kind, indexed by its number: the one table the names, labels,
/// limits and classes of the kinds are read from.
inline constexpr MatchCompTypeInfo matchCompTypeTable[numComponentTypes] = {
    // clang-format off
   {.name = "invalid",      .value = MatchCompType::invalid,      .label = "INVALID", .detailLabel = "INVALID",            .max = 255,     .compClass = MatchCompClass::none},
   {.name = "destPrefix",   .value = MatchCompType::destPrefix,   .label = "",        .detailLabel = "Destination Prefix", .max = 0,       .compClass = MatchCompClass::prefix},
   {.name = "srcPrefix",    .value = MatchCompType::srcPrefix,    .label = "",        .detailLabel = "Source Prefix",      .max = 0,       .compClass = MatchCompClass::prefix},
   {.name = "ipProto",      .value = MatchCompType::ipProto,      .label = "IP",      .detailLabel = "IP Protocol",        .max = 255,     .compClass = MatchCompClass::numericalRange},
   {.name = "port",         .value = MatchCompType::port,         .label = "P",       .detailLabel = "Port",               .max = 65535,   .compClass = MatchCompClass::numericalRange},
   {.name = "destPort",     .value = MatchCompType::destPort,     .label = "DP",      .detailLabel = "Destination Port",   .max = 65535,   .compClass = MatchCompClass::numericalRange},
   {.name = "srcPort",      .value = MatchCompType::srcPort,      .label = "SP",      .detailLabel = "Source Port",        .max = 65535,   .compClass = MatchCompClass::numericalRange},
   {.name = "icmpType",     .value = MatchCompType::icmpType,     .label = "IT",      .detailLabel = "ICMP Type",          .max = 255,     .compClass = MatchCompClass::numericalRange},
   {.name = "icmpCode",     .value = MatchCompType::icmpCode,     .label = "IC",      .detailLabel = "ICMP Code",          .max = 255,     .compClass = MatchCompClass::numericalRange},
   {.name = "tcpFlags",     .value = MatchCompType::tcpFlags,     .label = "TCP",     .detailLabel = "TCP Flags",          .max = 0,       .compClass = MatchCompClass::bitMask},
   {.name = "packetLength", .value = MatchCompType::packetLength, .label = "LEN",     .detailLabel = "Packet Length",      .max = 65535,   .compClass = MatchCompClass::numericalRange},
   {.name = "dscp",         .value = MatchCompType::dscp,         .label = "DSCP",    .detailLabel = "DSCP",               .max = 63,      .compClass = MatchCompClass::numericalRange},
   {.name = "fragment",     .value = MatchCompType::fragment,     .label = "FRAG",    .detailLabel = "Fragment Flags",     .max = 0,       .compClass = MatchCompClass::bitMask},
   {.name = "flowLabel",    .value = MatchCompType::flowLabel,    .label = "FL",      .detailLabel = "Flow Label",         .max = 1048575, .compClass = MatchCompClass::numericalRange},
    // clang-format on
};
static_assert(
    [] {
       for (std::uint32_t i = 0; i < numComponentTypes; ++i) {
          if (static_cast<std::uint32_t>(matchCompTypeTable[i].value) != i) return false;
       }
       return true;
    }(),
    "matchCompTypeTable is indexed by the kind's number");

/// The table's entry of `t`, or null for a number outside the enumeration.
constexpr MatchCompTypeInfo const* matchCompTypeInfo(MatchCompType t) noexcept {
   auto const i = static_cast<std::uint32_t>(t);
   return i < numComponentTypes ? &matchCompTypeTable[i] : nullptr;
}

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
   MatchCompTypeInfo const* info = matchCompTypeInfo(t);
   return info && info->compClass == MatchCompClass::numericalRange;
}

/// Whether the kind's match values are bit masks: true for tcpFlags and
/// fragment, and for any value above flowLabel; false for the other kinds.
/// `invalid` answers false and writes the level-2 trace "Found invalid type
/// in routeKey" on the "Flowspec" handle.
bool isBitfieldType(MatchCompType t);

} // namespace Flowspec
