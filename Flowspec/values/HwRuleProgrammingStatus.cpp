#include "Flowspec/values/HwRuleProgrammingStatus.h"

#include "Vex/ReflectTable.h"

namespace Flowspec {

VEX_ENUM_DEFINITION(HwRuleProgrammingStatus, _vexType_HwRuleProgrammingStatus,
                    vexTypeName_HwRuleProgrammingStatus, hwRuleProgrammingStatusTable)

HwRuleProgrammingStatus HwRuleProgrammingStatusInstance(unsigned int value) {
   return Vex::enumInstance<HwRuleProgrammingStatus>(value);
}

HwRuleProgrammingStatus HwRuleProgrammingStatusInstance(Vex::String const& name) {
   return Vex::enumInstance<HwRuleProgrammingStatus>(name.view());
}

Vex::String stringValue(HwRuleProgrammingStatus s) {
   return Vex::enumName(s);
}

} // namespace Flowspec
