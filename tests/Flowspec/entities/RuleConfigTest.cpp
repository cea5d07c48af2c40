#include "Flowspec/entities/RuleConfig.h"
#include "Flowspec/entities/Config.h"
#include "Flowspec/entities/Counter.h"
#include "Flowspec/entities/Status.h"

#include "EntityTestUtil.h"
#include "Flowspec/module/Factories.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <sstream>
#include <string>
#include <vector>

using namespace Flowspec;
using T = MatchCompType;
using namespace EntityTest;
using Ranges = std::vector<std::pair<unsigned, unsigned>>;

namespace {

MatchComponent ranges(T type, Ranges const& rs) {
   MatchComponent c(type);
   for (auto [lo, hi] : rs)
      c.numericalRangeIs(NumericalRange(lo, hi), true);
   return c;
}

MatchComponent prefix(char const* text) {
   MatchComponent c(T::destPrefix);
   c.prefixIs(Ipkit::IpGenPrefix(Vex::String(text)));
   return c;
}

MatchComponent tcpFlags() {
   MatchComponent c(T::tcpFlags);
   c.tcpBitMaskIs(TcpBitMask(0x2, 0x2), true);
   return c;
}

} // namespace

TEST(Entities, SettersAreSilentOnEqualAndTellOnceAfterTheStore) {
   Calls log;
   auto rc = RuleConfig::RuleConfigIs(key("10.1.0.0/16;*;"));
   auto ir = InfeasibleRule::InfeasibleRuleIs(key("10.1.0.0/16;*;IP:=6;"));
   auto rs = RuleStatus::RuleStatusIs(key("10.0.0.0/8;*;"));
   auto st = Status::StatusIs("status");
   auto cfg = Config::ConfigIs("flowspec");
   auto cli = CliConfig::CliConfigIs("cli");
   auto counter = Counter::CounterIs("counter");
   RuleConfigRec rcRec(log, rc);
   InfeasibleRec irRec(log, ir);
   RuleStatusRec rsRec(log, rs);
   StatusRec stRec(log, st);
   ConfigRec cfgRec(log, cfg);
   CliConfigRec cliRec(log, cli);
   CounterRec counterRec(log, counter);
   EXPECT_EQ(st->counterUpdateTime() + counter->timestamp(), 0.0);
   EXPECT_FALSE(st->flowspecSupported() || cfg->enabledIntfAll());

   ActionFieldSet actions;
   actions.valueIs(0x22);
   TrafficAction action;
   action.valueIs(2);
   Pbr::ResolvedNexthopInfo info;
   info.viaActiveIs(Pbr::Via(Ipkit::IpGenAddr(Vex::String("10.0.0.2")), intf("Ethernet1"), 1));
   auto const noVrf = TrafficRedirect(0xffffff, Ipkit::IpGenAddr(), false);
   auto const notProcessed = Vex::String(std::string("Not ") + "processed"); // own object
   struct Row {
      std::function<void(bool)> set; // false: the initial value again; true: another
      char const* heard;             // once, after the first store of another value
   };
   // clang-format off
   Row const rows[] = {
      {[&](bool b) { rc->ruleIdIs(b ? 7 : 0); }, "onRuleId=7"},
      {[&](bool b) { rc->actionFieldSetIs(b ? actions : ActionFieldSet()); }, "onActionFieldSet=34"},
      {[&](bool b) { rc->trafficRateLimitIs(b ? 1.5f : -0.0f); }, "onTrafficRateLimit=1.5"}, // -0.0 == 0.0
      {[&](bool b) { rc->trafficActionIs(b ? action : TrafficAction()); }, "onTrafficAction=2"},
      {[&](bool b) { rc->trafficRedirectIs(b ? TrafficRedirect(5, Ipkit::IpGenAddr(), false) : noVrf); }, "onTrafficRedirect=5"},
      {[&](bool b) { rc->trafficMarkingDscpIs(Ipkit::IpTos(b ? 46 : 0)); }, "onTrafficMarkingDscp=46"},
      {[&](bool b) { ir->ruleIdIs(b ? 12 : 0); }, "onRuleId=12"},
      {[&](bool b) { ir->matchCompTypeIs(b ? T::tcpFlags : T::invalid); }, "onMatchCompType=9"},
      {[&](bool b) { rs->statusCodeIs(b ? HwRuleProgrammingStatus::programmed : HwRuleProgrammingStatus::unprocessed); }, "onStatusCode=1"},
      {[&](bool b) { rs->errorReasonIs(b ? Vex::String("") : notProcessed); }, "onErrorReason="},
      {[&](bool b) { rs->packetCountIs(b ? std::uint64_t(1) << 32 : 0); }, "onPacketCount=4294967296"}, // upper half only
      {[&](bool b) { rs->versionIs(b ? Kiln::UniqueId(0xab, 3) : Kiln::UniqueId()); }, "onVersion=00000000000000ab.3"},
      {[&](bool b) { rs->resolvedNexthopInfoIs(b ? info : Pbr::ResolvedNexthopInfo(Pbr::NexthopSet())); }, "onResolvedNexthopInfo=1"},
      {[&](bool b) { st->counterUpdateTimeIs(b ? 12.5 : -0.0); }, "onCounterUpdateTime=12.5"},
      {[&](bool b) { st->flowspecSupportedIs(b); }, "onFlowspecSupported=1"},
      {[&](bool b) { cfg->enabledIntfAllIs(b); }, "onEnabledIntfAll=1"},
      {[&](bool b) { cli->counterUpdateRequestTimeIs(b ? 12.5 : 0.0); }, "onCounterUpdateRequestTime=12.5"},
      {[&](bool b) { counter->timestampIs(b ? 1.5 : 0.0); }, "onTimestamp=1.5"},
   };
   // clang-format on
   for (auto const& row : rows) {
      SCOPED_TRACE(row.heard);
      row.set(false);
      EXPECT_EQ(log, Calls{});
      row.set(true);
      row.set(true);
      EXPECT_EQ(log, Calls{row.heard});
      log.clear();
   }
   EXPECT_EQ(rc->matchSetSize(), 0u);
   rc->trafficRateLimitIs(NAN); // NaN never equals itself: each store is a change
   rc->trafficRateLimitIs(NAN);
   info.viaActiveIs(Pbr::Via(Ipkit::IpGenAddr(Vex::String("10.0.0.3")), intf("Ethernet1"), 1));
   rs->resolvedNexthopInfoIs(info);
   EXPECT_EQ(
       log, (Calls{"onTrafficRateLimit=nan", "onTrafficRateLimit=nan", "onResolvedNexthopInfo=2"}));
}

TEST(RuleConfig, MatchSetMembersAreKeyedByTheirType) {
   auto rule = RuleConfig::RuleConfigIs(key("10.1.0.0/16;*;"));
   RuleConfigRec rec(rule);
   rule->matchSetIs(ranges(T::ipProto, {{6, 6}}));
   rule->matchSetIs(ranges(T::ipProto, {{6, 6}}));   // equal: silent
   rule->matchSetIs(ranges(T::ipProto, {{17, 17}})); // same type: overwritten
   EXPECT_EQ(rule->matchSetSize(), 1u);
   MatchComponent const udp = ranges(T::ipProto, {{17, 17}}), dscp = ranges(T::dscp, {{4, 4}});
   rule->matchSetIs(udp); // a copy: equal, silent
   rule->matchSetIs(dscp);
   MatchComponent const* const stored = rule->matchSetFind(T::ipProto);
   ASSERT_NE(stored, nullptr);
   EXPECT_EQ(*stored, udp);
   EXPECT_EQ(rule->matchSetFind(T::icmpType), nullptr);
   EXPECT_EQ(udp, ranges(T::ipProto, {{17, 17}})) << "the copied component is left alone";
   rule->matchSetDel(T::dscp);
   EXPECT_EQ(rule->matchSet(T::ipProto), ranges(T::ipProto, {{17, 17}}));
   EXPECT_EQ(rule->matchSet(T::icmpType), MatchComponent(T::invalid));
   EXPECT_EQ(rule->matchSetDel(T::icmpType), MatchComponent(T::invalid)); // silent
   rule->matchSetNotify(T::dscp); // re-announces, present or not
   EXPECT_EQ(rule->matchSetDel(T::ipProto), ranges(T::ipProto, {{17, 17}}));
   EXPECT_FALSE(rule->matchSetHas(T::ipProto));
   EXPECT_EQ(rec.calls, (Calls{"onMatchSet(3)", "onMatchSet(3)", "onMatchSet(11)", "onMatchSet(11)",
                               "onMatchSet(11)", "onMatchSet(3)"}));
}

TEST(RuleConfig, MatchSetDeletionWalksInTypeOrder) {
   auto rule = RuleConfig::RuleConfigIs(key("10.1.0.0/16;*;"));
   auto fill = [&] {
      rule->matchSetIs(ranges(T::ipProto, {{1, 1}}));
      rule->matchSetIs(prefix("10.0.0.0/8"));
      rule->matchSetIs(ranges(T::icmpType, {{8, 8}}));
   };
   fill();
   RuleConfigRec rec(rule);
   rule->matchSetDelAll();
   EXPECT_EQ(rec.calls, (Calls{"onMatchSet(1)", "onMatchSet(3)", "onMatchSet(7)"}));
   EXPECT_EQ(rule->matchSetSize(), 0u);

   fill(); // deleting the member a walk stands on leaves the walk going
   rec.calls.clear();
   Calls visited;
   for (auto i = rule->matchSetIteratorConst(); i; ++i) {
      visited.push_back(stringValue(i.key()).str());
      if (i.key() == T::ipProto) {
         EXPECT_EQ(rule->matchSetDel(i), ranges(T::ipProto, {{1, 1}}));
      }
   }
   EXPECT_EQ(visited, (Calls{"destPrefix", "ipProto", "icmpType"}));
   EXPECT_EQ(rec.calls, Calls{"onMatchSet(3)"});
   EXPECT_EQ(rule->matchSetSize(), 2u);
}

TEST(RuleConfig, IpProtoContainsOneOfTheListedProtocols) {
   auto rule = RuleConfig::RuleConfigIs(key("10.1.0.0/16;*;"));
   Vex::Ptr<RuleConfig const> const view = rule;
   std::vector<Ipkit::IpProtocolNumber> none, gre{Ipkit::IpProtocolNumber(47)},
       tcpUdp{Ipkit::IpProtocolNumber(6), Ipkit::IpProtocolNumber(17)};
   EXPECT_TRUE(ruleConfigIpProtoContains(view, none)) << "empty match set";
   rule->matchSetIs(ranges(T::destPort, {{80, 80}}));
   EXPECT_TRUE(ruleConfigIpProtoContains(view, none)) << "no ipProto component";
   rule->matchSetIs(ranges(T::ipProto, {{1, 1}, {10, 20}}));
   EXPECT_TRUE(ruleConfigIpProtoContains(view, tcpUdp));
   EXPECT_FALSE(ruleConfigIpProtoContains(view, gre));
   EXPECT_FALSE(ruleConfigIpProtoContains(view, none));
   rule->matchSetIs(MatchComponent(T::ipProto));
   EXPECT_FALSE(ruleConfigIpProtoContains(view, tcpUdp)) << "ipProto without ranges";
}

TEST(RuleConfig, FeasibilityAndSanitising) {
   auto const v4 = Ipkit::ipv4, v6 = Ipkit::ipv6;
   auto const proto = [](Ranges r) { return ranges(T::ipProto, r); };
   auto const dport = ranges(T::destPort, {{80, 80}}), sport = ranges(T::srcPort, {{53, 53}});
   auto const port = ranges(T::port, {{443, 443}}), code = ranges(T::icmpCode, {{0, 0}});
   auto const icmp = ranges(T::icmpType, {{8, 8}});
   Calls const none, told{"onMatchSet(3)"};
   MatchComponent tcpOff(T::ipProto), tcpMasked = proto({{6, 6}});
   tcpOff.numericalRangeIs(NumericalRange(6, 6), false);
   tcpMasked.tcpBitMaskIs(TcpBitMask(0x2, 0x2), true);
   struct Case {
      char const* what;
      Ipkit::AddressFamily af;
      std::vector<MatchComponent> match;
      T blame;
      Ranges protoAfter; // the ipProto ranges after sanitising; none: no component
      Calls heard;       // while sanitising
   };
   // clang-format off
   Case const cases[] = {
      {"empty match set", v4, {}, T::invalid, {}, none},
      {"only a destination prefix", v4, {prefix("10.0.0.0/8")}, T::invalid, {}, none},
      {"TCP flags where only UDP is possible", v4, {proto({{17, 17}}), tcpFlags()}, T::tcpFlags, {}, none},
      {"TCP flags with ICMP code: TCP is checked first", v4, {tcpFlags(), code}, T::tcpFlags, {}, none},
      {"TCP flags alone gain TCP", v4, {tcpFlags()}, T::invalid, {{6, 6}}, told},
      {"TCP flags within a protocol range", v4, {proto({{1, 10}}), tcpFlags()}, T::invalid, {{6, 6}}, told},
      {"TCP flags and ports end with TCP only", v4, {dport, tcpFlags()}, T::invalid, {{6, 6}}, told},
      {"TCP flags with TCP already: silent", v4, {proto({{6, 6}}), dport, tcpFlags()}, T::invalid, {{6, 6}}, none},
      {"TCP flags with TCP flagged false", v4, {tcpOff, tcpFlags()}, T::invalid, {{6, 6}}, told},
      {"TCP flags with TCP beside a mask", v4, {tcpMasked, tcpFlags()}, T::invalid, {{6, 6}}, told},
      {"destination port with ICMP type blames the type", v4, {dport, icmp}, T::icmpType, {}, none},
      {"source port with ICMP code blames the code", v4, {sport, code}, T::icmpCode, {}, none},
      {"ICMP type and code with a port blame the type", v6, {port, icmp, code}, T::icmpType, {}, none},
      {"ICMP code on IPv4 where only ICMPv6 is possible", v4, {proto({{58, 58}}), code}, T::icmpCode, {}, none},
      {"ICMP code on IPv6 with ICMPv6", v6, {proto({{58, 58}}), code}, T::invalid, {{58, 58}}, none},
      {"ICMP type on IPv6 narrows any protocol", v6, {proto({{0, 255}}), icmp}, T::invalid, {{58, 58}}, told},
      {"ICMP type on IPv4 gains ICMP", v4, {icmp}, T::invalid, {{1, 1}}, told},
      {"an unset family uses ICMP", Ipkit::ipunknown, {proto({{58, 58}}), icmp}, T::icmpType, {}, none},
      {"ports without a protocol gain TCP and UDP", v4, {port}, T::invalid, {{6, 6}, {17, 17}}, told},
      {"ports with any protocol are narrowed", v4, {proto({{0, 255}}), dport}, T::invalid, {{6, 6}, {17, 17}}, told},
      {"source port with TCP stays silent", v4, {proto({{6, 6}}), sport}, T::invalid, {{6, 6}}, none},
      {"port with UDP keeps UDP", v4, {proto({{17, 17}}), port}, T::invalid, {{17, 17}}, none},
      {"source port with GRE", v4, {proto({{47, 47}}), sport}, T::srcPort, {}, none},
      {"ports with GRE blame the first port type", v4, {proto({{47, 47}}), sport, dport}, T::destPort, {}, none},
   };
   // clang-format on
   for (auto const& c : cases) {
      SCOPED_TRACE(c.what);
      auto rule = RuleConfig::RuleConfigIs(key("*;*;", c.af));
      auto expected = RuleConfig::RuleConfigIs(key("*;*;", c.af));
      for (auto const& m : c.match) {
         rule->matchSetIs(m);
         expected->matchSetIs(m);
      }
      if (!c.protoAfter.empty()) expected->matchSetIs(proto(c.protoAfter));
      RuleConfigRec rec(rule);
      EXPECT_EQ(rule->infeasibleMatchInMatchSet(), c.blame);
      EXPECT_EQ(rule->sanitizeMatchSet(), c.blame);
      EXPECT_EQ(rec.calls, c.heard);
      // Only the ipProto component changes, and an infeasible set not at all.
      EXPECT_EQ(rule->matchSetSize(), expected->matchSetSize());
      for (unsigned t = 1; t < numComponentTypes; ++t) {
         EXPECT_EQ(rule->matchSet(T(t)), expected->matchSet(T(t))) << "type " << t;
      }
   }
}

TEST(RuleConfig, StreamOutputAndDump) {
   auto rule = RuleConfig::RuleConfigIs(key("10.1.0.0/16;*;"));
   rule->ruleIdIs(0x1fffffffe); // dumped as the signed low half
   rule->matchSetIs(ranges(T::ipProto, {{6, 6}}));
   rule->matchSetIs(prefix("10.1.0.0/16"));
   ActionFieldSet actions;
   actions.valueIs(0x22);
   rule->actionFieldSetIs(actions);
   std::ostringstream os;
   os << static_cast<RuleConfig const*>(rule.get()) << ' '
      << static_cast<RuleConfig const*>(nullptr);
   EXPECT_EQ(os.str(), "<matchSets=2;actionFieldSet=Value('Flowspec::ActionFieldSet', ** "
                       "{'invalid': False, 'trafficPermit': True, 'trafficDrop': False, "
                       "'trafficRate': False, 'trafficAction': False, 'trafficRedirect': True, "
                       "'trafficMarking': False})> <null>");

   TrafficAction action;
   action.valueIs(2);
   rule->trafficActionIs(action);
   rule->trafficRedirectIs(TrafficRedirect(3, Ipkit::IpGenAddr(Vex::String("10.0.0.1")), true));
   rule->trafficMarkingDscpIs(Ipkit::IpTos(46));
   std::string const text = "ruleKey: 10.1.0.0/16;*;, ruleId: -2\n"
                            "matchSets #2\n"
                            "  compType is 1, prefix is 10.1.0.0/16\n"
                            "  numericalRanges #0\n"
                            "  ipBitMasks #0\n"
                            "  tcpBitMasks #0\n"
                            "  compType is 3, prefix is \n"
                            "  numericalRanges #1\n"
                            "    [ 6, 6 ]\n"
                            "  ipBitMasks #0\n"
                            "  tcpBitMasks #0\n"
                            "actionFieldSet is 34, trafficAction is 2, trafficRedirect is "
                            "(vrf=3, addr=10.0.0.1, copy=1), trafficMarkingDscp is 46\n";
   EXPECT_EQ(dump(*rule, 0), text);
   EXPECT_EQ(dump(*rule, 4), indented(text, 4));
}

TEST(InfeasibleRule, Dump) {
   auto rule = InfeasibleRule::InfeasibleRuleIs(key("10.1.0.0/16;*;IP:=6;"));
   EXPECT_TRUE(rule->hasNotificationActive());
   rule->ruleIdIs(12);
   rule->matchCompTypeIs(T::tcpFlags);
   std::string const text = "ruleKey: 10.1.0.0/16;*;IP:=6;, ruleId: 12\nmatchCompType is 9\n";
   EXPECT_EQ(dump(*rule, 0), text);
   EXPECT_EQ(dump(*rule, 4), indented(text, 4));
}

TEST(RuleConfig, ObserversOfConstAndChangeableRules) {
   auto rule = RuleConfig::RuleConfigIs(key("10.1.0.0/16;*;"));
   Vex::Ptr<RuleConfig const> const view = rule;
   RuleConfigRec watcher, leaver;
   watcher.notifierIs(view);
   EXPECT_EQ(watcher.notifier(), view);
   leaver.notifierIs(rule);
   leaver.detachInCallback = true;
   struct Limiter : RuleConfig::Notifiee { // may change the rule it observes
      void onActionFieldSet() override { notifier()->trafficRateLimitIs(2.5f); }
   } limiter;
   limiter.notifierIs(rule);
   EXPECT_EQ(limiter.notifier(), rule);

   ActionFieldSet actions;
   actions.trafficRateIs(true);
   rule->actionFieldSetIs(actions);
   rule->ruleIdIs(3);
   EXPECT_EQ(watcher.calls, (Calls{"onActionFieldSet=8", "onTrafficRateLimit=2.5", "onRuleId=3"}));
   EXPECT_EQ(leaver.calls, Calls{"onActionFieldSet=8"}) << "detached in its first callback";
   EXPECT_EQ(leaver.notifier(), nullptr);
   EXPECT_EQ(rule->notifieeList().size(), 2u);
}
