// The whole path of a rule, from its line of text to the hardware: read
// (RuleReader, finding earlier keys in the Config tree as check does),
// derive the match set and configure (Config, VrfRuleConfig,
// RuleConfig), program (the simulated hardware agent: RuleStatus and one
// counter snapshot per rule), for N distinct rules, without printing.
//
//   BM_Pipeline<Whole>/N     all of it, into fresh trees each iteration
//   BM_Pipeline<KeyOnly>/N   the baseline: parsing each line's key alone
//                            (parseKeyCli into one reused key)
//   BM_PipelineParts<Configure>/N  reading and configuring only, and the
//                            heap of the match sets in it (no baseline)
//
// Whole reports, besides time per rule (items/s), the heap each rule holds
// once the pipeline is done (heapBytesPerRule: what operator new handed out
// and the trees, the reader and the agent still hold, divided by N), the
// heap of the Config, Status and Counter trees alone once the agent is gone
// (treeBytesPerRule) and the growth of the resident size (rssBytesPerRule). N is 10 000 and 100 000;
// PIPELINE_MILLION=1 in the environment adds 1 000 000 (about a minute and
// a few GB before the key's pairs were shared).
//
// The rules have the shape of bench/gen-rules.py: a destination /24 (the
// rule's number), a source /16, a protocol, a destination-port range or
// port 80, TCP flags, a packet-length range; action drop.
#include "BenchSupport.h"
#include "CheckModel.h"
#include "HwAgent.h"
#include "RuleFile.h"

#include "Flowspec/FlowspecStatedb.h"
#include "Flowspec/module/Factories.h"
#include "Flowspec/values/FlowspecKeyParse.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <unistd.h>
#include <variant>
#include <vector>

BENCH_TRACKING_OPERATOR_NEW();

namespace {

std::vector<std::string> ruleLines(std::size_t n) {
   std::mt19937 rng(1);
   auto draw = [&rng](std::uint32_t below) { return static_cast<std::uint32_t>(rng() % below); };
   char const* const flags[] = {"TCP:=2&!=16", "TCP:=4", "TCP:!63", "TCP:=0x29"};
   char const* const protos[] = {"=6", "=6|=17"};
   std::vector<std::string> lines;
   lines.reserve(n);
   char buf[200];
   for (std::size_t i = 0; i < n; ++i) {
      std::uint32_t const dest = (1u << 24) + static_cast<std::uint32_t>(i) * 256;
      std::string port = "DP:=80";
      if (draw(2)) {
         std::uint32_t const low = 1024 + draw(59000);
         port = "DP:>=" + std::to_string(low) + "&<=" + std::to_string(low + 1 + draw(5000));
      }
      std::uint32_t const len = 20 + draw(780);
      std::snprintf(buf, sizeof buf,
                    "vrf default ipv4 %u.%u.%u.0/24;172.%u.0.0/16;IP:%s;%s;%s;LEN:>=%u&<=%u; drop",
                    dest >> 24, dest >> 16 & 255, dest >> 8 & 255, 16 + draw(16), protos[draw(2)],
                    port.c_str(), flags[draw(4)], len, len + 1 + draw(700));
      lines.emplace_back(buf);
   }
   return lines;
}

// The resident size of the process, from /proc/self/statm.
std::int64_t residentBytes() {
   long pages = 0, resident = 0;
   if (std::FILE* f = std::fopen("/proc/self/statm", "r")) {
      if (std::fscanf(f, "%ld %ld", &pages, &resident) != 2) resident = 0;
      std::fclose(f);
   }
   return static_cast<std::int64_t>(resident) * sysconf(_SC_PAGESIZE);
}

void BM_Pipeline_Whole(benchmark::State& state) {
   auto const n = static_cast<std::size_t>(state.range(0));
   std::vector<std::string> const lines = ruleLines(n);
   double heapPerRule = 0, treesPerRule = 0, rssPerRule = 0;
   for (auto _ : state) {
      Bench::settleHeap();
      std::int64_t const heapBefore = Bench::liveHeapBytes;
      std::int64_t const rssBefore = residentBytes();
      {
         auto config = Flowspec::configFactory("config");
         auto status = Flowspec::statusFactory("status");
         auto counter = Flowspec::counterFactory("counter");
         FlowspecTool::RuleReader reader(FlowspecTool::keyLineIn(*config));
         {
            FlowspecTool::HwAgent agent(config, status, counter);
            unsigned number = 0;
            for (std::string const& text : lines) {
               auto outcome = reader.line(text, ++number);
               if (auto* rule = std::get_if<FlowspecTool::RuleLine>(&outcome)) {
                  FlowspecTool::configureRule(*config, *rule);
               } else {
                  state.SkipWithError("a rule line was refused");
                  return;
               }
            }
            agent.run();
            state.PauseTiming();
            heapPerRule = double(Bench::liveHeapBytes - heapBefore) / double(n);
            rssPerRule = double(residentBytes() - rssBefore) / double(n);
            if (counter->snapshotSize() != n) {
               state.SkipWithError("a rule has no counter snapshot");
               return;
            }
         }
         // The agent is gone: what is left is the three trees (and the
         // reader, which keeps no keys of its own).
         treesPerRule = double(Bench::liveHeapBytes - heapBefore) / double(n);
      }
      Bench::settleHeap();
      state.ResumeTiming();
   }
   state.counters["heapBytesPerRule"] = heapPerRule;
   state.counters["treeBytesPerRule"] = treesPerRule;
   state.counters["rssBytesPerRule"] = rssPerRule;
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

// Where the heap of Whole goes: reading and configuring alone (the Config
// tree and the reader's bookkeeping, no agent), and of that the match sets,
// measured as what deleting every rule's match set gives back.
void BM_PipelineParts_Configure(benchmark::State& state) {
   auto const n = static_cast<std::size_t>(state.range(0));
   std::vector<std::string> const lines = ruleLines(n);
   double configPerRule = 0, matchSetPerRule = 0, rssPerRule = 0;
   for (auto _ : state) {
      Bench::settleHeap();
      std::int64_t const heapBefore = Bench::liveHeapBytes;
      std::int64_t const rssBefore = residentBytes();
      {
         auto config = Flowspec::configFactory("config");
         FlowspecTool::RuleReader reader(FlowspecTool::keyLineIn(*config));
         unsigned number = 0;
         for (std::string const& text : lines) {
            auto outcome = reader.line(text, ++number);
            FlowspecTool::configureRule(*config, std::get<FlowspecTool::RuleLine>(outcome));
         }
         state.PauseTiming();
         std::int64_t const configured = Bench::liveHeapBytes;
         configPerRule = double(configured - heapBefore) / double(n);
         rssPerRule = double(residentBytes() - rssBefore) / double(n);
         auto vrf = config->vrfRuleConfigIs(Vrf::VrfIdMap::defaultVrfId);
         for (auto i = vrf->ruleIteratorConst(); i; ++i)
            vrf->ruleIs(i.key())->matchSetDelAll();
         matchSetPerRule = double(configured - Bench::liveHeapBytes) / double(n);
      }
      Bench::settleHeap();
      state.ResumeTiming();
   }
   state.counters["heapBytesPerRule"] = configPerRule;
   state.counters["treeBytesPerRule"] = configPerRule; // the Config tree is all it builds
   state.counters["matchSetBytesPerRule"] = matchSetPerRule;
   state.counters["rssBytesPerRule"] = rssPerRule;
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void BM_Pipeline_KeyOnly(benchmark::State& state) {
   auto const n = static_cast<std::size_t>(state.range(0));
   std::vector<std::string> const lines = ruleLines(n);
   for (auto _ : state) {
      for (std::string const& text : lines) {
         // "vrf default ipv4 " is 17 bytes; the key ends at the blank.
         std::string_view key(text);
         key = key.substr(17, key.find(' ', 17) - 17);
         Flowspec::KeyParseResult r = Flowspec::parseKeyCli(key, Ipkit::ipv4);
         benchmark::DoNotOptimize(r);
      }
   }
   state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(n));
}

void sizes(benchmark::internal::Benchmark* b) {
   b->Arg(10000)->Arg(100000);
   if (std::getenv("PIPELINE_MILLION")) b->Arg(1000000);
   b->Unit(benchmark::kMillisecond)->MinTime(0.5);
}

} // namespace

// Configure first: its counters are a superset of the others', and the CSV
// reporter takes its columns from the first benchmark that runs.
BENCHMARK(BM_PipelineParts_Configure)->Name("BM_PipelineParts<Configure>")->Apply(sizes);
BENCHMARK(BM_Pipeline_Whole)->Name("BM_Pipeline<Whole>")->Apply(sizes);
BENCHMARK(BM_Pipeline_KeyOnly)->Name("BM_Pipeline<KeyOnly>")->Apply(sizes);
