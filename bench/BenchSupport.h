// What the benchmarks of this folder share: distinct rule keys, the counting
// of operator new calls, the settling of the heap between timed fills, and
// the timed loop of fresh fills. Each benchmark executable is built from one
// .cpp file that includes this header.
#pragma once

#include "Flowspec/values/FlowspecKey.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>
#include <new>
#include <random>
#include <utility>
#include <vector>

namespace Bench {

// ---- allocation counting ----------------------------------------------------

// The calls of the global operator new made on this thread, when the
// executable expands BENCH_COUNTING_OPERATOR_NEW(). Every operator new of the
// process lands there (class-specific ones, such as the pair nodes' and the
// entities', call the global one), so a benchmark can tell how many
// allocations its loop made.
inline constinit thread_local std::uint64_t allocations = 0;

// The bytes the global operator new handed out and not yet taken back, as
// malloc_usable_size counts them, when the executable expands
// BENCH_TRACKING_OPERATOR_NEW(): what the program holds on the heap through
// new, the allocator's rounding included and its per-block header not.
inline constinit std::int64_t liveHeapBytes = 0;

} // namespace Bench

// A replaced global operator new may be defined in only one translation unit
// of an executable, and may not be inline, so this header cannot define it
// itself: a benchmark that counts allocations expands this macro once, at
// namespace scope, in its one .cpp file. Those that do not count (vex_bench)
// keep the library's own operator new and so time the same allocator as
// before.
//
// Neither side is inlined, so that the compiler does not see free() meet a
// pointer from malloc() behind new and delete.
#define BENCH_COUNTING_OPERATOR_NEW()                                                              \
   [[gnu::noinline]] void* operator new(std::size_t size) {                                        \
      ++Bench::allocations;                                                                        \
      if (void* p = std::malloc(size ? size : 1)) return p;                                        \
      throw std::bad_alloc();                                                                      \
   }                                                                                               \
   [[gnu::noinline]] void operator delete(void* p) noexcept {                                      \
      std::free(p);                                                                                \
   }                                                                                               \
   [[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {                         \
      std::free(p);                                                                                \
   }                                                                                               \
   static_assert(true, "a semicolon follows the macro")

// As BENCH_COUNTING_OPERATOR_NEW, and also keeps Bench::liveHeapBytes (one
// thread only: the count is not atomic).
#define BENCH_TRACKING_OPERATOR_NEW()                                                              \
   [[gnu::noinline]] void* operator new(std::size_t size) {                                        \
      ++Bench::allocations;                                                                        \
      if (void* p = std::malloc(size ? size : 1)) {                                                \
         Bench::liveHeapBytes += static_cast<std::int64_t>(malloc_usable_size(p));                 \
         return p;                                                                                 \
      }                                                                                            \
      throw std::bad_alloc();                                                                      \
   }                                                                                               \
   [[gnu::noinline]] void operator delete(void* p) noexcept {                                      \
      if (p) Bench::liveHeapBytes -= static_cast<std::int64_t>(malloc_usable_size(p));             \
      std::free(p);                                                                                \
   }                                                                                               \
   [[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {                         \
      if (p) Bench::liveHeapBytes -= static_cast<std::int64_t>(malloc_usable_size(p));             \
      std::free(p);                                                                                \
   }                                                                                               \
   static_assert(true, "a semicolon follows the macro")

namespace Bench {

// ---- the heap ----------------------------------------------------------------

// Merges and returns what freed containers left in the heap. glibc keeps
// freed small blocks apart until a large request (a hash table's bucket
// array) merges them all, which would charge the teardown of one container to
// the timed fill of the next: 100 000 insertions into a Vex::HashMap2018 took
// from 25 to 180 ms by what ran before.
inline void settleHeap() {
   malloc_trim(0);
}

// Each iteration fills a fresh M with `fill(m)` and times only that; the
// emptying of the map and then `afterTeardown()` (settleHeap, or nothing) are
// not timed. Reports `itemsPerFill` items per iteration.
template <class M, class Fill, class AfterTeardown>
void timeFreshFills(benchmark::State& state, std::size_t itemsPerFill, Fill fill,
                    AfterTeardown afterTeardown) {
   for (auto _ : state) {
      M m;
      fill(m);
      benchmark::DoNotOptimize(m);
      state.PauseTiming();
      { M gone = std::move(m); }
      afterTeardown();
      state.ResumeTiming();
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(itemsPerFill));
}

// ---- keys --------------------------------------------------------------------

inline Ipkit::IpGenPrefix v4Prefix(std::uint32_t addr, unsigned len) {
   return Ipkit::IpGenPrefix(Ipkit::IpGenAddr(Ipkit::IpAddr(addr)), len);
}

// Which of the keys of distinctKeys() end with a packet length range.
enum class LengthRange { quarter, always };

// `n` distinct rules of VRF 0 and IPv4, shuffled by a generator seeded with
// `seed`: a destination in 10/8 of length 16, 24 or 32, a source from a few
// /16s in 172.16/12 or none (one in nine), TCP or UDP ("protocol =6 or =17"),
// one destination port ("=p"), and for a quarter of them or for all
// (`ranges`) a packet length range ">=64 & <=L" of two pairs: two to four
// pairs per key. With LengthRange::always each encodes to 52 bytes, 47
// without a source.
inline std::vector<Flowspec::FlowspecKey> distinctKeys(std::size_t n, std::uint32_t seed,
                                                       LengthRange ranges) {
   using Flowspec::MatchCompType;
   using Flowspec::MatchOpVal;
   std::mt19937 rng(seed);
   unsigned const lens[] = {16, 24, 32};
   std::uint8_t const eq1 = MatchOpVal::eqBit | MatchOpVal::endOfListBit;
   std::uint8_t const eq2 = eq1 | 1 << 4;
   std::uint8_t const ge = MatchOpVal::gtBit | MatchOpVal::eqBit | 1 << 4;
   std::uint8_t const le = MatchOpVal::ltBit | MatchOpVal::eqBit | MatchOpVal::andPreviousBit |
                           MatchOpVal::endOfListBit | 1 << 4;
   std::vector<Flowspec::FlowspecKey> candidates;
   candidates.reserve(n + n / 8);
   while (candidates.size() < n + n / 8) { // some spare for the duplicates
      Flowspec::FlowspecKey k;
      k.vrfIdIs(0);
      k.addressFamilyIs(Ipkit::ipv4);
      k.destPrefixIs(v4Prefix(0x0a000000 | (rng() & 0x00ffffff), lens[rng() % 3]));
      if (std::uint32_t s = rng() % 9) k.srcPrefixIs(v4Prefix(0xac100000 | s << 16, 16));
      Flowspec::MatchOpValIndex i(0);
      i = k.setOpVal(i, MatchCompType::ipProto, eq1, rng() % 2 ? 6 : 17);
      i = k.setOpVal(i, MatchCompType::destPort, eq2, 1 + rng() % 65535);
      // No draw for LengthRange::always, so each set stays what it was.
      if (ranges == LengthRange::always || rng() % 4 == 0) {
         i = k.setOpVal(i, MatchCompType::packetLength, ge, 64);
         k.setOpVal(i, MatchCompType::packetLength, le, 128 + rng() % 1400);
      }
      candidates.push_back(std::move(k));
   }
   std::sort(candidates.begin(), candidates.end());
   candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
   std::shuffle(candidates.begin(), candidates.end(), rng);
   // Copied out pair by pair (a copy would share the candidate's block of
   // pairs), so that the keys and their pairs sit together in the order of
   // the vector, and the candidates leave one free stretch behind them rather
   // than holes between the keys.
   std::vector<Flowspec::FlowspecKey> keys(std::min(n, candidates.size()));
   for (std::size_t i = 0; i < keys.size(); ++i) {
      Flowspec::FlowspecKey const& from = candidates[i];
      keys[i].vrfIdIs(from.vrfId());
      keys[i].addressFamilyIs(from.addressFamily());
      keys[i].destPrefixIs(from.destPrefix());
      keys[i].srcPrefixIs(from.srcPrefix());
      for (auto p = from.matchOpValIteratorConst(); p; ++p)
         keys[i].matchOpValIs(p.key(), p.value());
   }
   return keys;
}

} // namespace Bench
