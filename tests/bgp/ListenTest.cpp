// flowspec listen as a process, with peers on loopback: a peer written here
// that sends what no peer should (the listener answers each with its
// NOTIFICATION and keeps running), and GoBGP and ExaBGP announcing and
// withdrawing rules (labelled "interop": they skip when the daemons are
// missing, unless FLOWSPEC_REQUIRE_INTEROP is set).
#include "InteropHarness.h"

#include "BgpTestUtil.h"
#include "bgp/Message.h"

#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/wire/Update.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <memory>
#include <sstream>

#ifndef FLOWSPEC_TOOL
#define FLOWSPEC_TOOL "flowspec"
#endif

namespace Bgp {
namespace {

using namespace std::chrono_literals;
using BgpTest::header;
using Bytes = std::vector<std::uint8_t>;

// ---- the listener ------------------------------------------------------------------

class Listener {
 public:
   // `json`: --json, one JSON object a line; else the text lines.
   explicit Listener(bool json = true, std::vector<std::string> const& extra = {}) {
      port_ = Interop::freePort("127.0.0.1");
      std::vector<std::string> argv{
          FLOWSPEC_TOOL, "listen",    "--json",     "--port",      std::to_string(port_),
          "--peer",      "127.0.0.2", "65001",      "--peer",      "127.0.0.3",
          "65003",       "--peer",    "127.0.0.4",  "65004",       "--vrf-rd",
          "65000:1",     "5",         "--redirect", "65000:100=5", "--dump-on",
          "SIGUSR1"};
      if (!json) argv.erase(argv.begin() + 2);
      argv.insert(argv.end(), extra.begin(), extra.end());
      daemon_ = std::make_unique<Interop::Daemon>(argv, dir_.path(), log());
      EXPECT_TRUE(Interop::waitFor([&] { return count("listening") == 1; }, 10s)) << text();
   }
   int port() const { return port_; }
   std::string log() const { return dir_.file("listen.log"); }
   std::string text() const {
      std::ifstream in(log());
      std::stringstream s;
      s << in.rdbuf();
      return s.str();
   }
   std::vector<std::string> lines(std::string const& containing = "") const {
      std::vector<std::string> out;
      std::istringstream in(text());
      for (std::string l; std::getline(in, l);)
         if (l.find(containing) != std::string::npos) out.push_back(l);
      return out;
   }
   std::size_t count(std::string const& containing) const { return lines(containing).size(); }
   bool running() { return daemon_ && daemon_->running(); }
   /// SIGTERM, and the wait for the process to end.
   void stop() { daemon_.reset(); }
   void signal(int number) { ::kill(daemon_->pid(), number); }
   Interop::TempDir const& dir() const { return dir_; }

 private:
   Interop::TempDir dir_;
   int port_ = 0;
   std::unique_ptr<Interop::Daemon> daemon_;
};

// The canonical command-line text of a key.
std::string keyText(std::string const& cli) {
   Flowspec::FlowspecKey k;
   EXPECT_TRUE(k.copyInStrCli(cli)) << cli;
   return k.toStrepCli().str();
}

// ---- a peer written here -------------------------------------------------------------

class RawPeer {
 public:
   RawPeer(std::string const& local, int port) {
      fd_ = ::socket(AF_INET, SOCK_STREAM, 0);
      sockaddr_in a{};
      a.sin_family = AF_INET;
      ::inet_pton(AF_INET, local.c_str(), &a.sin_addr);
      ::bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a);
      a.sin_port = htons(std::uint16_t(port));
      ::inet_pton(AF_INET, "127.0.0.1", &a.sin_addr);
      timeval tv{5, 0};
      ::setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
      connected_ = ::connect(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) == 0;
   }
   ~RawPeer() { ::close(fd_); }
   bool connected() const { return connected_; }
   void send(Bytes const& b) {
      [[maybe_unused]] auto n = ::send(fd_, b.data(), b.size(), MSG_NOSIGNAL);
   }
   /// OPEN as AS `as`, then KEEPALIVE; true when the listener answered both.
   bool establish(std::uint32_t as) {
      Open o;
      o.as = as;
      o.holdTime = 30;
      o.bgpIdentifier = 0x0a000004;
      o.multiprotocol = {{1, 133}, {2, 133}};
      o.fourOctetAs = true;
      send(buildOpen(o));
      send(buildKeepalive());
      Bytes const m1 = next(), m2 = next();
      return m1.size() > 18 && m1[18] == 1 && m2.size() > 18 && m2[18] == 4;
   }
   /// The next whole message, or empty at the end of the stream.
   Bytes next() {
      while (true) {
         if (in_.size() >= 19) {
            std::size_t const length = std::size_t(in_[16]) << 8 | in_[17];
            if (length >= 19 && in_.size() >= length) {
               Bytes m(in_.begin(), in_.begin() + std::ptrdiff_t(length));
               in_.erase(in_.begin(), in_.begin() + std::ptrdiff_t(length));
               return m;
            }
         }
         std::uint8_t buf[4096];
         ssize_t const r = ::recv(fd_, buf, sizeof buf, 0);
         if (r <= 0) return {};
         in_.insert(in_.end(), buf, buf + r);
      }
   }
   /// The code/subcode of the NOTIFICATION that ends the stream ("" when
   /// none came).
   std::string notification() {
      for (Bytes m = next(); !m.empty(); m = next())
         if (m[18] == 3 && m.size() >= 21)
            return std::to_string(m[19]) + "/" + std::to_string(m[20]);
      return "";
   }

 private:
   int fd_ = -1;
   bool connected_ = false;
   Bytes in_;
};

Bytes announce(std::string const& key, bool withdraw = false) {
   Flowspec::FlowspecRoute r;
   EXPECT_TRUE(r.key.copyInStrCli(key));
   r.key.addressFamilyIs(Ipkit::ipv4);
   r.actions.actionFieldSet.trafficDropIs(true);
   Flowspec::UpdateBuildOptions o;
   o.localAs = 65004;
   std::vector<Flowspec::FlowspecRoute> const routes{r};
   auto const b =
       withdraw ? Flowspec::buildUpdates({}, routes, o) : Flowspec::buildUpdates(routes, {}, o);
   return b.messages.at(0);
}

TEST(BgpListen, AnswersWhatAPeerMustNotSendAndKeepsRunning) {
   Listener l;
   Bytes garbage(64 * 1024);
   for (std::size_t i = 0; i < garbage.size(); ++i)
      garbage[i] = std::uint8_t(i * 7 + 3);
   Bytes update = announce("10.9.0.0/16;*;");
   Bytes badAttrs = update;
   badAttrs[22] = 0xff;
   Bytes truncated(update.begin(), update.end() - 3);
   truncated[17] = std::uint8_t(truncated.size());
   Bytes badMarker = buildKeepalive();
   badMarker[0] = 0;
   struct Case {
      char const* description;
      Bytes bytes;
      char const* notification;
   };
   std::vector<Case> const cases = {
       {"a bad marker", badMarker, "1/1"},
       {"a length above 4096", header(5000, 2), "1/2"},
       {"a KEEPALIVE of 21 bytes", header(21, 4), "1/2"},
       {"an unknown message type", header(19, 200), "1/3"},
       {"an UPDATE cut short: the length says less than the attributes", truncated, "3/1"},
       {"attributes running past the message", badAttrs, "3/1"},
       {"64 KiB of garbage", garbage, "1/1"},
   };
   for (Case const& c : cases) {
      SCOPED_TRACE(c.description);
      RawPeer p("127.0.0.4", l.port());
      ASSERT_TRUE(p.connected());
      ASSERT_TRUE(p.establish(65004)) << l.text();
      p.send(c.bytes);
      EXPECT_EQ(p.notification(), c.notification);
      EXPECT_TRUE(l.running());
   }
   // A peer that sends half a message and goes away, and one not configured.
   {
      RawPeer p("127.0.0.4", l.port());
      ASSERT_TRUE(p.establish(65004));
      p.send(Bytes(update.begin(), update.begin() + 30));
   }
   {
      RawPeer stranger("127.0.0.9", l.port());
      EXPECT_EQ(stranger.notification(), "6/5");
   }
   // The listener has seen the half message's peer go (a new connection
   // while that session stands would be a collision, refused).
   ASSERT_TRUE(Interop::waitFor(
       [&] { return l.count("\"event\":\"session-down\"") == cases.size() + 1; }, 10s))
       << l.text();
   EXPECT_EQ(l.lines("session-down").back(),
             "{\"event\":\"session-down\",\"peer\":\"127.0.0.4\",\"text\":\"the peer closed "
             "the connection\"}");
   // A malformed flowspec NLRI (component type 15): treat-as-withdraw, and
   // the session stays up for the next, good UPDATE.
   RawPeer p("127.0.0.4", l.port());
   ASSERT_TRUE(p.establish(65004));
   Bytes badNlri = announce("10.8.0.0/16;*;");
   Bytes const prefix{0x01, 0x10, 0x0a, 0x08};
   *std::search(badNlri.begin(), badNlri.end(), prefix.begin(), prefix.end()) = 15;
   p.send(badNlri);
   p.send(announce("10.9.0.0/16;*;"));
   p.send(announce("10.7.0.0/16;*;"));
   p.send(announce("10.7.0.0/16;*;", true));
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule-withdrawn") == 1; }, 10s)) << l.text();
   // The two UPDATEs that reset their session, then the one withdrawn.
   EXPECT_EQ(l.lines("malformed"),
             (std::vector<std::string>{
                 "{\"event\":\"malformed\",\"peer\":\"127.0.0.4\",\"text\":\"session reset: the "
                 "total path attribute length 37 runs past the message (34 bytes left)\"}",
                 "{\"event\":\"malformed\",\"peer\":\"127.0.0.4\",\"text\":\"session reset: the "
                 "total path attribute length 255 runs past the message (37 bytes left)\"}",
                 "{\"event\":\"malformed\",\"peer\":\"127.0.0.4\",\"text\":\"treat-as-withdraw: "
                 "MP_REACH_NLRI (AFI 1 SAFI 133): an NLRI does not decode: type 15: unknown "
                 "component type\"}"}));
   EXPECT_EQ(l.count("\"event\":\"refused\",\"peer\":\"127.0.0.9\""), 1u);
   std::string const added = "{\"event\":\"rule-added\",\"peer\":\"127.0.0.4\",\"vrf\":0,"
                             "\"family\":\"ipv4\",\"rule\":\"10.9.0.0/16;*;\",\"actions\":\"drop\","
                             "\"infeasible\":false,\"status\":\"programmed\",\"statusText\":"
                             "\"Programmed\",\"reason\":\"\"}";
   EXPECT_EQ(l.lines("rule-added").at(0), added);
   l.stop();
   // SIGTERM: the final table, then Cease to the peer.
   EXPECT_EQ(p.notification(), "6/2");
   auto const table = l.lines("final-table");
   ASSERT_EQ(table.size(), 1u) << l.text();
   EXPECT_NE(table[0].find("\"rules\":1,\"sessions\":[{\"peer\":\"127.0.0.2\",\"state\":\"Idle\"},"
                           "{\"peer\":\"127.0.0.3\",\"state\":\"Idle\"},{\"peer\":\"127.0.0.4\","
                           "\"state\":\"Established\"}]"),
             std::string::npos)
       << table[0];
   EXPECT_NE(table[0].find("\"rule\":\"10.9.0.0/16;*;\""), std::string::npos);
}

TEST(BgpListen, TextLinesAndTheTableOnSigusr1) {
   Listener l(false);
   {
      RawPeer p("127.0.0.4", l.port());
      ASSERT_TRUE(p.establish(65004));
      p.send(announce("10.9.0.0/16;*;IP:=6;"));
      p.send(announce("10.8.0.0/16;*;"));
      ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule added") == 2; }, 10s)) << l.text();
      p.send(announce("10.8.0.0/16;*;", true));
      ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule withdrawn") == 1; }, 10s))
          << l.text();
      l.signal(SIGUSR1);
      ASSERT_TRUE(Interop::waitFor([&] { return l.count("table: 1 rules") == 1; }, 10s))
          << l.text();
      p.send(buildNotification({6, 4, {}}));
      ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule withdrawn") == 2; }, 10s))
          << l.text();
   }
   l.stop();
   std::string const port = std::to_string(l.port());
   EXPECT_EQ(l.text(),
             "listening on 127.0.0.1 port " + port +
                 " as AS 65000\n"
                 "session up 127.0.0.4: AS 65004, identifier 10.0.0.4, hold time 30 s\n"
                 "rule added 127.0.0.4: vrf 0 ipv4 10.9.0.0/16;*;IP:=6;: drop: Programmed\n"
                 "rule added 127.0.0.4: vrf 0 ipv4 10.8.0.0/16;*;: drop: Programmed\n"
                 "rule withdrawn 127.0.0.4: vrf 0 ipv4 10.8.0.0/16;*;\n"
                 "table: 1 rules\n"
                 "  session 127.0.0.2: Idle\n"
                 "  session 127.0.0.3: Idle\n"
                 "  session 127.0.0.4: Established\n"
                 "  vrf 0 ipv4 10.9.0.0/16;*;IP:=6; from 127.0.0.4: drop: Programmed\n"
                 "session down 127.0.0.4: received NOTIFICATION Cease (6/4, Administrative "
                 "Reset)\n"
                 "rule withdrawn 127.0.0.4: vrf 0 ipv4 10.9.0.0/16;*;IP:=6;\n"
                 "final table: 0 rules\n"
                 "  session 127.0.0.2: Idle\n"
                 "  session 127.0.0.3: Idle\n"
                 "  session 127.0.0.4: Idle\n");
}

// ---- GoBGP and ExaBGP ---------------------------------------------------------------

#define REQUIRE_PEERS() INTEROP_REQUIRE_PROGRAMS("gobgpd", "gobgp", "exabgp")

struct Route {
   char const* description;
   char const* family; ///< gobgp's
   char const* gobgp;  ///< after "add"
   char const* key;    ///< the rule as we read it
   char const* actions;
   Vrf::VrfIdMap::VrfId vrf = 0;
   /// What the simulated hardware makes of it.
   char const* status = "programmed";
};

// Every component type and every action GoBGP's command can say.
std::vector<Route> const routes = {
    {"prefixes, protocol, destination port; discard", "ipv4-flowspec",
     "match destination 10.0.0.0/24 source 20.0.0.0/24 protocol tcp destination-port ==80 then "
     "discard",
     "10.0.0.0/24;20.0.0.0/24;IP:=6;DP:=80;", "drop"},
    {"port, source port; rate", "ipv4-flowspec",
     "match destination 10.0.1.0/24 port >=1000 &<=2000 ==80 source-port !=80 then rate-limit "
     "9600",
     "10.0.1.0/24;*;P:>=1000&<=2000|=80;SP:<>80;", "rate 9600"},
    {"ICMP type and code; mark", "ipv4-flowspec",
     "match destination 10.0.2.0/24 protocol icmp icmp-type ==8 icmp-code ==0 then mark 10",
     "10.0.2.0/24;*;IP:=1;IT:=8;IC:=0;", "dscp 10"},
    {"TCP flags; sample", "ipv4-flowspec",
     "match destination 10.0.3.0/24 protocol tcp tcp-flags =S &!=A then action sample",
     "10.0.3.0/24;*;IP:=6;TCP:=2&!=16;", "sample"},
    {"packet length, DSCP, fragment; terminal", "ipv4-flowspec",
     "match destination 10.0.4.0/24 packet-length >=64 &<=1500 dscp ==46 fragment =is-fragment "
     "then action terminal",
     "10.0.4.0/24;*;LEN:>=64&<=1500;DSCP:=46;FRAG:=2;", "continue", 0, "unsupportedTcamProfile"},
    {"fragment; rate, sample and terminal together", "ipv4-flowspec",
     "match destination 10.0.5.0/24 fragment dont-fragment then rate-limit 5000 action "
     "sample-terminal",
     "10.0.5.0/24;*;FRAG:1;", "rate 5000 sample continue", 0, "programmedWithFailures"},
    {"redirect to a route target", "ipv4-flowspec",
     "match destination 10.0.6.0/24 source-port >=1024 then redirect 65000:100",
     "10.0.6.0/24;*;SP:>=1024;", "redirect vrf 5"},
    {"destination port; accept", "ipv4-flowspec",
     "match destination 10.0.11.0/24 destination-port ==53 then accept", "10.0.11.0/24;*;DP:=53;",
     "permit"},
    {"IPv6: prefixes, next header, flow label; discard", "ipv6-flowspec",
     "match destination 2001:db8::/32 source 2001:db8:1::/48 protocol udp label ==48879 then "
     "discard",
     "2001:db8::/32;2001:db8:1::/48;IP:=17;FL:=48879;", "drop", 0, "unsupportedMatch"},
    {"IPv6: ICMPv6 type; discard", "ipv6-flowspec",
     "match destination 2001:db8:2::/48 protocol 58 icmp-type ==128 then discard",
     "2001:db8:2::/48;*;IP:=58;IT:=128;", "drop"},
    {"VPN: route distinguisher 65000:1 into VRF 5", "ipv4-l3vpn-flowspec",
     "rd 65000:1 match destination 10.0.12.0/24 protocol udp then discard",
     "10.0.12.0/24;*;IP:=17;", "drop", 5},
};

std::string ruleEvent(std::string const& event, Route const& r) {
   return "{\"event\":\"" + event + "\",\"peer\":\"127.0.0.2\",\"vrf\":" + std::to_string(r.vrf) +
          ",\"family\":\"" + (std::string(r.family).find("ipv6") == 0 ? "ipv6" : "ipv4") +
          "\",\"rule\":\"" + keyText(r.key) + "\"";
}

// `port` 0: the neighbour connects to us (passive-mode); else gobgpd
// connects to the listener at `port`.
std::string gobgpNeighbor(int port, std::string const& local) {
   std::string s = "[[neighbors]]\n  [neighbors.config]\n    neighbor-address = \"127.0.0.1\"\n"
                   "    peer-as = 65000\n  [neighbors.timers.config]\n    connect-retry = 1\n"
                   "  [neighbors.transport.config]\n    local-address = \"" +
                   local + "\"\n";
   s += port ? "    remote-port = " + std::to_string(port) + "\n" : "    passive-mode = true\n";
   for (char const* f : {"ipv4-flowspec", "ipv6-flowspec", "l3vpn-ipv4-flowspec"}) {
      s += "  [[neighbors.afi-safis]]\n    [neighbors.afi-safis.config]\n"
           "      afi-safi-name = \"" +
           std::string(f) + "\"\n";
   }
   return s;
}

class Gobgpd {
 public:
   /// Connects to the listener at `listenerPort`; or, with `ownPort`, waits
   /// on 127.0.0.2:`ownPort` for the listener to connect.
   Gobgpd(Interop::TempDir const& dir, int listenerPort, int ownPort = 0) {
      api_ = Interop::freePort("127.0.0.1");
      std::string const port =
          ownPort ? std::to_string(ownPort) + "\n  local-address-list = [\"127.0.0.2\"]" : "-1";
      dir.write("gobgpd.toml", "[global.config]\n  as = 65001\n  router-id = \"10.0.0.1\"\n"
                               "  port = " +
                                   port + "\n\n" +
                                   gobgpNeighbor(ownPort ? 0 : listenerPort, "127.0.0.2"));
      daemon_ = std::make_unique<Interop::Daemon>(
          std::vector<std::string>{Interop::findProgram("gobgpd"), "-f", dir.file("gobgpd.toml"),
                                   "-p", "--pprof-disable", "--api-hosts",
                                   "127.0.0.1:" + std::to_string(api_)},
          dir.path(), dir.file("gobgpd.log"));
   }
   Interop::RunResult gobgp(Route const& r, char const* verb) {
      std::vector<std::string> argv{Interop::findProgram("gobgp"),
                                    "-p",
                                    std::to_string(api_),
                                    "global",
                                    "rib",
                                    "-a",
                                    r.family,
                                    verb};
      std::istringstream words(r.gobgp);
      for (std::string w; words >> w;)
         argv.push_back(w);
      return Interop::run(argv, 20s);
   }
   std::string logTail() const { return daemon_->logTail(); }

 private:
   int api_ = 0;
   std::unique_ptr<Interop::Daemon> daemon_;
};

TEST(BgpListenInterop, GobgpAddsAndDeletesRules) {
   REQUIRE_PEERS();
   Listener l;
   auto g = std::make_unique<Gobgpd>(l.dir(), l.port());
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("session-up") == 1; }, 40s))
       << l.text() << g->logTail();
   for (Route const& r : routes) {
      auto const out = g->gobgp(r, "add");
      ASSERT_EQ(out.status, 0) << r.gobgp << "\n" << out.out;
   }
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule-added") == routes.size(); }, 20s))
       << l.text();
   for (Route const& r : routes) {
      SCOPED_TRACE(r.description);
      std::string const want = ruleEvent("rule-added", r) + ",\"actions\":\"" + r.actions +
                               "\",\"infeasible\":false,\"status\":\"" + r.status + "\"";
      EXPECT_EQ(l.count(want), 1u) << want << "\n" << l.text();
   }
   // The first two deleted: withdrawn.
   for (std::size_t i = 0; i < 2; ++i)
      ASSERT_EQ(g->gobgp(routes[i], "del").status, 0);
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule-withdrawn") == 2; }, 20s)) << l.text();
   EXPECT_EQ(l.count(ruleEvent("rule-withdrawn", routes[0]) + "}"), 1u) << l.text();
   // gobgpd goes: its rules go with it; it comes back and says them again.
   g.reset();
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule-withdrawn") == routes.size(); }, 20s))
       << l.text();
   EXPECT_EQ(l.count("session-down"), 1u);
   g = std::make_unique<Gobgpd>(l.dir(), l.port());
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("session-up") == 2; }, 40s)) << l.text();
   for (std::size_t i = 2; i < routes.size(); ++i)
      ASSERT_EQ(g->gobgp(routes[i], "add").status, 0);
   ASSERT_TRUE(
       Interop::waitFor([&] { return l.count("rule-added") == 2 * routes.size() - 2; }, 20s))
       << l.text();
   l.stop();
   auto const table = l.lines("final-table");
   ASSERT_EQ(table.size(), 1u) << l.text();
   EXPECT_NE(table[0].find("\"rules\":" + std::to_string(routes.size() - 2) + ","),
             std::string::npos)
       << table[0];
   for (std::size_t i = 2; i < routes.size(); ++i)
      EXPECT_NE(table[0].find(keyText(routes[i].key)), std::string::npos) << routes[i].key;
}

TEST(BgpListenInterop, ConnectsToAPassiveGobgpd) {
   REQUIRE_PEERS();
   int const gobgpdPort = Interop::freePort("127.0.0.2");
   Listener l(true, {"--connect", std::to_string(gobgpdPort)});
   Gobgpd g(l.dir(), l.port(), gobgpdPort);
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("session-up") == 1; }, 40s))
       << l.text() << g.logTail();
   ASSERT_EQ(g.gobgp(routes[0], "add").status, 0);
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule-added") == 1; }, 20s)) << l.text();
   EXPECT_EQ(l.count(ruleEvent("rule-added", routes[0])), 1u) << l.text();
}

std::string userName() {
   passwd const* pw = ::getpwuid(::getuid());
   return pw ? pw->pw_name : "root";
}

TEST(BgpListenInterop, ExabgpRulesComeBackWithTheSession) {
   REQUIRE_PEERS();
   Listener l;
   l.dir().write("exabgp.conf",
                 "neighbor 127.0.0.1 {\n  router-id 10.0.0.3;\n  local-address 127.0.0.3;\n"
                 "  local-as 65003;\n  peer-as 65000;\n  connect " +
                     std::to_string(l.port()) +
                     ";\n  family {\n    ipv4 flow;\n    ipv6 flow;\n  }\n  flow {\n"
                     "    route a { match { destination 10.0.0.0/24; protocol =tcp; "
                     "destination-port =80; } then { discard; } }\n"
                     "    route b { match { destination 2001:db8::/32/0; next-header =udp; } "
                     "then { rate-limit 9600; } }\n  }\n}\n");
   std::vector<std::string> const env{"exabgp.daemon.user=" + userName(),
                                      "exabgp.log.destination=stdout",
                                      "exabgp.daemon.daemonize=false"};
   auto start = [&] {
      return std::make_unique<Interop::Daemon>(
          std::vector<std::string>{Interop::findProgram("exabgp"), l.dir().file("exabgp.conf")},
          l.dir().path(), l.dir().file("exabgp.log"), env);
   };
   auto e = start();
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule-added") == 2; }, 40s))
       << l.text() << e->logTail();
   EXPECT_EQ(l.count("\"peer\":\"127.0.0.3\",\"vrf\":0,\"family\":\"ipv4\",\"rule\":\"" +
                     keyText("10.0.0.0/24;*;IP:=6;DP:=80;") + "\",\"actions\":\"drop\""),
             1u)
       << l.text();
   EXPECT_EQ(l.count("\"family\":\"ipv6\",\"rule\":\"" + keyText("2001:db8::/32;*;IP:=17;") +
                     "\",\"actions\":\"rate 9600\""),
             1u)
       << l.text();
   e.reset();
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule-withdrawn") == 2; }, 20s)) << l.text();
   e = start();
   ASSERT_TRUE(Interop::waitFor([&] { return l.count("rule-added") == 4; }, 40s)) << l.text();
   EXPECT_EQ(l.count("session-up"), 2u);
}

} // namespace
} // namespace Bgp
