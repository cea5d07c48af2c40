// Flowspec::FlowspecKey through the attribute log, beside memcpy of the same
// bytes, in one binary so that one run gives each ratio:
//
//   - Write: 1 000 000 distinct keys of 4 pairs written with `out << key`
//     into one Vex::NboAttrLog::Out, reserved once to the full size and
//     cleared between iterations, beside one memcpy of as many bytes from a
//     prebuilt buffer into a preallocated one.
//   - Read: the same keys read back one after the other with
//     FlowspecKey(&in, Vex::StreamBogon()) from one Vex::NboAttrLog::In over
//     the written bytes, beside one memcpy of those bytes. Each key read is
//     dropped before the next (its 4 pair nodes are freed in the loop), as a
//     reader that applies a record and moves on would.
//
// Both report bytes/s (the log's bytes) and items/s (keys; the memcpy
// baselines count the same keys, so their items/s reads as the keys/s a
// plain copy of the bytes would allow). Each also reports `allocs`, the calls
// of operator new per key in its loop: 0 for the writes (the Out is reserved)
// and the copies, 4 for the reads (one node per pair).
//
// Run:  cmake --build --preset dev --target log_bench &&
//       build/dev/bench/log_bench --benchmark_format=csv | bench/ratios.py
#include "BenchSupport.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Vex/NboAttrLog.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

BENCH_COUNTING_OPERATOR_NEW();

namespace {

using Flowspec::FlowspecKey;

using Bench::allocations;

constexpr std::size_t keyCount = 1000000;

// `n` distinct IPv4 rules of 4 pairs in VRF 0, shuffled (see
// Bench::distinctKeys): each encodes to 52 bytes, 47 without a source.
std::vector<FlowspecKey> distinctKeys(std::size_t n) {
   return Bench::distinctKeys(n, 4, Bench::LengthRange::always);
}

// The keys and their encoding, made once before the first benchmark. The
// encoding is read back here too: every key must come back equal and the
// bytes must end with the last key.
struct Fixture {
   std::vector<FlowspecKey> keys;
   std::vector<unsigned char> bytes;
   std::uint64_t checksum = 0; // of the keys, as the read loop sums them

   static std::uint64_t sum(FlowspecKey const& k) noexcept {
      return k.matchOpVals() + k.destPrefix().len() + k.srcPrefix().len();
   }

   Fixture() : keys(distinctKeys(keyCount)) {
      auto out = Vex::NboAttrLog::Out::OutIs();
      for (auto const& k : keys)
         out << k;
      bytes = out->bytes();
      Vex::NboAttrLog::In in(bytes.data(), bytes.size());
      for (auto const& k : keys) {
         FlowspecKey back(&in, Vex::StreamBogon());
         if (!(back == k)) std::abort();
         checksum += sum(k);
      }
      if (!in.atEnd() || keys.size() != keyCount) std::abort();
   }
};

Fixture const& fixture() {
   static Fixture const f;
   return f;
}

// Every benchmark reports the same counters: the CSV output takes its columns
// from the first one and aborts on a counter it has no column for.
void report(benchmark::State& state, std::size_t bytes, std::uint64_t allocsBefore) {
   state.counters["allocs"] =
       static_cast<double>(allocations - allocsBefore) /
       static_cast<double>(state.iterations() * static_cast<std::int64_t>(keyCount));
   state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(bytes));
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(keyCount));
}

// ---- write -------------------------------------------------------------------

void BM_WriteKeyLog(benchmark::State& state) {
   auto const& f = fixture();
   auto out = Vex::NboAttrLog::Out::OutIs();
   out->reserve(f.bytes.size());
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      out->clear();
      for (auto const& k : f.keys)
         out << k;
      benchmark::DoNotOptimize(out->bytes().data());
      benchmark::ClobberMemory();
   }
   if (out->bytes() != f.bytes) state.SkipWithError("the bytes written differ");
   report(state, f.bytes.size(), before);
}

// One copy of all the log's bytes into a buffer written once beforehand, so
// that neither side pays for first touching its pages: the baseline of both
// the write and the read.
void memcpyLog(benchmark::State& state) {
   auto const& f = fixture();
   std::unique_ptr<unsigned char[]> to(new unsigned char[f.bytes.size()]);
   std::memset(to.get(), 0, f.bytes.size());
   std::uint64_t const before = allocations;
   for (auto _ : state) {
      std::memcpy(to.get(), f.bytes.data(), f.bytes.size());
      benchmark::DoNotOptimize(to.get());
      benchmark::ClobberMemory();
   }
   report(state, f.bytes.size(), before);
}

void BM_WriteMemcpy(benchmark::State& state) {
   memcpyLog(state);
}

// ---- read --------------------------------------------------------------------

void BM_ReadKeyLog(benchmark::State& state) {
   auto const& f = fixture();
   std::uint64_t const before = allocations;
   std::uint64_t sum = 0;
   bool atEnd = true;
   for (auto _ : state) {
      Vex::NboAttrLog::In in(f.bytes.data(), f.bytes.size());
      sum = 0;
      for (std::size_t i = 0; i < keyCount; ++i) {
         FlowspecKey k(&in, Vex::StreamBogon());
         sum += Fixture::sum(k);
      }
      benchmark::DoNotOptimize(sum);
      atEnd = atEnd && in.atEnd();
   }
   if (sum != f.checksum || !atEnd) state.SkipWithError("the keys read differ");
   report(state, f.bytes.size(), before);
}

void BM_ReadMemcpy(benchmark::State& state) {
   memcpyLog(state);
}

// One pass takes 4 (memcpy) to about 140 ms (read); the default half second
// per benchmark keeps the run, key generation included, within a minute.
BENCHMARK(BM_WriteKeyLog)->Name("BM_Write<KeyLog>/1000000")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WriteMemcpy)->Name("BM_Write<Memcpy>/1000000")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadKeyLog)->Name("BM_Read<KeyLog>/1000000")->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadMemcpy)->Name("BM_Read<Memcpy>/1000000")->Unit(benchmark::kMillisecond);

} // namespace
