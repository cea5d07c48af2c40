// Interop with independent BGP speakers: GoBGP (gobgpd, gobgp) and ExaBGP.
//
// One corpus of rules, covering every component type of RFC 8955 and RFC
// 8956 and every action of RFC 8955 section 7 that a peer can express, goes
// both ways:
//   - they encode, we decode: GoBGP (a gobgpd given the rules with the gobgp
//     command) and ExaBGP (a configuration of flow routes) announce them to a
//     collecting gobgpd, which records what it receives in an MRT file that
//     walkMrt reads;
//   - we encode, they decode: buildUpdates' messages go to `exabgp --decode`
//     and, over a BGP session of our own, to the collecting gobgpd, whose
//     Adj-RIB-In the gobgp command shows.
// Where a peer cannot express a rule its column is empty; where it reads or
// writes a rule differently from us, the row says so and why, with the RFC's
// text. Everything runs on loopback addresses (127.0.0.1 to 127.0.0.4) and
// free ports, bounded in time; the daemons and files go away at the end.
#include "InteropHarness.h"

#include "RuleFile.h"

#include "Flowspec/wire/Mrt.h"
#include "Flowspec/wire/Update.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

#include <map>
#include <memory>
#include <sstream>

namespace Flowspec {
namespace {

using namespace std::chrono_literals;

// ---- the corpus -----------------------------------------------------------------

struct CorpusRule {
   char const* description;
   /// The rule as a rule file of the flowspec tool writes it.
   char const* line;
   /// `gobgp global rib -a FAMILY add` arguments; "" when GoBGP cannot
   /// express the rule.
   char const* gobgp;
   /// The body of an ExaBGP flow route; "" when ExaBGP cannot express it.
   char const* exabgp;
   /// What `exabgp --decode` prints of our UPDATE after "decoded update N ",
   /// or "!" and the error it fails with.
   char const* exabgpShows;
   /// The network and the attributes `gobgp neighbor ADDR adj-in` shows for
   /// our UPDATE, "NETWORK|ATTRIBUTES".
   char const* gobgpShows;
   /// SAFI 134: the route distinguisher (type 0, 65000:1 is 0x0000fde800000001).
   std::uint64_t rd = 0;
   /// The rule as we read what GoBGP writes, where that is not `line`.
   char const* gobgpReads = "";
   /// The rate is in packets a second (RFC 8955 section 7.1, 0x800c), which
   /// a rule file cannot say.
   bool packets = false;
};

std::vector<CorpusRule> const corpus = {
    {"destination and source prefix, protocol, destination port; drop",
     "vrf default ipv4 10.0.0.0/24;20.0.0.0/24;IP:=6;DP:=80; drop",
     "match destination 10.0.0.0/24 source 20.0.0.0/24 protocol tcp destination-port "
     "==80 "
     "then discard",
     "match { destination 10.0.0.0/24; source 20.0.0.0/24; protocol =tcp; "
     "destination-port =80; } then { discard; }",
     "flow destination-ipv4 10.0.0.0/24 source-ipv4 20.0.0.0/24 protocol =tcp "
     "destination-port =80 origin igp as-path [ 65004 ] extended-community "
     "rate-limit:0",
     "[destination: 10.0.0.0/24][source: 20.0.0.0/24][protocol: "
     "==tcp][destination-port: "
     "==80]|[{Origin: i} {Extcomms: [discard]}]"},
    {"port ranges, source port not equal; rate",
     "vrf default ipv4 10.0.1.0/24;*;P:>=1000&<=2000|=80;SP:<>80; rate 9600",
     "match destination 10.0.1.0/24 port >=1000 &<=2000 ==80 source-port !=80 "
     "then rate-limit 9600",
     "match { destination 10.0.1.0/24; port [ >=1000&<=2000 =80 ]; source-port !=80; } "
     "then { rate-limit 9600; }",
     "flow destination-ipv4 10.0.1.0/24 port [ >=1000&<=2000 =80 ] source-port !=80 "
     "origin "
     "igp as-path [ 65004 ] extended-community rate-limit:9600",
     "[destination: 10.0.1.0/24][port: >=1000&<=2000 ==80][source-port: "
     "!=80]|[{Origin: i} "
     "{Extcomms: [rate: 9600.000000]}]"},
    {"ICMP type and code; DSCP marking",
     "vrf default ipv4 10.0.2.0/24;*;IP:=1;IT:=8;IC:=0; dscp 10",
     "match destination 10.0.2.0/24 protocol icmp icmp-type ==8 icmp-code ==0 then "
     "mark 10",
     "match { destination 10.0.2.0/24; protocol =icmp; icmp-type =8; icmp-code =0; } "
     "then { mark 10; }",
     "flow destination-ipv4 10.0.2.0/24 protocol =icmp icmp-type =echo-request "
     "icmp-code =0 "
     "origin igp as-path [ 65004 ] extended-community mark 10",
     "[destination: 10.0.2.0/24][protocol: ==icmp][icmp-type: ==8][icmp-code: ==0]|"
     "[{Origin: i} {Extcomms: [remark: 10]}]"},
    {"TCP flags: SYN without ACK; sample",
     "vrf default ipv4 10.0.3.0/24;*;IP:=6;TCP:=2&!=16; sample",
     "match destination 10.0.3.0/24 protocol tcp tcp-flags =S &!=A then action sample",
     "match { destination 10.0.3.0/24; protocol =tcp; tcp-flags [ =syn&!=ack ]; } "
     "then { action sample; }",
     "flow destination-ipv4 10.0.3.0/24 protocol =tcp tcp-flags [ =syn&!=ack ] origin "
     "igp "
     "as-path [ 65004 ] extended-community action sample",
     "[destination: 10.0.3.0/24][protocol: ==tcp][tcp-flags: =S&!=A]|[{Origin: i} "
     "{Extcomms: [action: sample]}]"},
    // RFC 8955 section 7.3: "Terminal Action (bit 47): When this bit is set,
    // the traffic filtering engine will apply any subsequent filtering rules
    // (as defined by the ordering procedure). If not set, the evaluation of
    // the traffic filter stops when this rule is applied." GoBGP and ExaBGP
    // name the bit "terminal"; set, it is our continue.
    {"packet length range, DSCP, fragment; continue",
     "vrf default ipv4 10.0.4.0/24;*;LEN:>=64&<=1500;DSCP:=46;FRAG:=2; continue",
     "match destination 10.0.4.0/24 packet-length >=64 &<=1500 dscp ==46 "
     "fragment =is-fragment then action terminal",
     "match { destination 10.0.4.0/24; packet-length [ >=64&<=1500 ]; dscp =46; "
     "fragment [ =is-fragment ]; } then { action terminal; }",
     "flow destination-ipv4 10.0.4.0/24 packet-length [ >=64&<=1500 ] dscp =46 "
     "fragment "
     "=is-fragment origin igp as-path [ 65004 ] extended-community action terminal",
     "[destination: 10.0.4.0/24][packet-length: >=64&<=1500][dscp: ==46][fragment: "
     "=is-fragment]|[{Origin: i} {Extcomms: [action: terminal]}]"},
    {"fragment: don't fragment, any match; rate, sample and continue",
     "vrf default ipv4 10.0.5.0/24;*;FRAG:1; rate 1000000 sample continue",
     "match destination 10.0.5.0/24 fragment dont-fragment then rate-limit 1000000 "
     "action sample-terminal",
     "match { destination 10.0.5.0/24; fragment [ dont-fragment ]; } "
     "then { rate-limit 1000000; action sample-terminal; }",
     "flow destination-ipv4 10.0.5.0/24 fragment dont-fragment origin igp as-path [ "
     "65004 ] "
     "extended-community [ rate-limit:1000000 action sample-terminal ]",
     "[destination: 10.0.5.0/24][fragment: dont-fragment]|[{Origin: i} {Extcomms: "
     "[rate: "
     "1000000.000000], [action: terminal-sample]}]"},
    {"IPv6: prefixes, next header, flow label; drop",
     "vrf default ipv6 2001:db8::/32;2001:db8:1::/48;IP:=17;FL:=48879; drop",
     "match destination 2001:db8::/32 source 2001:db8:1::/48 protocol udp label "
     "==48879 "
     "then discard",
     "match { destination 2001:db8::/32/0; source 2001:db8:1::/48/0; next-header =udp; "
     "flow-label =48879; } then { discard; }",
     "flow destination-ipv6 2001:db8::/32/0 source-ipv6 2001:db8:1::/48/0 next-header "
     "=udp "
     "flow-label =48879 origin igp as-path [ 65004 ] extended-community rate-limit:0",
     "[destination: 2001:db8::/32/0][source: 2001:db8:1::/48/0][protocol: "
     "==udp][label: "
     "==48879]|[{Origin: i} {Extcomms: [discard]}]"},
    {"IPv6: ICMPv6 type; drop", "vrf default ipv6 2001:db8:2::/48;*;IP:=58;IT:=128; drop",
     "match destination 2001:db8:2::/48 protocol 58 icmp-type ==128 then discard",
     "match { destination 2001:db8:2::/48/0; next-header =58; icmp-type =128; } "
     "then { discard; }",
     "flow destination-ipv6 2001:db8:2::/48/0 next-header =unknown protocol type 58 "
     "icmp-type =unknown icmp type type 128 origin igp as-path [ 65004 ] "
     "extended-community rate-limit:0",
     "[destination: 2001:db8:2::/48/0][protocol: ==58][icmp-type: ==128]|[{Origin: i} "
     "{Extcomms: [discard]}]"},
    {"source port; redirect to the VRF of a 2-byte-AS route target",
     "vrf default ipv4 10.0.6.0/24;*;SP:>=1024; redirect vrf 5",
     "match destination 10.0.6.0/24 source-port >=1024 then redirect 65000:100",
     "match { destination 10.0.6.0/24; source-port >=1024; } then { redirect "
     "65000:100; }",
     "flow destination-ipv4 10.0.6.0/24 source-port >=1024 origin igp as-path [ 65004 "
     "] "
     "extended-community redirect:65000:100",
     "[destination: 10.0.6.0/24][source-port: >=1024]|[{Origin: i} {Extcomms: "
     "[redirect: "
     "65000:100]}]"},
    // RFC 8955 section 7.4 defines this form: "0x81, 0x08 ... 4-octet IPv4
    // address, 2-octet local administrator value". ExaBGP does not know it:
    // its configuration refuses "redirect 10.1.1.1:200" ("this format has
    // been deprecated as it does not make sense and it is not supported by
    // other vendors"), and it shows our community as a bare number.
    {"redirect to the VRF of an IPv4 route target",
     "vrf default ipv4 10.0.7.0/24;*; redirect vrf 6",
     "match destination 10.0.7.0/24 then redirect 10.1.1.1:200", "",
     "flow destination-ipv4 10.0.7.0/24 origin igp as-path [ 65004 ] "
     "extended-community "
     "0x81080A01010100C8",
     "[destination: 10.0.7.0/24]|[{Origin: i} {Extcomms: [redirect: 10.1.1.1:200]}]"},
    // RFC 8955 section 7.4: "0x82, 0x08 ... 4-octet AS-number, 2-octet local
    // administrator value". GoBGP's command writes 4200000000:300 in the
    // 2-byte-AS form 0x80 with AS 65535, a route target we do not know, so
    // we take no redirect and read what remains: no action, RFC 8955
    // section 7's default of accepting the traffic. GoBGP reads our 0x82
    // community right and shows the AS in the dotted form of RFC 5396
    // (64086.59904 is 4200000000). ExaBGP fails on the form both ways: its
    // configuration parser and its decoder of our message stop with
    // "maximum recursion depth exceeded".
    {"redirect to the VRF of a 4-byte-AS route target",
     "vrf default ipv4 10.0.8.0/24;*; redirect vrf 7",
     "match destination 10.0.8.0/24 then redirect 4200000000:300", "",
     "!maximum recursion depth exceeded",
     "[destination: 10.0.8.0/24]|[{Origin: i} {Extcomms: [redirect: 64086.59904:300]}]", 0,
     "vrf default ipv4 10.0.8.0/24;*; permit"},
    // Redirect to an IP address is not in RFC 8955; ExaBGP speaks both
    // forms of the IDR drafts: it writes the next hop of the UPDATE with the
    // community 08 00 (ours reads it), and reads our 01 0c with the address
    // in the community. GoBGP has no redirect-to-IP action: it shows the
    // community as a bare IPv4-address-specific one.
    {"redirect to an IPv4 address", "vrf default ipv4 10.0.9.0/24;*; redirect 192.0.2.1", "",
     "match { destination 10.0.9.0/24; } then { redirect 192.0.2.1; }",
     "flow destination-ipv4 10.0.9.0/24 origin igp as-path [ 65004 ] "
     "extended-community "
     "redirect-to-nexthop-ietf 192.0.2.1",
     "[destination: 10.0.9.0/24]|[{Origin: i} {Extcomms: [192.0.2.1:0]}]"},
    {"redirect a copy to an IPv4 address",
     "vrf default ipv4 10.0.10.0/24;*; redirect 192.0.2.1 copy", "",
     "match { destination 10.0.10.0/24; } then { copy 192.0.2.1; }",
     "flow destination-ipv4 10.0.10.0/24 origin igp as-path [ 65004 ] "
     "extended-community "
     "copy-to-nexthop-ietf 192.0.2.1 (with copy)",
     "[destination: 10.0.10.0/24]|[{Origin: i} {Extcomms: [192.0.2.1:1]}]"},
    // The IPv6 form travels in RFC 5701's IPv6 address specific extended
    // communities (community 000c). ExaBGP writes and reads it; GoBGP shows
    // it as a bare IPv6-address-specific community.
    {"IPv6: redirect to an IPv6 address",
     "vrf default ipv6 2001:db8:3::/48;*; redirect 2001:db8::1", "",
     "match { destination 2001:db8:3::/48/0; } then { redirect-to-nexthop-ietf "
     "2001:db8::1; }",
     "flow destination-ipv6 2001:db8:3::/48/0 origin igp as-path [ 65004 ] attribute [ "
     "0x19 0xC0 redirect-to-nexthop-ietf 2001:db8::1 ]",
     "[destination: 2001:db8:3::/48/0]|[{Origin: i} {Extcomms: [2001:db8::1:0]}]"},
    {"destination port; accept", "vrf default ipv4 10.0.11.0/24;*;DP:=53; permit",
     "match destination 10.0.11.0/24 destination-port ==53 then accept",
     "match { destination 10.0.11.0/24; destination-port =53; } then { accept; }",
     "flow destination-ipv4 10.0.11.0/24 destination-port =53 origin igp as-path [ "
     "65004 ]",
     "[destination: 10.0.11.0/24][destination-port: ==53]|[{Origin: i}]"},
    // RFC 8955 section 7.1 adds traffic-rate-packets (0x800c) to RFC 5575's
    // rate in bytes. Neither peer can say it, and neither reads it: ExaBGP
    // and GoBGP show the community as a bare number.
    {"rate in packets a second", "vrf default ipv4 10.0.13.0/24;*;IP:=17; rate 100", "", "",
     "flow destination-ipv4 10.0.13.0/24 protocol =udp origin igp as-path [ 65004 ] "
     "extended-community 0x800C000042C80000",
     "[destination: 10.0.13.0/24][protocol: ==udp]|[{Origin: i} {Extcomms: "
     "[3377700840931328]}]",
     0, "", true},
    {"VPN (SAFI 134), route distinguisher 65000:1; drop",
     "vrf default ipv4 10.0.12.0/24;*;IP:=17; drop",
     "rd 65000:1 match destination 10.0.12.0/24 protocol udp then discard",
     "rd 65000:1; match { destination 10.0.12.0/24; protocol =udp; } then { discard; }",
     "flow destination-ipv4 10.0.12.0/24 protocol =udp rd 65000:1 origin igp as-path "
     "[ 65004 ] extended-community rate-limit:0",
     "[rd: 65000:1][destination: 10.0.12.0/24][protocol: ==udp]|[{Origin: i} "
     "{Extcomms: "
     "[discard]}]",
     0x0000fde800000001},
};

// The VRFs the corpus redirects to, by route target (RFC 8955 section 7.4).
RouteTargetVrfs const routeTargets = {
    {{RouteTarget::Form::as2, 65000, 100}, 5},
    {{RouteTarget::Form::ipv4, 0x0a010101, 200}, 6},
    {{RouteTarget::Form::as4, 4200000000u, 300}, 7},
};

std::string join(std::vector<std::string> const& lines) {
   std::string s;
   for (auto const& l : lines)
      s += l + "\n";
   return s;
}

// The rules of the corpus as a rule file reads them, in corpus order, or
// as we read what GoBGP writes.
std::vector<FlowspecTool::RuleLine> corpusRules(bool asGobgpWrites = false) {
   std::string text;
   for (CorpusRule const& r : corpus)
      text += std::string(asGobgpWrites && *r.gobgpReads ? r.gobgpReads : r.line) + "\n";
   FlowspecTool::RuleFile file = FlowspecTool::readRuleFile(text, "corpus");
   EXPECT_EQ(join(file.errors), "");
   return file.rules;
}

RuleActions actionsOf(FlowspecTool::RuleLine const& l) {
   RuleActions a;
   a.actionFieldSet = l.actionFieldSet;
   a.trafficRateLimit = l.trafficRateLimit;
   a.trafficAction = l.trafficAction;
   a.trafficRedirect = l.trafficRedirect;
   a.trafficMarkingDscp = l.trafficMarkingDscp;
   return a;
}

FlowspecRoute routeOf(FlowspecTool::RuleLine const& l, CorpusRule const& row) {
   FlowspecRoute r;
   r.key = l.key;
   r.key.vrfIdIs(Vrf::VrfIdMap::noVrfId);
   r.actions = actionsOf(l);
   if (row.packets) r.actions.rateUnit = RateUnit::packets;
   if (row.rd) {
      r.safi = safiFlowspecVpn;
      r.routeDistinguisher = row.rd;
   }
   return r;
}

// The gobgp family of a row.
std::string gobgpFamily(CorpusRule const& row) {
   if (row.rd) return "ipv4-l3vpn-flowspec";
   return std::string(row.line).find(" ipv6 ") != std::string::npos ? "ipv6-flowspec"
                                                                    : "ipv4-flowspec";
}

// ---- the lab: a collecting gobgpd and the speakers around it -------------------

std::string userName() {
   passwd const* pw = ::getpwuid(::getuid());
   return pw ? pw->pw_name : "root";
}

std::string gobgpNeighbor(std::string const& address, unsigned as, bool passive, int remotePort = 0,
                          std::string const& local = "") {
   std::string s = "[[neighbors]]\n  [neighbors.config]\n    neighbor-address = \"" + address +
                   "\"\n    peer-as = " + std::to_string(as) + "\n";
   s += "  [neighbors.timers.config]\n    connect-retry = 1\n";
   s += "  [neighbors.transport.config]\n";
   if (passive) s += "    passive-mode = true\n";
   if (remotePort) s += "    remote-port = " + std::to_string(remotePort) + "\n";
   if (!local.empty()) s += "    local-address = \"" + local + "\"\n";
   for (char const* f : {"ipv4-flowspec", "ipv6-flowspec", "l3vpn-ipv4-flowspec"}) {
      s += "  [[neighbors.afi-safis]]\n    [neighbors.afi-safis.config]\n"
           "      afi-safi-name = \"" +
           std::string(f) + "\"\n";
   }
   return s;
}

class Lab {
 public:
   Lab() {
      collectorPort_ = Interop::freePort("127.0.0.1");
      collectorApi_ = Interop::freePort("127.0.0.1");
      originApi_ = Interop::freePort("127.0.0.1");
      // The collector: every peer passive, an MRT file of what it receives.
      // The file name is relative (the daemon runs in the scratch directory)
      // and free of digits: gobgpd formats it as a time layout.
      dir_.write(
          "collector.toml",
          "[global.config]\n  as = 65002\n  router-id = \"10.0.0.2\"\n  port = " +
              std::to_string(collectorPort_) + "\n  local-address-list = [\"127.0.0.1\"]\n\n" +
              gobgpNeighbor("127.0.0.2", 65001, true) + gobgpNeighbor("127.0.0.3", 65003, true) +
              gobgpNeighbor("127.0.0.4", 65004, true) +
              "[[mrt-dump]]\n  [mrt-dump.config]\n    dump-type = \"updates\"\n"
              "    file-name = \"updates.mrt\"\n");
      dir_.write("origin.toml",
                 "[global.config]\n  as = 65001\n  router-id = "
                 "\"10.0.0.1\"\n  port = -1\n\n" +
                     gobgpNeighbor("127.0.0.1", 65002, false, collectorPort_, "127.0.0.2"));
      std::string routes;
      int n = 0;
      for (CorpusRule const& r : corpus) {
         if (*r.exabgp) routes += "    route r" + std::to_string(n++) + " { " + r.exabgp + " }\n";
      }
      dir_.write("exabgp.conf",
                 "neighbor 127.0.0.1 {\n  router-id 10.0.0.3;\n  local-address 127.0.0.3;\n"
                 "  local-as 65003;\n  peer-as 65002;\n  connect " +
                     std::to_string(collectorPort_) +
                     ";\n  group-updates false;\n"
                     "  family {\n    ipv4 flow;\n    ipv6 flow;\n    ipv4 flow-vpn;\n  }\n"
                     "  flow {\n" +
                     routes + "  }\n}\n");
      std::string const gobgpd = Interop::findProgram("gobgpd");
      collector_ = std::make_unique<Interop::Daemon>(
          std::vector<std::string>{gobgpd, "-f", dir_.file("collector.toml"), "-p",
                                   "--pprof-disable", "--api-hosts",
                                   "127.0.0.1:" + std::to_string(collectorApi_)},
          dir_.path(), dir_.file("collector.log"));
      origin_ = std::make_unique<Interop::Daemon>(
          std::vector<std::string>{gobgpd, "-f", dir_.file("origin.toml"), "-p", "--pprof-disable",
                                   "--api-hosts", "127.0.0.1:" + std::to_string(originApi_)},
          dir_.path(), dir_.file("origin.log"));
      exabgp_ = std::make_unique<Interop::Daemon>(
          std::vector<std::string>{Interop::findProgram("exabgp"), dir_.file("exabgp.conf")},
          dir_.path(), dir_.file("exabgp.log"),
          std::vector<std::string>{"exabgp.daemon.user=" + userName(),
                                   "exabgp.log.destination=stdout",
                                   "exabgp.daemon.daemonize=false"});
   }

   Interop::TempDir const& dir() const { return dir_; }
   int collectorPort() const { return collectorPort_; }

   Interop::RunResult gobgp(bool collector, std::vector<std::string> args) {
      std::vector<std::string> argv{Interop::findProgram("gobgp"), "-p",
                                    std::to_string(collector ? collectorApi_ : originApi_)};
      argv.insert(argv.end(), args.begin(), args.end());
      return Interop::run(argv, 20s);
   }

   /// Whether the collector's session with `peer` is established.
   bool established(std::string const& peer) {
      Interop::RunResult const r = gobgp(true, {"neighbor", peer});
      return r.status == 0 && r.out.find("BGP state = ESTABLISHED") != std::string::npos;
   }

   /// The flowspec routes the collector recorded from `peer`, by key text.
   std::map<std::string, FlowspecRoute> recorded(std::string const& peer,
                                                 std::vector<std::string>& problems) {
      std::map<std::string, FlowspecRoute> routes;
      Interop::readFile(dir_.file("updates.mrt")).swap(mrt_);
      UpdateOptions o;
      o.routeTargets = routeTargets;
      walkMrt(mrt_, o, [&](MrtUpdate const& u) {
         if (u.peerAddress.stringValue() != peer) return;
         for (auto const& p : u.contents.problems)
            problems.push_back("offset " + std::to_string(p.offset) + ": " + p.reason);
         for (auto const& r : u.contents.announced)
            routes[r.key.toStrepCli().str()] = r;
      });
      return routes;
   }

   std::string logs() const {
      return "--- collector\n" + collector_->logTail() + "--- origin\n" + origin_->logTail() +
             "--- exabgp\n" + exabgp_->logTail();
   }

 private:
   Interop::TempDir dir_;
   int collectorPort_ = 0, collectorApi_ = 0, originApi_ = 0;
   std::unique_ptr<Interop::Daemon> collector_, origin_, exabgp_;
   std::vector<std::uint8_t> mrt_;
};

class WireInterop : public ::testing::Test {
 protected:
   static void TearDownTestSuite() { lab_.reset(); }
   // The lab, started by the first test that needs it.
   static Lab& lab() {
      if (!lab_) lab_ = std::make_unique<Lab>();
      return *lab_;
   }
   static std::unique_ptr<Lab> lab_;
};
std::unique_ptr<Lab> WireInterop::lab_;

#define REQUIRE_PEERS() INTEROP_REQUIRE_PROGRAMS("gobgpd", "gobgp", "exabgp")

// ---- they encode, we decode ------------------------------------------------------

void expectRecorded(std::map<std::string, FlowspecRoute> const& got,
                    std::vector<std::size_t> const& rows, bool gobgp) {
   std::vector<FlowspecTool::RuleLine> const rules = corpusRules(gobgp);
   for (std::size_t i : rows) {
      SCOPED_TRACE(corpus[i].description);
      std::string const key = rules[i].key.toStrepCli().str();
      auto it = got.find(key);
      if (it == got.end()) {
         std::string seen;
         for (auto const& [k, r] : got)
            seen += "\n  " + k;
         ADD_FAILURE() << "not recorded: " << key << "\nrecorded:" << seen;
         continue;
      }
      FlowspecRoute const want = routeOf(rules[i], corpus[i]);
      EXPECT_EQ(it->second.key.addressFamily(), want.key.addressFamily());
      EXPECT_EQ(int(it->second.safi), int(want.safi));
      EXPECT_EQ(it->second.routeDistinguisher, want.routeDistinguisher);
      EXPECT_TRUE(it->second.actions == want.actions) << corpus[i].line;
   }
}

TEST_F(WireInterop, GobgpEncodesWeDecode) {
   REQUIRE_PEERS();
   Lab& l = lab();
   ASSERT_TRUE(::Interop::waitFor([&] { return l.established("127.0.0.2"); }, 40s)) << l.logs();
   std::vector<std::size_t> rows;
   for (std::size_t i = 0; i < corpus.size(); ++i) {
      if (!*corpus[i].gobgp) continue;
      rows.push_back(i);
      std::vector<std::string> args{"global", "rib", "-a", gobgpFamily(corpus[i]), "add"};
      std::istringstream words(corpus[i].gobgp);
      for (std::string w; words >> w;)
         args.push_back(w);
      auto const r = l.gobgp(false, args);
      ASSERT_EQ(r.status, 0) << corpus[i].gobgp << "\n" << r.out;
   }
   std::vector<std::string> problems;
   std::map<std::string, FlowspecRoute> got;
   ::Interop::waitFor(
       [&] {
          problems.clear();
          got = l.recorded("127.0.0.2", problems);
          return got.size() >= rows.size();
       },
       30s);
   EXPECT_EQ(join(problems), "");
   expectRecorded(got, rows, true);
}

TEST_F(WireInterop, ExabgpEncodesWeDecode) {
   REQUIRE_PEERS();
   Lab& l = lab();
   std::vector<std::size_t> rows;
   for (std::size_t i = 0; i < corpus.size(); ++i)
      if (*corpus[i].exabgp) rows.push_back(i);
   std::vector<std::string> problems;
   std::map<std::string, FlowspecRoute> got;
   bool const all = ::Interop::waitFor(
       [&] {
          problems.clear();
          got = l.recorded("127.0.0.3", problems);
          return got.size() >= rows.size();
       },
       40s);
   EXPECT_TRUE(all) << l.logs();
   EXPECT_EQ(join(problems), "");
   expectRecorded(got, rows, false);
}

// ---- we encode, they decode
// ----------------------------------------------------------

// Our UPDATE for one corpus row.
std::vector<std::uint8_t> ourUpdate(std::size_t row) {
   std::vector<FlowspecRoute> const routes{routeOf(corpusRules()[row], corpus[row])};
   UpdateBuildOptions o;
   o.localAs = 65004;
   o.routeTargets = routeTargets;
   UpdateBuild const b = buildUpdates(routes, {}, o);
   EXPECT_EQ(b.error, "");
   EXPECT_EQ(b.messages.size(), 1u);
   return b.messages.empty() ? std::vector<std::uint8_t>{} : b.messages[0];
}

TEST_F(WireInterop, WeEncodeExabgpDecodes) {
   REQUIRE_PEERS();
   ::Interop::TempDir dir;
   dir.write("decode.conf", "neighbor 127.0.0.1 {\n  router-id 10.0.0.5;\n"
                            "  local-address 127.0.0.1;\n  local-as 65005;\n"
                            "  peer-as 65005;\n  family {\n    ipv4 flow;\n"
                            "    ipv6 flow;\n    ipv4 flow-vpn;\n  }\n}\n");
   for (std::size_t i = 0; i < corpus.size(); ++i) {
      SCOPED_TRACE(corpus[i].description);
      std::vector<std::uint8_t> const m = ourUpdate(i);
      auto const r = ::Interop::run({::Interop::findProgram("exabgp"), dir.file("decode.conf"),
                                     "--decode", ::Interop::hex(m)},
                                    30s, dir.path());
      std::size_t const at = r.out.find("decoded update ");
      std::string const expected = corpus[i].exabgpShows;
      if (expected[0] == '!') {
         // ExaBGP fails on this message: the row says how.
         EXPECT_EQ(at, std::string::npos) << r.out;
         EXPECT_NE(r.out.find(expected.substr(1)), std::string::npos) << r.out;
         continue;
      }
      if (at == std::string::npos) {
         ADD_FAILURE() << "ExaBGP decoded nothing:\n" << r.out;
         continue;
      }
      std::size_t const text = r.out.find(' ', at + 15) + 1;
      std::string const shown = r.out.substr(text, r.out.find('\n', text) - text);
      EXPECT_EQ(shown, corpus[i].exabgpShows) << ::Interop::hex(m);
   }
}

TEST_F(WireInterop, WeEncodeGobgpDecodes) {
   REQUIRE_PEERS();
   Lab& l = lab();
   ::Interop::BgpSpeaker us;
   ASSERT_EQ(us.open("127.0.0.4", "127.0.0.1", l.collectorPort(), 65004, 40s), "") << l.logs();
   std::map<std::string, std::size_t> sent; // rows by gobgp family
   for (std::size_t i = 0; i < corpus.size(); ++i) {
      ASSERT_TRUE(us.send(ourUpdate(i)));
      ++sent[gobgpFamily(corpus[i])];
   }
   // What the collector shows of our routes, one line a route.
   auto const shown = [&] {
      std::vector<std::string> lines;
      for (auto const& [family, n] : sent) {
         std::istringstream out(
             l.gobgp(true, {"neighbor", "127.0.0.4", "adj-in", "-a", family}).out);
         for (std::string line; std::getline(out, line);)
            if (line.find("[destination") != std::string::npos) lines.push_back(line);
      }
      return lines;
   };
   std::vector<std::string> lines;
   ::Interop::waitFor(
       [&] {
          lines = shown();
          return lines.size() >= corpus.size();
       },
       20s);
   for (std::size_t i = 0; i < corpus.size(); ++i) {
      SCOPED_TRACE(corpus[i].description);
      std::string const expected = corpus[i].gobgpShows;
      std::string const network = expected.substr(0, expected.find('|'));
      std::string const attributes = expected.substr(expected.find('|') + 1);
      bool found = false;
      for (auto const& line : lines) {
         found = found || (line.find(network + " ") != std::string::npos &&
                           line.find(attributes) != std::string::npos);
      }
      EXPECT_TRUE(found) << expected << "\nnot in:\n" << join(lines);
   }
}

} // namespace
} // namespace Flowspec
