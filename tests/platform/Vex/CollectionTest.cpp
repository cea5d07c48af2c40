#include "Vex/CollectionNode.h"
#include "Vex/HashMap.h"
#include "Vex/HashMap2018.h"
#include "Vex/RbTreeMap.h"
#include "Vex/String.h"
#include "Vex/ValueMap.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace {

// A member that counts its destruction.
template <class Link>
struct Item : Vex::PtrInterface, Link {
   Item(std::uint32_t k, int* destroyed = nullptr) : key(k), destroyed(destroyed) {}
   ~Item() override {
      if (destroyed) ++*destroyed;
   }
   std::uint32_t const& fwkKey() const noexcept { return key; }
   std::uint32_t key;
   int* destroyed;
};

struct TreeKind {
   using Link = Vex::RbTreeLink;
   template <class N>
   using Map = Vex::RbTreeMap<N, std::uint32_t>;
};
struct Hash2018Kind {
   using Link = Vex::HashLink;
   template <class N>
   using Map = Vex::HashMap2018<N, std::uint32_t>;
};
struct HashKind {
   using Link = Vex::HashLink;
   template <class N>
   using Map = Vex::HashMap<N, std::uint32_t>;
};

template <class K>
class Collection : public ::testing::Test {
 protected:
   using Node = Item<typename K::Link>;
   using Map = typename K::template Map<Node>;

   static std::vector<std::uint32_t> keys(Map const& m) {
      std::vector<std::uint32_t> out;
      for (auto i = m.iterator(); i; ++i)
         out.push_back(i.key());
      return out;
   }
};
using Kinds = ::testing::Types<TreeKind, Hash2018Kind, HashKind>;
TYPED_TEST_SUITE(Collection, Kinds);

} // namespace

TYPED_TEST(Collection, InsertFindAndEraseHandReferencesOver) {
   using Node = typename TestFixture::Node;
   typename TestFixture::Map m;
   int destroyed = 0;
   EXPECT_EQ(m.find(5), nullptr);
   EXPECT_TRUE(m.erase(std::uint32_t(5)) == nullptr);

   Vex::Ptr<Node> five = new Node(5, &destroyed);
   auto [at, inserted] = m.insert(five);
   EXPECT_TRUE(inserted);
   EXPECT_EQ(at, five.get());
   EXPECT_EQ(five->refCount(), 2u) << "the map holds one reference";

   Vex::Ptr<Node> again = new Node(5, &destroyed);
   EXPECT_EQ(m.insert(again), std::pair(five.get(), false));
   EXPECT_EQ(m.size(), 1u);
   again = nullptr;
   EXPECT_EQ(destroyed, 1);

   for (std::uint32_t k : {9u, 1u, 0xffffffffu, 0u, 0x80000000u})
      m.insert(new Node(k, &destroyed));
   EXPECT_EQ(m.size(), 6u);
   EXPECT_TRUE(m.has(0xffffffffu));
   EXPECT_TRUE(m.verify());

   auto removed = m.erase(std::uint32_t(9));
   ASSERT_EQ(removed->key, 9u);
   EXPECT_FALSE(m.has(9));
   EXPECT_EQ(removed->refCount(), 1u);
   EXPECT_EQ(destroyed, 1) << "the caller's pointer keeps the removed member";
   removed = nullptr;
   EXPECT_EQ(destroyed, 2);

   m.erase(five.get());
   EXPECT_EQ(five->refCount(), 1u);
   m.clear();
   EXPECT_TRUE(m.empty());
   EXPECT_EQ(destroyed, 6) << "clear releases every member";
   EXPECT_TRUE(m.verify());
}

TYPED_TEST(Collection, FindOrInsertMakesANodeOnlyForAnAbsentKey) {
   using Node = typename TestFixture::Node;
   typename TestFixture::Map m;
   int made = 0;
   auto make = [&](std::uint32_t k) {
      return [&made, k] {
         ++made;
         return Vex::Ptr<Node>(new Node(k));
      };
   };
   auto [first, inserted] = m.findOrInsert(42, make(42));
   EXPECT_TRUE(inserted);
   EXPECT_EQ(first->key, 42u);
   auto [again, insertedAgain] = m.findOrInsert(42, make(42));
   EXPECT_FALSE(insertedAgain);
   EXPECT_EQ(again, first);
   EXPECT_EQ(made, 1) << "nothing is made for a key already present";
   for (std::uint32_t k = 0; k < 100; ++k)
      m.findOrInsert(k * 7, make(k * 7));
   EXPECT_EQ(m.size(), 100u) << "42 is among the multiples of 7 below 700";
   EXPECT_TRUE(m.verify());
}

TYPED_TEST(Collection, IteratorSurvivesDeletionOfItsOwnAndOtherMembers) {
   using Node = typename TestFixture::Node;
   typename TestFixture::Map m;
   for (std::uint32_t k = 0; k < 100; ++k)
      m.insert(new Node(k * 7919));
   auto const all = TestFixture::keys(m);
   ASSERT_EQ(all.size(), 100u);

   // Deleting the member the iterator stands on, as a delete-all does.
   std::vector<std::uint32_t> seen;
   for (auto i = m.iterator(); i; ++i) {
      seen.push_back(i.key());
      m.erase(i.ptr());
   }
   EXPECT_EQ(seen, all);
   EXPECT_TRUE(m.empty());

   // Deleting the member after the current one skips it, and only it.
   for (std::uint32_t k : all)
      m.insert(new Node(k));
   seen.clear();
   for (auto i = m.iterator(); i; ++i) {
      seen.push_back(i.key());
      if (auto n = m.next(i.ptr())) m.erase(n);
   }
   std::vector<std::uint32_t> everyOther;
   for (std::size_t j = 0; j < all.size(); j += 2)
      everyOther.push_back(all[j]);
   EXPECT_EQ(seen, everyOther);
   EXPECT_TRUE(m.verify());
}

TYPED_TEST(Collection, IteratorNeverRepeatsAMemberWhileTheMapGrows) {
   using Node = typename TestFixture::Node;
   typename TestFixture::Map m;
   for (std::uint32_t k = 0; k < 16; ++k)
      m.insert(new Node(k));
   std::set<std::uint32_t> seen;
   std::uint32_t next = 1000;
   for (auto i = m.iterator(); i; ++i) {
      EXPECT_TRUE(seen.insert(i.key()).second) << "visited twice: " << i.key();
      // Forces rehashing; the new members may come before or after the
      // iterator, so their number is bounded.
      for (int j = 0; j < 8 && next < 1200; ++j)
         m.insert(new Node(next++));
   }
   for (std::uint32_t k = 0; k < 16; ++k)
      EXPECT_TRUE(seen.count(k)) << k;
   EXPECT_TRUE(m.verify());
}

TYPED_TEST(Collection, MatchesAStandardSetUnderRandomChanges) {
   using Node = typename TestFixture::Node;
   typename TestFixture::Map m;
   std::set<std::uint32_t> model;
   std::mt19937 rng(7);
   for (int step = 0; step < 20000; ++step) {
      std::uint32_t k = rng() % 512;
      if (rng() % 3) {
         EXPECT_EQ(m.insert(new Node(k)).second, model.insert(k).second);
      } else {
         EXPECT_EQ(static_cast<bool>(m.erase(k)), model.erase(k) == 1);
      }
      if (step % 997 == 0) {
         ASSERT_TRUE(m.verify()) << "step " << step;
      }
   }
   EXPECT_EQ(m.size(), model.size());
   auto keys = TestFixture::keys(m);
   std::sort(keys.begin(), keys.end());
   EXPECT_EQ(keys, std::vector<std::uint32_t>(model.begin(), model.end()));
   std::size_t counted = 0;
   for (auto const& node : m)
      counted += model.count(node.key);
   EXPECT_EQ(counted, model.size());
}

TYPED_TEST(Collection, IterationOrderDependsOnlyOnTheMembers) {
   using Node = typename TestFixture::Node;
   std::vector<std::uint32_t> ks;
   for (std::uint32_t k = 0; k < 300; ++k)
      ks.push_back(k * 2654435761u);
   typename TestFixture::Map forward, shuffled;
   for (auto k : ks)
      forward.insert(new Node(k));
   // A different history: many extra members come and go first.
   for (std::uint32_t k = 0; k < 5000; ++k)
      shuffled.insert(new Node(k + 1));
   std::shuffle(ks.begin(), ks.end(), std::mt19937(3));
   for (auto k : ks)
      shuffled.insert(new Node(k));
   for (std::uint32_t k = 0; k < 5000; ++k) {
      if (std::find(ks.begin(), ks.end(), k + 1) == ks.end()) shuffled.erase(k + 1);
   }
   EXPECT_EQ(TestFixture::keys(forward), TestFixture::keys(shuffled));
}

TEST(RbTreeMap, IteratesInAscendingKeyOrderFromAnyKey) {
   using Node = Item<Vex::RbTreeLink>;
   Vex::RbTreeMap<Node, std::uint32_t> m;
   for (std::uint32_t k : {30u, 10u, 20u, 40u})
      m.insert(new Node(k));
   std::vector<std::uint32_t> from15;
   for (auto i = m.iterator(15); i; ++i)
      from15.push_back(i.key());
   EXPECT_EQ(from15, (std::vector<std::uint32_t>{20, 30, 40}));
   EXPECT_EQ(m.upperBound(40), nullptr);
   EXPECT_EQ((std::vector<std::uint32_t>{m.first()->key, m.last()->key, m.lowerBound(40)->key,
                                         decltype(m)::prev(m.find(20))->key}),
             (std::vector<std::uint32_t>{10, 40, 40, 10}));
}

TEST(HashMap, OrdersMembersByTheirBitReversedKey) {
   using Node = Item<Vex::HashLink>;
   Vex::HashMap<Node, std::uint32_t> m;
   for (std::uint32_t k : {0u, 1u, 2u, 3u, 4u, 0x00ffffffu})
      m.insert(new Node(k));
   std::vector<std::uint32_t> order;
   for (auto const& n : m)
      order.push_back(n.key);
   // Reversed: 0 -> 0, 4 -> 0x20000000, 2 -> 0x40000000, 1 -> 0x80000000, ...
   EXPECT_EQ(order, (std::vector<std::uint32_t>{0, 4, 2, 1, 3, 0x00ffffffu}));
}

namespace {
struct Range {
   std::uint32_t lo, hi;
   std::uint32_t hash() const {
      Vex::HashAccumulator h;
      h.mixU32(lo);
      h.mixU32(hi);
      return h.result();
   }
   bool operator==(Range const&) const = default;
   bool operator<(Range const& o) const { return lo < o.lo || (lo == o.lo && hi < o.hi); }
};
struct Qual {
   std::int32_t af;
   Vex::String text;
   bool operator==(Qual const&) const = default;
};
struct AfOf {
   std::int32_t operator()(Qual const& q) const { return q.af; }
};
using RangeNode = Vex::MapNode<Range, bool, Vex::HashLink>;
using RangeSet = Vex::HashMap2018<RangeNode, Range, bool>;
using QualNode = Vex::InternalKeyNode<std::int32_t, Qual, AfOf, Vex::HashLink>;
// A key functor that hands back a reference: the node reads its key in the
// value and keeps no copy.
struct AfIn {
   std::int32_t const& operator()(Qual const& q) const { return q.af; }
};
using QualInNode = Vex::InternalKeyNode<std::int32_t, Qual, AfIn, Vex::HashLink>;
static_assert(sizeof(QualInNode) < sizeof(QualNode));
// A tree node's links are three words: its colour and membership ride in the
// parent pointer.
static_assert(sizeof(Vex::RbTreeLink) == 3 * sizeof(void*));
} // namespace

TEST(HashMap2018, ValueCollectionsCopyCompareAndSwap) {
   RangeSet a, c;
   a.insert(new RangeNode({80, 80}, true)), a.insert(new RangeNode({1000, 2000}, false));
   RangeSet b = a;
   EXPECT_TRUE(a == b);
   EXPECT_NE(a.first(), b.first()) << "a copy holds copies of the nodes";
   b.find({80, 80})->valueIs(false);
   EXPECT_FALSE(a == b);
   EXPECT_TRUE(a.find({80, 80})->value());

   // Same members inserted the other way round compare equal positionally.
   c.insert(new RangeNode({1000, 2000}, false)), c.insert(new RangeNode({80, 80}, true));
   EXPECT_TRUE(a == c);

   RangeSet moved = std::move(c);
   EXPECT_TRUE(c.empty());
   EXPECT_EQ(moved.size(), 2u);
   c = moved;
   EXPECT_TRUE(c == moved);

   using Set = Vex::HashMap2018<Vex::SetNode<Vex::String, Vex::HashLink>, Vex::String, void>;
   Set intfs;
   intfs.insert(new Vex::SetNode<Vex::String, Vex::HashLink>("Ethernet1"));
   EXPECT_TRUE(intfs.has("Ethernet1") && !intfs.has("Ethernet2"));
}

TEST(HashMap2018DeathTest, AnInternalKeyNodeKeepsItsKey) {
   Vex::HashMap2018<QualNode, std::int32_t, Qual> quals;
   quals.insert(new QualNode({2, "no flow label"}));
   QualNode* n = quals.find(2);
   ASSERT_NE(n, nullptr);
   n->valueIs({2, "still ipv6"});
   EXPECT_EQ(n->value().text, "still ipv6");
   EXPECT_DEATH(n->valueIs({1, "ipv4"}), "fwkKey\\(\\) == KeyFunktor\\(\\)\\( _value \\)");

   // The same with the key read in the value.
   Vex::HashMap2018<QualInNode, std::int32_t, Qual> inValue;
   inValue.insert(new QualInNode({2, "no flow label"}));
   inValue.insert(new QualInNode({1, "ipv4"}));
   QualInNode* m = inValue.find(2);
   ASSERT_NE(m, nullptr);
   EXPECT_EQ(&m->fwkKey(), &m->value().af) << "no copy of the key";
   m->valueIs({2, "still ipv6"});
   EXPECT_EQ(inValue.find(2)->value().text, "still ipv6");
   EXPECT_TRUE(inValue.verify());
   EXPECT_DEATH(m->valueIs({1, "ipv4"}), "fwkKey\\(\\) == KeyFunktor\\(\\)\\( _value \\)");
}

TEST(HashValueMap, ReportsChangesAndHandsBackRemovedValues) {
   Vex::HashValueMap<std::uint32_t, Vex::String> m;
   EXPECT_TRUE(m.is(3, "three"));
   EXPECT_FALSE(m.is(3, "three")) << "an equal value changes nothing";
   EXPECT_TRUE(m.is(3, "drei"));
   EXPECT_EQ(m.get(3), "drei");
   EXPECT_EQ(m.get(4), "") << "absent: a default value";
   EXPECT_EQ(m.del(4), "");
   EXPECT_EQ(m.del(3), "drei");
   EXPECT_TRUE(m.empty());

   Vex::HashValueMap<std::uint32_t, Vex::String> a, b;
   for (std::uint32_t k = 0; k < 50; ++k)
      a.is(k, std::to_string(k));
   for (std::uint32_t k = 50; k-- > 0;)
      b.is(k, std::to_string(k));
   EXPECT_TRUE(a == b);
   auto c = a;
   c.is(7, "seven");
   EXPECT_FALSE(a == c);
   EXPECT_EQ(a.get(7), "7");
}

namespace {
using ValueMapU32 = Vex::HashValueMap<std::uint32_t, Vex::String>;
using OrderNode = Vex::MapNode<std::uint32_t, Vex::String, Vex::HashLink>;

std::vector<std::uint32_t> keysOf(ValueMapU32 const& m) {
   std::vector<std::uint32_t> out;
   for (auto i = m.iterator(); i; ++i)
      out.push_back(i.key());
   return out;
}
} // namespace

TEST(HashValueMap, IteratesInTheOrderOfAHashMap2018WithTheSameMembers) {
   std::mt19937 rng(7);
   std::vector<std::uint32_t> keys(300);
   for (auto& k : keys)
      k = rng() % 100000;
   ValueMapU32 flat;
   Vex::HashMap2018<OrderNode, std::uint32_t, Vex::String> table;
   for (auto k : keys) {
      flat.is(k, std::to_string(k));
      if (!table.has(k)) table.insert(new OrderNode(k, std::to_string(k)));
   }
   for (std::size_t i = 0; i < keys.size(); i += 3) {
      EXPECT_EQ(flat.del(keys[i]), table.has(keys[i]) ? std::to_string(keys[i]) : "");
      table.erase(keys[i]);
   }
   std::vector<std::uint32_t> expected;
   for (auto i = table.iterator(); i; ++i)
      expected.push_back(i.key());
   EXPECT_EQ(keysOf(flat), expected);
   EXPECT_EQ(flat.size(), table.size());
   for (auto i = flat.iterator(); i; ++i)
      EXPECT_EQ(i.value(), std::to_string(i.key()));

   // The same members inserted backwards: the same order, and equal maps.
   ValueMapU32 backwards;
   for (auto k = expected.rbegin(); k != expected.rend(); ++k)
      backwards.is(*k, std::to_string(*k));
   EXPECT_EQ(keysOf(backwards), expected);
   EXPECT_TRUE(backwards == flat);
   backwards.is(expected.front(), "changed");
   EXPECT_FALSE(backwards == flat) << "same keys, one value differs";
}

TEST(HashValueMap, AnIteratorSurvivesChangesOfItsMap) {
   ValueMapU32 m;
   for (std::uint32_t k = 1; k <= 20; ++k)
      m.is(k, std::to_string(k));
   std::vector<std::uint32_t> const order = keysOf(m);

   // Deleting the member it stands on: value() is then the default, and ++
   // goes on with the member that followed it.
   auto i = m.iterator();
   ++i;
   ++i;
   EXPECT_EQ(i.key(), order[2]);
   EXPECT_EQ(m.del(order[2]), std::to_string(order[2]));
   EXPECT_EQ(i.key(), order[2]) << "the key it stood on stays readable";
   EXPECT_EQ(i.value(), "");
   ++i;
   EXPECT_EQ(i.key(), order[3]);

   // Members inserted and removed before it move it in the block; it stays on
   // its member, and later inserts after it are visited.
   m.del(order[0]);
   for (std::uint32_t k = 100; k < 140; ++k)
      m.is(k, "new");
   EXPECT_EQ(i.key(), order[3]);
   EXPECT_EQ(i.value(), std::to_string(order[3]));
   std::vector<std::uint32_t> rest;
   for (++i; i; ++i)
      rest.push_back(i.key());
   std::vector<std::uint32_t> const all = keysOf(m);
   auto at = std::find(all.begin(), all.end(), order[3]);
   ASSERT_NE(at, all.end());
   EXPECT_EQ(rest, std::vector<std::uint32_t>(at + 1, all.end()));

   // Emptied under it: it ends.
   auto j = m.iterator();
   m.delAll();
   ++j;
   EXPECT_FALSE(j);
   EXPECT_FALSE(m.iterator()) << "an empty map has nothing to walk";
}

TEST(HashValueMap, CopiesAndMovesHoldTheirOwnMembers) {
   ValueMapU32 a;
   for (std::uint32_t k = 0; k < 33; ++k)
      a.is(k, Vex::String(std::string(40, char('a' + k % 26)))); // not a short string
   ValueMapU32 b = a;
   b.is(5, "five");
   b.del(6);
   EXPECT_EQ(a.get(5), Vex::String(std::string(40, 'f')));
   EXPECT_TRUE(a.has(6));
   ValueMapU32 c = std::move(b);
   EXPECT_TRUE(b.empty()) << "a moved-from map is empty";
   EXPECT_EQ(c.size(), 32u);
   auto& self = c;
   c = self;
   EXPECT_EQ(c.size(), 32u) << "self-assignment keeps the members";
   c = a;
   EXPECT_TRUE(c == a);
   while (!c.empty())
      c.del(c.iterator().key());
   EXPECT_EQ(c.size(), 0u);
   EXPECT_EQ(a.size(), 33u);
}
