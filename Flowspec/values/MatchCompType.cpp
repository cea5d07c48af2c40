#include "Flowspec/values/MatchCompType.h"

#include "Flowspec/framework/Trace.h"
#include "Vex/ReflectTable.h"

#include <cstring>

namespace Flowspec {

VEX_ENUM_DEFINITION(MatchCompType, _vexType_MatchCompType, vexTypeName_MatchCompType,
                    matchCompTypeTable)

MatchCompType MatchCompTypeInstance(unsigned int value) {
   return Vex::enumInstance<MatchCompType>(value);
}

MatchCompType MatchCompTypeInstance(Vex::String const& name) {
   return Vex::enumInstance<MatchCompType>(name.view());
}

Vex::String stringValue(MatchCompType t) {
   return Vex::enumName(t);
}

MatchCompType getCompType(char const* text) {
   for (std::uint32_t t = static_cast<std::uint32_t>(MatchCompType::ipProto); t < numComponentTypes;
        ++t) {
      char const* label = matchCompTypeTable[t].label;
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
