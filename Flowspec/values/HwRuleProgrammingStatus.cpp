#include "Flowspec/values/HwRuleProgrammingStatus.h"
#include "Flowspec/framework/TypeNames.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr Vex::EnumType::Enumerator enumerators[] = {
   {"unprocessed", 0},
   {"programmed", 1},
   {"programmedWithFailures", 2},
   {"unsupportedMatch", 3},
   {"unsupportedTcamProfile", 4},
   {"unsupportedAction", 5},
   {"resourceExhausted", 6},
};
constexpr auto enumeratorRows = Vex::enumRows(enumerators);

} // namespace

Vex::EnumType const& vexEnumType(HwRuleProgrammingStatus) {
   static Vex::EnumType const type(Internal::typeNames.hwRuleProgrammingStatus, enumerators);
   return type;
}

constinit Vex::VexType const _vexType_HwRuleProgrammingStatus =
   Vex::enumDescriptor<HwRuleProgrammingStatus>(Internal::typeNames.hwRuleProgrammingStatus, enumeratorRows);

Vex::VexType const& vexTypeOf(HwRuleProgrammingStatus const*) { return _vexType_HwRuleProgrammingStatus; }

namespace {
// Registers the enumeration when the library is loaded.
[[maybe_unused]] Vex::EnumType const& registered = vexEnumType(HwRuleProgrammingStatus{});
} // namespace

HwRuleProgrammingStatus HwRuleProgrammingStatusInstance(unsigned int value) {
   return Vex::enumInstance<HwRuleProgrammingStatus>(value);
}

HwRuleProgrammingStatus HwRuleProgrammingStatusInstance(Vex::String const& name) {
   return Vex::enumInstance<HwRuleProgrammingStatus>(name.view());
}

Vex::String stringValue(HwRuleProgrammingStatus s) { return Vex::enumName(s); }

} // namespace Flowspec
