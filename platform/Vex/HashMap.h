// Vex/HashMap.h: the framework's older hashed collection, for children keyed
// by a 32-bit number (a VRF id, an address family).
//
// Same interface as Vex::HashMap2018 and the same intrusive nodes (each child
// carries its own Vex::HashLink). Keys are 32-bit integers or enumerations:
// hashed by reversing their 32 bits (Vex::bitReverse), compared for equality
// as numbers and ordered by unsigned less-than. Iteration visits members in
// ascending order of their bit-reversed key, a fixed order of the contents.
#pragma once

#include "Vex/Hash.h"
#include "Vex/HashTable.h"

#include <cstdint>
#include <type_traits>

namespace Vex {

namespace Internal {
template <class Key>
struct HashMapPolicy {
   static_assert((std::is_integral_v<Key> || std::is_enum_v<Key>)&&sizeof(Key) == 4,
                 "Vex::HashMap keys are 32-bit numbers");
   static std::uint32_t word(Key k) noexcept { return static_cast<std::uint32_t>(k); }
   static std::uint32_t position(Key const& k) noexcept { return bitReverse(word(k)); }
   static bool equal(Key const& a, Key const& b) noexcept { return word(a) == word(b); }
   static bool less(Key const& a, Key const& b) noexcept { return word(a) < word(b); }
};
} // namespace Internal

template <class Node, class Key, class Value = Node>
class HashMap : public HashTable<Node, Key, Value, Internal::HashMapPolicy<Key>> {
 public:
   using HashTable<Node, Key, Value, Internal::HashMapPolicy<Key>>::HashTable;
};

} // namespace Vex
