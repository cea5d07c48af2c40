// Flowspec/values/BitMask.h: the shared design of the two bit-mask match
// values, IpBitMask (fragment) and TcpBitMask (TCP flags).
//
// A mask says which bits of the packet field are examined (`mask`), what they
// must be (`val`), and whether all examined bits must match or any one of
// them suffices (`matchAll`, the match bit of the RFC 8955 bitmask operator).
// Bit n is the bit of enumerator n of the derived type's vocabulary.
//
//   | field    | type   | default |
//   |----------|--------|---------|
//   | matchAll | bool   | true    |
//   | val      | 16-bit | 0       |
//   | mask     | 16-bit | 0       |
//
// A derived type gives its vocabulary in `bitTable`: each bit from 0 to
// `lastBit`, its enumerator name and its command-line name.
#pragma once

#include "Flowspec/framework/ValueCodec.h"
#include "Vex/String.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <tuple>

namespace Flowspec {

/// One bit of a mask's vocabulary.
template <class Bit>
struct BitMaskBit {
   char const* name;    ///< the enumerator's name
   Bit value;           ///< the bit's number
   char const* cliName; ///< its name in the command-line text
};

namespace Internal {
Vex::String bitMaskToStrep(std::uint16_t val, std::uint16_t mask);
Vex::String bitMaskToStrepCli(std::uint16_t val, std::uint16_t mask,
                              std::span<char const* const> bitNames);
std::uint32_t bitMaskHash(bool matchAll, std::uint16_t val, std::uint16_t mask) noexcept;
} // namespace Internal

template <class Derived>
class BitMask {
 public:
   static constexpr auto vexFields() {
      return std::tuple{Vex::valueField("matchAll", &BitMask::matchAll, &BitMask::matchAllIs),
                        Vex::valueField("val", &BitMask::val, &BitMask::valIs),
                        Vex::valueField("mask", &BitMask::mask, &BitMask::maskIs)};
   }
   static constexpr Derived vexFromFields(bool matchAll, std::uint16_t val, std::uint16_t mask) {
      Derived d(val, mask);
      d.matchAllIs(matchAll);
      return d;
   }

   constexpr BitMask() noexcept = default;
   /// `matchAll` true.
   constexpr BitMask(std::uint16_t val, std::uint16_t mask) noexcept : val_(val), mask_(mask) {}

   constexpr bool matchAll() const noexcept { return matchAll_; }
   constexpr std::uint16_t val() const noexcept { return val_; }
   constexpr std::uint16_t mask() const noexcept { return mask_; }
   constexpr void matchAllIs(bool v) noexcept { matchAll_ = v; }
   constexpr void valIs(std::uint16_t v) noexcept { val_ = v; }
   constexpr void maskIs(std::uint16_t v) noexcept { mask_ = v; }

   /// Mixes matchAll (one byte), val (16 bits), then mask (16 bits).
   std::uint32_t hash() const noexcept { return Internal::bitMaskHash(matchAll_, val_, mask_); }
   /// "<value:0x<val>;mask:0x<mask>>" in lower-case hexadecimal without
   /// leading zeros; matchAll is not printed.
   Vex::String toStrep() const { return Internal::bitMaskToStrep(val_, mask_); }
   /// Each examined bit from 0 to lastBit, in order, as "<name>:1" or
   /// "<name>:0" by its bit in val, joined with ","; "" for a mask of 0.
   /// matchAll and bits above lastBit are not printed.
   Vex::String toStrepCli() const {
      static constexpr auto names = [] {
         std::array<char const*, std::size(Derived::bitTable)> out{};
         for (std::size_t i = 0; i < out.size(); ++i)
            out[i] = Derived::bitTable[i].cliName;
         return out;
      }();
      return Internal::bitMaskToStrepCli(val_, mask_, names);
   }

   friend constexpr bool operator==(Derived const& a, Derived const& b) noexcept {
      return a.matchAll_ == b.matchAll_ && a.val_ == b.val_ && a.mask_ == b.mask_;
   }
   /// By matchAll (false first), then val, then mask.
   friend constexpr bool operator<(Derived const& a, Derived const& b) noexcept {
      if (a.matchAll_ != b.matchAll_) return !a.matchAll_;
      if (a.val_ != b.val_) return a.val_ < b.val_;
      return a.mask_ < b.mask_;
   }
   /// True for the default mask (matchAll, val 0, mask 0).
   constexpr bool operator!() const noexcept { return matchAll_ && val_ == 0 && mask_ == 0; }

 private:
   bool matchAll_ = true;
   std::uint16_t val_ = 0;
   std::uint16_t mask_ = 0;
};

} // namespace Flowspec
