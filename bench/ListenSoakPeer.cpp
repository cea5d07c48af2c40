// listen_soak_peer: a BGP peer on loopback that churns flowspec routes at a
// steady rate, for bench/listen-soak (not a test).
//
//   listen_soak_peer PORT SECONDS UPDATES_PER_SECOND [RULES]
//
// Connects from 127.0.0.1 to 127.0.0.1:PORT as AS 65001, waits for the
// listener's OPEN, then for SECONDS sends UPDATES_PER_SECOND UPDATEs a
// second, in batches every 10 ms, each announcing (with a new rate, so that
// the rule changes) or withdrawing one of RULES routes (default 10 000)
// drawn with a fixed seed. It reads and discards what the listener sends. At
// the end it prints "sent N updates; M rules announced" and stays connected
// until its standard input closes, so that the listener's table can be
// compared with M. Exits 1 when the connection fails.
#include "Flowspec/wire/Update.h"
#include "bgp/Message.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using Bytes = std::vector<std::uint8_t>;

int fd = -1;

bool sendAll(Bytes const& m) {
   for (std::size_t at = 0; at < m.size();) {
      ssize_t const w = ::send(fd, m.data() + at, m.size() - at, MSG_NOSIGNAL);
      if (w <= 0) return false;
      at += std::size_t(w);
   }
   return true;
}

void drain() {
   std::uint8_t buf[4096];
   while (::recv(fd, buf, sizeof buf, MSG_DONTWAIT) > 0) {
   }
}

} // namespace

int main(int argc, char** argv) {
   if (argc < 4) {
      std::fprintf(stderr, "usage: listen_soak_peer PORT SECONDS UPDATES_PER_SECOND [RULES]\n");
      return 2;
   }
   int const port = std::atoi(argv[1]);
   double const seconds = std::atof(argv[2]);
   long const rate = std::atol(argv[3]);
   std::size_t const rules = argc > 4 ? std::size_t(std::atol(argv[4])) : 10000;
   if (rules == 0 || rules > 1000000 || rate <= 0 || seconds <= 0 || seconds > 3600) {
      std::fprintf(stderr, "listen_soak_peer: RULES 1 to 1000000, SECONDS up to 3600\n");
      return 2;
   }

   fd = ::socket(AF_INET, SOCK_STREAM, 0);
   sockaddr_in a{};
   a.sin_family = AF_INET;
   a.sin_port = htons(std::uint16_t(port));
   ::inet_pton(AF_INET, "127.0.0.1", &a.sin_addr);
   if (::connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
      std::perror("listen_soak_peer: connect");
      return 1;
   }
   Bgp::Open o;
   o.as = 65001;
   o.bgpIdentifier = 0x0a000001;
   o.holdTime = 90;
   o.multiprotocol = {{1, 133}};
   o.fourOctetAs = true;
   if (!sendAll(Bgp::buildOpen(o)) || !sendAll(Bgp::buildKeepalive())) return 1;

   std::vector<Flowspec::FlowspecRoute> routes(rules);
   for (std::size_t i = 0; i < rules; ++i) {
      std::string const text = "10." + std::to_string(i >> 16 & 0xff) + "." +
                               std::to_string(i >> 8 & 0xff) + "." + std::to_string(i & 0xff) +
                               "/32;*;IP:=17;DP:=" + std::to_string(1 + i % 1000) + ";";
      routes[i].key.copyInStrCli(text);
      routes[i].key.addressFamilyIs(Ipkit::ipv4);
      routes[i].actions.actionFieldSet.trafficRateIs(true);
   }
   std::vector<bool> announced(rules, false);
   std::size_t present = 0;
   std::mt19937 random(42);
   Flowspec::UpdateBuildOptions bo;
   bo.localAs = 65001;

   auto const start = std::chrono::steady_clock::now();
   auto const end = start + std::chrono::duration<double>(seconds);
   std::uint64_t sent = 0;
   auto next = start;
   while (std::chrono::steady_clock::now() < end) {
      // The updates due by now, at `rate` a second.
      double const elapsed =
          std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      auto const due = std::uint64_t(elapsed * double(rate));
      Bytes batch;
      for (; sent < due; ++sent) {
         std::size_t const i = random() % rules;
         Flowspec::FlowspecRoute& r = routes[i];
         bool const withdraw = announced[i] && random() % 3 == 0;
         std::vector<Flowspec::FlowspecRoute> one{r};
         if (!withdraw) one[0].actions.trafficRateLimit = float(1000 + sent % 100000);
         auto const b =
             withdraw ? Flowspec::buildUpdates({}, one, bo) : Flowspec::buildUpdates(one, {}, bo);
         batch.insert(batch.end(), b.messages[0].begin(), b.messages[0].end());
         if (withdraw) {
            --present;
         } else if (!announced[i]) {
            ++present;
         }
         announced[i] = !withdraw;
      }
      if (!batch.empty() && !sendAll(batch)) {
         std::fprintf(stderr, "listen_soak_peer: the connection failed after %llu updates\n",
                      static_cast<unsigned long long>(sent));
         return 1;
      }
      drain();
      next += std::chrono::milliseconds(10);
      std::this_thread::sleep_until(next);
   }
   std::printf("sent %llu updates; %zu rules announced\n", static_cast<unsigned long long>(sent),
               present);
   std::fflush(stdout);
   // Stay until told to go (standard input closes), answering nothing but
   // keeping the session alive with KEEPALIVEs.
   while (true) {
      pollfd p{0, POLLIN, 0};
      if (::poll(&p, 1, 10000) != 0) {
         char c;
         if (::read(0, &c, 1) <= 0) break;
      }
      drain();
      if (!sendAll(Bgp::buildKeepalive())) return 1;
   }
   ::close(fd);
   return 0;
}
