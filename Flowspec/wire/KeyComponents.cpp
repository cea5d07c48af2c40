#include "Flowspec/wire/KeyComponents.h"

namespace Flowspec {

namespace {

constexpr std::uint8_t endOfListBit = MatchOpVal::endOfListBit;
constexpr std::uint8_t reservedBit = 0x08;

bool isBitmaskType(MatchCompType t) noexcept {
   return t == MatchCompType::tcpFlags || t == MatchCompType::fragment;
}

bool isOperatorListType(MatchCompType t) noexcept {
   auto n = static_cast<std::uint32_t>(t);
   return n >= static_cast<std::uint32_t>(MatchCompType::ipProto) &&
          n <= static_cast<std::uint32_t>(MatchCompType::flowLabel);
}

} // namespace

void KeyComponents::problemIs(KeyShapeProblem p, std::uint16_t pairIndex) noexcept {
   if (problem_ != KeyShapeProblem::none) return;
   problem_ = p;
   problemPair_ = pairIndex;
}

KeyComponents::KeyComponents(FlowspecKey const& key) {
   std::size_t const count = key.matchOpVals();
   if (count <= inlinePairs) {
      pairs_ = pairArray_.data();
      components_ = componentArray_.data();
   } else {
      pairVector_.resize(count);
      componentVector_.resize(count);
      pairs_ = pairVector_.data();
      components_ = componentVector_.data();
   }
   WirePair* p = pairs_;
   WireComponent* c = components_;
   std::uint16_t position = 0;
   bool previousEnded = true;
   MatchCompType previousType = MatchCompType::invalid;
   for (auto i = key.matchOpValIteratorConst(); i; ++i, ++position) {
      std::uint16_t index = i.key().value();
      if (index != position) problemIs(KeyShapeProblem::sparseIndices, index);
      MatchOpVal word = i.value();
      MatchCompType type = word.matchType();
      std::uint8_t op = word.op();
      std::uint32_t value = word.val();
      if (!isOperatorListType(type)) problemIs(KeyShapeProblem::unknownType, index);
      if ((op & reservedBit) || (isBitmaskType(type) && (op & MatchOpVal::ltBit)))
         problemIs(KeyShapeProblem::reservedBit, index);
      switch (word.len()) {
      case 0:
         if (value > 0xff) problemIs(KeyShapeProblem::valueTooWide, index);
         break;
      case 1:
         break;
      case 2: {
         // The low half is the next pair, with the same type and operator.
         auto next = i;
         ++next;
         if (next && next.key().value() == index + 1 && next.value().matchType() == type &&
             next.value().op() == op) {
            value = value << 16 | next.value().val();
            i = next;
            ++position;
         } else {
            problemIs(KeyShapeProblem::halfValue, index);
            value <<= 16;
         }
         break;
      }
      default:
         problemIs(KeyShapeProblem::eightByteValue, index);
         break;
      }
      if (previousEnded || type != previousType) {
         if (c != components_) p[-1].op |= endOfListBit;
         *c++ = {.type = type, .first = static_cast<std::uint16_t>(p - pairs_), .count = 0};
      }
      ++c[-1].count;
      previousEnded = (op & endOfListBit) != 0;
      previousType = type;
      *p++ = {
          .op = static_cast<std::uint8_t>(op & ~endOfListBit), .value = value, .keyIndex = index};
   }
   if (p != pairs_) p[-1].op |= endOfListBit;
   componentCount_ = static_cast<std::size_t>(c - components_);

   // Stable insertion sort by type: keys hold a handful of components, and
   // most arrive sorted already.
   c = components_;
   std::size_t const n = componentCount_;
   for (std::size_t k = 1; k < n; ++k) {
      WireComponent moving = c[k];
      std::size_t j = k;
      for (; j > 0 && c[j - 1].type > moving.type; --j)
         c[j] = c[j - 1];
      c[j] = moving;
   }
   for (std::size_t k = 1; k < n; ++k)
      if (c[k].type == c[k - 1].type)
         problemIs(KeyShapeProblem::repeatedType, pairs_[c[k].first].keyIndex);
}

} // namespace Flowspec
