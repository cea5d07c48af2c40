// The journal: a writer killed with SIGKILL at 100 random points always
// reloads the tree after some whole batch.
#include "StatedbTestUtil.h"

#include "Statedb/Journal.h"

#include <chrono>
#include <csignal>
#include <random>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace StatedbTest;
using Flowspec::Config;

namespace {

Flowspec::FlowspecKey ruleKey(unsigned k) {
   std::string text = "10." + std::to_string(k >> 16) + "." + std::to_string(k >> 8 & 255) + "." +
                      std::to_string(k & 255) + "/32;*;";
   return key(text.c_str());
}

Ipkit::IntfId intf(unsigned k) {
   return Ipkit::IntfId(Vex::String("Ethernet" + std::to_string(k)));
}

/// The tree after batch n: rules 1..n with ruleId = their number, and
/// exactly one enabled interface, Ethernet<n>. Returns n, or -1 (with a
/// failure) for a tree in between batches.
long wholeBatch(Vex::Ptr<Config> const& config) {
   auto vrf = config->vrfRuleConfig(0);
   std::size_t const n = vrf ? vrf->ruleSize() : 0;
   for (unsigned k = 1; k <= n; ++k) {
      auto rule = vrf->rule(ruleKey(k));
      if (!rule || rule->ruleId() != k) {
         ADD_FAILURE() << "rule " << k << " of " << n << " missing or half made";
         return -1;
      }
   }
   if (config->enabledIntfSize() != (n ? 1u : 0u) ||
       (n && !config->enabledIntf(intf(unsigned(n))))) {
      ADD_FAILURE() << "interfaces of another batch than rule " << n;
      return -1;
   }
   return long(n);
}

/// The writer: reloads, then adds one batch after the other.
[[noreturn]] void writer(std::string const& dir) {
   auto config = Config::ConfigIs("config");
   Statedb::PublishOptions o{.stateDir = dir, .name = "flowspec/config"};
   o.journalOptions.fsync = Statedb::FsyncPolicy::never; // SIGKILL keeps what write() took
   o.journalOptions.compactBytes = 4096;                 // compact often: crash there too
   Statedb::Publisher pub(config, o);
   auto vrf = config->vrfRuleConfigIs(0);
   auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(5);
   for (unsigned k = unsigned(vrf->ruleSize()) + 1; k < 60000; ++k) {
      if (std::chrono::steady_clock::now() > until) break;
      Statedb::Publisher::Batch b(pub);
      vrf->ruleIs(ruleKey(k))->ruleIdIs(k);
      config->enabledIntfIs(intf(k), true);
      config->enabledIntfDel(intf(k - 1));
   }
   ::_exit(0);
}

} // namespace

TEST(StatedbJournal, SurvivesSigkillAtOneHundredRandomPoints) {
   StateDir dir;
   std::mt19937 random(20261124);
   long last = 0;
   for (int round = 0; round < 100; ++round) {
      pid_t const pid = ::fork();
      if (pid == 0) writer(dir.path());
      std::this_thread::sleep_for(std::chrono::microseconds(2000 + random() % 20000));
      ::kill(pid, SIGKILL);
      int status = 0;
      ::waitpid(pid, &status, 0);

      auto config = Config::ConfigIs("config");
      Statedb::Journal journal(Statedb::statePath(dir.path(), "flowspec/config", ""), {});
      journal.load(config);
      long const n = wholeBatch(config);
      ASSERT_GE(n, last) << "round " << round << ": a batch once reloaded is never lost";
      last = n;
   }
   EXPECT_GT(last, 100) << "the writers made progress";
}

TEST(StatedbJournal, ReloadCutsATornTailAndSkipsWhatTheSnapshotHolds) {
   StateDir dir;
   std::string const base = Statedb::statePath(dir.path(), "flowspec/config", "");
   {
      auto config = Config::ConfigIs("config");
      Statedb::Publisher pub(config, {.stateDir = dir.path(), .name = "flowspec/config"});
      for (unsigned k = 1; k <= 3; ++k) {
         Statedb::Publisher::Batch b(pub);
         config->vrfRuleConfigIs(0)->ruleIs(ruleKey(k))->ruleIdIs(k);
         config->enabledIntfIs(intf(k), true);
         config->enabledIntfDel(intf(k - 1));
      }
      EXPECT_EQ(pub.sequence(), 3u);
   }
   // Every cut of the journal reloads the batches it holds whole.
   std::vector<unsigned char> bytes;
   {
      FILE* f = std::fopen((base + ".journal").c_str(), "rb");
      ASSERT_NE(f, nullptr);
      int c;
      while ((c = std::fgetc(f)) != EOF)
         bytes.push_back(static_cast<unsigned char>(c));
      std::fclose(f);
   }
   ASSERT_FALSE(bytes.empty());
   long previous = 0;
   for (std::size_t cut = 0; cut <= bytes.size(); cut += 7) {
      FILE* f = std::fopen((base + ".journal").c_str(), "wb");
      std::fwrite(bytes.data(), 1, cut, f);
      std::fclose(f);
      auto config = Config::ConfigIs("config");
      Statedb::Journal journal(base, {});
      std::uint64_t const seq = journal.load(config);
      long const n = wholeBatch(config);
      EXPECT_EQ(long(seq), n) << cut;
      EXPECT_GE(n, previous) << cut;
      EXPECT_LE(journal.size(), cut) << "the torn tail is cut";
      previous = n;
   }
   EXPECT_EQ(previous, 3);
}
