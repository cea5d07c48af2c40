#include "Flowspec/entities/Counter.h"

#include "EntityTestUtil.h"

#include <gtest/gtest.h>

using namespace Flowspec;
using namespace EntityTest;

namespace {
CounterVersion cv(std::uint64_t counter, std::uint64_t sequence) {
   return CounterVersion(counter, Kiln::UniqueId(0xab, sequence));
}
std::string const gone = "=0@0000000000000000.0";
} // namespace

TEST(Counter, SnapshotIsTellsOnlyOnChange) {
   auto counter = Counter::CounterIs("counter");
   CounterRec rec(counter);
   auto const k = key("10.0.0.0/8;*;");
   counter->snapshotIs(k, cv(5, 1));
   counter->snapshotIs(k, cv(5, 1));
   counter->snapshotIs(k, cv(6, 1));         // another counter
   counter->snapshotIs(k, cv(6, 2));         // another version
   counter->snapshotIs(k, CounterVersion()); // back to the default: still a member
   EXPECT_EQ(counter->snapshotSize(), 1u);
   EXPECT_TRUE(counter->snapshotHas(k));
   EXPECT_EQ(rec.calls, (Calls{"onSnapshot(10.0.0.0/8;*;)=5@00000000000000ab.1",
                               "onSnapshot(10.0.0.0/8;*;)=6@00000000000000ab.1",
                               "onSnapshot(10.0.0.0/8;*;)=6@00000000000000ab.2",
                               "onSnapshot(10.0.0.0/8;*;)" + gone}));
}

TEST(Counter, EqualKeysBuiltSeparatelyAddressOneMember) {
   auto counter = Counter::CounterIs("counter");
   CounterRec rec;
   auto const k = key("10.0.0.0/8;*;IP:=6;DP:=80;");
   FlowspecKey other; // the same key read back from its raw text
   other.copyInStr(k.toStrep());
   ASSERT_TRUE(other.compare(k));
   EXPECT_EQ(other.hash(), k.hash());
   counter->snapshotIs(k, cv(5, 1));
   rec.notifierIs(counter);
   counter->snapshotIs(other, cv(5, 1));
   EXPECT_EQ(counter->snapshot(other), cv(5, 1));
   counter->snapshotIs(key("10.0.0.0/8;*;IP:=6;DP:=81;"), cv(1, 1));
   counter->snapshotIs(key("10.0.0.0/8;*;IP:=6;DP:=80;", Ipkit::ipv4, 8), cv(1, 1));
   EXPECT_EQ(counter->snapshotSize(), 3u) << "other ports and VRFs are other members";
   EXPECT_EQ(counter->snapshotDel(other), cv(5, 1));
   EXPECT_FALSE(counter->snapshotHas(k));
   EXPECT_EQ(rec.calls, (Calls{"onSnapshot(10.0.0.0/8;*;IP:=6;DP:=81;)=1@00000000000000ab.1",
                               "onSnapshot(10.0.0.0/8;*;IP:=6;DP:=80;)=1@00000000000000ab.1",
                               "onSnapshot(10.0.0.0/8;*;IP:=6;DP:=80;)" + gone}));
}

TEST(Counter, DeletionHandsBackTheValue) {
   auto counter = Counter::CounterIs("counter");
   CounterRec rec(counter);
   auto const absent = counter->snapshotDel(key("10.0.0.0/8;*;"));
   EXPECT_EQ(absent.counter(), 0u);
   EXPECT_EQ(absent.version().toStrep(), "0000000000000000.0");
   EXPECT_EQ(counter->snapshot(key("10.0.0.0/8;*;")), CounterVersion()) << "absent";
   EXPECT_EQ(rec.calls, Calls{}) << "absent: silent";
   counter->snapshotNotify(key("10.0.0.0/8;*;"));
   EXPECT_EQ(rec.calls, Calls{"onSnapshot(10.0.0.0/8;*;)" + gone});

   for (auto c : {"10.1.0.0/16;*;", "10.2.0.0/16;*;", "*;*;", "10.3.0.0/16;*;"})
      counter->snapshotIs(key(c), cv(7, 1));
   Calls order; // the map's own order, with each member already gone when told
   for (auto i = counter->snapshotIteratorConst(); i; ++i)
      order.push_back("onSnapshot(" + cli(i.key()) + ")" + gone);
   rec.calls.clear();
   counter->snapshotDelAll();
   EXPECT_EQ(order.size(), 4u);
   EXPECT_EQ(rec.calls, order);
   EXPECT_EQ(counter->snapshotSize(), 0u);
}

TEST(Counter, Lifetime) {
   auto const before = live<Counter, Counter::VexSnapshot>();
   CounterRec rec;
   {
      auto counter = Counter::CounterIs("counter");
      rec.notifierIs(counter);
      counter->snapshotIs(key("10.0.0.0/8;*;"), cv(1, 1));
      EXPECT_EQ(live<Counter::VexSnapshot>()[0], before[1] + 1);
      rec.calls.clear();
   }
   EXPECT_EQ(rec.calls, Calls{}) << "destruction detaches observers first";
   EXPECT_EQ(rec.notifier(), nullptr);
   EXPECT_EQ((live<Counter, Counter::VexSnapshot>()), before);
}
