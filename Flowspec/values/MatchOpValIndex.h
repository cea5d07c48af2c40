// Flowspec/values/MatchOpValIndex.h: the position of one operator-value pair
// in a rule key's ordered collection of pairs.
//
// Valid positions are `min` (0) to `max` (2047). 2047 doubles as the null
// index: the default, and the `nextIndex` of the last pair of a key.
// Arithmetic and the plain constructor do not check the range (callers that
// walk indices stay below 2047); valueIs and the readers of text and of the
// attribute log do, raising Vex::RangeException with `rangeMessage`.
#pragma once

#include "Flowspec/framework/ValueCodec.h"
#include "Vex/Exception.h"
#include "Vex/Reflect.h"

#include <compare>
#include <cstdint>
#include <tuple>

namespace Vex {
class VexType;
}

namespace Flowspec {

class MatchOpValIndex {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr std::uint16_t min = 0;
   static constexpr std::uint16_t max = 2047;
   static constexpr char const* rangeMessage =
       "MatchOpValIndex::value < MatchOpValIndex::min or > MatchOpValIndex::max not allowed";

   static constexpr char vexTypeName[] = "Flowspec::MatchOpValIndex";
   static constexpr auto vexFields() {
      // Read-only through reflection: the index changes only by arithmetic.
      return std::tuple{Vex::valueField("value", &MatchOpValIndex::value)};
   }
   static constexpr MatchOpValIndex vexFromFields(std::uint16_t v) { return checked(v); }

   /// The null index, 2047.
   constexpr MatchOpValIndex() noexcept = default;
   /// Any 16-bit value, unchecked.
   constexpr MatchOpValIndex(std::uint16_t value) noexcept : value_(value) {}
   /// Read the value text (Value('Flowspec::MatchOpValIndex', ** {'value': 7}))
   /// or the log (u16); a value above max raises Vex::RangeException.
   MatchOpValIndex(Vex::TextIter& pos, Vex::TextIter end)
       : MatchOpValIndex(Vex::fieldsFromStrep<MatchOpValIndex>(pos, end)) {}
   MatchOpValIndex(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : MatchOpValIndex(Vex::fieldsFromLog<MatchOpValIndex>(*in)) {}

   constexpr std::uint16_t value() const noexcept { return value_; }
   /// Raises Vex::RangeException(rangeMessage) above max.
   constexpr void valueIs(std::uint32_t v) { value_ = checked(v).value_; }
   /// The index `v`, or Vex::RangeException(rangeMessage) above max.
   static constexpr MatchOpValIndex checked(std::uint32_t v) {
      if (v > max) throw Vex::RangeException(rangeMessage);
      return MatchOpValIndex(static_cast<std::uint16_t>(v));
   }
   /// Whether this is the null index.
   constexpr bool operator!() const noexcept { return value_ == max; }

   /// 16-bit unsigned sums, unchecked: 65535 + 1 is 0.
   constexpr MatchOpValIndex& operator+=(MatchOpValIndex o) noexcept {
      value_ = static_cast<std::uint16_t>(value_ + o.value_);
      return *this;
   }
   constexpr MatchOpValIndex operator+(MatchOpValIndex o) const noexcept {
      MatchOpValIndex r = *this;
      return r += o;
   }
   constexpr std::uint32_t hash() const noexcept { return value_; }

   /// The type-level operations of reflection: the null test (AttrOp::isNull)
   /// and the addition (AttrOp::add); anything else is not allowed.
   static int vexTypeOp(Vex::GenericValue* result, MatchOpValIndex& index, Vex::AttrOp op,
                        Vex::GenericArgs args);

   friend constexpr bool operator==(MatchOpValIndex, MatchOpValIndex) noexcept = default;
   friend constexpr std::strong_ordering operator<=>(MatchOpValIndex,
                                                     MatchOpValIndex) noexcept = default;

 private:
   std::uint16_t value_ = max;
};

} // namespace Flowspec
