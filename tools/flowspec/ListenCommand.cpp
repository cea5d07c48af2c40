// flowspec listen: a BGP speaker (bgp/Speaker.h) that receives flowspec
// rules from its peers, configures them in a Config tree, lets the simulated
// hardware agent program them, and prints one line (or one JSON object) per
// event, until SIGINT or SIGTERM.
#include "ListenCommand.h"

#include "HwAgent.h"
#include "Json.h"
#include "UpdateCommand.h"

#include "Flowspec/FlowspecStatedb.h"
#include "bgp/Speaker.h"

#include <arpa/inet.h>

#include <algorithm>
#include <csignal>
#include <ostream>
#include <sstream>

namespace FlowspecTool {
namespace {

constexpr std::string_view usage =
    "flowspec listen --peer ADDRESS AS... [--port N] [--bind ADDRESS] [--local-as AS] "
    "[--router-id A.B.C.D] [--hold-time S] [--connect PORT] [--vrf-rd RD VRF]... "
    "[--redirect RT=VRF]... "
    "[--dump-on SIGUSR1] [--json]";

volatile std::sig_atomic_t stopSignal = 0;
volatile std::sig_atomic_t dumpSignal = 0;

extern "C" void onStop(int signal) {
   stopSignal = signal;
}
extern "C" void onDump(int) {
   dumpSignal = 1;
}

// Installs `handler` without SA_RESTART, so that poll() returns at once.
void catchSignal(int signal, void (*handler)(int)) {
   struct sigaction sa {};
   sa.sa_handler = handler;
   sigemptyset(&sa.sa_mask);
   ::sigaction(signal, &sa, nullptr);
}

struct ListenOptions {
   Bgp::SpeakerConfig speaker;
   bool json = false;
   bool dumpOnUsr1 = false;
};

// "65000:1", "192.0.2.1:7" or "4200000000:7" as the 8 bytes of a route
// distinguisher (RFC 4364 section 4.2, types 0, 1 and 2).
bool readRd(std::string_view text, std::uint64_t& rd) {
   std::size_t const colon = text.find(':');
   if (colon == std::string_view::npos) return false;
   std::string_view const global = text.substr(0, colon);
   std::string_view const local = text.substr(colon + 1);
   std::uint64_t g = 0, l = 0;
   if (global.find('.') != std::string_view::npos) {
      in_addr a{};
      if (::inet_pton(AF_INET, std::string(global).c_str(), &a) != 1) return false;
      if (!readNumber(local, 0xffff, l)) return false;
      rd = 1ULL << 48 | std::uint64_t(ntohl(a.s_addr)) << 16 | l;
      return true;
   }
   if (!readNumber(global, 0xffffffff, g)) return false;
   if (g > 0xffff) {
      if (!readNumber(local, 0xffff, l)) return false;
      rd = 2ULL << 48 | g << 16 | l;
   } else {
      if (!readNumber(local, 0xffffffff, l)) return false;
      rd = g << 32 | l;
   }
   return true;
}

bool readRouterId(std::string_view text, std::uint32_t& id) {
   in_addr a{};
   if (::inet_pton(AF_INET, std::string(text).c_str(), &a) != 1) return false;
   id = ntohl(a.s_addr);
   return id != 0;
}

// Reads the arguments; on a usage error returns its exit status in `status`.
bool readOptions(Args const& args, ListenOptions& o, std::ostream& err, int& status) {
   o.speaker.localAs = 65000;
   o.speaker.routerId = 0x7f000001;
   auto fail = [&](std::string const& problem) {
      status = usageError("listen", usage, problem, err);
      return false;
   };
   auto number = [&](std::size_t i, std::uint64_t max, std::uint64_t& value) {
      return i < args.size() && readNumber(args[i], max, value);
   };
   std::uint16_t connectPort = 0;
   for (std::size_t i = 0; i < args.size(); ++i) {
      std::string_view const a = args[i];
      std::uint64_t n = 0, m = 0;
      if (a == "--json") {
         o.json = true;
      } else if (a == "--port") {
         if (!number(++i, 65535, n)) return fail("--port takes a port number, 0 to 65535");
         o.speaker.port = std::uint16_t(n);
      } else if (a == "--bind") {
         if (++i == args.size()) return fail("--bind takes an IPv4 or IPv6 address");
         o.speaker.bind = std::string(args[i]);
      } else if (a == "--peer") {
         in6_addr address{};
         if (i + 2 >= args.size() || !number(i + 2, 0xffffffff, n) || n == 0 ||
             (::inet_pton(AF_INET, std::string(args[i + 1]).c_str(), &address) != 1 &&
              ::inet_pton(AF_INET6, std::string(args[i + 1]).c_str(), &address) != 1)) {
            return fail("--peer takes an IPv4 or IPv6 address and an AS number, as --peer "
                        "127.0.0.2 65001");
         }
         o.speaker.peers.push_back({std::string(args[i + 1]), std::uint32_t(n), 0});
         i += 2;
      } else if (a == "--connect") {
         if (!number(++i, 65535, n) || n == 0) return fail("--connect takes a port number");
         connectPort = std::uint16_t(n);
      } else if (a == "--local-as") {
         if (!number(++i, 0xffffffff, n) || n == 0) return fail("--local-as takes an AS number");
         o.speaker.localAs = std::uint32_t(n);
      } else if (a == "--router-id") {
         if (++i == args.size() || !readRouterId(args[i], o.speaker.routerId)) {
            return fail("--router-id takes an IPv4 address other than 0.0.0.0");
         }
      } else if (a == "--hold-time") {
         if (!number(++i, 65535, n) || n == 1 || n == 2) {
            return fail("--hold-time takes 0 or 3 to 65535 seconds");
         }
         o.speaker.holdTime = std::uint16_t(n);
      } else if (a == "--vrf-rd") {
         if (i + 2 >= args.size() || !readRd(args[i + 1], n) ||
             !readNumber(args[i + 2], Vrf::VrfIdMap::maxVrfId, m)) {
            return fail("--vrf-rd takes a route distinguisher and a VRF id, as --vrf-rd 65000:1 5");
         }
         o.speaker.rdVrfs[n] = Vrf::VrfIdMap::VrfId(m);
         i += 2;
      } else if (a == "--redirect") {
         if (++i == args.size() || !readRedirect(args[i], o.speaker.routeTargets)) {
            return fail("--redirect takes RT=VRF, as 65000:100=5");
         }
      } else if (a == "--dump-on") {
         if (++i == args.size() || (args[i] != "SIGUSR1" && args[i] != "USR1")) {
            return fail("--dump-on takes SIGUSR1");
         }
         o.dumpOnUsr1 = true;
      } else {
         return fail("unknown argument '" + std::string(a) + "'");
      }
   }
   if (o.speaker.peers.empty()) return fail("give at least one --peer ADDRESS AS");
   for (Bgp::PeerConfig& p : o.speaker.peers)
      p.connectPort = connectPort;
   return true;
}

// ---- printing -------------------------------------------------------------------

// One JSON object on one line.
class Line {
 public:
   explicit Line(std::string_view event) { s_ = "{\"event\":" + jsonString(event); }
   Line& operator()(std::string_view key, std::string_view value) {
      s_ += "," + jsonString(key) + ":" + jsonString(value);
      return *this;
   }
   Line& operator()(std::string_view key, std::uint64_t value) {
      s_ += "," + jsonString(key) + ":" + std::to_string(value);
      return *this;
   }
   Line& flag(std::string_view key, bool value) {
      s_ += "," + jsonString(key) + ":" + (value ? "true" : "false");
      return *this;
   }
   Line& raw(std::string_view key, std::string_view json) {
      s_ += "," + jsonString(key) + ":" + std::string(json);
      return *this;
   }
   std::string str() const { return s_ + "}"; }

 private:
   std::string s_;
};

std::string familyText(Flowspec::FlowspecKey const& key) {
   std::ostringstream os;
   os << key.addressFamily();
   return os.str();
}

constexpr char const* gonePreviously = "withdrawn before it was programmed";

struct StatusText {
   std::string code; ///< "programmed"; empty when the agent holds none
   std::string text; ///< "Programmed"
   std::string reason;
};

class Printer {
 public:
   Printer(std::ostream& out, bool json, Flowspec::Status const& status,
           Bgp::RuleTable const& table)
       : out_(out), json_(json), status_(status), table_(table) {}

   StatusText statusOf(Flowspec::FlowspecKey const& key) const {
      StatusText s;
      auto vrf = status_.vrfRuleStatus(key.vrfId());
      auto rule = vrf ? vrf->ruleStatus(key) : nullptr;
      if (!rule) return s;
      s.code = Flowspec::stringValue(rule->statusCode()).str();
      s.text = util_.statusCodeToStrep(rule->statusCode()).str();
      s.reason = rule->errorReason().str();
      return s;
   }

   void listening(Bgp::SpeakerConfig const& c, std::uint16_t port) {
      if (json_) {
         out_ << Line("listening")("bind", c.bind)("port", port)("localAs", c.localAs).str()
              << '\n';
      } else {
         out_ << "listening on " << c.bind << " port " << port << " as AS " << c.localAs << '\n';
      }
   }

   void event(Bgp::SpeakerEvent const& e) {
      using Kind = Bgp::SpeakerEvent::Kind;
      if (e.kind != Kind::rule) {
         std::string const name = Bgp::speakerEventText(e.kind);
         if (json_) {
            out_ << Line(name)("peer", e.peer)("text", e.text).str() << '\n';
         } else {
            std::string words = name;
            std::replace(words.begin(), words.end(), '-', ' ');
            out_ << words << ' ' << e.peer << ": " << e.text << '\n';
         }
         return;
      }
      Bgp::RuleChange const& c = e.change;
      std::string const kind = c.error.empty() ? Bgp::ruleChangeText(c.kind) : "refused";
      rule("rule-" + kind, e.peer, c.key, c.kind == Bgp::RuleChangeKind::withdrawn, c.actions,
           c.infeasible, c.error);
   }

   // One rule: an event, or a row of the table.
   void rule(std::string const& name, std::string const& peer, Flowspec::FlowspecKey const& key,
             bool gone, Flowspec::RuleActions const& actions, bool infeasible,
             std::string const& error) {
      std::string const rule = key.toStrepCli().str();
      StatusText s = gone || !error.empty() ? StatusText{} : statusOf(key);
      // Events are printed after the agent ran over everything one poll
      // read: a rule withdrawn later in the same read has no status.
      if (!gone && error.empty() && s.code.empty()) s.text = gonePreviously;
      if (json_) {
         Line l(name);
         l("peer", peer)("vrf", key.vrfId())("family", familyText(key))("rule", rule);
         if (!gone && error.empty()) {
            l("actions", actionsText(actions)).flag("infeasible", infeasible);
            l("status", s.code)("statusText", s.text)("reason", s.reason);
         }
         if (!error.empty()) l("error", error);
         out_ << l.str() << '\n';
         return;
      }
      std::string words = name;
      std::replace(words.begin(), words.end(), '-', ' ');
      out_ << words << ' ' << peer << ": vrf " << key.vrfId() << ' ' << familyText(key) << ' '
           << rule;
      if (!error.empty()) {
         out_ << ": " << error << '\n';
         return;
      }
      if (!gone) {
         out_ << ": " << actionsText(actions) << ": " << s.text;
         if (!s.reason.empty() && s.code != "programmed") out_ << " (" << s.reason << ")";
      }
      out_ << '\n';
   }

   // The rules in the order the agent programs them, and the sessions.
   void table(std::string_view name, Bgp::Speaker const& speaker) {
      struct Row {
         Flowspec::FlowspecKey const* key;
         std::string const* peer;
         Flowspec::RuleActions const* actions;
      };
      std::vector<Row> rows;
      table_.forEachRule([&](auto const& key, Bgp::PeerId const& peer, auto const& actions) {
         rows.push_back({&key, &peer.address, &actions});
      });
      std::sort(rows.begin(), rows.end(), [](Row const& a, Row const& b) {
         return HwAgent::programsBefore(a.key->vrfId(), *a.key, b.key->vrfId(), *b.key);
      });
      if (json_) {
         std::string sessions = "[", rules = "[";
         for (auto const& [address, state] : speaker.sessions()) {
            sessions += (sessions.size() > 1 ? "," : "") + std::string("{\"peer\":") +
                        jsonString(address) +
                        ",\"state\":" + jsonString(Bgp::sessionStateText(state)) + "}";
         }
         for (Row const& r : rows) {
            StatusText const s = statusOf(*r.key);
            rules +=
                (rules.size() > 1 ? "," : "") +
                Line("rule")("peer", *r.peer)("vrf", r.key->vrfId())("family", familyText(*r.key))(
                    "rule", r.key->toStrepCli().str())("actions", actionsText(*r.actions))(
                    "status", s.code)("statusText", s.text)("reason", s.reason)
                    .str();
         }
         out_ << Line(name)("rules", rows.size())
                     .raw("sessions", sessions + "]")
                     .raw("table", rules + "]")
                     .str()
              << '\n';
         return;
      }
      std::string words(name);
      std::replace(words.begin(), words.end(), '-', ' ');
      out_ << words << ": " << rows.size() << " rules\n";
      for (auto const& [address, state] : speaker.sessions())
         out_ << "  session " << address << ": " << Bgp::sessionStateText(state) << '\n';
      for (Row const& r : rows) {
         StatusText const s = statusOf(*r.key);
         out_ << "  vrf " << r.key->vrfId() << ' ' << familyText(*r.key) << ' '
              << r.key->toStrepCli() << " from " << *r.peer << ": " << actionsText(*r.actions)
              << ": " << s.text << '\n';
      }
   }

 private:
   std::ostream& out_;
   bool json_;
   Flowspec::Status const& status_;
   Bgp::RuleTable const& table_;
   Flowspec::FlowspecUtil const util_{};
};

} // namespace

std::string listenHelp() {
   return std::string("usage: ") + std::string(usage) + R"(

Runs a BGP speaker that receives flowspec rules (RFC 8955, RFC 8956) from its
peers and announces nothing. Each rule a peer announces is configured in its
VRF and programmed by the simulated hardware agent (as 'flowspec check'
does); a rule withdrawn, or a peer whose session ends, takes it away. When
two peers send the same rule, the one with the lowest BGP identifier wins,
then the lowest address. One line is printed per event:

  listening on 127.0.0.1 port 1790 as AS 65000
  session up 127.0.0.2: AS 65001, identifier 10.0.0.1, hold time 90 s
  rule added 127.0.0.2: vrf 0 ipv4 10.0.0.0/24;*;IP:=6;: drop: Programmed
  rule changed, rule withdrawn, rule refused (a key the model refuses)
  malformed 127.0.0.2: treat-as-withdraw: ... (RFC 7606 handling: what was done)
  note, end of rib, refused (a connection from elsewhere), session down

The status is the agent's after it programmed all that one read from the
sockets brought; a rule withdrawn again within that read shows "withdrawn
before it was programmed".

On SIGINT or SIGTERM every session is closed with a Cease NOTIFICATION and
the final table is printed ('final table: N rules', the sessions, then each
rule in the order the agent programs them).

Options:
  --peer ADDRESS AS   a peer allowed to connect, and its AS; repeatable.
                      A connection from any other address is refused
  --port N            the TCP port to listen on (default 179; 0: any free one)
  --bind ADDRESS      the address to listen on (default 127.0.0.1)
  --local-as AS       our AS (default 65000), 4-octet AS capable
  --router-id A.B.C.D our BGP identifier (default 127.0.0.1)
  --hold-time S       the hold time proposed (default 90; 0 or 3 and above)
  --connect PORT      also connect to each peer at PORT (from the --bind
                      address), every 5 seconds while it has no session;
                      without it the peers must connect
  --vrf-rd RD VRF     VPN flowspec (SAFI 134) routes of route distinguisher
                      RD (65000:1, 192.0.2.1:1, 4200000000:1) go to VRF id
                      VRF; routes of other distinguishers are passed over
  --redirect RT=VRF   a redirect to route target RT is a redirect to VRF
  --dump-on SIGUSR1   print the current table ('table: ...') on SIGUSR1
  --json              one JSON object per line instead: "event" names it
                      (listening, session-up, rule-added, malformed, ...,
                      final-table)

)" + exitStatusHelp();
}

int listenCommand(Args const& args, std::ostream& out, std::ostream& err) {
   ListenOptions o;
   int status = exitOk;
   if (!readOptions(args, o, err, status)) return status;

   auto config = Flowspec::configFactory("config");
   auto statusTree = Flowspec::statusFactory("status");
   auto counter = Flowspec::counterFactory("counter");
   // The agent observes before the first rule, and stops before the trees go.
   HwAgent agent(config, statusTree, counter);
   Bgp::Speaker speaker(o.speaker, config);
   if (std::string const why = speaker.start(); !why.empty()) {
      err << "flowspec listen: " << why << '\n';
      return exitUsage;
   }
   Printer printer(out, o.json, *statusTree, speaker.rules());
   printer.listening(o.speaker, speaker.port());
   out.flush();

   stopSignal = 0;
   dumpSignal = 0;
   catchSignal(SIGINT, onStop);
   catchSignal(SIGTERM, onStop);
   std::signal(SIGPIPE, SIG_IGN);
   if (o.dumpOnUsr1) catchSignal(SIGUSR1, onDump);

   std::vector<Bgp::SpeakerEvent> events;
   auto report = [&] {
      agent.run();
      for (auto const& e : events)
         printer.event(e);
      events.clear();
      out.flush();
   };
   while (!stopSignal) {
      speaker.poll(std::chrono::milliseconds(500), events);
      report();
      if (dumpSignal) {
         dumpSignal = 0;
         printer.table("table", speaker);
         out.flush();
      }
   }
   // The table as it stood, then the sessions close and take their rules.
   printer.table("final-table", speaker);
   speaker.stop(events);
   report();
   return exitOk;
}

} // namespace FlowspecTool
