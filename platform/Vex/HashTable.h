// Vex/HashTable.h: the hashed table behind Vex::HashMap2018 and Vex::HashMap.
// Users include those two headers; this one holds what they share.
//
// Members are kept in ascending order of (position, key), where the position
// is a 32-bit number computed from the key alone (the policy's `position`).
// Bucket b of a table of 2^k buckets holds the members whose position has b
// as its top k bits, each chain sorted. Walking the buckets in order
// therefore visits the members in (position, key) order, whatever the bucket
// count and whatever the order of insertion: two tables with the same
// members iterate alike. The same order lets an iterator continue after any
// change of the table from the member it stood on.
//
// The table doubles when it holds more members than buckets and halves when
// it holds fewer than an eighth of them (never below 2 buckets).
#pragma once

#include "Vex/Assert.h"
#include "Vex/CollectionIterator.h"
#include "Vex/Ptr.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace Vex {

template <class Node, class Key, class Value, class Policy>
class HashTable;

/// The links of a node of a hashed collection. A copied node starts outside
/// any table.
class HashLink {
 public:
   HashLink() noexcept = default;
   HashLink(HashLink const&) noexcept {}
   HashLink& operator=(HashLink const&) noexcept { return *this; }

   /// Whether the node is a member of some table.
   bool hashMember() const noexcept { return member_; }

 private:
   template <class, class, class, class>
   friend class HashTable;
   HashLink* next_ = nullptr;
   std::uint32_t position_ = 0;
   bool member_ = false;
};

template <class Node, class Key, class Value, class Policy>
class HashTable {
 public:
   using NodeType = Node;
   using KeyType = Key;
   using ValueType = Value;

   HashTable() noexcept = default;
   /// A copy holds copies of the nodes (Node must be copy-constructible).
   HashTable(HashTable const& o) {
      for (Node const* n = o.first(); n; n = o.next(n))
         insert(Ptr<Node>(new Node(*n)));
   }
   HashTable(HashTable&& o) noexcept { swap(o); }
   HashTable& operator=(HashTable const& o) {
      if (this != &o) {
         HashTable tmp(o);
         swap(tmp);
      }
      return *this;
   }
   HashTable& operator=(HashTable&& o) noexcept {
      HashTable tmp(std::move(o));
      swap(tmp);
      return *this;
   }
   /// Releases every member without telling anyone.
   ~HashTable() { clear(); }

   void swap(HashTable& o) noexcept {
      std::swap(buckets_, o.buckets_);
      std::swap(bucketCount_, o.bucketCount_);
      std::swap(shift_, o.shift_);
      std::swap(size_, o.size_);
      std::swap(version_, o.version_);
      ++version_;
      ++o.version_;
   }

   std::size_t size() const noexcept { return size_; }
   bool empty() const noexcept { return size_ == 0; }
   std::size_t bucketCount() const noexcept { return bucketCount_; }
   /// Grows by one on every insertion and deletion.
   std::uint64_t version() const noexcept { return version_; }

   /// The member with `key`, or null.
   Node* find(Key const& key) const noexcept {
      if (size_ == 0) return nullptr;
      std::uint32_t pos = Policy::position(key);
      HashLink* p = buckets_[pos >> shift_];
      while (p && p->position_ < pos)
         p = p->next_;
      for (; p && p->position_ == pos; p = p->next_) {
         if (Policy::equal(node(p)->fwkKey(), key)) return node(p);
      }
      return nullptr;
   }
   bool has(Key const& key) const noexcept { return find(key) != nullptr; }

   /// Inserts `n` unless a member has its key. Returns the member with the key
   /// and whether it is `n`. `n` must not be a member of any table.
   std::pair<Node*, bool> insert(Ptr<Node> const& n) {
      VEX_ASSERT(n && !n->hashMember());
      return findOrInsert(n->fwkKey(), [&] { return n; });
   }
   /// The member with `key`; when there is none, inserts make() (a Ptr to a
   /// new node with that key) and says so. One hash and one chain walk, and
   /// nothing is made when the key is present.
   template <class Make>
   std::pair<Node*, bool> findOrInsert(Key const& key, Make make) {
      if (bucketCount_ == 0) rehash(minBuckets);
      std::uint32_t pos = Policy::position(key);
      HashLink** pp = &buckets_[pos >> shift_];
      while (*pp && ((*pp)->position_ < pos ||
                     ((*pp)->position_ == pos && Policy::less(node(*pp)->fwkKey(), key)))) {
         pp = &(*pp)->next_;
      }
      if (*pp && (*pp)->position_ == pos && Policy::equal(node(*pp)->fwkKey(), key)) {
         return {node(*pp), false};
      }
      Ptr<Node> n = make();
      VEX_ASSERT(n && !n->hashMember() && Policy::equal(n->fwkKey(), key));
      Node* m = n.get();
      m->newRef();
      m->position_ = pos;
      m->member_ = true;
      m->next_ = *pp;
      *pp = m;
      ++size_;
      ++version_;
      if (size_ > bucketCount_ && bucketCount_ < maxBuckets) rehash(std::size_t(bucketCount_) * 2);
      return {m, true};
   }

   /// Removes the member `n` and hands back the table's reference on it.
   Ptr<Node> erase(Node* n) noexcept {
      VEX_ASSERT(n && n->hashMember());
      HashLink** pp = &buckets_[n->position_ >> shift_];
      while (*pp != n) {
         VEX_ASSERT(*pp != nullptr);
         pp = &(*pp)->next_;
      }
      *pp = n->next_;
      n->next_ = nullptr;
      n->member_ = false;
      --size_;
      ++version_;
      if (bucketCount_ > minBuckets && size_ < bucketCount_ / 8) rehash(bucketCount_ / 2);
      return Ptr<Node>::adopt(n);
   }
   /// Removes the member with `key`; null when there is none.
   Ptr<Node> erase(Key const& key) noexcept {
      Node* n = find(key);
      return n ? erase(n) : Ptr<Node>();
   }

   /// Releases every member without telling anyone, and the buckets.
   void clear() noexcept {
      std::unique_ptr<HashLink*[]> buckets = std::move(buckets_);
      std::size_t const count = bucketCount_;
      bucketCount_ = 0;
      shift_ = 32;
      size_ = 0;
      ++version_;
      for (std::size_t b = 0; b < count; ++b) {
         for (HashLink* p = buckets[b]; p;) {
            HashLink* next = p->next_;
            p->next_ = nullptr;
            p->member_ = false;
            node(p)->delRef();
            p = next;
         }
      }
   }

   /// The first member in iteration order, or null.
   Node* first() const noexcept { return firstFrom(0); }
   /// The member after the member `n`, or null.
   Node* next(Node const* n) const noexcept {
      if (n->next_) return node(n->next_);
      return firstFrom((n->position_ >> shift_) + 1);
   }
   /// The first member after (position of `key`, `key`) in iteration order.
   Node* upperBound(Key const& key) const noexcept {
      if (size_ == 0) return nullptr;
      std::uint32_t pos = Policy::position(key);
      std::size_t b = pos >> shift_;
      for (HashLink* p = buckets_[b]; p; p = p->next_) {
         if (p->position_ > pos || (p->position_ == pos && Policy::less(key, node(p)->fwkKey()))) {
            return node(p);
         }
      }
      return firstFrom(b + 1);
   }

   /// Same members (by Node's ==): a positional walk, which the content-fixed
   /// order makes equivalent to a lookup of each member.
   bool operator==(HashTable const& o) const {
      if (size() != o.size()) return false;
      for (Node const *a = first(), *b = o.first(); a; a = next(a), b = o.next(b)) {
         if (!(*a == *b)) return false;
      }
      return true;
   }

   /// The iterator that survives changes of the table: when the table changed
   /// since it last moved, ++ continues from its member's place in the order.
   using Iterator = Internal::SafeIterator<HashTable, Node, Key>;
   Iterator iterator() const noexcept { return Iterator(this, first()); }

   /// A plain forward iterator for range-for; deleting the member it stands
   /// on, or inserting anything, invalidates it.
   using const_iterator = Internal::PlainIterator<HashTable, Node>;
   const_iterator begin() const noexcept { return const_iterator(this, first()); }
   const_iterator end() const noexcept { return const_iterator(this, nullptr); }

   /// Checks the table's invariants (for tests): order, placement, count.
   bool verify() const {
      std::size_t count = 0;
      Node const* prev = nullptr;
      for (std::size_t b = 0; b < bucketCount_; ++b) {
         for (HashLink const* p = buckets_[b]; p; p = p->next_) {
            Node const* n = node(p);
            if ((p->position_ >> shift_) != b) return false;
            if (p->position_ != Policy::position(n->fwkKey())) return false;
            if (prev &&
                !(prev->position_ < p->position_ ||
                  (prev->position_ == p->position_ && Policy::less(prev->fwkKey(), n->fwkKey())))) {
               return false;
            }
            prev = n;
            ++count;
         }
      }
      return count == size_;
   }

 private:
   // Two: most tables of values hold one or two members (a match component's
   // ranges or masks), and a bucket array is allocated with the first one.
   static constexpr std::size_t minBuckets = 2;
   static constexpr std::size_t maxBuckets = std::size_t(1) << 31;

   static Node* node(HashLink* l) noexcept { return static_cast<Node*>(l); }
   static Node const* node(HashLink const* l) noexcept { return static_cast<Node const*>(l); }

   Node* firstFrom(std::size_t b) const noexcept {
      for (; b < bucketCount_; ++b) {
         if (buckets_[b]) return node(buckets_[b]);
      }
      return nullptr;
   }

   // Moves every member to a table of `count` buckets. Members are visited in
   // order, and the members of one new bucket come one after the other, so
   // appending keeps each chain sorted.
   void rehash(std::size_t count) {
      auto buckets = std::make_unique<HashLink*[]>(count);
      unsigned bits = 0;
      while ((std::size_t(1) << bits) < count)
         ++bits;
      unsigned shift = 32 - bits;
      HashLink** tail = nullptr;
      std::size_t tailBucket = count;
      for (std::size_t b = 0; b < bucketCount_; ++b) {
         for (HashLink* p = buckets_[b]; p;) {
            HashLink* next = p->next_;
            std::size_t nb = p->position_ >> shift;
            if (nb != tailBucket) {
               tail = &buckets[nb];
               tailBucket = nb;
            }
            p->next_ = nullptr;
            *tail = p;
            tail = &p->next_;
            p = next;
         }
      }
      buckets_ = std::move(buckets);
      bucketCount_ = static_cast<std::uint32_t>(count);
      shift_ = shift;
   }

   std::unique_ptr<HashLink*[]> buckets_;
   // 32-bit counts keep the table at 32 bytes; it stops doubling at 2^31
   // buckets (16 GiB of them), which such a count holds.
   std::uint32_t bucketCount_ = 0;
   std::uint32_t shift_ = 32;
   std::size_t size_ = 0;
   std::uint64_t version_ = 0;
};

} // namespace Vex
