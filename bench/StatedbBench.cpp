// Statedb: changes per second from one writer to 1 and 10 readers, the
// latency from a change in the writer to the mirror's observer at 10 000
// changes per second, and the time to mount a tree of 100 000 rules. Each
// beside its baseline: the same changes, or the same tree, made locally.
#include "Flowspec/FlowspecStatedb.h"
#include "Statedb/Mount.h"
#include "Statedb/Publisher.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

namespace {

using Flowspec::Config;

std::string freshDir() {
   std::string tmpl = (std::filesystem::temp_directory_path() / "statedb-bench-XXXXXX").string();
   if (!::mkdtemp(tmpl.data())) std::abort();
   return tmpl;
}

Flowspec::FlowspecKey ruleKey(unsigned k) {
   Flowspec::FlowspecKey key;
   key.vrfIdIs(0);
   key.addressFamilyIs(Ipkit::ipv4);
   std::string text = "10." + std::to_string(k >> 16) + "." + std::to_string(k >> 8 & 255) + "." +
                      std::to_string(k & 255) + "/32;*;IP:=6;DP:=80|=443;";
   if (!key.copyInStrCli(text)) std::abort();
   return key;
}

/// `n` rules in VRF 0, each with its match set and an id.
std::vector<Vex::Ptr<Flowspec::RuleConfig>> addRules(Vex::Ptr<Config> const& config, unsigned n) {
   std::vector<Vex::Ptr<Flowspec::RuleConfig>> rules;
   auto vrf = config->vrfRuleConfigIs(0);
   for (unsigned k = 0; k < n; ++k) {
      auto rule = vrf->ruleIs(ruleKey(k));
      for (auto const& c : Flowspec::matchSetFromKey(ruleKey(k)))
         rule->matchSetIs(c);
      rule->ruleIdIs(k + 1);
      rules.push_back(rule);
   }
   return rules;
}

constexpr unsigned changesPerBatch = 1000;

// Baseline: the changes made locally, nobody publishing.
void BM_ChangesLocal(benchmark::State& state) {
   auto config = Config::ConfigIs("config");
   auto rules = addRules(config, changesPerBatch);
   std::uint64_t id = 1000;
   for (auto _ : state) {
      for (auto& r : rules)
         r->ruleIdIs(++id);
   }
   state.SetItemsProcessed(state.iterations() * changesPerBatch);
}
BENCHMARK(BM_ChangesLocal);

// One writer, state.range(0) readers in the same process: each iteration
// is one batch of 1000 attribute changes, until every reader applied it.
void BM_ChangesToReaders(benchmark::State& state) {
   std::string const dir = freshDir();
   {
      auto config = Config::ConfigIs("config");
      auto rules = addRules(config, changesPerBatch);
      Statedb::PublishOptions o{.stateDir = dir, .name = "flowspec/config"};
      o.journal = false;
      o.sendAtOnce = false;
      Statedb::Publisher pub(config, o);
      std::vector<std::unique_ptr<Statedb::Mount>> mounts;
      std::vector<Statedb::Endpoint*> all{&pub};
      for (long i = 0; i < state.range(0); ++i) {
         mounts.push_back(Statedb::Mount::mountIs(Config::_vexType,
                                                  {.stateDir = dir, .name = "flowspec/config"}));
         all.push_back(mounts.back().get());
      }
      auto inStep = [&] {
         for (auto& m : mounts) {
            if (m->lastSequence() != pub.sequence() || m->state() != Statedb::MountState::live)
               return false;
         }
         return true;
      };
      while (!inStep())
         Statedb::serviceAll(all, 10);
      std::uint64_t id = 1000;
      for (auto _ : state) {
         {
            Statedb::Publisher::Batch b(pub);
            for (auto& r : rules)
               r->ruleIdIs(++id);
         }
         pub.flush();
         while (!inStep())
            Statedb::serviceAll(all, 10);
      }
      state.SetItemsProcessed(state.iterations() * changesPerBatch);
      state.counters["records/s to each reader"] = benchmark::Counter(
          double(state.iterations() * changesPerBatch), benchmark::Counter::kIsRate);
   }
   std::filesystem::remove_all(dir);
}
BENCHMARK(BM_ChangesToReaders)->Arg(1)->Arg(10)->UseRealTime();

// One change every 100 microseconds (10 000 per second) for a second, in a
// writer thread; a reader thread's observer of the mirror notes how long
// after the change it heard it (the rule's id carries the writer's clock).
void BM_ChangeToObserverLatency(benchmark::State& state) {
   Vex::ptrThreadSafeIs(true);
   std::string const dir = freshDir();
   std::vector<double> micros;
   for (auto _ : state) {
      std::atomic<bool> ready{false}, done{false};
      std::thread reader([&] {
         auto mount = Statedb::Mount::mountIs(
             Config::_vexType, {.stateDir = dir, .name = "flowspec/config", .retryMs = 5});
         struct Watch : Flowspec::RuleConfig::NotifieeConst {
            std::vector<double>* out;
            void onRuleId() override {
               auto now = std::chrono::steady_clock::now().time_since_epoch().count();
               out->push_back(double(now - std::int64_t(notifier()->ruleId())) / 1000.0);
            }
         };
         Watch w;
         w.out = &micros;
         mount->waitFor(
             [&] {
                auto c = Vex::ptrCast<Config const>(mount->root());
                auto vrf = c->vrfRuleConfig(0);
                return vrf && vrf->ruleSize() == 1;
             },
             10000);
         auto c = Vex::ptrCast<Config const>(mount->root());
         w.notifierIs(c->vrfRuleConfig(0)->rule(ruleKey(0)));
         ready = true;
         while (!done.load())
            mount->service(1);
         mount->service(20);
      });
      {
         auto config = Config::ConfigIs("config");
         auto rules = addRules(config, 1);
         Statedb::PublishOptions o{.stateDir = dir, .name = "flowspec/config"};
         o.journal = false;
         Statedb::Publisher pub(config, o);
         auto const until = std::chrono::steady_clock::now() + std::chrono::seconds(10);
         while (!ready.load() && std::chrono::steady_clock::now() < until)
            pub.service(1);
         auto next = std::chrono::steady_clock::now();
         for (int i = 0; i < 10000; ++i) {
            next += std::chrono::microseconds(100);
            while (std::chrono::steady_clock::now() < next)
               pub.service(0);
            rules[0]->ruleIdIs(
                std::uint64_t(std::chrono::steady_clock::now().time_since_epoch().count()));
         }
         for (int i = 0; i < 20; ++i)
            pub.service(1);
         done = true;
         reader.join();
      }
   }
   std::sort(micros.begin(), micros.end());
   if (!micros.empty()) {
      state.counters["p50_us"] = micros[micros.size() / 2];
      state.counters["p99_us"] = micros[micros.size() * 99 / 100];
      state.counters["heard"] = double(micros.size());
   }
   std::filesystem::remove_all(dir);
}
BENCHMARK(BM_ChangeToObserverLatency)->Iterations(1)->UseRealTime()->Unit(benchmark::kMillisecond);

// Baseline: building the 100 000-rule tree locally.
void BM_Build100kLocal(benchmark::State& state) {
   for (auto _ : state) {
      auto config = Config::ConfigIs("config");
      addRules(config, 100000);
   }
}
BENCHMARK(BM_Build100kLocal)->Unit(benchmark::kMillisecond)->Iterations(3);

// Mounting the 100 000-rule tree: from connecting until the mirror is live.
void BM_Mount100k(benchmark::State& state) {
   std::string const dir = freshDir();
   {
      auto config = Config::ConfigIs("config");
      addRules(config, 100000);
      Statedb::PublishOptions o{.stateDir = dir, .name = "flowspec/config"};
      o.journal = false;
      Statedb::Publisher pub(config, o);
      for (auto _ : state) {
         auto mount = Statedb::Mount::mountIs(Config::_vexType,
                                              {.stateDir = dir, .name = "flowspec/config"});
         while (mount->state() != Statedb::MountState::live)
            Statedb::serviceAll({&pub, mount.get()}, 10);
         state.PauseTiming();
         mount.reset();
         pub.service(0);
         state.ResumeTiming();
      }
   }
   std::filesystem::remove_all(dir);
}
BENCHMARK(BM_Mount100k)->Unit(benchmark::kMillisecond)->Iterations(3)->UseRealTime();

} // namespace
