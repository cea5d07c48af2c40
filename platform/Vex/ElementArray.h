// Vex/ElementArray.h: a value collection keyed by its own elements, held in
// one block in ascending key order.
//
// A rule's match set holds a handful of components, one per match kind, and
// a router holds a million rules. As a tree, each component paid a node of
// its own (a reference count, a virtual table and three links: 40 bytes
// beside a 48-byte component, plus the allocator's header). Here the members
// sit side by side in one block behind a single pointer: an empty collection
// is 8 bytes and allocates nothing, and n members are one allocation of
// 8 + n * sizeof(Value) bytes. Lookup is a binary search; insertion and
// removal build a block one member larger or smaller, moving the members
// across, which is O(size) and what collections of a few members want. Each
// block is recorded against the allocation tracker of `Tracked`.
//
// The operations are those of ElementCollection (Vex/EntityPattern.h), and so
// the entity's named operations (VEX_ELEMENT_COLLECTION) and its reflection
// row work unchanged: is (silent when an equal element is stored, else
// overwrite in place or insert, then notify), del (the removed element, or
// the absent element Value(Key{}) silently), delAll (member by member from
// the first, tolerating any change the callbacks make), get, has, size and
// iterator.
//
// The iterator keeps its member's key and position. ++ goes to the next
// position when that position still holds the key, and otherwise to the
// first member after the key, so it survives the deletion of its member or
// of any other, and insertions, like the tree's iterator does. value() reads
// the member in place: it is the absent element once the member is gone.
//
//   ElementArray<Tag, MatchCompType, MatchComponent, ByType> set;
//   set.is(component, [](MatchCompType t) { /* tell observers */ });
//   for (auto i = set.iterator(); i; ++i) use(i.key(), i.value());
#pragma once

#include "Vex/AllocTrack.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

namespace Vex {

template <class Tracked, class Key, class Value, class KeyFn>
class ElementArray {
   static_assert(std::is_nothrow_move_constructible_v<Value>, "members move without throwing");
   static_assert(alignof(Value) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__, "operator new aligns members");

   // The block: its member count, then the members.
   struct alignas(Value) alignas(std::uint64_t) Header {
      std::uint32_t size;
   };

 public:
   class Iterator {
    public:
      Iterator() noexcept = default;

      explicit operator bool() const noexcept { return set_ != nullptr; }
      Iterator& operator++() noexcept {
         if (!set_) return *this;
         std::size_t const next = holdsKey() ? at_ + 1 : set_->upperBound(key_);
         if (next < set_->size()) {
            at_ = next;
            key_ = KeyFn()(set_->data()[next]);
         } else {
            set_ = nullptr;
         }
         return *this;
      }
      /// The member's key (kept by the iterator, so it outlives the member).
      Key const& key() const noexcept { return key_; }
      /// The member in place; the absent element once it was deleted.
      Value const& value() const noexcept {
         if (holdsKey()) return set_->data()[at_];
         Value const* v = set_->find(key_);
         return v ? *v : absent();
      }
      /// The member, or null once it was deleted (what xDel(iterator) asks).
      Value const* ptr() const noexcept {
         if (holdsKey()) return &set_->data()[at_];
         return set_->find(key_);
      }

    private:
      friend class ElementArray;
      Iterator(ElementArray const* set, std::size_t at) noexcept
          : set_(at < set->size() ? set : nullptr), at_(at),
            key_(set_ ? KeyFn()(set->data()[at]) : Key{}) {}
      bool holdsKey() const noexcept { return set_->holds(at_, key_); }

      ElementArray const* set_ = nullptr;
      std::size_t at_ = 0;
      Key key_{};
   };

   ElementArray() noexcept = default;
   ElementArray(ElementArray const&) = delete;
   ElementArray& operator=(ElementArray const&) = delete;
   ~ElementArray() { release(block_); }

   std::size_t size() const noexcept { return block_ ? block_->size : 0; }
   bool has(Key const& key) const noexcept { return find(key) != nullptr; }
   /// The member with `key` in place, or null; valid until the set changes.
   Value const* find(Key const& key) const noexcept {
      std::size_t const at = lowerBound(key);
      return holds(at, key) ? &data()[at] : nullptr;
   }
   Iterator iterator() const noexcept { return Iterator(this, 0); }

   template <class Notify>
   void is(Value const& element, Notify notify) {
      store(element, notify);
   }
   template <class Notify>
   void is(Value&& element, Notify notify) {
      store(std::move(element), notify);
   }
   /// Removes `key` and returns its element, after notify(key); the absent
   /// element, silently, when there is none.
   template <class Notify>
   Value del(Key const& key, Notify notify) {
      std::size_t const at = lowerBound(key);
      if (!holds(at, key)) return absent();
      // The smaller block first: should it fail, nothing has changed.
      std::size_t const n = size();
      Header* const fresh = n > 1 ? allocate(n - 1) : nullptr;
      Value* const from = data();
      Value gone = std::move(from[at]);
      if (fresh) {
         std::uninitialized_move_n(from, at, members(fresh));
         std::uninitialized_move(from + at + 1, from + n, members(fresh) + at);
      }
      release(std::exchange(block_, fresh));
      notify(key);
      return gone;
   }
   template <class Notify>
   void delAll(Notify notify) {
      for (Iterator i = iterator(); i; ++i) {
         Key const key = i.key();
         del(key, notify);
      }
   }
   Value get(Key const& key) const {
      Value const* v = find(key);
      return v ? *v : absent();
   }

 private:
   static Value const& absent() {
      static Value const value(Key{});
      return value;
   }
   static Value* members(Header* h) noexcept { return reinterpret_cast<Value*>(h + 1); }
   Value* data() noexcept { return members(block_); }
   Value const* data() const noexcept { return block_ ? members(block_) : nullptr; }

   /// Whether position `at` holds the member with `key`.
   bool holds(std::size_t at, Key const& key) const noexcept {
      return at < size() && KeyFn()(data()[at]) == key;
   }
   /// The first position whose key is not below `key`.
   std::size_t lowerBound(Key const& key) const noexcept {
      std::size_t lo = 0, hi = size();
      Value const* const v = data();
      while (lo < hi) {
         std::size_t const mid = (lo + hi) / 2;
         if (KeyFn()(v[mid]) < key) {
            lo = mid + 1;
         } else {
            hi = mid;
         }
      }
      return lo;
   }
   /// The first position whose key is above `key`.
   std::size_t upperBound(Key const& key) const noexcept {
      std::size_t const at = lowerBound(key);
      return holds(at, key) ? at + 1 : at;
   }

   template <class V, class Notify>
   void store(V&& element, Notify notify) {
      Key const key = KeyFn()(element);
      std::size_t const at = lowerBound(key);
      if (holds(at, key)) {
         if (data()[at] == element) return;
         data()[at] = std::forward<V>(element);
      } else {
         std::size_t const n = size();
         Header* const fresh = allocate(n + 1);
         Value* const to = members(fresh);
         try {
            ::new (to + at) Value(std::forward<V>(element));
         } catch (...) {
            deallocate(fresh);
            throw;
         }
         if (block_) {
            Value* const from = members(block_);
            std::uninitialized_move_n(from, at, to);
            std::uninitialized_move(from + at, from + n, to + at + 1);
         }
         release(block_);
         block_ = fresh;
      }
      notify(key);
   }

   static Header* allocate(std::size_t n) {
      std::size_t const bytes = sizeof(Header) + n * sizeof(Value);
      void* const p = ::operator new(bytes);
      allocTrackAllocated(Tracked::vexAllocTrackTypeInfo_, Tracked::vexTypeName, bytes);
      return ::new (p) Header{static_cast<std::uint32_t>(n)};
   }
   static void deallocate(Header* h) noexcept {
      allocTrackReleased(Tracked::vexAllocTrackTypeInfo_);
      ::operator delete(h);
   }
   /// Destroys the members (moved-from or not) and frees the block.
   static void release(Header* h) noexcept {
      if (!h) return;
      std::destroy_n(members(h), h->size);
      deallocate(h);
   }

   Header* block_ = nullptr;
};

} // namespace Vex
