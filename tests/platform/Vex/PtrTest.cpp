#include "Vex/Ptr.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

struct Counted : Vex::PtrInterface {
   explicit Counted(int* destroyed) : destroyed(destroyed) {}
   ~Counted() override { ++*destroyed; }
   int* destroyed;
};
struct Derived : Counted {
   using Counted::Counted;
};

// Runs every test once with plain and once with atomic reference counts.
template <bool ThreadSafe>
struct Mode {
   static constexpr bool value = ThreadSafe;
};

template <class M>
class PtrTest : public ::testing::Test {
 protected:
   void SetUp() override { Vex::ptrThreadSafeIs(M::value); }
   void TearDown() override { Vex::ptrThreadSafeIs(false); }
};
using Modes = ::testing::Types<Mode<false>, Mode<true>>;
TYPED_TEST_SUITE(PtrTest, Modes);

} // namespace

TYPED_TEST(PtrTest, CountsReferencesAndDestroysAtTheLast) {
   int destroyed = 0;
   {
      Vex::Ptr<Derived> d = new Derived(&destroyed);
      EXPECT_EQ(d->refCount(), 1u);
      Vex::Ptr<Counted> base = d;
      Vex::Ptr<Counted const> constant = base;
      EXPECT_EQ(d->refCount(), 3u);
      EXPECT_TRUE(base == d);
      EXPECT_TRUE(constant == d);
      Vex::Ptr<Counted> moved = std::move(base);
      EXPECT_FALSE(base);
      EXPECT_TRUE(!base);
      EXPECT_EQ(d->refCount(), 3u);
      moved = nullptr;
      EXPECT_EQ(d->refCount(), 2u);
      EXPECT_TRUE(Vex::ptrCast<Derived>(Vex::Ptr<Counted>(d)) == d);
      EXPECT_EQ(destroyed, 0);
   }
   EXPECT_EQ(destroyed, 1);

   Vex::Ptr<Counted> a = new Counted(&destroyed);
   Vex::Ptr<Counted> b = new Counted(&destroyed);
   a = b; // the first object goes
   EXPECT_EQ(destroyed, 2);
   Vex::Ptr<Counted>& alias = a;
   a = alias; // self-assignment keeps it
   EXPECT_EQ(a->refCount(), 2u);
   EXPECT_TRUE(Vex::dynamicPtrCast<Derived>(a) == nullptr);
}

TYPED_TEST(PtrTest, ReleaseAndAdoptHandOverOneReference) {
   int destroyed = 0;
   Vex::Ptr<Counted> a = new Counted(&destroyed);
   Counted* raw = a.release();
   EXPECT_FALSE(a);
   EXPECT_EQ(raw->refCount(), 1u);
   Vex::Ptr<Counted> b = Vex::Ptr<Counted>::adopt(raw);
   EXPECT_EQ(b->refCount(), 1u);
   b = nullptr;
   EXPECT_EQ(destroyed, 1);
}

namespace {
// Takes and drops a reference to itself while it is being destroyed, as an
// observer reading notifier() during its entity's destruction does.
struct SelfReferencing : Vex::PtrInterface {
   explicit SelfReferencing(int* destroyed) : destroyed(destroyed) {}
   ~SelfReferencing() override {
      Vex::Ptr<SelfReferencing> again = this;
      ++*destroyed;
   }
   int* destroyed;
};
} // namespace

TYPED_TEST(PtrTest, AReferenceTakenDuringDestructionDoesNotDestroyTwice) {
   int destroyed = 0;
   { Vex::Ptr<SelfReferencing> p = new SelfReferencing(&destroyed); }
   EXPECT_EQ(destroyed, 1);
}

TEST(PtrThreads, AtomicCountsSurviveManyThreadsOnOneObject) {
   Vex::ptrThreadSafeIs(true);
   int destroyed = 0;
   {
      Vex::Ptr<Counted> shared = new Counted(&destroyed);
      std::vector<std::thread> threads;
      for (int t = 0; t < 4; ++t) {
         threads.emplace_back([shared] {
            for (int i = 0; i < 200000; ++i) {
               Vex::Ptr<Counted> copy = shared;
               Vex::Ptr<Counted const> other = copy;
            }
         });
      }
      for (auto& t : threads)
         t.join();
      EXPECT_EQ(shared->refCount(), 1u);
      EXPECT_EQ(destroyed, 0);
   }
   EXPECT_EQ(destroyed, 1);
   Vex::ptrThreadSafeIs(false);
   EXPECT_FALSE(Vex::ptrThreadSafe());
}
