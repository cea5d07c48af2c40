// Flowspec/values/TrafficAction.h: the two flags of the flowspec
// traffic-action extended community (RFC 8955): sample and log, and continue
// matching (terminal action off). Highest value 0x3.
#pragma once

#include "Flowspec/values/FlagSet.h"

#include <array>

namespace Vex {
class VexType;
}

namespace Flowspec {

/// The flags of TrafficAction, in bit order.
#define FLOWSPEC_TRAFFIC_ACTION_FLAGS(FLAG)                                                        \
   FLAG(TrafficAction, sampleAndLog, 0)                                                            \
   FLAG(TrafficAction, continueMatch, 1)

class TrafficAction : public FlagSet<TrafficAction> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr std::uint32_t maxValue = 0x3;
   static constexpr char rangeMessage[] = "TrafficAction::value > 0x3 not allowed";
   static constexpr std::array flagNames = {FLOWSPEC_TRAFFIC_ACTION_FLAGS(FLOWSPEC_FLAG_NAME)};

   static constexpr char vexTypeName[] = "Flowspec::TrafficAction";

   constexpr TrafficAction() noexcept = default;
   using FlagSet::FlagSet;

   FLOWSPEC_TRAFFIC_ACTION_FLAGS(FLOWSPEC_FLAG_ACCESSORS)
};

FLOWSPEC_TRAFFIC_ACTION_FLAGS(FLOWSPEC_FLAG_CONSTANT)

} // namespace Flowspec
