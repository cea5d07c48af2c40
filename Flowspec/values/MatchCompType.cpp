#include "Flowspec/values/MatchCompType.h"

#include "Flowspec/framework/Trace.h"
#include "Flowspec/values/FlowspecUtil.h"

#include <cstring>
#include "Flowspec/framework/TypeNames.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr Vex::EnumType::Enumerator enumerators[] = {
   {"invalid", 0},
   {"destPrefix", 1},
   {"srcPrefix", 2},
   {"ipProto", 3},
   {"port", 4},
   {"destPort", 5},
   {"srcPort", 6},
   {"icmpType", 7},
   {"icmpCode", 8},
   {"tcpFlags", 9},
   {"packetLength", 10},
   {"dscp", 11},
   {"fragment", 12},
   {"flowLabel", 13},
};
constexpr auto enumeratorRows = Vex::enumRows(enumerators);

} // namespace

Vex::EnumType const& vexEnumType(MatchCompType) {
   static Vex::EnumType const type(Internal::typeNames.matchCompType, enumerators);
   return type;
}

constinit Vex::VexType const _vexType_MatchCompType =
   Vex::enumDescriptor<MatchCompType>(Internal::typeNames.matchCompType, enumeratorRows);

Vex::VexType const& vexTypeOf(MatchCompType const*) { return _vexType_MatchCompType; }

namespace {
// Registers the enumeration when the library is loaded.
[[maybe_unused]] Vex::EnumType const& registered = vexEnumType(MatchCompType{});
} // namespace

MatchCompType MatchCompTypeInstance(unsigned int value) {
   return Vex::enumInstance<MatchCompType>(value);
}

MatchCompType MatchCompTypeInstance(Vex::String const& name) {
   return Vex::enumInstance<MatchCompType>(name.view());
}

Vex::String stringValue(MatchCompType t) { return Vex::enumName(t); }

MatchCompType getCompType(char const* text) {
   for (std::uint32_t t = static_cast<std::uint32_t>(MatchCompType::ipProto);
        t < numComponentTypes; ++t) {
      char const* label = Internal::compTypeLabelText(static_cast<MatchCompType>(t));
      if (std::strncmp(text, label, std::strlen(label)) == 0) {
         return static_cast<MatchCompType>(t);
      }
   }
   return MatchCompType::invalid;
}

bool isBitfieldType(MatchCompType t) {
   if (isPrefixType(t) || isNumericalRangeType(t)) return false;
   if (t == MatchCompType::invalid) {
      Vex::TraceHandle const& th = defaultTraceHandle();
      if (th.enabled(2)) th.trace(2, "isBitfieldType", "Found invalid type in routeKey");
      return false;
   }
   // tcpFlags and fragment; values outside the enumeration count as bit-field
   // kinds too.
   return true;
}

} // namespace Flowspec
