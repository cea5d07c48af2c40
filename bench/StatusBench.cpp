// The status-side entities beside standard containers doing the same work,
// in one binary so that one run gives each ratio:
//
//   - Counter::snapshotIs: 100 000 updates over 10 000 distinct rule keys,
//     each key updated 10 times with a new counter, in a shuffled order, on a
//     Counter made before the timed loop of each iteration (10 000 inserts,
//     90 000 overwrites). Beside it a std::unordered_map<FlowspecKey,
//     CounterVersion> doing insert-or-assign with the same "skip when equal"
//     check. A second pair adds one observer: the Counter tells a
//     NotifieeConst whose onSnapshot(key) counts, the map calls a virtual
//     function that counts, so the pair shows what telling costs.
//   - VrfRuleStatus::ruleStatusIs: creating the children of 100 000 distinct
//     rule keys, beside a std::map<FlowspecKey, std::shared_ptr<Payload>>
//     that inserts a payload holding what a RuleStatus holds besides its key.
//   - VrfRuleStatus::ruleStatus: looking up all 100 000 children, in an
//     order unrelated to the insertion order, each handed back by reference-
//     counted pointer, beside a find and shared_ptr copy in the std::map.
//
// Every benchmark reports items (updates, creations or lookups) per second
// and `allocs`, the calls of operator new per item in the timed work. Each
// timed fill starts from a settled heap (see settleHeap); making and
// destroying the containers is not timed.
//
// Run:  cmake --build --preset dev --target status_bench &&
//       build/dev/bench/status_bench --benchmark_format=csv | bench/ratios.py
#include "BenchSupport.h"
#include "Flowspec/entities/Counter.h"
#include "Flowspec/entities/Status.h"
#include "Flowspec/module/Factories.h"
#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Kiln/UniqueId.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

BENCH_COUNTING_OPERATOR_NEW();

namespace {

using Flowspec::Counter;
using Flowspec::CounterVersion;
using Flowspec::FlowspecKey;
using Flowspec::RuleStatus;
using Flowspec::VrfRuleStatus;

using Bench::allocations;
using Bench::settleHeap;

// ---- keys ------------------------------------------------------------------

// `n` distinct rules of VRF 0 and IPv4, shuffled, the same as those of
// key_bench (see Bench::distinctKeys): two to four pairs per key.
std::vector<FlowspecKey> distinctKeys(std::size_t n) {
   return Bench::distinctKeys(n, static_cast<std::uint32_t>(n), Bench::LengthRange::quarter);
}

constexpr std::size_t counterKeyCount = 10000;
constexpr std::size_t updatesPerKey = 10;
constexpr std::size_t ruleCount = 100000;

// One counter update: which key, and the value it gets.
struct Update {
   std::uint32_t key;
   CounterVersion value;
};

// The workload of both sides, made once before the first benchmark runs, so
// that no benchmark's setup leaves the heap in a state its partner did not
// see: the keys of the counters and the rules, the counter updates, and the
// lookup order of the rules.
struct Workload {
   std::vector<FlowspecKey> counterKeys;
   std::vector<Update> updates;
   std::vector<FlowspecKey> ruleKeys;
   std::vector<FlowspecKey const*> probe;

   Workload() : counterKeys(distinctKeys(counterKeyCount)), ruleKeys(distinctKeys(ruleCount)) {
      // Each key 10 times, shuffled; a key's n-th update in that order
      // carries counter n * 1000 + key, so every update changes the value.
      // The version is the key's own, constant across its updates.
      std::vector<std::uint32_t> order;
      order.reserve(counterKeys.size() * updatesPerKey);
      for (std::uint32_t k = 0; k < counterKeys.size(); ++k) {
         for (std::size_t r = 0; r < updatesPerKey; ++r)
            order.push_back(k);
      }
      std::mt19937 rng(7);
      std::shuffle(order.begin(), order.end(), rng);
      std::vector<std::uint64_t> seen(counterKeys.size(), 0);
      updates.reserve(order.size());
      for (std::uint32_t k : order) {
         std::uint64_t const n = ++seen[k];
         updates.push_back({k, CounterVersion(n * 1000 + k, Kiln::UniqueId(1, k + 1))});
      }
      for (auto const& k : ruleKeys)
         probe.push_back(&k);
      std::shuffle(probe.begin(), probe.end(), rng);
   }
};

Workload const& workload() {
   static Workload const w;
   return w;
}

// Items per second, and operator new calls per item of the timed work.
void report(benchmark::State& state, std::uint64_t allocs, std::size_t itemsPerIteration) {
   auto const items = state.iterations() * static_cast<std::int64_t>(itemsPerIteration);
   state.SetItemsProcessed(items);
   state.counters["allocs"] = static_cast<double>(allocs) / static_cast<double>(items);
}

// ---- Counter::snapshotIs -------------------------------------------------------

// Counts the snapshots it is told of.
class CountingObserver : public Counter::NotifieeConst {
 public:
   void onSnapshot(FlowspecKey const&) override { ++told; }
   std::uint64_t told = 0;
};

// The baseline's observer: a virtual call per change, like the Counter's.
class MapObserver {
 public:
   virtual ~MapObserver() = default;
   virtual void onSnapshot(FlowspecKey const&) { ++told; }
   std::uint64_t told = 0;
};

struct CounterImpl {
   static constexpr bool observed = false;
   using Type = Vex::Ptr<Counter>;
   static Type make() { return Flowspec::counterFactory(Vex::Name("counter")); }
   static void update(Type const& c, FlowspecKey const& k, CounterVersion const& v) {
      c->snapshotIs(k, v);
   }
};

struct CounterObservedImpl : CounterImpl {
   static constexpr bool observed = true;
};

// Insert-or-assign, silent when the stored value is equal; `observer` (when
// set) is called after every change, as the Counter tells its observers.
struct StdUnorderedMapImpl {
   static constexpr bool observed = false;
   using Type = std::unordered_map<FlowspecKey, CounterVersion>;
   static Type make() { return {}; }
   static void update(Type& m, FlowspecKey const& k, CounterVersion const& v,
                      MapObserver* observer) {
      auto [i, inserted] = m.try_emplace(k, v);
      if (!inserted) {
         if (i->second == v) return;
         i->second = v;
      }
      if (observer) observer->onSnapshot(k);
   }
};

struct StdUnorderedMapObservedImpl : StdUnorderedMapImpl {
   static constexpr bool observed = true;
};

template <class Impl>
void BM_Snapshot(benchmark::State& state) {
   auto const& w = workload();
   std::uint64_t allocs = 0;
   std::uint64_t told = 0;
   settleHeap();
   for (auto _ : state) {
      state.PauseTiming();
      auto c = Impl::make();
      CountingObserver counterObserver;
      MapObserver mapObserver;
      MapObserver* observer = nullptr;
      if constexpr (std::is_base_of_v<CounterImpl, Impl>) {
         if (Impl::observed) counterObserver.notifierIs(c);
      } else if (Impl::observed) {
         observer = &mapObserver;
      }
      // Hidden from the optimiser, so the call stays a virtual one.
      benchmark::DoNotOptimize(observer);
      std::uint64_t const before = allocations;
      state.ResumeTiming();

      for (Update const& u : w.updates) {
         if constexpr (std::is_base_of_v<CounterImpl, Impl>) {
            Impl::update(c, w.counterKeys[u.key], u.value);
         } else {
            Impl::update(c, w.counterKeys[u.key], u.value, observer);
         }
      }
      benchmark::DoNotOptimize(c);

      state.PauseTiming();
      allocs += allocations - before;
      told += counterObserver.told + mapObserver.told;
      { auto gone = std::move(c); }
      settleHeap();
      state.ResumeTiming();
   }
   if (Impl::observed && told != state.iterations() * w.updates.size()) {
      state.SkipWithError("the observer missed changes");
   }
   report(state, allocs, w.updates.size());
}

// ---- VrfRuleStatus::ruleStatusIs and ruleStatus ----------------------------------

// What a RuleStatus holds besides its key, in standard types: status code,
// reason, packet count, version, and the resolved next hops (a group in a
// named VRF, no via).
struct Payload {
   int statusCode = 0;
   std::string errorReason = "Not processed";
   std::uint64_t packetCount = 0;
   Kiln::UniqueId version;
   std::uint32_t groupId = 0;
   bool recursive = false;
   bool drop = false;
   std::string vrfName = "default";
   std::uint32_t ttl = 0;
   std::vector<std::uint64_t> vias;
};

struct VrfRuleStatusImpl {
   using Type = Vex::Ptr<VrfRuleStatus>;
   static Type make() { return Flowspec::vrfRuleStatusFactory(0); }
   static Vex::Ptr<RuleStatus> is(Type const& v, FlowspecKey const& k) {
      return v->ruleStatusIs(k);
   }
   static Vex::Ptr<RuleStatus> get(Type const& v, FlowspecKey const& k) { return v->ruleStatus(k); }
};

// Create-or-return in one walk (try_emplace, then the payload only when the
// key is new), and find with a copy of the shared pointer.
struct StdMapSharedImpl {
   using Type = std::map<FlowspecKey, std::shared_ptr<Payload>>;
   static Type make() { return {}; }
   static std::shared_ptr<Payload> is(Type& m, FlowspecKey const& k) {
      auto [i, inserted] = m.try_emplace(k);
      if (inserted) i->second = std::make_shared<Payload>();
      return i->second;
   }
   static std::shared_ptr<Payload> get(Type const& m, FlowspecKey const& k) {
      auto i = m.find(k);
      return i != m.end() ? i->second : nullptr;
   }
};

template <class Impl>
void BM_RuleStatusIs(benchmark::State& state) {
   auto const& w = workload();
   std::uint64_t allocs = 0;
   settleHeap();
   for (auto _ : state) {
      state.PauseTiming();
      auto v = Impl::make();
      std::uint64_t const before = allocations;
      state.ResumeTiming();

      for (FlowspecKey const& k : w.ruleKeys)
         benchmark::DoNotOptimize(Impl::is(v, k));

      state.PauseTiming();
      allocs += allocations - before;
      { auto gone = std::move(v); }
      settleHeap();
      state.ResumeTiming();
   }
   report(state, allocs, w.ruleKeys.size());
}

template <class Impl>
void BM_RuleStatus(benchmark::State& state) {
   auto const& w = workload();
   settleHeap();
   auto v = Impl::make();
   for (FlowspecKey const& k : w.ruleKeys)
      Impl::is(v, k);
   std::uint64_t const before = allocations;
   std::size_t found = 0;
   for (auto _ : state) {
      for (FlowspecKey const* k : w.probe) {
         auto c = Impl::get(v, *k);
         found += c != nullptr;
         benchmark::DoNotOptimize(c);
      }
   }
   std::uint64_t const allocs = allocations - before;
   if (found != state.iterations() * w.probe.size()) state.SkipWithError("a child is missing");
   report(state, allocs, w.probe.size());
}

// A run of 100 000 items takes tens of milliseconds: fixed numbers of
// iterations keep the whole binary within half a minute.
#define STATUS_BENCH(bm, name, impl, iterations)                                                   \
   BENCHMARK_TEMPLATE(bm, impl)->Name(name)->Iterations(iterations)->Unit(benchmark::kMillisecond)

STATUS_BENCH(BM_Snapshot, "BM_Snapshot<StdUnorderedMap>/100000", StdUnorderedMapImpl, 20);
STATUS_BENCH(BM_Snapshot, "BM_Snapshot<Counter>/100000", CounterImpl, 20);
STATUS_BENCH(BM_Snapshot, "BM_Snapshot<StdUnorderedMapObserved>/100000",
             StdUnorderedMapObservedImpl, 20);
STATUS_BENCH(BM_Snapshot, "BM_Snapshot<CounterObserved>/100000", CounterObservedImpl, 20);
STATUS_BENCH(BM_RuleStatusIs, "BM_RuleStatusIs<StdMapShared>/100000", StdMapSharedImpl, 10);
STATUS_BENCH(BM_RuleStatusIs, "BM_RuleStatusIs<VrfRuleStatus>/100000", VrfRuleStatusImpl, 10);
STATUS_BENCH(BM_RuleStatus, "BM_RuleStatus<StdMapShared>/100000", StdMapSharedImpl, 20);
STATUS_BENCH(BM_RuleStatus, "BM_RuleStatus<VrfRuleStatus>/100000", VrfRuleStatusImpl, 20);

} // namespace
