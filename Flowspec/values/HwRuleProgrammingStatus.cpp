#include "Flowspec/values/HwRuleProgrammingStatus.h"

namespace Flowspec {

Vex::EnumType const& vexEnumType(HwRuleProgrammingStatus) {
   static Vex::EnumType const type("Flowspec::HwRuleProgrammingStatus",
                                   {{"unprocessed", 0},
                                    {"programmed", 1},
                                    {"programmedWithFailures", 2},
                                    {"unsupportedMatch", 3},
                                    {"unsupportedTcamProfile", 4},
                                    {"unsupportedAction", 5},
                                    {"resourceExhausted", 6}});
   return type;
}

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
