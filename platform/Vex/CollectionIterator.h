// Vex/CollectionIterator.h: the two iterators of the framework's collections.
// Users get them from a collection (`iterator()`, `begin()`); this header
// holds their shared definition.
//
// Both walk a collection `Map` that offers `first()`, `next(node)`,
// `upperBound(key)` and `version()`, a counter that grows on every insertion
// and deletion.
#pragma once

#include "Vex/Ptr.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace Vex::Internal {

/// Holds a reference on its member and survives any change of the map: when
/// the map changed since the iterator last moved, ++ continues from the first
/// member after its member's key in the map's order, so deleting the member
/// it stands on, or any other, is safe.
template <class Map, class Node, class Key>
class SafeIterator {
 public:
   SafeIterator() noexcept = default;
   SafeIterator(Map const* map, Node* at) noexcept
       : map_(map), cur_(at), version_(map->version()) {}

   explicit operator bool() const noexcept { return static_cast<bool>(cur_); }
   SafeIterator& operator++() {
      if (!cur_) return *this;
      if (map_->version() == version_) {
         cur_ = map_->next(cur_.get());
      } else {
         cur_ = map_->upperBound(cur_->fwkKey());
      }
      version_ = map_->version();
      return *this;
   }
   /// The member's key, as its fwkKey() gives it (by value or by reference).
   decltype(auto) key() const noexcept { return cur_->fwkKey(); }
   /// The value of a value collection's member.
   decltype(auto) value() const noexcept requires requires(Node const& n) { n.value(); }
   { return cur_->value(); }
   Node* ptr() const noexcept { return cur_.get(); }
   Node* operator->() const noexcept { return cur_.get(); }
   Node& operator*() const noexcept { return *cur_; }

 private:
   Map const* map_ = nullptr;
   Ptr<Node> cur_;
   std::uint64_t version_ = 0;
};

/// A plain forward iterator for range-for; deleting the member it stands on,
/// or inserting into a hashed map, invalidates it.
template <class Map, class Node>
class PlainIterator {
 public:
   using iterator_category = std::forward_iterator_tag;
   using value_type = Node;
   using difference_type = std::ptrdiff_t;
   using pointer = Node*;
   using reference = Node&;

   PlainIterator() noexcept = default;
   PlainIterator(Map const* map, Node* n) noexcept : map_(map), n_(n) {}
   Node& operator*() const noexcept { return *n_; }
   Node* operator->() const noexcept { return n_; }
   PlainIterator& operator++() noexcept {
      n_ = map_->next(n_);
      return *this;
   }
   PlainIterator operator++(int) noexcept {
      auto r = *this;
      ++*this;
      return r;
   }
   bool operator==(PlainIterator const& o) const noexcept { return n_ == o.n_; }

 private:
   Map const* map_ = nullptr;
   Node* n_ = nullptr;
};

} // namespace Vex::Internal
