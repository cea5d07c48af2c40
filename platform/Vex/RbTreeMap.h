// Vex/RbTreeMap.h: the ordered collection of the framework.
//
// A Vex::RbTreeMap<Node, Key, Value> holds reference-counted nodes in a
// red-black tree ordered by their keys. It is intrusive: every node derives
// from Vex::PtrInterface and Vex::RbTreeLink and names its own key with
// `fwkKey()`, so a child entity can be its own node, and a value collection
// uses a small node that holds its value (Vex/CollectionNode.h). The map
// holds one reference on each member.
//
//   struct Rule : Vex::PtrInterface, Vex::RbTreeLink {
//      explicit Rule(int k) : key(k) {}
//      int const& fwkKey() const noexcept { return key; }
//      int key;
//   };
//   Vex::RbTreeMap<Rule, int> rules;
//   rules.insert(new Rule(7));
//   for (auto i = rules.iterator(); i; ++i) { ... i.key() ... i.ptr() ... }
//
// Costs: find, insert and erase are O(log n) key comparisons (one comparison
// per tree level, and one more to confirm); walking the whole map is O(n).
// Nothing is allocated by the map itself.
//
// Iterators. `iterator()` gives a Vex::RbTreeMap::Iterator that holds a
// reference on its member and survives any change of the map: when the map
// changed since the iterator last moved (the map's change counter tells), ++
// continues from the smallest key greater than its member's key, so deleting
// the member it stands on, or any other, is safe. `begin()`/`end()` give a
// plain iterator for range-for that must not outlive a deletion.
#pragma once

#include "Vex/Assert.h"
#include "Vex/CollectionIterator.h"
#include "Vex/Ptr.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <type_traits>
#include <utility>

namespace Vex {

namespace Internal {
class RbTreeCore;
}

/// The links of a node of a Vex::RbTreeMap. A copied node starts outside any
/// map.
class RbTreeLink {
 public:
   RbTreeLink() noexcept = default;
   RbTreeLink(RbTreeLink const&) noexcept {}
   RbTreeLink& operator=(RbTreeLink const&) noexcept { return *this; }

   /// Whether the node is a member of some map.
   bool rbTreeMember() const noexcept { return rbMember(); }

 private:
   friend class Internal::RbTreeCore;

   // The parent pointer, with the node's colour and membership in its two
   // low bits (nodes are at least 4-aligned): 24 bytes of links a node
   // instead of 32, on every rule, status and match component.
   static constexpr std::uintptr_t redBit = 1, memberBit = 2, flagBits = redBit | memberBit;
   RbTreeLink* rbParent() const noexcept {
      return reinterpret_cast<RbTreeLink*>(parentAndFlags_ & ~flagBits);
   }
   void rbParentIs(RbTreeLink* p) noexcept {
      parentAndFlags_ = reinterpret_cast<std::uintptr_t>(p) | (parentAndFlags_ & flagBits);
   }
   bool rbRed() const noexcept { return parentAndFlags_ & redBit; }
   void rbRedIs(bool red) noexcept {
      parentAndFlags_ = (parentAndFlags_ & ~redBit) | (red ? redBit : 0);
   }
   bool rbMember() const noexcept { return parentAndFlags_ & memberBit; }
   void rbMemberIs(bool member) noexcept {
      parentAndFlags_ = (parentAndFlags_ & ~memberBit) | (member ? memberBit : 0);
   }

   std::uintptr_t parentAndFlags_ = 0;
   RbTreeLink* left_ = nullptr;
   RbTreeLink* right_ = nullptr;
};
static_assert(alignof(RbTreeLink) >= 4, "the flags need the two low bits of a node's address");

namespace Internal {

/// The key-independent half of the tree: linking, rebalancing, walking.
class RbTreeCore {
 public:
   RbTreeCore() noexcept = default;
   RbTreeCore(RbTreeCore&& o) noexcept { swap(o); }
   RbTreeCore& operator=(RbTreeCore&& o) noexcept {
      swap(o);
      return *this;
   }
   void swap(RbTreeCore& o) noexcept {
      std::swap(root_, o.root_);
      std::swap(size_, o.size_);
      std::swap(version_, o.version_);
      ++version_;
      ++o.version_;
   }

   /// Links `n` as the left or right child of `parent` (null: as the root)
   /// and rebalances.
   void insertAt(RbTreeLink* n, RbTreeLink* parent, bool left) noexcept;
   /// Unlinks the member `n` and rebalances.
   void erase(RbTreeLink* n) noexcept;
   /// Empties the tree, calling `release(link)` on every former member once
   /// the tree is already empty. No allocation, no recursion.
   template <class F>
   void drain(F release) noexcept;

   // Navigation is inline: it is the inner loop of every walk, and of the
   // comparison of keys that hold their pairs in a tree.
   RbTreeLink* first() const noexcept {
      RbTreeLink* n = root_;
      if (n)
         while (n->left_)
            n = n->left_;
      return n;
   }
   RbTreeLink* last() const noexcept {
      RbTreeLink* n = root_;
      if (n)
         while (n->right_)
            n = n->right_;
      return n;
   }
   static RbTreeLink* next(RbTreeLink const* n) noexcept {
      if (n->right_) {
         RbTreeLink* m = n->right_;
         while (m->left_)
            m = m->left_;
         return m;
      }
      RbTreeLink* p = n->rbParent();
      while (p && n == p->right_) {
         n = p;
         p = p->rbParent();
      }
      return p;
   }
   static RbTreeLink* prev(RbTreeLink const* n) noexcept {
      if (n->left_) {
         RbTreeLink* m = n->left_;
         while (m->right_)
            m = m->right_;
         return m;
      }
      RbTreeLink* p = n->rbParent();
      while (p && n == p->left_) {
         n = p;
         p = p->rbParent();
      }
      return p;
   }

   static RbTreeLink* left(RbTreeLink const* n) noexcept { return n->left_; }
   static RbTreeLink* right(RbTreeLink const* n) noexcept { return n->right_; }
   static bool member(RbTreeLink const* n) noexcept { return n->rbMember(); }

   /// Checks the red-black invariants; returns the black height, or -1.
   int verify() const noexcept;

   RbTreeLink* root_ = nullptr;
   std::size_t size_ = 0;
   std::uint64_t version_ = 0;

 private:
   void rotateLeft(RbTreeLink* x) noexcept;
   void rotateRight(RbTreeLink* x) noexcept;
   void transplant(RbTreeLink* u, RbTreeLink* v) noexcept;
   void eraseFixup(RbTreeLink* x, RbTreeLink* parent) noexcept;
   static int verifyFrom(RbTreeLink const* n) noexcept;
};

template <class F>
void RbTreeCore::drain(F release) noexcept {
   RbTreeLink* n = root_;
   root_ = nullptr;
   size_ = 0;
   ++version_;
   // Rotate left children up until the tree is a right-leaning list, taking
   // each node off as it reaches the front.
   while (n) {
      if (n->left_) {
         RbTreeLink* l = n->left_;
         n->left_ = l->right_;
         l->right_ = n;
         n = l;
      } else {
         RbTreeLink* next = n->right_;
         n->left_ = n->right_ = nullptr;
         n->rbParentIs(nullptr);
         n->rbMemberIs(false);
         release(n);
         n = next;
      }
   }
}

} // namespace Internal

template <class Node, class Key, class Value = Node, class Compare = std::less<Key>>
class RbTreeMap {
 public:
   using NodeType = Node;
   using KeyType = Key;
   using ValueType = Value;

   RbTreeMap() noexcept = default;
   /// A copy holds copies of the nodes (Node must be copy-constructible).
   RbTreeMap(RbTreeMap const& o) {
      for (Node const* n = o.first(); n; n = next(n))
         insert(Ptr<Node>(new Node(*n)));
   }
   RbTreeMap(RbTreeMap&& o) noexcept = default;
   RbTreeMap& operator=(RbTreeMap const& o) {
      if (this != &o) {
         RbTreeMap tmp(o);
         swap(tmp);
      }
      return *this;
   }
   RbTreeMap& operator=(RbTreeMap&& o) noexcept {
      RbTreeMap tmp(std::move(o));
      swap(tmp);
      return *this;
   }
   /// Releases every member without telling anyone.
   ~RbTreeMap() { clear(); }

   void swap(RbTreeMap& o) noexcept { core_.swap(o.core_); }

   std::size_t size() const noexcept { return core_.size_; }
   bool empty() const noexcept { return core_.size_ == 0; }
   /// Grows by one on every insertion and deletion.
   std::uint64_t version() const noexcept { return core_.version_; }

   /// The member with `key`, or null.
   Node* find(Key const& key) const noexcept {
      Node* n = lowerBound(key);
      return n && !cmp(key, n->fwkKey()) ? n : nullptr;
   }
   bool has(Key const& key) const noexcept { return find(key) != nullptr; }
   /// The first member whose key is not less than `key`, or null.
   Node* lowerBound(Key const& key) const noexcept {
      RbTreeLink* x = core_.root_;
      RbTreeLink* found = nullptr;
      while (x) {
         if (!cmp(node(x)->fwkKey(), key)) {
            found = x;
            x = Internal::RbTreeCore::left(x);
         } else {
            x = Internal::RbTreeCore::right(x);
         }
      }
      return node(found);
   }
   /// The first member whose key is greater than `key`, or null.
   Node* upperBound(Key const& key) const noexcept {
      RbTreeLink* x = core_.root_;
      RbTreeLink* found = nullptr;
      while (x) {
         if (cmp(key, node(x)->fwkKey())) {
            found = x;
            x = Internal::RbTreeCore::left(x);
         } else {
            x = Internal::RbTreeCore::right(x);
         }
      }
      return node(found);
   }

   Node* first() const noexcept { return node(core_.first()); }
   Node* last() const noexcept { return node(core_.last()); }
   /// The member after the member `n` in key order, or null.
   static Node* next(Node const* n) noexcept { return node(Internal::RbTreeCore::next(n)); }
   static Node* prev(Node const* n) noexcept { return node(Internal::RbTreeCore::prev(n)); }

   /// Inserts `n` unless a member has its key. Returns the member with the key
   /// and whether it is `n`. `n` must not be a member of any map.
   std::pair<Node*, bool> insert(Ptr<Node> const& n) {
      VEX_ASSERT(n && !n->rbTreeMember());
      return findOrInsert(n->fwkKey(), [&] { return n; });
   }
   /// The member with `key`; when there is none, inserts make() (a Ptr to a
   /// new node with that key) and says so. One walk of the tree either way,
   /// and nothing is made when the key is present.
   template <class Make>
   std::pair<Node*, bool> findOrInsert(Key const& key, Make make) {
      RbTreeLink* x = core_.root_;
      RbTreeLink* parent = nullptr;
      RbTreeLink* notGreater = nullptr; // last member whose key is <= key
      bool goLeft = true;
      while (x) {
         parent = x;
         goLeft = cmp(key, node(x)->fwkKey());
         if (goLeft) {
            x = Internal::RbTreeCore::left(x);
         } else {
            notGreater = x;
            x = Internal::RbTreeCore::right(x);
         }
      }
      if (notGreater && !cmp(node(notGreater)->fwkKey(), key)) {
         return {node(notGreater), false};
      }
      Ptr<Node> n = make();
      VEX_ASSERT(n && !n->rbTreeMember() && !cmp(n->fwkKey(), key) && !cmp(key, n->fwkKey()));
      n->newRef();
      core_.insertAt(n.get(), parent, goLeft);
      return {n.get(), true};
   }

   /// Removes the member `n` and hands back the map's reference on it.
   Ptr<Node> erase(Node* n) noexcept {
      VEX_ASSERT(n && n->rbTreeMember());
      core_.erase(n);
      return Ptr<Node>::adopt(n);
   }
   /// Removes the member with `key`; null when there is none.
   Ptr<Node> erase(Key const& key) noexcept {
      Node* n = find(key);
      return n ? erase(n) : Ptr<Node>();
   }
   /// Releases every member without telling anyone.
   void clear() noexcept {
      core_.drain([](RbTreeLink* l) { static_cast<Node*>(l)->delRef(); });
   }

   /// Same members (by Node's ==) in the same order.
   bool operator==(RbTreeMap const& o) const {
      if (size() != o.size()) return false;
      for (Node const *a = first(), *b = o.first(); a; a = next(a), b = next(b)) {
         if (!(*a == *b)) return false;
      }
      return true;
   }

   /// The iterator that survives changes of the map (see the file comment).
   using Iterator = Internal::SafeIterator<RbTreeMap, Node, Key>;
   /// An iterator at the smallest key.
   Iterator iterator() const noexcept { return Iterator(this, first()); }
   /// An iterator at the first key not less than `key`.
   Iterator iterator(Key const& key) const noexcept { return Iterator(this, lowerBound(key)); }

   /// A plain forward iterator over the members, for range-for. Deleting the
   /// member it stands on invalidates it.
   using const_iterator = Internal::PlainIterator<RbTreeMap, Node>;
   const_iterator begin() const noexcept { return const_iterator(this, first()); }
   const_iterator end() const noexcept { return const_iterator(this, nullptr); }

   /// Checks the tree's invariants (for tests): ordering and red-black rules.
   bool verify() const {
      if (core_.verify() < 0) return false;
      std::size_t count = 0;
      for (Node const* n = first(); n; n = next(n)) {
         ++count;
         Node const* m = next(n);
         if (m && !cmp(n->fwkKey(), m->fwkKey())) return false;
      }
      return count == size();
   }

 private:
   static Node* node(RbTreeLink* l) noexcept { return static_cast<Node*>(l); }
   static bool cmp(Key const& a, Key const& b) noexcept(noexcept(Compare()(a, b))) {
      return Compare()(a, b);
   }

   Internal::RbTreeCore core_;
};

} // namespace Vex
