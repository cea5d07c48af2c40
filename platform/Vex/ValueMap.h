// Vex/ValueMap.h: a hashed collection of values by key, owned by a value.
//
// Values such as a match component hold small keyed collections of values
// (a set of ranges with a flag each, a reason text per match kind). A
// Vex::HashValueMap<Key, Value> is such a collection, with value semantics (a
// copy holds its own members) and the framework's collection operations.
// Iteration follows the content-fixed order of Vex::HashMap2018 (ascending
// scrambled hash, then key), so equality, which walks two maps side by side,
// does not depend on the order of insertion, and a value map iterates exactly
// like a HashMap2018 holding the same members.
//
// Storage: these collections hold one or a few members each and there are
// millions of them (a rule's match set holds several), so the members sit in
// one block, sorted in iteration order, behind a single pointer: an empty map
// is 8 bytes and allocates nothing, a map of one range is one allocation of
// 24 bytes. Lookups are a binary search on (position, key); insertion and
// removal move the members behind the place, O(size), which is what these
// small sets want (a hash table paid a bucket array and a node per member).
//
// VEX_VALUE_MAP_ACCESSORS gives the owning class the named operations of a
// collection `x`: x(key), xHas, xSize, xIs, xDel, xDelAll, xIteratorConst.
#pragma once

#include "Vex/HashMap2018.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace Vex {

template <class Key, class Value>
class HashValueMap {
   using Policy = Internal::HashMap2018Policy<Key>;

   struct Entry {
      std::uint32_t position;
      Key key;
      Value value;
   };
   static_assert(std::is_nothrow_move_constructible_v<Entry> &&
                     std::is_nothrow_move_assignable_v<Entry>,
                 "members move without throwing");

   // The block: a header, then `capacity` entries, the first `size` built.
   struct alignas(Entry) Header {
      std::uint32_t size;
      std::uint32_t capacity;
   };

 public:
   HashValueMap() noexcept = default;
   HashValueMap(HashValueMap const& o) {
      if (o.size() == 0) return;
      block_ = allocate(o.block_->size);
      std::uninitialized_copy_n(o.entries(), o.block_->size, entries());
      block_->size = o.block_->size;
   }
   HashValueMap(HashValueMap&& o) noexcept : block_(std::exchange(o.block_, nullptr)) {}
   HashValueMap& operator=(HashValueMap const& o) {
      if (this != &o) {
         HashValueMap tmp(o);
         std::swap(block_, tmp.block_);
      }
      return *this;
   }
   HashValueMap& operator=(HashValueMap&& o) noexcept {
      HashValueMap tmp(std::move(o));
      std::swap(block_, tmp.block_);
      return *this;
   }
   ~HashValueMap() { delAll(); }

   /// The value stored with `key`, or a default Value when there is none.
   Value get(Key const& key) const {
      Entry const* e = find(key);
      return e ? e->value : Value();
   }
   bool has(Key const& key) const noexcept { return find(key) != nullptr; }
   std::size_t size() const noexcept { return block_ ? block_->size : 0; }
   bool empty() const noexcept { return size() == 0; }

   /// Inserts `key` with `value`, or replaces the value stored with it. Says
   /// whether anything changed (false when an equal value was stored).
   bool is(Key const& key, Value const& value) {
      std::uint32_t const pos = Policy::position(key);
      std::size_t const i = lowerBound(pos, key);
      if (i < size() && Policy::equal(entries()[i].key, key)) {
         if (entries()[i].value == value) return false;
         entries()[i].value = value;
         return true;
      }
      insertAt(i, Entry{pos, key, value});
      return true;
   }
   /// Removes `key`; returns the value it held, or a default Value.
   Value del(Key const& key) {
      std::size_t const i = lowerBound(Policy::position(key), key);
      if (i == size() || !Policy::equal(entries()[i].key, key)) return Value();
      Entry* e = entries();
      std::uint32_t const n = block_->size;
      Value out = std::move(e[i].value);
      std::move(e + i + 1, e + n, e + i);
      std::destroy_at(e + n - 1);
      if (--block_->size == 0) delAll();
      return out;
   }
   void delAll() noexcept {
      if (!block_) return;
      std::destroy_n(entries(), block_->size);
      ::operator delete(block_);
      block_ = nullptr;
   }

   /// Walks the members in iteration order; `key()` and `value()` read the
   /// one it stands on. It survives changes of the map: when the member it
   /// stands on moved or went, ++ continues from the first member after its
   /// key in the map's order.
   class Iterator {
    public:
      Iterator() noexcept = default;
      explicit Iterator(HashValueMap const* map) : map_(map) { settle(); }

      explicit operator bool() const noexcept { return valid_; }
      Iterator& operator++() {
         if (!valid_) return *this;
         index_ = stillAt() ? index_ + 1 : map_->upperBound(key_);
         settle();
         return *this;
      }
      Key const& key() const noexcept { return key_; }
      /// The member's value; a default Value when it was removed meanwhile.
      Value const& value() const {
         if (stillAt()) return map_->entries()[index_].value;
         Entry const* e = map_->find(key_);
         static Value const none{};
         return e ? e->value : none;
      }

    private:
      bool stillAt() const noexcept {
         return index_ < map_->size() && Policy::equal(map_->entries()[index_].key, key_);
      }
      void settle() {
         valid_ = map_ && index_ < map_->size();
         if (valid_) key_ = map_->entries()[index_].key;
      }

      HashValueMap const* map_ = nullptr;
      std::size_t index_ = 0;
      Key key_{};
      bool valid_ = false;
   };
   Iterator iterator() const { return Iterator(this); }

   /// Same keys with equal values: a positional walk, which the content-fixed
   /// order makes equivalent to a lookup of each member.
   bool operator==(HashValueMap const& o) const {
      std::size_t const n = size();
      if (n != o.size()) return false;
      for (std::size_t i = 0; i < n; ++i) {
         Entry const& a = entries()[i];
         Entry const& b = o.entries()[i];
         if (!Policy::equal(a.key, b.key) || !(a.value == b.value)) return false;
      }
      return true;
   }

 private:
   static Header* allocate(std::uint32_t capacity) {
      auto* h = static_cast<Header*>(::operator new(sizeof(Header) + capacity * sizeof(Entry)));
      h->size = 0;
      h->capacity = capacity;
      return h;
   }
   // Null for an empty map: no pointer arithmetic on a null block.
   Entry* entries() const noexcept {
      return block_ ? reinterpret_cast<Entry*>(block_ + 1) : nullptr;
   }

   // The first member not before (pos, key) in iteration order.
   std::size_t lowerBound(std::uint32_t pos, Key const& key) const noexcept {
      std::size_t lo = 0, hi = size();
      Entry const* e = entries();
      while (lo < hi) {
         std::size_t const mid = (lo + hi) / 2;
         if (e[mid].position < pos || (e[mid].position == pos && Policy::less(e[mid].key, key))) {
            lo = mid + 1;
         } else {
            hi = mid;
         }
      }
      return lo;
   }
   // The first member after (position of key, key) in iteration order.
   std::size_t upperBound(Key const& key) const noexcept {
      std::uint32_t const pos = Policy::position(key);
      std::size_t const i = lowerBound(pos, key);
      return i < size() && Policy::equal(entries()[i].key, key) ? i + 1 : i;
   }
   Entry const* find(Key const& key) const noexcept {
      if (!block_) return nullptr;
      std::size_t const i = lowerBound(Policy::position(key), key);
      return i < size() && Policy::equal(entries()[i].key, key) ? entries() + i : nullptr;
   }

   void insertAt(std::size_t i, Entry&& entry) {
      std::uint32_t const n = static_cast<std::uint32_t>(size());
      if (!block_ || n == block_->capacity) {
         // Grows to twice the members (one for the first): a set of one
         // range is one block of exactly one entry.
         Header* grown = allocate(n == 0 ? 1 : 2 * n);
         Entry* to = reinterpret_cast<Entry*>(grown + 1);
         if (block_) {
            Entry* from = entries();
            std::uninitialized_move_n(from, i, to);
            std::uninitialized_move_n(from + i, n - i, to + i + 1);
            std::destroy_n(from, n);
            ::operator delete(block_);
         }
         ::new (to + i) Entry(std::move(entry));
         block_ = grown;
         block_->size = n + 1;
         return;
      }
      Entry* e = entries();
      if (i == n) {
         ::new (e + n) Entry(std::move(entry));
      } else {
         ::new (e + n) Entry(std::move(e[n - 1]));
         std::move_backward(e + i, e + n - 1, e + n);
         e[i] = std::move(entry);
      }
      ++block_->size;
   }

   Header* block_ = nullptr;
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
   auto x##IteratorConst() const {                                                                 \
      return member.iterator();                                                                    \
   }
