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

class TrafficAction : public FlagSet<TrafficAction> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr std::uint32_t maxValue = 0x3;
   static constexpr char const* rangeMessage = "TrafficAction::value > 0x3 not allowed";
   static constexpr std::array<char const*, 2> flagNames = {"sampleAndLog", "continueMatch"};

   static constexpr char vexTypeName[] = "Flowspec::TrafficAction";

   constexpr TrafficAction() noexcept = default;
   /// Read the value text (every flag) or the log (the word).
   TrafficAction(Vex::TextIter& pos, Vex::TextIter end) : TrafficAction(fromStrep(pos, end)) {}
   TrafficAction(Vex::NboAttrLog::In* in, Vex::StreamBogon) : TrafficAction(fromLog(*in)) {}

   constexpr bool sampleAndLog() const noexcept { return flag(0); }
   constexpr void sampleAndLogIs(bool on) noexcept { flagIs(0, on); }
   constexpr bool continueMatch() const noexcept { return flag(1); }
   constexpr void continueMatchIs(bool on) noexcept { flagIs(1, on); }

   static TrafficAction const sampleAndLog_;
   static TrafficAction const continueMatch_;

};

inline constexpr TrafficAction TrafficAction::sampleAndLog_ = withValue(1);
inline constexpr TrafficAction TrafficAction::continueMatch_ = withValue(2);

} // namespace Flowspec
