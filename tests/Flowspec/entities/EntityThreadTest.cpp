// Entities shared between threads. One thread owns a tree and is the only
// one to change it; with atomic reference counts (Vex::ptrThreadSafeIs) other
// threads may hold, copy and drop Ptrs to its entities, and whichever thread
// drops the last reference destroys the entity.
#include "EntityTestUtil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

using namespace Flowspec;
using namespace EntityTest;

namespace {

// Atomic reference counts while alive; then the mode as it was.
class AtomicCounts {
 public:
   AtomicCounts() { Vex::ptrThreadSafeIs(true); }
   ~AtomicCounts() { Vex::ptrThreadSafeIs(was_); }

 private:
   bool const was_ = Vex::ptrThreadSafe();
};

FlowspecKey ruleKey(int i) {
   std::string const n = std::to_string(i);
   return key(("10." + n + ".0.0/16;*;DP:=" + n).c_str());
}

} // namespace

TEST(EntityThreads, OtherThreadsHoldRulesWhileTheOwnerChangesTheTree) {
   AtomicCounts const atomic;
   constexpr int rules = 64, workers = 4, rounds = 500;
   auto const liveBefore = live<RuleConfig>()[0];
   {
      auto config = Config::ConfigIs("threads");
      auto vrf = config->vrfRuleConfigIs(7);
      std::vector<Vex::Ptr<RuleConfig const>> shared;
      for (int i = 0; i < rules; ++i)
         shared.push_back(vrf->ruleIs(ruleKey(i)));

      // Each worker gets its own copy of the Ptrs, made here, and then only
      // copies and drops them and reads the rules' keys, which never change.
      std::atomic<int> sevens{0};
      std::atomic<bool> go{false};
      std::vector<std::thread> threads;
      for (int t = 0; t < workers; ++t) {
         threads.emplace_back([held = shared, &sevens, &go]() mutable {
            while (!go)
               std::this_thread::yield();
            int seen = 0;
            for (int r = 0; r < rounds; ++r) {
               for (auto const& rule : held) {
                  Vex::Ptr<RuleConfig const> copy = rule;
                  Vex::Ptr<Vex::Entity const> base = copy;
                  seen += copy->key().vrfId() == 7;
               }
            }
            // For a rule the owner has deleted, this may be the last reference.
            held.clear();
            sevens += seen;
         });
      }

      // The owner, meanwhile: lets go of its own Ptrs, deletes every other
      // rule, changes the rest, and adds as many new ones.
      go = true;
      shared.clear();
      for (int i = 0; i < rules; i += 2)
         EXPECT_TRUE(vrf->ruleDel(ruleKey(i)));
      for (int i = 1; i < rules; i += 2)
         vrf->rule(ruleKey(i))->ruleIdIs(std::uint64_t(i));
      for (int i = rules; i < 2 * rules; ++i)
         vrf->ruleIs(ruleKey(i));
      for (auto& t : threads)
         t.join();

      EXPECT_EQ(sevens, workers * rounds * rules);
      EXPECT_EQ(vrf->ruleSize(), std::size_t(rules / 2 + rules));
      for (int i = 1; i < 2 * rules; i += i < rules ? 2 : 1) {
         auto const rule = vrf->rule(ruleKey(i));
         ASSERT_TRUE(rule) << i;
         EXPECT_EQ(rule->refCount(), 2u) << "the collection's and this one";
         EXPECT_EQ(rule->ruleId(), i < rules ? std::uint64_t(i) : 0u);
      }
      EXPECT_EQ(live<RuleConfig>()[0] - liveBefore, std::uint64_t(rules / 2 + rules))
          << "the deleted rules are gone, whichever thread let go of them last";
   }
   EXPECT_EQ(live<RuleConfig>()[0], liveBefore);
}
