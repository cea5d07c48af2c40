// Vex/HashMap2018.h: the hashed collection of the framework.
//
// A Vex::HashMap2018<Node, Key, Value> holds reference-counted nodes hashed
// by their keys' hash (Vex::HashTraits: the key's `hash()`, or the number of
// an integer or enumeration). Like Vex::RbTreeMap it is intrusive: nodes
// derive from Vex::PtrInterface and Vex::HashLink and name their key with
// `fwkKey()`; Vex/CollectionNode.h has the nodes of value collections. A map
// whose Value is void is a set.
//
// Iteration order is fixed by the contents: members are visited in ascending
// order of (their hash scrambled by a fixed multiplication, their key), so
// two maps with the same members iterate alike, whatever the insertion
// history. Keys need ==, < and a hash; equal keys must hash equally.
//
// Costs: find, insert and erase take O(1) on average: one hash, a walk of a
// chain that is sorted (so a miss stops early), and a key comparison only
// where the stored hash matches.
#pragma once

#include "Vex/Hash.h"
#include "Vex/HashTable.h"

#include <cstdint>

namespace Vex {

namespace Internal {
template <class Key>
struct HashMap2018Policy {
   static std::uint32_t position(Key const& k) noexcept {
      // An odd multiplier is a bijection: it moves entropy from the low bits
      // into the top bits that pick the bucket, and adds no collision.
      return HashTraits<Key>::hash(k) * 0x9e3779b1U;
   }
   static bool equal(Key const& a, Key const& b) noexcept(noexcept(a == b)) { return a == b; }
   static bool less(Key const& a, Key const& b) noexcept(noexcept(a < b)) { return a < b; }
};
} // namespace Internal

template <class Node, class Key, class Value = Node>
class HashMap2018 : public HashTable<Node, Key, Value, Internal::HashMap2018Policy<Key>> {
 public:
   using HashTable<Node, Key, Value, Internal::HashMap2018Policy<Key>>::HashTable;
};

} // namespace Vex
