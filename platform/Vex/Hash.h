// Vex/Hash.h: the hash accumulator, bit reversal, and the hash hook of the
// hashed collections.
//
// Every value type hashes the same way: start an accumulator from its zero
// state, mix the fields that equality compares, in declaration order and at
// their declared widths, and take the result.
//
//   std::uint32_t NumericalRange::hash() const {
//      Vex::HashAccumulator h;
//      h.mixU32(rangeMin_);
//      h.mixU32(rangeMax_);
//      return h.result();
//   }
//
// The mixing is MurmurHash3's 32-bit block step, each mix one block of its
// width, and its finaliser over the total width: equal inputs give equal
// results on every platform, and every input bit reaches every result bit.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace Vex {

class HashAccumulator {
 public:
   constexpr HashAccumulator() noexcept = default;

   constexpr void mixU8(std::uint8_t v) noexcept { block(v, 1); }
   constexpr void mixU16(std::uint16_t v) noexcept { block(v, 2); }
   constexpr void mixU32(std::uint32_t v) noexcept { block(v, 4); }
   constexpr void mixU64(std::uint64_t v) noexcept {
      block(static_cast<std::uint32_t>(v), 4);
      block(static_cast<std::uint32_t>(v >> 32), 4);
   }
   constexpr void mixBool(bool v) noexcept { mixU8(v ? 1 : 0); }
   /// Mixes `size` bytes, four at a time, the tail as one shorter block.
   void mixBytes(void const* data, std::size_t size) noexcept;

   /// The hash of everything mixed so far. Does not change the accumulator.
   constexpr std::uint32_t result() const noexcept {
      std::uint32_t h = h_ ^ len_;
      h ^= h >> 16;
      h *= 0x85ebca6bU;
      h ^= h >> 13;
      h *= 0xc2b2ae35U;
      h ^= h >> 16;
      return h;
   }

 private:
   static constexpr std::uint32_t rotl(std::uint32_t x, int r) noexcept {
      return (x << r) | (x >> (32 - r));
   }
   constexpr void block(std::uint32_t k, std::uint32_t width) noexcept {
      k *= 0xcc9e2d51U;
      k = rotl(k, 15);
      k *= 0x1b873593U;
      h_ ^= k;
      h_ = rotl(h_, 13);
      h_ = h_ * 5 + 0xe6546b64U;
      len_ += width;
   }

   std::uint32_t h_ = 0;
   std::uint32_t len_ = 0;
};

/// The 32 bits of `v` in reverse order (bit 0 becomes bit 31).
constexpr std::uint32_t bitReverse(std::uint32_t v) noexcept {
   v = ((v >> 1) & 0x55555555U) | ((v & 0x55555555U) << 1);
   v = ((v >> 2) & 0x33333333U) | ((v & 0x33333333U) << 2);
   v = ((v >> 4) & 0x0f0f0f0fU) | ((v & 0x0f0f0f0fU) << 4);
   v = ((v >> 8) & 0x00ff00ffU) | ((v & 0x00ff00ffU) << 8);
   return (v >> 16) | (v << 16);
}

/// The hash hook of Vex::HashMap2018: a key's `hash()` member when it has one,
/// the accumulator over the number for integers and enumerations. Specialise
/// it for a key type that has neither.
template <class Key>
struct HashTraits {
   static std::uint32_t hash(Key const& key) noexcept {
      if constexpr (requires {
                       { key.hash() } -> std::convertible_to<std::uint32_t>;
                    }) {
         return static_cast<std::uint32_t>(key.hash());
      } else if constexpr (std::is_enum_v<Key> || std::is_integral_v<Key>) {
         HashAccumulator h;
         if constexpr (sizeof(Key) <= 4) {
            h.mixU32(static_cast<std::uint32_t>(key));
         } else {
            h.mixU64(static_cast<std::uint64_t>(key));
         }
         return h.result();
      } else {
         static_assert(sizeof(Key) == 0, "Vex::HashTraits: the key has no hash()");
      }
   }
};

} // namespace Vex
