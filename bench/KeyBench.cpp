// Flowspec::FlowspecKey beside flat baselines, in one binary so that one run
// gives each ratio:
//
//   - hash(), operator< and compare() on keys of 0, 4 and 16 pairs with both
//     prefixes set, IPv4 and IPv6, beside the same work on a flat copy of the
//     key (its fields and pair words in a fixed array of 32-bit words). The
//     two keys of operator< and compare() differ only in their last pair, so
//     the whole key is walked. Each also reports `allocs`, the calls of
//     operator new in 1000 calls of the operation, and fails unless it is 0:
//     rule collections hash and order keys on every lookup.
//   - copyInStrCli() and toStrepCli() of a typical rule, beside copying its
//     text into a std::string and reading its nine numbers with std::stoul.
//   - inserting, then finding, 100 000 and 1 000 000 distinct keys in a
//     Vex::RbTreeMap and a Vex::HashMap2018, beside std::map and
//     std::unordered_map. Every container stores a copy of each key, and
//     each fill starts from a settled heap (see settleHeap).
//
// Run:  cmake --build --preset dev --target key_bench &&
//       build/dev/bench/key_bench --benchmark_format=csv | bench/ratios.py
#include "BenchSupport.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Vex/CollectionNode.h"
#include "Vex/HashMap2018.h"
#include "Vex/RbTreeMap.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <unordered_map>
#include <vector>

BENCH_COUNTING_OPERATOR_NEW();

namespace {

using Flowspec::FlowspecKey;
using Flowspec::MatchCompType;
using Flowspec::MatchOpVal;
using Flowspec::MatchOpValIndex;

using Bench::allocations;
using Bench::settleHeap;
using Bench::v4Prefix;

// ---- keys ------------------------------------------------------------------

// The prefix whose first 32 bits are `top` and the rest 0.
Ipkit::IpGenPrefix v6Prefix(std::uint32_t top, unsigned len) {
   Ipkit::Ip6Addr::Bytes b{};
   for (int i = 0; i < 4; ++i)
      b[i] = static_cast<std::uint8_t>(top >> (24 - 8 * i));
   return Ipkit::IpGenPrefix(Ipkit::IpGenAddr(Ipkit::Ip6Addr(b)), len);
}

// A rule of `pairs` destination-port matches (2-byte values, "=port"), the
// last one ending the component, in VRF 0 with both prefixes set. `lastPort`
// is the operand of the last pair.
FlowspecKey portKey(Ipkit::AddressFamily af, int pairs, std::uint32_t lastPort) {
   FlowspecKey k;
   k.vrfIdIs(0);
   k.addressFamilyIs(af);
   if (af == Ipkit::ipv4) {
      k.destPrefixIs(v4Prefix(0x0a010200, 24));
      k.srcPrefixIs(v4Prefix(0xc0a80000, 16));
   } else {
      k.destPrefixIs(v6Prefix(0x20010db8, 48));
      k.srcPrefixIs(v6Prefix(0x20010db9, 32));
   }
   MatchOpValIndex i(0);
   for (int n = 0; n < pairs; ++n) {
      bool const last = n == pairs - 1;
      std::uint8_t const op = MatchOpVal::eqBit | 1 << 4 | (last ? MatchOpVal::endOfListBit : 0);
      i = k.setOpVal(i, MatchCompType::destPort, op,
                     last ? lastPort : 1000 + static_cast<std::uint32_t>(n));
   }
   return k;
}

// ---- the flat baseline -----------------------------------------------------

// Bob Jenkins' one-at-a-time hash, byte by byte, lowest byte first: the loop
// the key's hash() runs. A deliberate copy of the one in
// Flowspec/values/FlowspecKey.cpp, where it is private to that file: the
// flat baseline must hash its words with the same loop, so that the ratio
// shows only what the key's layout costs.
class OneAtATime {
 public:
   void bytes(std::uint32_t v, int count) noexcept {
      for (int i = 0; i < count; ++i) {
         h_ += (v >> (8 * i)) & 0xff;
         h_ += h_ << 10;
         h_ ^= h_ >> 6;
      }
   }
   std::uint32_t result() const noexcept {
      std::uint32_t h = h_;
      h += h << 3;
      h ^= h >> 11;
      h += h << 15;
      return h;
   }

 private:
   std::uint32_t h_ = 0;
};

// The same key as a fixed array of words: vrfId, addressFamily, each prefix
// as its address words (1 or 4) and its length, then each pair as its index
// and its word. What a key would cost if it were one flat value.
struct FlatKey {
   static constexpr std::size_t maxWords = 12 + 2 * 16;
   std::array<std::uint32_t, maxWords> w{};
   std::uint32_t header = 0; // words before the pairs
   std::uint32_t size = 0;

   explicit FlatKey(FlowspecKey const& k) {
      w[size++] = k.vrfId();
      w[size++] = static_cast<std::uint32_t>(k.addressFamily());
      for (auto const* p : {&k.destPrefix(), &k.srcPrefix()}) {
         auto const bytes = p->addr().bytes();
         for (std::size_t i = 0; i < bytes.size(); i += 4) {
            w[size++] = std::uint32_t(bytes[i]) << 24 | std::uint32_t(bytes[i + 1]) << 16 |
                        std::uint32_t(bytes[i + 2]) << 8 | bytes[i + 3];
         }
         w[size++] = p->len();
      }
      header = size;
      for (auto i = k.matchOpValIteratorConst(); i; ++i) {
         w[size++] = i.key().value();
         w[size++] = i->value().storage();
      }
   }

   // The header words at 4 bytes, then each pair's index at 2 and word at 4,
   // as the key feeds its pairs.
   std::uint32_t hash() const noexcept {
      OneAtATime h;
      for (std::uint32_t i = 0; i < header; ++i)
         h.bytes(w[i], 4);
      for (std::uint32_t i = header; i < size; i += 2) {
         h.bytes(w[i], 2);
         h.bytes(w[i + 1], 4);
      }
      return h.result();
   }
   bool operator==(FlatKey const& o) const noexcept {
      return size == o.size && std::memcmp(w.data(), o.w.data(), size * sizeof w[0]) == 0;
   }
   bool operator<(FlatKey const& o) const noexcept {
      return std::lexicographical_compare(w.begin(), w.begin() + size, o.w.begin(),
                                          o.w.begin() + o.size);
   }
};

// ---- hash, operator< and compare -------------------------------------------

struct Key {
   using Type = FlowspecKey;
   static FlowspecKey make(FlowspecKey const& k) { return k; }
   static bool equal(FlowspecKey const& a, FlowspecKey const& b) { return a.compare(b); }
};
struct Flat {
   using Type = FlatKey;
   static FlatKey make(FlowspecKey const& k) { return FlatKey(k); }
   static bool equal(FlatKey const& a, FlatKey const& b) { return a == b; }
};

enum class Op { hash, less, compare };

template <Op op, class T, class Equal>
bool run(T const& a, T const& b, Equal equal) {
   if constexpr (op == Op::hash) {
      return a.hash() & 1;
   } else if constexpr (op == Op::less) {
      return a < b;
   } else {
      return equal(a, b);
   }
}

// Two keys of state.range(0) pairs that differ only in the last pair's value
// (equal keys at 0 pairs). `allocs` counts the allocations of 1000 calls made
// before the timed loop (the loop itself would also count the framework's).
template <class Impl, Op op, Ipkit::AddressFamily af>
void BM_KeyOp(benchmark::State& state) {
   int const pairs = static_cast<int>(state.range(0));
   typename Impl::Type a = Impl::make(portKey(af, pairs, 8080));
   typename Impl::Type b = Impl::make(portKey(af, pairs, 8081));
   std::uint64_t const before = allocations;
   for (int i = 0; i < 1000; ++i)
      benchmark::DoNotOptimize(run<op>(a, b, Impl::equal));
   std::uint64_t const allocs = allocations - before;
   state.counters["allocs"] = static_cast<double>(allocs);
   if (allocs != 0) state.SkipWithError("the operation allocated");
   for (auto _ : state) {
      benchmark::DoNotOptimize(a);
      benchmark::DoNotOptimize(b);
      if constexpr (op == Op::hash) {
         benchmark::DoNotOptimize(a.hash());
      } else {
         benchmark::DoNotOptimize(run<op>(a, b, Impl::equal));
      }
   }
}

#define KEY_OP(name, impl, op, af)                                                                 \
   BENCHMARK_TEMPLATE(BM_KeyOp, impl, op, af)->Name(name)->Arg(0)->Arg(4)->Arg(16)
KEY_OP("BM_HashV4<Key>", Key, Op::hash, Ipkit::ipv4);
KEY_OP("BM_HashV4<Flat>", Flat, Op::hash, Ipkit::ipv4);
KEY_OP("BM_HashV6<Key>", Key, Op::hash, Ipkit::ipv6);
KEY_OP("BM_HashV6<Flat>", Flat, Op::hash, Ipkit::ipv6);
KEY_OP("BM_LessV4<Key>", Key, Op::less, Ipkit::ipv4);
KEY_OP("BM_LessV4<Flat>", Flat, Op::less, Ipkit::ipv4);
KEY_OP("BM_LessV6<Key>", Key, Op::less, Ipkit::ipv6);
KEY_OP("BM_LessV6<Flat>", Flat, Op::less, Ipkit::ipv6);
KEY_OP("BM_CompareV4<Key>", Key, Op::compare, Ipkit::ipv4);
KEY_OP("BM_CompareV4<Flat>", Flat, Op::compare, Ipkit::ipv4);
KEY_OP("BM_CompareV6<Key>", Key, Op::compare, Ipkit::ipv6);
KEY_OP("BM_CompareV6<Flat>", Flat, Op::compare, Ipkit::ipv6);

// ---- the command-line text ---------------------------------------------------

// A typical rule: two prefixes, a protocol, a port range or port 80, a TCP flag
// and a packet length range.
char const typicalRule[] =
    "10.0.0.0/24;192.168.0.0/16;IP:=6;DP:>=1000&<=2000|=80;TCP:=2;LEN:>=64&<=1500;";

void reportAllocs(benchmark::State& state, std::uint64_t before) {
   state.counters["allocs"] = benchmark::Counter(static_cast<double>(allocations - before),
                                                 benchmark::Counter::kAvgIterations);
   state.SetItemsProcessed(state.iterations());
}

// Parses into a fresh key each time (its pairs are freed in the loop too).
void BM_TextParse(benchmark::State& state) {
   Vex::String const text(typicalRule);
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      FlowspecKey k;
      bool ok = k.copyInStrCli(text);
      benchmark::DoNotOptimize(ok);
      benchmark::DoNotOptimize(k);
   }
   reportAllocs(state, before);
}

void BM_TextPrint(benchmark::State& state) {
   FlowspecKey k;
   if (!k.copyInStrCli(Vex::String(typicalRule))) state.SkipWithError("the rule does not parse");
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      Vex::String s = k.toStrepCli();
      benchmark::DoNotOptimize(s);
   }
   reportAllocs(state, before);
}

// The least any reader of the rule does: copy the text, find its numbers (each
// after '/' or '=') and convert them.
void BM_TextStoul(benchmark::State& state) {
   std::string const text(typicalRule);
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      std::string copy = text;
      benchmark::DoNotOptimize(copy);
      unsigned long sum = 0;
      for (std::size_t i = 0; i < copy.size(); ++i) {
         if (copy[i] != '/' && copy[i] != '=') continue;
         std::size_t end = i + 1;
         while (end < copy.size() && copy[end] >= '0' && copy[end] <= '9')
            ++end;
         sum += std::stoul(std::string(copy, i + 1, end - i - 1));
         i = end - 1;
      }
      benchmark::DoNotOptimize(sum);
   }
   reportAllocs(state, before);
}

BENCHMARK(BM_TextParse)->Name("BM_Text<Parse>");
BENCHMARK(BM_TextPrint)->Name("BM_Text<Print>");
BENCHMARK(BM_TextStoul)->Name("BM_Text<Stoul>");

// ---- collections of keys -----------------------------------------------------

// `n` distinct rules of one VRF and family, shuffled (see
// Bench::distinctKeys), a quarter of them with a packet length range.
std::vector<FlowspecKey> distinctKeys(std::size_t n) {
   return Bench::distinctKeys(n, static_cast<std::uint32_t>(n), Bench::LengthRange::quarter);
}

// Both sets are made before the first benchmark of collections runs: one that
// made a set in its setup would leave the heap, for those after it, in a
// state its partner did not see (an insertion of 100 000 keys ran three
// times slower after the 1 000 000 set was made than before).
std::vector<FlowspecKey> const& manyKeys(std::size_t n) {
   static std::map<std::size_t, std::vector<FlowspecKey>> const sets = [] {
      std::map<std::size_t, std::vector<FlowspecKey>> s;
      for (std::size_t size : {100000, 1000000})
         s[size] = distinctKeys(size);
      return s;
   }();
   return sets.at(n);
}

using TreeNode = Vex::MapNode<FlowspecKey, std::uint64_t, Vex::RbTreeLink>;
using HashNode = Vex::MapNode<FlowspecKey, std::uint64_t, Vex::HashLink>;
using KeyRbTreeMap = Vex::RbTreeMap<TreeNode, FlowspecKey>;
using KeyHashMap2018 = Vex::HashMap2018<HashNode, FlowspecKey>;
using KeyStdMap = std::map<FlowspecKey, std::uint64_t>;
using KeyStdUnorderedMap = std::unordered_map<FlowspecKey, std::uint64_t>;

template <class M>
constexpr bool intrusive = std::is_same_v<M, KeyRbTreeMap> || std::is_same_v<M, KeyHashMap2018>;

template <class M>
void fill(M& m, std::vector<FlowspecKey> const& ks) {
   std::uint64_t v = 0;
   for (auto const& k : ks) {
      if constexpr (std::is_same_v<M, KeyRbTreeMap>) {
         m.insert(new TreeNode(k, v++));
      } else if constexpr (std::is_same_v<M, KeyHashMap2018>) {
         m.insert(new HashNode(k, v++));
      } else {
         m.emplace(k, v++);
      }
   }
}

// Insertion, including the copy of each key into its node; the emptying of
// the map is not timed. Every insertion starts from a settled heap.
template <class M>
void BM_Insert(benchmark::State& state) {
   auto const& ks = manyKeys(static_cast<std::size_t>(state.range(0)));
   settleHeap();
   Bench::timeFreshFills<M>(
       state, ks.size(), [&](M& m) { fill(m, ks); }, settleHeap);
}

// Every key found once, in an order unrelated to the insertion order, in a
// map filled from a settled heap.
template <class M>
void BM_Find(benchmark::State& state) {
   auto const& ks = manyKeys(static_cast<std::size_t>(state.range(0)));
   settleHeap();
   M m;
   fill(m, ks);
   std::vector<FlowspecKey const*> probe;
   probe.reserve(ks.size());
   for (auto const& k : ks)
      probe.push_back(&k);
   std::shuffle(probe.begin(), probe.end(), std::mt19937(1));
   for (auto _ : state) {
      std::uint64_t sum = 0;
      for (FlowspecKey const* k : probe) {
         if constexpr (intrusive<M>) {
            auto const* n = m.find(*k);
            sum += n ? n->value() : 0;
         } else {
            auto i = m.find(*k);
            sum += i != m.end() ? i->second : 0;
         }
      }
      benchmark::DoNotOptimize(sum);
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(ks.size()));
}

// A 1M run takes one to four seconds, and filling the map to be searched as
// long again: fixed, small numbers of iterations keep the whole binary within
// two minutes.
#define COLLECTION(op, M)                                                                          \
   BENCHMARK_TEMPLATE(op, M)->Arg(100000)->Iterations(3)->Unit(benchmark::kMillisecond);           \
   BENCHMARK_TEMPLATE(op, M)->Arg(1000000)->Iterations(1)->Unit(benchmark::kMillisecond)
COLLECTION(BM_Insert, KeyStdMap);
COLLECTION(BM_Insert, KeyRbTreeMap);
COLLECTION(BM_Find, KeyStdMap);
COLLECTION(BM_Find, KeyRbTreeMap);
COLLECTION(BM_Insert, KeyStdUnorderedMap);
COLLECTION(BM_Insert, KeyHashMap2018);
COLLECTION(BM_Find, KeyStdUnorderedMap);
COLLECTION(BM_Find, KeyHashMap2018);

} // namespace
