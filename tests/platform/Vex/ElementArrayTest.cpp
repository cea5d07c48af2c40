#include "Vex/ElementArray.h"
#include "Vex/AllocTrack.h"

#include <gtest/gtest.h>

#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// An element keyed by its own `key`, with a text that makes copies allocate,
// counting the live instances so that a leak or a double destruction shows.
struct Element {
   static inline int live = 0;
   static inline bool throwOnCopy = false;

   explicit Element(std::uint32_t k, std::string t = {}) : key(k), text(std::move(t)) { ++live; }
   Element(Element const& o) : key(o.key), text(o.text) {
      if (throwOnCopy) throw std::runtime_error("copy refused");
      ++live;
   }
   Element(Element&& o) noexcept : key(o.key), text(std::move(o.text)) { ++live; }
   Element& operator=(Element const&) = default;
   Element& operator=(Element&&) noexcept = default;
   ~Element() { --live; }
   friend bool operator==(Element const& a, Element const& b) {
      return a.key == b.key && a.text == b.text;
   }

   std::uint32_t key;
   std::string text;
};

struct ByKey {
   std::uint32_t const& operator()(Element const& e) const noexcept { return e.key; }
};

struct Tracked {
   static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
   static constexpr char vexTypeName[] = "ElementArrayTest::Block";
};
Vex::AllocTrackSlot Tracked::vexAllocTrackTypeInfo_{nullptr};

using Set = Vex::ElementArray<Tracked, std::uint32_t, Element, ByKey>;

std::string keys(Set const& set) {
   std::string out;
   for (auto i = set.iterator(); i; ++i)
      out += std::to_string(i.key()) + "=" + i.value().text + " ";
   return out;
}

std::uint64_t liveBlocks() {
   return Vex::allocTrackCounts(Tracked::vexAllocTrackTypeInfo_).live();
}

TEST(ElementArrayTest, StoresInKeyOrderAndTellsOnlyChanges) {
   Set().get(0); // the absent element lives from its first use on
   int const liveBefore = Element::live;
   {
      Set set;
      std::vector<std::uint32_t> told;
      auto tell = [&](std::uint32_t k) { told.push_back(k); };
      EXPECT_EQ(set.size(), 0u);
      EXPECT_FALSE(set.iterator());
      EXPECT_EQ(liveBlocks(), 0u) << "an empty set allocates nothing";

      set.is(Element(5, "e"), tell);
      set.is(Element(1, "a"), tell);
      Element const three(3, "c");
      set.is(three, tell);
      EXPECT_EQ(keys(set), "1=a 3=c 5=e ");
      EXPECT_EQ(liveBlocks(), 1u) << "one block, whatever the count";

      set.is(three, tell); // equal: silent
      set.is(Element(3, "C"), tell);
      EXPECT_EQ(told, (std::vector<std::uint32_t>{5, 1, 3, 3}));
      EXPECT_EQ(keys(set), "1=a 3=C 5=e ");
      ASSERT_NE(set.find(3), nullptr);
      EXPECT_EQ(set.find(3)->text, "C");
      EXPECT_EQ(set.find(4), nullptr);
      EXPECT_TRUE(set.has(5));
      EXPECT_FALSE(set.has(0));
      EXPECT_EQ(set.get(4), Element(0)) << "absent reads as the element of key 0";

      told.clear();
      EXPECT_EQ(set.del(4, tell), Element(0));
      EXPECT_EQ(set.del(1, tell), Element(1, "a"));
      EXPECT_EQ(set.del(5, tell), Element(5, "e"));
      EXPECT_EQ(told, (std::vector<std::uint32_t>{1, 5})) << "deleting an absent key is silent";
      EXPECT_EQ(keys(set), "3=C ");
      set.del(3, tell);
      EXPECT_EQ(set.size(), 0u);
      EXPECT_EQ(liveBlocks(), 0u) << "the last deletion frees the block";
      set.is(Element(7, "g"), tell);
   }
   EXPECT_EQ(liveBlocks(), 0u);
   EXPECT_EQ(Element::live, liveBefore) << "every member destroyed once";
}

TEST(ElementArrayTest, IteratorSurvivesChangesAroundIt) {
   Set set;
   auto quiet = [](std::uint32_t) {};
   for (std::uint32_t k : {10, 20, 30, 40})
      set.is(Element(k, std::to_string(k)), quiet);

   auto i = set.iterator();
   ++i;
   ASSERT_EQ(i.key(), 20u);
   set.del(20, quiet); // its own member
   EXPECT_EQ(i.key(), 20u) << "the key outlives the member";
   EXPECT_EQ(i.value(), Element(0)) << "the member is gone";
   EXPECT_EQ(i.ptr(), nullptr);
   EXPECT_TRUE(i) << "still standing until it moves";
   set.is(Element(5), quiet);  // before it: positions shift
   set.is(Element(25), quiet); // right after it
   ++i;
   EXPECT_EQ(i.key(), 25u);
   EXPECT_EQ(i.ptr(), set.find(25));
   set.del(30, quiet); // the next one
   ++i;
   EXPECT_EQ(i.key(), 40u);
   EXPECT_EQ(i.value().text, "40");
   ++i;
   EXPECT_FALSE(i);
   ++i;
   EXPECT_FALSE(i) << "the end stays the end";
}

// delAll deletes from the first member on; callbacks that add and remove
// members are tolerated, and what they add after the walk's place goes too.
TEST(ElementArrayTest, DeleteAllToleratesCallbacksThatChangeTheSet) {
   Set set;
   auto quiet = [](std::uint32_t) {};
   for (std::uint32_t k : {1, 2, 3, 4})
      set.is(Element(k), quiet);
   std::vector<std::uint32_t> told;
   set.delAll([&](std::uint32_t k) {
      told.push_back(k);
      if (k == 1) {
         set.del(3, quiet);
         set.is(Element(10), quiet);
         set.is(Element(0), quiet); // behind the walk: stays
      }
   });
   EXPECT_EQ(told, (std::vector<std::uint32_t>{1, 2, 4, 10}));
   EXPECT_EQ(keys(set), "0= ");
}

// Random operations and walks against std::map, with walks that delete and
// insert as they go.
TEST(ElementArrayTest, MatchesAnOrderedMap) {
   std::mt19937 rng(7);
   Set set;
   std::map<std::uint32_t, std::string> model;
   auto quiet = [](std::uint32_t) {};
   for (int round = 0; round < 3000; ++round) {
      std::uint32_t const k = rng() % 24;
      std::string const text(rng() % 3, char('a' + rng() % 26));
      switch (rng() % 4) {
      case 0:
      case 1:
         set.is(Element(k, text), quiet);
         model[k] = text;
         break;
      case 2: {
         auto it = model.find(k);
         Element const want = it == model.end() ? Element(0) : Element(k, it->second);
         ASSERT_EQ(set.del(k, quiet), want);
         model.erase(k);
         break;
      }
      default: {
         // A walk that deletes its own member every third step and inserts
         // one key ahead of itself now and then; it must visit, in order,
         // each key it has not passed.
         std::vector<std::uint32_t> seen, expected;
         std::uint32_t last = 0;
         bool first = true;
         for (auto i = set.iterator(); i; ++i) {
            auto const next = first ? model.begin() : model.upper_bound(last);
            ASSERT_NE(next, model.end());
            ASSERT_EQ(i.key(), next->first);
            ASSERT_EQ(i.value().text, next->second);
            last = i.key();
            first = false;
            if (rng() % 3 == 0) {
               set.del(last, quiet);
               model.erase(last);
            }
            if (rng() % 5 == 0) {
               std::uint32_t const ahead = last + 1 + rng() % 3;
               set.is(Element(ahead, "x"), quiet);
               model[ahead] = "x";
            }
         }
         if (first) {
            EXPECT_TRUE(model.empty());
         } else {
            EXPECT_EQ(model.upper_bound(last), model.end());
         }
      }
      }
      ASSERT_EQ(set.size(), model.size());
   }
   std::string want;
   for (auto const& [k, t] : model)
      want += std::to_string(k) + "=" + t + " ";
   EXPECT_EQ(keys(set), want);
}

TEST(ElementArrayTest, ACopyThatThrowsLeavesTheSetAsItWas) {
   int const liveBefore = Element::live;
   {
      Set set;
      auto quiet = [](std::uint32_t) {};
      set.is(Element(1, "a"), quiet);
      set.is(Element(3, "c"), quiet);
      std::uint64_t const blocks = liveBlocks();
      Element const two(2, "b");
      Element::throwOnCopy = true;
      EXPECT_THROW(set.is(two, quiet), std::runtime_error);
      Element::throwOnCopy = false;
      EXPECT_EQ(keys(set), "1=a 3=c ");
      EXPECT_EQ(liveBlocks(), blocks) << "the new block was released";
   }
   EXPECT_EQ(Element::live, liveBefore);
}

} // namespace
