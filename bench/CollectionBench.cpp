// Vex::RbTreeMap beside std::map and Vex::HashMap2018 beside
// std::unordered_map, on a 40-byte key, at 1 000, 100 000 and 1 000 000
// members: insert (including node allocation), find (every key once, hits),
// the ordered or hashed walk of all members, and erase of every member.
//
// Run:  cmake --build --preset bench &&
//       build/dev/bench/vex_bench --benchmark_format=csv | bench/ratios.py
#include "BenchSupport.h"
#include "Vex/CollectionNode.h"
#include "Vex/HashMap2018.h"
#include "Vex/RbTreeMap.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <unordered_map>
#include <vector>

namespace {

// A 40-byte key compared like a rule key: field by field, first difference
// decides.
struct Key40 {
   std::uint64_t w[5];
   bool operator==(Key40 const& o) const noexcept { return std::memcmp(w, o.w, sizeof w) == 0; }
   bool operator<(Key40 const& o) const noexcept {
      for (int i = 0; i < 5; ++i) {
         if (w[i] != o.w[i]) return w[i] < o.w[i];
      }
      return false;
   }
   std::uint32_t hash() const noexcept {
      Vex::HashAccumulator h;
      for (auto v : w)
         h.mixU64(v);
      return h.result();
   }
};
static_assert(sizeof(Key40) == 40);

struct Key40Hash {
   std::size_t operator()(Key40 const& k) const noexcept { return k.hash(); }
};

// Keys that share a long common prefix, as rule keys in one VRF do.
std::vector<Key40> const& keys(std::size_t n) {
   static std::map<std::size_t, std::vector<Key40>> cache;
   auto& v = cache[n];
   if (v.empty()) {
      std::mt19937_64 rng(n);
      v.resize(n);
      for (auto& k : v)
         k = Key40{{0xffffff, 1, 0x0a000000, rng() & 0xffffffff, rng()}};
      std::sort(v.begin(), v.end());
      v.erase(std::unique(v.begin(), v.end()), v.end());
      std::shuffle(v.begin(), v.end(), rng);
   }
   return v;
}

using TreeNode = Vex::MapNode<Key40, std::uint64_t, Vex::RbTreeLink>;
using HashNode = Vex::MapNode<Key40, std::uint64_t, Vex::HashLink>;
using RbTreeMap = Vex::RbTreeMap<TreeNode, Key40>;
using HashMap2018 = Vex::HashMap2018<HashNode, Key40>;
using StdMap = std::map<Key40, std::uint64_t>;
using StdUnorderedMap = std::unordered_map<Key40, std::uint64_t, Key40Hash>;

template <class M>
void put(M& m, Key40 const& k, std::uint64_t v) {
   if constexpr (std::is_same_v<M, RbTreeMap>) {
      m.insert(new TreeNode(k, v));
   } else if constexpr (std::is_same_v<M, HashMap2018>) {
      m.insert(new HashNode(k, v));
   } else {
      m.emplace(k, v);
   }
}

template <class M>
std::uint64_t get(M const& m, Key40 const& k) {
   if constexpr (std::is_same_v<M, RbTreeMap> || std::is_same_v<M, HashMap2018>) {
      auto n = m.find(k);
      return n ? n->value() : 0;
   } else {
      auto i = m.find(k);
      return i != m.end() ? i->second : 0;
   }
}

template <class M>
void fill(M& m, std::vector<Key40> const& ks) {
   std::uint64_t i = 0;
   for (auto const& k : ks)
      put(m, k, i++);
}

template <class M>
void BM_Insert(benchmark::State& state) {
   auto const& ks = keys(static_cast<std::size_t>(state.range(0)));
   // No settling of the heap between fills: these maps are timed as they run.
   Bench::timeFreshFills<M>(
       state, ks.size(), [&](M& m) { fill(m, ks); }, [] {});
}

template <class M>
void BM_Find(benchmark::State& state) {
   auto const& ks = keys(static_cast<std::size_t>(state.range(0)));
   M m;
   fill(m, ks);
   std::vector<Key40> probe = ks;
   std::shuffle(probe.begin(), probe.end(), std::mt19937(1));
   for (auto _ : state) {
      std::uint64_t sum = 0;
      for (auto const& k : probe)
         sum += get(m, k);
      benchmark::DoNotOptimize(sum);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ks.size()));
}

template <class M>
void BM_Walk(benchmark::State& state) {
   auto const& ks = keys(static_cast<std::size_t>(state.range(0)));
   M m;
   fill(m, ks);
   for (auto _ : state) {
      std::uint64_t sum = 0;
      if constexpr (std::is_same_v<M, RbTreeMap> || std::is_same_v<M, HashMap2018>) {
         for (auto const& n : m)
            sum += n.value();
      } else {
         for (auto const& [k, v] : m)
            sum += v;
      }
      benchmark::DoNotOptimize(sum);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ks.size()));
}

template <class M>
void BM_Erase(benchmark::State& state) {
   auto const& ks = keys(static_cast<std::size_t>(state.range(0)));
   std::vector<Key40> order = ks;
   std::shuffle(order.begin(), order.end(), std::mt19937(2));
   for (auto _ : state) {
      state.PauseTiming();
      M m;
      fill(m, ks);
      state.ResumeTiming();
      for (auto const& k : order)
         m.erase(k);
      benchmark::DoNotOptimize(m);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ks.size()));
}

#define SIZES Arg(1000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)
BENCHMARK_TEMPLATE(BM_Insert, StdMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Insert, RbTreeMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Find, StdMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Find, RbTreeMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Walk, StdMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Walk, RbTreeMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Erase, StdMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Erase, RbTreeMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Insert, StdUnorderedMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Insert, HashMap2018)->SIZES;
BENCHMARK_TEMPLATE(BM_Find, StdUnorderedMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Find, HashMap2018)->SIZES;
BENCHMARK_TEMPLATE(BM_Walk, StdUnorderedMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Walk, HashMap2018)->SIZES;
BENCHMARK_TEMPLATE(BM_Erase, StdUnorderedMap)->SIZES;
BENCHMARK_TEMPLATE(BM_Erase, HashMap2018)->SIZES;

} // namespace
