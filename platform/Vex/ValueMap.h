// Vex/ValueMap.h: a hashed collection of values by key, owned by a value.
//
// Values such as a match component hold small keyed collections of values
// (a set of ranges with a flag each, a reason text per match kind). A
// Vex::HashValueMap<Key, Value> is such a collection: a Vex::HashMap2018 of
// nodes holding a key and a value, with value semantics (a copy holds its own
// members) and the framework's collection operations. Iteration follows the
// content-fixed order of Vex::HashMap2018, so equality, which walks two maps
// side by side, does not depend on the order of insertion.
//
// VEX_VALUE_MAP_ACCESSORS gives the owning class the named operations of a
// collection `x`: x(key), xHas, xSize, xIs, xDel, xDelAll, xIteratorConst.
#pragma once

#include "Vex/CollectionNode.h"
#include "Vex/HashMap2018.h"

#include <cstddef>

namespace Vex {

template <class Key, class Value>
class HashValueMap {
 public:
   using Node = MapNode<Key, Value, HashLink>;
   using Map = HashMap2018<Node, Key, Value>;
   using Iterator = typename Map::Iterator;

   /// The value stored with `key`, or a default Value when there is none.
   Value get(Key const& key) const {
      Node const* n = map_.find(key);
      return n ? n->value() : Value();
   }
   bool has(Key const& key) const noexcept { return map_.has(key); }
   std::size_t size() const noexcept { return map_.size(); }
   bool empty() const noexcept { return map_.empty(); }

   /// Inserts `key` with `value`, or replaces the value stored with it. Says
   /// whether anything changed (false when an equal value was stored).
   bool is(Key const& key, Value const& value) {
      if (Node* n = map_.find(key)) {
         if (n->value() == value) return false;
         n->valueIs(value);
         return true;
      }
      map_.insert(new Node(key, value));
      return true;
   }
   /// Removes `key`; returns the value it held, or a default Value.
   Value del(Key const& key) {
      Ptr<Node> n = map_.erase(key);
      return n ? n->value() : Value();
   }
   void delAll() noexcept { map_.clear(); }

   /// Walks the members; `key()` and `value()` read the one it stands on.
   Iterator iterator() const noexcept { return map_.iterator(); }
   Map const& map() const noexcept { return map_; }

   /// Same keys with equal values, compared side by side in iteration order.
   bool operator==(HashValueMap const& o) const { return map_ == o.map_; }

 private:
   Map map_;
};

} // namespace Vex

/// Declares, in a class, the named operations of the collection `x` held in
/// the HashValueMap member `member`.
#define VEX_VALUE_MAP_ACCESSORS(x, Key, Value, member)                                             \
   Value x(Key const& key) const {                                                                 \
      return member.get(key);                                                                      \
   }                                                                                               \
   bool x##Has(Key const& key) const noexcept {                                                    \
      return member.has(key);                                                                      \
   }                                                                                               \
   std::size_t x##Size() const noexcept {                                                          \
      return member.size();                                                                        \
   }                                                                                               \
   void x##Is(Key const& key, Value const& value) {                                                \
      member.is(key, value);                                                                       \
   }                                                                                               \
   Value x##Del(Key const& key) {                                                                  \
      return member.del(key);                                                                      \
   }                                                                                               \
   void x##DelAll() noexcept {                                                                     \
      member.delAll();                                                                             \
   }                                                                                               \
   auto x##IteratorConst() const noexcept {                                                        \
      return member.iterator();                                                                    \
   }
