// Flowspec/wire/KeyComponents.h: the operator-value pairs of a FlowspecKey
// grouped into components as the wire carries them (RFC 8955 section 4).
//
// A key stores its numeric and bitmask matches as 16-bit pairs in index order
// (Flowspec/values/FlowspecKey.h); the wire wants one component per type, in
// ascending type order, each a list of operator bytes and 1-, 2- or 4-byte
// values with the end-of-list bit on its last operator. KeyComponents walks a
// key once, joins the two halves of every 4-byte value, cuts the pairs into
// components (a new one starts where the type changes or after an end-of-list
// bit), sets the end-of-list bit exactly on the last pair of each, and sorts
// the components by type (stable: two components of one type keep their
// order). The NLRI encoder and the precedence comparison share it.
//
// It never aborts on a key: what the wire cannot carry is recorded as the
// first problem met (problem(), problemPair()) and the walk goes on, so a
// comparison still sees every pair.
//
// Cost: one walk of the key's pairs; nothing is allocated for keys of up to
// 48 pairs.
#pragma once

#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/MatchCompType.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Flowspec {

/// One operator-value pair as the wire carries it. (No member initializers:
/// KeyComponents keeps arrays of them that it does not clear.)
struct WirePair {
   /// The operator byte of RFC 8955 section 4.2.1.1 (numeric) or 4.2.1.2
   /// (bitmask), its end-of-list bit set exactly on the last pair of its
   /// component.
   std::uint8_t op;
   /// The operand; on the wire it takes 1 << len bytes, most significant first.
   std::uint32_t value;
   /// The key index of the pair (of its high half for a 4-byte value).
   std::uint16_t keyIndex;
};

/// One component: a type and its pairs, pairs()[first, first + count).
struct WireComponent {
   MatchCompType type;
   std::uint16_t first;
   std::uint16_t count;
};

/// What a key holds that the wire cannot carry; the first met is kept.
enum class KeyShapeProblem : std::uint8_t {
   none,
   /// The pair indices are not 0 to count - 1.
   sparseIndices,
   /// A pair's type is not one of the operator-list types 3 to 13.
   unknownType,
   /// A 4-byte value whose low half (the next pair, same type and operator
   /// byte) is missing.
   halfValue,
   /// A pair whose length bits say 8 bytes.
   eightByteValue,
   /// A 1-byte pair whose stored value is above 255.
   valueTooWide,
   /// An operator byte with a reserved bit set: bit 3 (0x08) always, bit 2
   /// (0x04, lt) in a bitmask component (tcpFlags, fragment).
   reservedBit,
   /// Two components of the same type (the wire allows each type once).
   repeatedType,
};

class KeyComponents {
 public:
   /// Walks `key`'s pairs once.
   explicit KeyComponents(FlowspecKey const& key);
   KeyComponents(KeyComponents const&) = delete;
   KeyComponents& operator=(KeyComponents const&) = delete;

   /// The components in ascending type order.
   std::span<WireComponent const> components() const noexcept {
      return {components_, componentCount_};
   }
   /// The pairs of one component, in the order they are evaluated.
   std::span<WirePair const> pairs(WireComponent const& c) const noexcept {
      return {pairs_ + c.first, c.count};
   }
   /// The first problem met, or none.
   KeyShapeProblem problem() const noexcept { return problem_; }
   /// The key index of the pair where problem() was met (0 when none).
   std::uint16_t problemPair() const noexcept { return problemPair_; }

 private:
   void problemIs(KeyShapeProblem p, std::uint16_t pairIndex) noexcept;

   // The pairs and components (never more than the pairs), in the arrays
   // for keys of up to `inlinePairs` pairs, else in the vectors, sized once.
   // Not cleared: only what was written is read.
   static constexpr std::size_t inlinePairs = 48;
   std::array<WirePair, inlinePairs> pairArray_;
   std::array<WireComponent, inlinePairs> componentArray_;
   std::vector<WirePair> pairVector_;
   std::vector<WireComponent> componentVector_;
   WirePair* pairs_;
   WireComponent* components_;
   std::size_t componentCount_ = 0;
   KeyShapeProblem problem_ = KeyShapeProblem::none;
   std::uint16_t problemPair_ = 0;
};

} // namespace Flowspec
