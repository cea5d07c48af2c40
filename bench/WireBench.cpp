// The flowspec NLRI codec and rule precedence (Flowspec/wire), beside
// baselines in the same binary so that one run gives each ratio:
//
//   - Decode: 10 000 NLRI of one buffer decoded one after the other with
//     decodeOneNlri into one FlowspecKey, as a receiver that converts each
//     rule and moves on does (decodeOneNlri overwrites the key's pairs in
//     place and allocates only when a rule has more pairs than the one
//     before), beside one memcpy of the same bytes.
//   - DecodeKeep: the same into a new key per rule, all kept (one pair node
//     allocated per pair; freeing them is not timed), beside the memcpy.
//   - Encode: the 10 000 keys encoded with encodeNlri, appended to one
//     vector reserved once and cleared between iterations, beside one memcpy
//     of the bytes they make.
//   - Compare: comparePrecedence of each key with the next (10 000 pairs),
//     beside FlowspecKey::operator< of the same pairs; most are decided by
//     the destination prefix.
//   - CompareLists: the same with every key given one destination and no
//     source, so that the operator lists decide.
//
// The corpus has the shape of what GoBGP sends for DDoS rules: a destination
// and a source prefix, the protocol, a destination-port range, and each of
// source port, TCP flags, packet-length range, DSCP and fragment with
// probability 3/4 (the values drawn with a fixed seed); 36 bytes an NLRI on
// average, length field included (the fixture checks 30 to 42).
//
// Each reports items/s (rules, or pairs of rules) and `allocs`, the calls of
// operator new per item in its loop.
//
// Run:  cmake --build --preset dev --target wire_bench &&
//       build/dev/bench/wire_bench --benchmark_format=csv | bench/ratios.py
#include "BenchSupport.h"
#include "Flowspec/wire/NlriCodec.h"
#include "Flowspec/wire/Precedence.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <random>
#include <vector>

BENCH_COUNTING_OPERATOR_NEW();

namespace {

using Bench::allocations;
using Flowspec::FlowspecKey;
using Flowspec::MatchCompType;
using Flowspec::MatchOpVal;

constexpr std::size_t ruleCount = 10000;

// Operator bytes: len bits for a 1- or 2-byte value, and the flags.
std::uint8_t op(std::uint32_t value, std::uint8_t flags) {
   return static_cast<std::uint8_t>(flags | (value > 255 ? 1 << 4 : 0));
}
constexpr std::uint8_t eq = MatchOpVal::eqBit;
constexpr std::uint8_t ge = MatchOpVal::gtBit | MatchOpVal::eqBit;
constexpr std::uint8_t le = MatchOpVal::ltBit | MatchOpVal::eqBit | MatchOpVal::andPreviousBit;
constexpr std::uint8_t end = MatchOpVal::endOfListBit;

std::vector<FlowspecKey> gobgpShapedKeys(std::size_t n) {
   std::mt19937 rng(2026);
   auto maybe = [&] { return rng() % 4 != 0; };
   std::vector<FlowspecKey> keys;
   keys.reserve(n);
   for (std::size_t k = 0; k < n; ++k) {
      FlowspecKey key;
      key.addressFamilyIs(Ipkit::ipv4);
      key.destPrefixIs(Bench::v4Prefix(0xc6336400 | (rng() & 0xff), 24 + rng() % 9));
      key.srcPrefixIs(Bench::v4Prefix(rng() & 0xffffff00, 16 + rng() % 9));
      Flowspec::MatchOpValIndex i(0);
      i = key.setOpVal(i, MatchCompType::ipProto, eq | end, rng() % 2 ? 6 : 17);
      std::uint32_t const low = 1 + rng() % 60000;
      std::uint32_t const high = low + rng() % 5000;
      i = key.setOpVal(i, MatchCompType::destPort, op(low, ge), low);
      i = key.setOpVal(i, MatchCompType::destPort, op(high, le | end), high);
      if (maybe()) {
         std::uint32_t const p = 1 + rng() % 65535;
         i = key.setOpVal(i, MatchCompType::srcPort, op(p, eq | end), p);
      }
      if (maybe()) i = key.setOpVal(i, MatchCompType::tcpFlags, eq | end, 1u << rng() % 6);
      if (maybe()) {
         std::uint32_t const l = 20 + rng() % 1000;
         i = key.setOpVal(i, MatchCompType::packetLength, op(l, ge), l);
         i = key.setOpVal(i, MatchCompType::packetLength, op(l + 500, le | end), l + 500);
      }
      if (maybe()) i = key.setOpVal(i, MatchCompType::dscp, eq | end, rng() % 64);
      if (maybe()) i = key.setOpVal(i, MatchCompType::fragment, eq | end, 1u << rng() % 4);
      keys.push_back(std::move(key));
   }
   return keys;
}

// The keys and their NLRI, made once before the first benchmark; the bytes
// decode back to the keys.
struct Fixture {
   std::vector<FlowspecKey> keys = gobgpShapedKeys(ruleCount);
   std::vector<std::uint8_t> bytes;
   // The keys with one destination and no source: their operator lists
   // decide every comparison.
   std::vector<FlowspecKey> samePrefixes = keys;

   Fixture() {
      for (auto& k : samePrefixes) {
         k.destPrefixIs(Bench::v4Prefix(0xc6336400, 24));
         k.srcPrefixIs({});
      }
      for (auto const& k : keys)
         if (Flowspec::encodeNlri(k, bytes)) std::abort();
      double const average = double(bytes.size()) / double(keys.size());
      if (average < 30 || average > 42) std::abort();
      Flowspec::NlriDecodeResult r = Flowspec::decodeNlri(bytes, Ipkit::ipv4);
      if (r.error || r.keys.size() != keys.size()) std::abort();
      for (std::size_t i = 0; i < keys.size(); ++i)
         if (!(r.keys[i] == keys[i])) std::abort();
   }
};

Fixture const& fixture() {
   static Fixture const f;
   return f;
}

// Every benchmark reports the same counters: the CSV output takes its columns
// from the first one and aborts on a counter it has no column for.
void report(benchmark::State& state, std::size_t items, std::size_t bytes,
            std::uint64_t allocsBefore) {
   auto const done = state.iterations() * static_cast<std::int64_t>(items);
   state.counters["allocs"] =
       static_cast<double>(allocations - allocsBefore) / static_cast<double>(done);
   state.SetItemsProcessed(done);
   if (bytes) state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
}

// One copy of all the NLRI bytes into a buffer written once beforehand: the
// baseline of decode and encode.
void memcpyNlri(benchmark::State& state) {
   auto const& f = fixture();
   std::vector<std::uint8_t> to(f.bytes.size(), 0);
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      std::memcpy(to.data(), f.bytes.data(), f.bytes.size());
      benchmark::DoNotOptimize(to.data());
      benchmark::ClobberMemory();
   }
   report(state, ruleCount, f.bytes.size(), before);
}

void BM_DecodeNlri(benchmark::State& state) {
   auto const& f = fixture();
   FlowspecKey key;
   std::uint64_t const before = allocations;
   std::size_t pairs = 0;
   for (auto _ : state) {
      pairs = 0;
      for (std::size_t offset = 0; offset < f.bytes.size();) {
         if (Flowspec::decodeOneNlri(f.bytes, offset, Ipkit::ipv4, key)) {
            state.SkipWithError("refused");
            return;
         }
         pairs += key.matchOpVals();
      }
      benchmark::DoNotOptimize(pairs);
   }
   report(state, ruleCount, f.bytes.size(), before);
}
void BM_DecodeMemcpy(benchmark::State& state) {
   memcpyNlri(state);
}

// Each rule into a key of its own, kept: every pair node is allocated. The
// keys of an iteration are freed outside the timing.
void BM_DecodeKeepNlri(benchmark::State& state) {
   auto const& f = fixture();
   std::vector<FlowspecKey> keys;
   keys.reserve(ruleCount);
   std::uint64_t untimed = 0; // allocations outside the timed part
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      for (std::size_t offset = 0; offset < f.bytes.size();) {
         keys.emplace_back();
         if (Flowspec::decodeOneNlri(f.bytes, offset, Ipkit::ipv4, keys.back())) {
            state.SkipWithError("refused");
            return;
         }
      }
      benchmark::DoNotOptimize(keys.data());
      state.PauseTiming();
      std::uint64_t const paused = allocations;
      keys.clear();
      untimed += allocations - paused;
      state.ResumeTiming();
   }
   report(state, ruleCount, f.bytes.size(), before + untimed);
}
void BM_DecodeKeepMemcpy(benchmark::State& state) {
   memcpyNlri(state);
}

void BM_EncodeNlri(benchmark::State& state) {
   auto const& f = fixture();
   std::vector<std::uint8_t> out;
   out.reserve(f.bytes.size());
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      out.clear();
      for (auto const& k : f.keys)
         benchmark::DoNotOptimize(Flowspec::encodeNlri(k, out));
      benchmark::DoNotOptimize(out.data());
      benchmark::ClobberMemory();
   }
   if (out != f.bytes) state.SkipWithError("the bytes written differ");
   report(state, ruleCount, f.bytes.size(), before);
}
void BM_EncodeMemcpy(benchmark::State& state) {
   memcpyNlri(state);
}

template <class Compare>
void comparePairs(benchmark::State& state, std::vector<FlowspecKey> const& keys, Compare compare) {
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      int sum = 0;
      for (std::size_t i = 0; i + 1 < keys.size(); ++i)
         sum += compare(keys[i], keys[i + 1]);
      benchmark::DoNotOptimize(sum);
   }
   report(state, ruleCount - 1, 0, before);
}
bool precedenceLess(FlowspecKey const& a, FlowspecKey const& b) {
   return Flowspec::comparePrecedence(a, b) < 0;
}
bool keyLess(FlowspecKey const& a, FlowspecKey const& b) {
   return a < b;
}

void BM_ComparePrecedence(benchmark::State& state) {
   comparePairs(state, fixture().keys, precedenceLess);
}
void BM_CompareKeyLess(benchmark::State& state) {
   comparePairs(state, fixture().keys, keyLess);
}
void BM_CompareListsPrecedence(benchmark::State& state) {
   comparePairs(state, fixture().samePrefixes, precedenceLess);
}
void BM_CompareListsKeyLess(benchmark::State& state) {
   comparePairs(state, fixture().samePrefixes, keyLess);
}

BENCHMARK(BM_DecodeNlri)->Name("BM_Decode<Nlri>/10000")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DecodeMemcpy)->Name("BM_Decode<Memcpy>/10000")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DecodeKeepNlri)->Name("BM_DecodeKeep<Nlri>/10000")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_DecodeKeepMemcpy)->Name("BM_DecodeKeep<Memcpy>/10000")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EncodeNlri)->Name("BM_Encode<Nlri>/10000")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_EncodeMemcpy)->Name("BM_Encode<Memcpy>/10000")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ComparePrecedence)
    ->Name("BM_Compare<Precedence>/10000")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CompareKeyLess)->Name("BM_Compare<KeyLess>/10000")->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CompareListsPrecedence)
    ->Name("BM_CompareLists<Precedence>/10000")
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CompareListsKeyLess)
    ->Name("BM_CompareLists<KeyLess>/10000")
    ->Unit(benchmark::kMicrosecond);

} // namespace
