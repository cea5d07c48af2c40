// The BGP receiver under load (bgp/Speaker.h with the simulated hardware
// agent, what `flowspec listen` runs, without its printing): a peer on
// loopback announces N flowspec routes as fast as TCP takes them, then
// withdraws them all. Beside it, the baseline: readUpdate alone over the same
// UPDATE messages (decoding, nothing configured or programmed).
//
//   - Listen/N: from the peer's first byte to the last rule programmed
//     (the agent has written a RuleStatus for each), then from the first
//     withdrawal to the last rule gone. Reports rules/s of each phase in
//     real time and in the receiving thread's CPU time (`_cpu_`: what one
//     core does when nothing else runs), the time to the last rule
//     programmed (`programmed_s`), the heap in use per rule when the last
//     one is programmed (`heap_B_per_rule`) and, in the first run of the
//     process only, the peak memory per rule (`peak_B_per_rule`: the growth
//     of the peak resident set, divided by N).
//   - ReadUpdates/N: readUpdate of the same announcing messages.
//
// The peer runs on a second thread; the receiver (session, decoding,
// configuration, agent) on the benchmark's thread: the CPU time is its own.
// Every run is bounded: a phase that takes more than 120 s fails the run.
//
// The routes: destination 10.x.y.z/32, protocol TCP, a destination port,
// action drop; about 200 to a 4096-byte UPDATE.
//
// Run:  cmake --build --preset dev --target listen_bench &&
//       build/dev/bench/listen_bench --benchmark_repetitions=3
#include "HwAgent.h"

#include "Flowspec/FlowspecStatedb.h"
#include "Flowspec/wire/Update.h"
#include "bgp/Message.h"
#include "bgp/Speaker.h"

#include <benchmark/benchmark.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <fstream>
#include <malloc.h>
#include <thread>

namespace {

using Bytes = std::vector<std::uint8_t>;
using Clock = std::chrono::steady_clock;

struct Load {
   std::vector<Bytes> announce;
   std::vector<Bytes> withdraw;
};

Load const& load(std::size_t n) {
   static std::map<std::size_t, Load> loads;
   Load& l = loads[n];
   if (!l.announce.empty()) return l;
   std::vector<Flowspec::FlowspecRoute> routes(n);
   for (std::size_t i = 0; i < n; ++i) {
      std::string const text = "10." + std::to_string(i >> 16 & 0xff) + "." +
                               std::to_string(i >> 8 & 0xff) + "." + std::to_string(i & 0xff) +
                               "/32;*;IP:=6;DP:=" + std::to_string(1 + i % 1000) + ";";
      routes[i].key.copyInStrCli(text);
      routes[i].key.addressFamilyIs(Ipkit::ipv4);
      routes[i].actions.actionFieldSet.trafficDropIs(true);
   }
   Flowspec::UpdateBuildOptions o;
   o.localAs = 65001;
   l.announce = Flowspec::buildUpdates(routes, {}, o).messages;
   // Withdrawals go one MP_UNREACH_NLRI a message; batches of 200 fit.
   for (std::size_t at = 0; at < n; at += 200) {
      std::span<Flowspec::FlowspecRoute const> const part(routes.data() + at,
                                                          std::min<std::size_t>(200, n - at));
      for (Bytes& m : Flowspec::buildUpdates({}, part, o).messages)
         l.withdraw.push_back(std::move(m));
   }
   return l;
}

long peakKiB() {
   rusage u{};
   ::getrusage(RUSAGE_SELF, &u);
   return u.ru_maxrss;
}

long currentKiB() {
   std::ifstream statm("/proc/self/statm");
   long pages = 0, resident = 0;
   statm >> pages >> resident;
   return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

// The heap in use, in bytes.
double heapBytes() {
   return double(::mallinfo2().uordblks);
}

// The CPU time of this thread, in seconds.
double threadCpu() {
   timespec t{};
   ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
   return double(t.tv_sec) + double(t.tv_nsec) * 1e-9;
}

// The peer: connects, says OPEN and KEEPALIVE, sends the announcements, and
// the withdrawals when told.
void peer(int port, Load const& l, std::atomic<bool>& withdrawNow, std::atomic<bool>& quit) {
   int fd = ::socket(AF_INET, SOCK_STREAM, 0);
   sockaddr_in a{};
   a.sin_family = AF_INET;
   a.sin_port = htons(std::uint16_t(port));
   ::inet_pton(AF_INET, "127.0.0.1", &a.sin_addr);
   if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
      ::close(fd);
      return;
   }
   auto send = [&](Bytes const& m) {
      for (std::size_t at = 0; at < m.size();) {
         ssize_t w = ::send(fd, m.data() + at, m.size() - at, MSG_NOSIGNAL);
         if (w <= 0) return false;
         at += std::size_t(w);
      }
      return true;
   };
   Bgp::Open o;
   o.as = 65001;
   o.bgpIdentifier = 0x0a000001;
   o.multiprotocol = {{1, 133}};
   o.fourOctetAs = true;
   bool ok = send(Bgp::buildOpen(o)) && send(Bgp::buildKeepalive());
   for (Bytes const& m : l.announce)
      ok = ok && send(m);
   while (!withdrawNow && !quit)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
   for (Bytes const& m : l.withdraw)
      ok = ok && !quit && send(m);
   while (!quit)
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
   ::close(fd);
}

void BM_ListenLoopback(benchmark::State& state) {
   std::size_t const n = std::size_t(state.range(0));
   Load const& l = load(n);
   double announceS = 0, withdrawS = 0, announceCpu = 0, withdrawCpu = 0, heap = 0;
   long const baseKiB = currentKiB();
   static bool first = true; // the first run of the process
   bool const measurePeak = first;
   first = false;
   for (auto _ : state) {
      auto config = Flowspec::configFactory("config");
      auto status = Flowspec::statusFactory("status");
      auto counter = Flowspec::counterFactory("counter");
      FlowspecTool::HwAgent agent(config, status, counter);
      Bgp::SpeakerConfig sc;
      sc.port = 0;
      sc.localAs = 65000;
      sc.routerId = 0x7f000001;
      sc.peers = {{"127.0.0.1", 65001, 0}};
      Bgp::Speaker speaker(sc, config);
      if (!speaker.start().empty()) {
         state.SkipWithError("cannot listen");
         return;
      }
      std::atomic<bool> withdrawNow{false}, quit{false};
      double const heap0 = heapBytes();
      double const c0 = threadCpu();
      auto const t0 = Clock::now();
      std::thread p(peer, speaker.port(), std::cref(l), std::ref(withdrawNow), std::ref(quit));
      std::vector<Bgp::SpeakerEvent> events;
      auto programmed = [&] {
         auto vrf = status->vrfRuleStatus(0);
         return vrf ? vrf->ruleStatusSize() : 0;
      };
      auto until = [&](auto done) {
         auto const deadline = Clock::now() + std::chrono::seconds(120);
         while (!done() && Clock::now() < deadline) {
            speaker.poll(std::chrono::milliseconds(5), events);
            agent.run();
            events.clear();
         }
         return done();
      };
      bool ok = until([&] { return programmed() == n; });
      auto const t1 = Clock::now();
      double const c1 = threadCpu();
      heap += heapBytes() - heap0;
      withdrawNow = true;
      ok = ok && until([&] { return speaker.rules().size() == 0 && programmed() == 0; });
      auto const t2 = Clock::now();
      double const c2 = threadCpu();
      quit = true;
      p.join();
      if (!ok) {
         state.SkipWithError("the rules did not all arrive within 120 s");
         return;
      }
      announceS += std::chrono::duration<double>(t1 - t0).count();
      withdrawS += std::chrono::duration<double>(t2 - t1).count();
      announceCpu += c1 - c0;
      withdrawCpu += c2 - c1;
      std::vector<Bgp::SpeakerEvent> last;
      speaker.stop(last);
   }
   double const runs = double(state.iterations());
   state.counters["programmed_s"] = announceS / runs;
   state.counters["announce_rules/s"] = double(n) * runs / announceS;
   state.counters["withdraw_rules/s"] = double(n) * runs / withdrawS;
   state.counters["announce_cpu_rules/s"] = double(n) * runs / announceCpu;
   state.counters["withdraw_cpu_rules/s"] = double(n) * runs / withdrawCpu;
   state.counters["heap_B_per_rule"] = heap / runs / double(n);
   // The peak resident set only grows: a repetition after the first sees
   // none of its own.
   if (measurePeak)
      state.counters["peak_B_per_rule"] = double(peakKiB() - baseKiB) * 1024.0 / double(n);
   state.SetItemsProcessed(std::int64_t(2 * n) * state.iterations());
}

void BM_ReadUpdates(benchmark::State& state) {
   std::size_t const n = std::size_t(state.range(0));
   Load const& l = load(n);
   std::size_t routes = 0;
   for (auto _ : state) {
      for (Bytes const& m : l.announce) {
         Flowspec::UpdateContents const u = Flowspec::readUpdate(m);
         routes += u.announced.size();
         benchmark::DoNotOptimize(u);
      }
   }
   if (routes != n * state.iterations()) state.SkipWithError("routes lost in decoding");
   state.SetItemsProcessed(std::int64_t(n) * state.iterations());
}

} // namespace

// The loopback run first: its peak memory is measured from the start of the
// process.
BENCHMARK(BM_ListenLoopback)
    ->Arg(100000)
    ->Iterations(1)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ReadUpdates)->Arg(100000)->Unit(benchmark::kMillisecond);
