// Flowspec/values/ActionFieldSet.h: which action fields of a rule are
// present (permit, drop, rate limit, traffic-action flags, redirect, DSCP
// marking); the fields' values live in the rule. Highest value 0x7f.
#pragma once

#include "Flowspec/values/FlagSet.h"

#include <array>

namespace Vex {
class VexType;
}

namespace Flowspec {

/// The flags of ActionFieldSet, in bit order.
#define FLOWSPEC_ACTION_FIELD_SET_FLAGS(FLAG)                                                      \
   FLAG(ActionFieldSet, invalid, 0)                                                                \
   FLAG(ActionFieldSet, trafficPermit, 1)                                                          \
   FLAG(ActionFieldSet, trafficDrop, 2)                                                            \
   FLAG(ActionFieldSet, trafficRate, 3)                                                            \
   FLAG(ActionFieldSet, trafficAction, 4)                                                          \
   FLAG(ActionFieldSet, trafficRedirect, 5)                                                        \
   FLAG(ActionFieldSet, trafficMarking, 6)

class ActionFieldSet : public FlagSet<ActionFieldSet> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr std::uint32_t maxValue = 0x7f;
   static constexpr char rangeMessage[] = "ActionFieldSet::value > 0x7f not allowed";
   static constexpr std::array flagNames = {FLOWSPEC_ACTION_FIELD_SET_FLAGS(FLOWSPEC_FLAG_NAME)};

   static constexpr char vexTypeName[] = "Flowspec::ActionFieldSet";

   constexpr ActionFieldSet() noexcept = default;
   using FlagSet::FlagSet;

   FLOWSPEC_ACTION_FIELD_SET_FLAGS(FLOWSPEC_FLAG_ACCESSORS)
};

FLOWSPEC_ACTION_FIELD_SET_FLAGS(FLOWSPEC_FLAG_CONSTANT)

} // namespace Flowspec
