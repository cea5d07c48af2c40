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

class ActionFieldSet : public FlagSet<ActionFieldSet> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr std::uint32_t maxValue = 0x7f;
   static constexpr char const* rangeMessage = "ActionFieldSet::value > 0x7f not allowed";
   static constexpr std::array<char const*, 7> flagNames = {
      "invalid", "trafficPermit", "trafficDrop", "trafficRate",
      "trafficAction", "trafficRedirect", "trafficMarking"};

   static constexpr char vexTypeName[] = "Flowspec::ActionFieldSet";

   constexpr ActionFieldSet() noexcept = default;
   /// Read the value text (every flag) or the log (the word).
   ActionFieldSet(Vex::TextIter& pos, Vex::TextIter end) : ActionFieldSet(fromStrep(pos, end)) {}
   ActionFieldSet(Vex::NboAttrLog::In* in, Vex::StreamBogon) : ActionFieldSet(fromLog(*in)) {}

   constexpr bool invalid() const noexcept { return flag(0); }
   constexpr void invalidIs(bool on) noexcept { flagIs(0, on); }
   constexpr bool trafficPermit() const noexcept { return flag(1); }
   constexpr void trafficPermitIs(bool on) noexcept { flagIs(1, on); }
   constexpr bool trafficDrop() const noexcept { return flag(2); }
   constexpr void trafficDropIs(bool on) noexcept { flagIs(2, on); }
   constexpr bool trafficRate() const noexcept { return flag(3); }
   constexpr void trafficRateIs(bool on) noexcept { flagIs(3, on); }
   constexpr bool trafficAction() const noexcept { return flag(4); }
   constexpr void trafficActionIs(bool on) noexcept { flagIs(4, on); }
   constexpr bool trafficRedirect() const noexcept { return flag(5); }
   constexpr void trafficRedirectIs(bool on) noexcept { flagIs(5, on); }
   constexpr bool trafficMarking() const noexcept { return flag(6); }
   constexpr void trafficMarkingIs(bool on) noexcept { flagIs(6, on); }

   static ActionFieldSet const invalid_;
   static ActionFieldSet const trafficPermit_;
   static ActionFieldSet const trafficDrop_;
   static ActionFieldSet const trafficRate_;
   static ActionFieldSet const trafficAction_;
   static ActionFieldSet const trafficRedirect_;
   static ActionFieldSet const trafficMarking_;

};

inline constexpr ActionFieldSet ActionFieldSet::invalid_ = withValue(1);
inline constexpr ActionFieldSet ActionFieldSet::trafficPermit_ = withValue(2);
inline constexpr ActionFieldSet ActionFieldSet::trafficDrop_ = withValue(4);
inline constexpr ActionFieldSet ActionFieldSet::trafficRate_ = withValue(8);
inline constexpr ActionFieldSet ActionFieldSet::trafficAction_ = withValue(16);
inline constexpr ActionFieldSet ActionFieldSet::trafficRedirect_ = withValue(32);
inline constexpr ActionFieldSet ActionFieldSet::trafficMarking_ = withValue(64);

} // namespace Flowspec
