// Flowspec/values/FlagSet.h: the shared half of the flag-set values
// ActionFieldSet, TrafficAction and IpVersion.
//
// A flag set is one unsigned 32-bit word, `value`, default 0, in which each
// named flag is one bit. A derived set lists its flags once, as a macro of
// FLAG(Type, name, bit) entries in bit order, and expands it three times:
// FLOWSPEC_FLAG_NAME for `flagNames`, FLOWSPEC_FLAG_ACCESSORS in the class
// (`x()`, `xIs(bool)` and the declaration of the constant `x_`, the set with
// only that bit) and FLOWSPEC_FLAG_CONSTANT after it. It also gives:
//   static constexpr std::uint32_t maxValue;   the highest word allowed
//   static constexpr char rangeMessage[];      the error above it
//   static constexpr char vexTypeName[];       "Flowspec::<Type>"
// and takes the reading constructors with `using FlagSet::FlagSet`.
// Setting `value` above maxValue raises Vex::RangeException with exactly
// rangeMessage; setting single flags cannot exceed it. Equality compares the
// word; the hash is the word itself; there is no order.
//
// The value text names every flag as a boolean, in bit order:
//   Value('Flowspec::TrafficAction', ** {'sampleAndLog': True, 'continueMatch': False})
// and reads back the same way, checking maxValue after all flags are read.
// The attribute log carries the word (u32), checked when read.
#pragma once

#include "Vex/Exception.h"
#include "Vex/NboAttrLog.h"
#include "Vex/ValueText.h"

#include <cstdint>
#include <ostream>
#include <string>

namespace Flowspec {

template <class Derived>
class FlagSet {
 public:
   constexpr FlagSet() noexcept = default;
   /// Read the value text (every flag, then the maxValue check) or the log
   /// (the word, checked).
   FlagSet(Vex::TextIter& pos, Vex::TextIter end) : value_(fromStrep(pos, end).value_) {}
   FlagSet(Vex::NboAttrLog::In* in, Vex::StreamBogon) : value_(fromLog(*in).value_) {}

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
   /// flag(Bit) and flagIs(Bit, on) with the bit fixed, for reflection rows.
   template <unsigned Bit>
   constexpr bool flagAt() const noexcept {
      return flag(Bit);
   }
   template <unsigned Bit>
   constexpr void flagAtIs(bool on) noexcept {
      flagIs(Bit, on);
   }

   constexpr std::uint32_t hash() const noexcept { return value_; }
   /// True when no flag is set.
   constexpr bool operator!() const noexcept { return value_ == 0; }
   friend constexpr bool operator==(Derived const& a, Derived const& b) noexcept {
      return a.value_ == b.value_;
   }

   friend Vex::String valueToStrep(Derived const& v) {
      std::string s = "Value('";
      s += Derived::vexTypeName;
      s += "', ** {";
      for (unsigned bit = 0; bit < Derived::flagNames.size(); ++bit) {
         if (bit) s += ", ";
         s += '\'';
         s += Derived::flagNames[bit];
         s += "': ";
         s += Vex::valueToStrep(v.flag(bit)).str();
      }
      s += "})";
      return Vex::String(std::move(s));
   }
   friend void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, Derived& v) {
      v = fromStrep(pos, end);
   }
   friend std::ostream& operator<<(std::ostream& os, Derived const& v) {
      return os << valueToStrep(v);
   }
   friend Vex::Ptr<Vex::NboAttrLog::Out> const&
   operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out, Derived const& v) {
      out->writeU32(v.value_);
      return out;
   }

 protected:
   /// Reads the value text at `pos`.
   static Derived fromStrep(Vex::TextIter& pos, Vex::TextIter end) {
      std::string head = "Value('";
      head += Derived::vexTypeName;
      head += "', ** {";
      Vex::expectLiteral(pos, end, head);
      std::uint32_t word = 0;
      for (unsigned bit = 0; bit < Derived::flagNames.size(); ++bit) {
         std::string label = bit ? ", '" : "'";
         label += Derived::flagNames[bit];
         label += "': ";
         Vex::expectLiteral(pos, end, label);
         bool on = false;
         Vex::readField(pos, end, Derived::flagNames[bit], on);
         if (on) word |= 1U << bit;
      }
      Vex::expectLiteral(pos, end, "})");
      Derived d;
      d.valueIs(word);
      return d;
   }
   /// Reads the word from the log and checks it.
   static Derived fromLog(Vex::NboAttrLog::In& in) {
      Derived d;
      d.valueIs(in.nextU32());
      return d;
   }

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

/// The pieces a flag set's list of FLAG(Type, name, bit) entries expands to.
#define FLOWSPEC_FLAG_NAME(T, x, bit) #x,
#define FLOWSPEC_FLAG_ACCESSORS(T, x, bit)                                                         \
   constexpr bool x() const noexcept {                                                             \
      return flag(bit);                                                                            \
   }                                                                                               \
   constexpr void x##Is(bool on) noexcept {                                                        \
      flagIs(bit, on);                                                                             \
   }                                                                                               \
   static T const x##_;
#define FLOWSPEC_FLAG_CONSTANT(T, x, bit) inline constexpr T T::x##_ = withValue(1u << (bit));
