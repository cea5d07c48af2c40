// A writer and two readers in one process, each on a thread of its own with
// its own tree, reference counts atomic: the tsan preset runs this.
#include "StatedbTestUtil.h"

#include <atomic>
#include <thread>

using namespace StatedbTest;
using Flowspec::Config;

TEST(StatedbThreads, OneWriterTwoReadersOnThreadsOfTheirOwn) {
   Vex::ptrThreadSafeIs(true);
   StateDir dir;
   std::atomic<std::uint64_t> finalSequence{0};
   std::atomic<int> live{0};
   std::string writerDump;
   std::thread writer([&] {
      auto config = Config::ConfigIs("config");
      Statedb::Publisher pub(config, {.stateDir = dir.path(), .name = "flowspec/config"});
      auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (live.load() < 2 && std::chrono::steady_clock::now() < until)
         pub.service(5);
      auto vrf = config->vrfRuleConfigIs(0);
      for (unsigned k = 0; k < 300; ++k) {
         Statedb::Publisher::Batch b(pub);
         std::string text = "10.0." + std::to_string(k) + ".0/24;*;";
         if (k >= 256) text = "10.1." + std::to_string(k - 256) + ".0/24;*;";
         vrf->ruleIs(key(text.c_str()))->ruleIdIs(k);
         if (k % 7 == 0) pub.service(0);
      }
      writerDump = dump(*config);
      finalSequence = pub.sequence();
      // Serve until both readers have caught up and left.
      while (pub.readerCount() > 0 && std::chrono::steady_clock::now() < until)
         pub.service(5);
   });
   std::string readerDumps[2];
   std::thread readers[2];
   for (int i = 0; i < 2; ++i) {
      readers[i] = std::thread([&, i] {
         auto mount = Statedb::Mount::mountIs(
             Config::_vexType, {.stateDir = dir.path(), .name = "flowspec/config", .retryMs = 10});
         mount->waitFor([&] { return mount->state() == Statedb::MountState::live; }, 20000);
         ++live;
         mount->waitFor(
             [&] {
                return finalSequence.load() != 0 && mount->lastSequence() == finalSequence.load();
             },
             20000);
         readerDumps[i] = dump(*mount->root());
      });
   }
   for (auto& r : readers)
      r.join();
   writer.join();
   EXPECT_FALSE(writerDump.empty());
   EXPECT_EQ(readerDumps[0], writerDump);
   EXPECT_EQ(readerDumps[1], writerDump);
}
