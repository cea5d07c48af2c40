// Flowspec/values/FlagSet.h: the shared half of the flag-set values
// ActionFieldSet, TrafficAction and IpVersion.
//
// A flag set is one unsigned 32-bit word, `value`, default 0, in which each
// named flag is one bit. Derived sets name their flags (`x()` and `xIs(bool)`
// per flag, and a constant `x_`, the set with only that bit) and give:
//   static constexpr std::uint32_t maxValue;            the highest word allowed
//   static constexpr char const* rangeMessage;           the error above it
//   static constexpr std::array<char const*, N> flagNames;  bit order
// Setting `value` above maxValue raises Vex::RangeException with exactly
// rangeMessage; setting single flags cannot exceed it. Equality compares the
// word; the hash is the word itself; there is no order.
#pragma once

#include "Vex/Exception.h"

#include <cstdint>

namespace Flowspec {

template <class Derived>
class FlagSet {
 public:
   constexpr FlagSet() noexcept = default;

   constexpr std::uint32_t value() const noexcept { return value_; }
   /// Raises Vex::RangeException(Derived::rangeMessage) above Derived::maxValue
   /// and then leaves the set unchanged.
   constexpr void valueIs(std::uint32_t v) {
      if (v > Derived::maxValue) throw Vex::RangeException(Derived::rangeMessage);
      value_ = v;
   }

   /// Whether the flag at `bit` (an index into Derived::flagNames) is set.
   constexpr bool flag(unsigned bit) const noexcept { return value_ >> bit & 1U; }
   constexpr void flagIs(unsigned bit, bool on) noexcept {
      value_ = on ? value_ | 1U << bit : value_ & ~(1U << bit);
   }

   constexpr std::uint32_t hash() const noexcept { return value_; }
   /// True when no flag is set.
   constexpr bool operator!() const noexcept { return value_ == 0; }
   friend constexpr bool operator==(Derived const& a, Derived const& b) noexcept {
      return a.value_ == b.value_;
   }

 protected:
   /// The set with exactly `word` (for the flag constants).
   static constexpr Derived withValue(std::uint32_t word) noexcept {
      Derived d;
      d.value_ = word;
      return d;
   }

 private:
   std::uint32_t value_ = 0;
};

} // namespace Flowspec
