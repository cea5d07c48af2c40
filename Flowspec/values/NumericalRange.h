// Flowspec/values/NumericalRange.h: the inclusive interval of unsigned
// numbers that one numeric match component accepts (protocol numbers, ports,
// ICMP type and code, packet length, DSCP, flow label).
//
// Bounds are 24-bit numbers (0 to `max`); `invalidValue` (0x1000000) marks an
// unset bound and is the bound of the "no range" result. The default range
// has both bounds at invalidValue: it exists but is not valid and contains
// nothing.
//
//   NumericalRange a(10, 20), b(20, 30);
//   a.rangeIntersection(b);   // [20, 20]
//   a.rangeUnion(b);          // [10, 30]
//   a.toStrep();              // "[ 10, 20 ]"
#pragma once

#include "Flowspec/framework/ValueCodec.h"
#include "Flowspec/values/MatchCompType.h"
#include "Vex/String.h"

#include <cstdint>
#include <tuple>

namespace Vex {
class VexType;
}

namespace Flowspec {

class NumericalRange {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr char vexTypeName[] = "Flowspec::NumericalRange";
   static constexpr auto vexFields() {
      return std::tuple{
          Vex::valueField("rangeMin", &NumericalRange::rangeMin, &NumericalRange::rangeMinIs),
          Vex::valueField("rangeMax", &NumericalRange::rangeMax, &NumericalRange::rangeMaxIs)};
   }

   static constexpr std::uint32_t min = 0;
   static constexpr std::uint32_t max = 0xffffff;
   static constexpr std::uint32_t invalidValue = 0x1000000;

   /// Both bounds invalidValue.
   constexpr NumericalRange() noexcept = default;
   /// Stores both bounds, then checks them in this order, raising
   /// Vex::RangeException with the first message that applies:
   ///   rangeMin > rangeMax:      "NumericalRange::rangeMin > NumericalRange::rangeMax not allowed"
   ///   rangeMin > invalidValue:  "NumericalRange::rangeMin < NumericalRange::min or > NumericalRange::invalidValue not allowed"
   ///   rangeMax > invalidValue:  "NumericalRange::rangeMax < NumericalRange::min or > NumericalRange::invalidValue not allowed"
   /// A bound equal to invalidValue is accepted (it makes an invalid range).
   NumericalRange(std::uint32_t rangeMin, std::uint32_t rangeMax);
   /// Read the value text or the log (u32 rangeMin, u32 rangeMax), then check
   /// like the constructor above.
   NumericalRange(Vex::TextIter& pos, Vex::TextIter end)
       : NumericalRange(Vex::fieldsFromStrep<NumericalRange>(pos, end)) {}
   NumericalRange(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : NumericalRange(Vex::fieldsFromLog<NumericalRange>(*in)) {}

   std::uint32_t rangeMin() const noexcept { return rangeMin_; }
   std::uint32_t rangeMax() const noexcept { return rangeMax_; }
   /// Set one bound with its own limit (the second or third message above);
   /// the order of the bounds is not checked here.
   void rangeMinIs(std::uint32_t v);
   void rangeMaxIs(std::uint32_t v);

   /// Both bounds at most `max`.
   bool isValid() const noexcept { return rangeMin_ <= max && rangeMax_ <= max; }
   /// Whether the range is valid and holds `value`.
   bool contains(std::uint32_t value) const noexcept {
      return isValid() && rangeMin_ <= value && value <= rangeMax_;
   }
   /// Whether the two closed intervals share a value ([1,5] and [5,9] do).
   /// Both ranges must be valid: otherwise the process aborts with
   /// "isValid() && otherRange.isValid()".
   bool isRangeOverlap(NumericalRange const& otherRange) const;
   /// The common part, or the default range (no range) when there is none.
   /// Aborts like isRangeOverlap for an invalid range.
   NumericalRange rangeIntersection(NumericalRange const& otherRange) const;
   /// The hull of two overlapping ranges; the default range when they do not
   /// overlap (two disjoint ranges have no single-range union). Aborts like
   /// isRangeOverlap for an invalid range.
   NumericalRange rangeUnion(NumericalRange const& otherRange) const;

   /// The largest value a component of kind `matchCompType` carries:
   /// 65535 for the ports and packet length, 1048575 for flowLabel, 63 for
   /// dscp, 255 for ipProto, icmpType, icmpCode and invalid (which also
   /// writes the invalid-kind trace). The prefix and bit-mask kinds and
   /// values above flowLabel abort with "!isBitfieldType( matchCompType ) &&
   /// matchCompType != destPrefix() && matchCompType != srcPrefix()".
   static std::uint32_t matchCompTypeMax(MatchCompType matchCompType);

   /// Mixes rangeMin, then rangeMax, as unsigned 32-bit values.
   std::uint32_t hash() const noexcept;
   /// "[ <rangeMin>, <rangeMax> ]" in decimal.
   Vex::String toStrep() const;

   friend bool operator==(NumericalRange const&, NumericalRange const&) = default;
   /// By rangeMin, then rangeMax.
   friend bool operator<(NumericalRange const& a, NumericalRange const& b) noexcept {
      return a.rangeMin_ < b.rangeMin_ || (a.rangeMin_ == b.rangeMin_ && a.rangeMax_ < b.rangeMax_);
   }
   /// True for the default range.
   bool operator!() const noexcept { return *this == NumericalRange(); }

 private:
   std::uint32_t rangeMin_ = invalidValue;
   std::uint32_t rangeMax_ = invalidValue;
};

} // namespace Flowspec
