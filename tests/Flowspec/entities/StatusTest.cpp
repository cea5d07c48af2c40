#include "Flowspec/entities/Status.h"
#include "Flowspec/entities/Config.h"

#include "EntityTestUtil.h"
#include "Flowspec/module/Factories.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>

using namespace Flowspec;
using namespace EntityTest;
using Code = HwRuleProgrammingStatus;

namespace {

Pbr::Via via(char const* addr, char const* name, std::uint32_t weight) {
   return Pbr::Via(Ipkit::IpGenAddr(Vex::String(addr)), intf(name), weight);
}

UnsupportedQual qual(Ipkit::AddressFamily af, MatchCompType kind, char const* text) {
   UnsupportedQual q(af);
   q.qualIs(kind, text);
   return q;
}

} // namespace

TEST(RuleStatus, DefaultsAndIsProgrammedOnlyWhenProgrammed) {
   auto rs = RuleStatus::RuleStatusIs(key("10.0.0.0/8;*;"));
   EXPECT_EQ(rs->key(), key("10.0.0.0/8;*;"));
   EXPECT_EQ(rs->ruleKey(), rs->key());
   EXPECT_EQ(rs->statusCode(), Code::unprocessed);
   EXPECT_EQ(rs->errorReason(), "Not processed");
   EXPECT_EQ(rs->packetCount(), 0u);
   EXPECT_EQ(rs->version().toStrep(), "0000000000000000.0");
   EXPECT_EQ(rs->resolvedNexthopInfo().nexthopSet().toStrepCli(), "group 0 vrf default");
   EXPECT_EQ(rs->resolvedNexthopInfo().viaActiveSize(), 0u);
   EXPECT_FALSE(rs->isProgrammed());

   RuleStatusRec rec(rs);
   Calls expected;
   for (auto [code, programmed] : {std::pair{Code::programmedWithFailures, true},
                                   {Code::unsupportedAction, false},
                                   {Code::programmed, true},
                                   {Code::unsupportedMatch, false},
                                   {Code::unsupportedTcamProfile, false},
                                   {Code::resourceExhausted, false},
                                   {Code::unprocessed, false}}) {
      rs->statusCodeIs(code);
      EXPECT_EQ(rs->isProgrammed(), programmed) << unsigned(code);
      expected.push_back("onStatusCode=" + std::to_string(unsigned(code)));
   }
   EXPECT_EQ(rec.calls, expected) << "isProgrammed has no callback of its own";
}

TEST(RuleStatus, DumpListsEachActiveVia) {
   auto rs = RuleStatus::RuleStatusIs(key("10.0.0.0/8;*;IP:=6;"));
   rs->statusCodeIs(Code::programmedWithFailures);
   rs->errorReasonIs("partial");
   rs->versionIs(Kiln::UniqueId(0x3f2a9c0d11e8b702, 42));
   Pbr::ResolvedNexthopInfo info(Pbr::NexthopSet(5, true, false, "red", 0));
   info.viaActiveIs(via("10.0.0.2", "Ethernet1", 1));
   info.viaActiveIs(via("2001:db8::1", "Ethernet2", 4294967295));
   rs->resolvedNexthopInfoIs(info);
   // The vias follow the set's own order.
   bool const v4First = info.viaActiveIteratorConst().key().addr().af() == Ipkit::ipv4;
   std::string const v4 = "  10.0.0.2, Ethernet1, 1\n",
                     v6 = "  2001:db8::1, Ethernet2, 4294967295\n";
   std::string const text = "key: 10.0.0.0/8;*;IP:=6;\n"
                            "statusCode 2, errorReason partial, version 3f2a9c0d11e8b702.42\n"
                            "resolvedNexthopInfo nexthopSet: group 5 vrf red recursive\n"
                            "resolvedNexthopInfo viasActive #2\n" +
                            (v4First ? v4 + v6 : v6 + v4);
   EXPECT_EQ(dump(*rs, 0), text);
   EXPECT_EQ(dump(*rs, 4), indented(text, 4));
}

TEST(VrfRuleStatus, WalkDeletingEachRuleAndDeleteAllGoInKeyOrder) {
   auto vrf = VrfRuleStatus::VrfRuleStatusIs(7);
   VrfStatusRec rec(vrf);
   for (auto c : {"10.2.0.0/16;*;", "*;*;", "10.1.0.0/16;*;", "10.2.0.0/16;*;IP:=6;"})
      vrf->ruleStatusIs(key(c));
   rec.calls.clear();
   Calls const order{"10.1.0.0/16;*;", "10.2.0.0/16;*;IP:=6;", "10.2.0.0/16;*;", "*;*;"};
   Calls visited, expected;
   auto i = vrf->ruleStatusIteratorConst();
   for (; i; ++i) {
      visited.push_back(cli(i.key()));
      auto const removed = vrf->ruleStatusDel(i);
      EXPECT_EQ(removed->key(), i.key());
      EXPECT_EQ(removed->parent(), nullptr);
   }
   EXPECT_EQ(vrf->ruleStatusDel(i), nullptr) << "at the end: nothing, silently";
   for (auto const& c : order)
      expected.push_back("onRuleStatus(" + c + ")");
   EXPECT_EQ(visited, order);
   EXPECT_EQ(rec.calls, expected);
   EXPECT_EQ(vrf->ruleStatusSize(), 0u);

   for (auto const& c : order)
      vrf->ruleStatusIs(key(c.c_str()));
   rec.calls.clear();
   vrf->ruleStatusDelAll();
   EXPECT_EQ(rec.calls, expected);
}

TEST(AfIntfColl, InterfaceSet) {
   auto v4 = AfIntfColl::AfIntfCollIs(Ipkit::ipv4);
   IntfRec rec(v4);
   auto const e1 = intf("Ethernet1"), e2 = intf("Ethernet2");
   v4->intfIs(e1);
   v4->intfIs(e1);
   EXPECT_TRUE(v4->intf(e1));
   EXPECT_FALSE(v4->intfDel(e2)) << "absent: silent";
   v4->intfIs(e2);
   EXPECT_TRUE(v4->intfDel(e2));
   EXPECT_FALSE(v4->intf(e2));
   v4->intfNotify(e2);
   EXPECT_EQ(rec.calls, (Calls{"onIntf(Ethernet1)", "onIntf(Ethernet2)", "onIntf(Ethernet2)",
                               "onIntf(Ethernet2)"}));
   v4->intfIs(e2);
   rec.calls.clear();
   v4->intfDelAll();
   EXPECT_EQ(rec.calls.size(), 2u);
   EXPECT_EQ(v4->intfSize(), 0u);
}

TEST(VrfRuleStatus, InterfaceErrorsAreNotDumped) {
   auto vrf = VrfRuleStatus::VrfRuleStatusIs(7);
   VrfStatusRec rec(vrf);
   IntfErrorKey const k4(intf("Ethernet1"), Ipkit::ipv4), k6(intf("Ethernet1"), Ipkit::ipv6);
   EXPECT_EQ(vrf->intfError(k4), "") << "absent";
   EXPECT_EQ(vrf->intfErrorDel(k4), "") << "absent: silent";
   vrf->intfErrorIs(k4, "no TCAM");
   vrf->intfErrorIs(k4, Vex::String(std::string("no ") + "TCAM"));
   vrf->intfErrorIs(k6, "no TCAM");
   vrf->intfErrorIs(k4, "down");
   EXPECT_EQ(vrf->intfError(k4), "down");
   EXPECT_EQ(vrf->intfErrorSize(), 2u);
   EXPECT_EQ(vrf->intfErrorDel(k6), "no TCAM");
   EXPECT_EQ(rec.calls, (Calls{"onIntfError(Ethernet1,ipv4)", "onIntfError(Ethernet1,ipv6)",
                               "onIntfError(Ethernet1,ipv4)", "onIntfError(Ethernet1,ipv6)"}));
   vrf->activeIntfPerAfIs(Ipkit::ipv4)->intfIs(intf("Ethernet1"));
   EXPECT_EQ(dump(*vrf, 0), "vrfId is 7, ruleStatuses #0\n");
   EXPECT_EQ(dump(*VrfRuleStatus::VrfRuleStatusIs(0xffffffff), 2),
             "  vrfId is -1, ruleStatuses #0\n");
}

TEST(VrfRuleStatus, DestructionDeletesFamiliesThenRulesInKeyOrder) {
   auto const before = live<VrfRuleStatus, RuleStatus, AfIntfColl>();
   Calls log;
   VrfStatusRec vrfRec(log);
   RuleStatusRec ruleRec(log);
   IntfRec intfRec(log);
   Vex::Ptr<RuleStatus> rule1, rule2;
   Vex::Ptr<AfIntfColl> v6;
   {
      auto vrf = VrfRuleStatus::VrfRuleStatusIs(7);
      rule2 = vrf->ruleStatusIs(key("10.2.0.0/16;*;"));
      rule1 = vrf->ruleStatusIs(key("10.1.0.0/16;*;"));
      v6 = vrf->activeIntfPerAfIs(Ipkit::ipv6);
      v6->intfIs(intf("Ethernet1"));
      vrf->intfErrorIs(IntfErrorKey(intf("Ethernet1"), Ipkit::ipv6), "down");
      vrfRec.notifierIs(vrf);
      ruleRec.notifierIs(rule1);
      intfRec.notifierIs(v6);
      log.clear();
   }
   EXPECT_EQ(log, (Calls{"onActiveIntfPerAf(ipv6)", "onRuleStatus(10.1.0.0/16;*;)",
                         "onRuleStatus(10.2.0.0/16;*;)"}));
   EXPECT_EQ(vrfRec.notifier(), nullptr);
   EXPECT_EQ(rule1->parent(), nullptr);
   EXPECT_EQ(rule2->parent(), nullptr);
   EXPECT_EQ(v6->parent(), nullptr);
   EXPECT_EQ(ruleRec.notifier(), rule1) << "a child still held keeps its observers";
   rule1 = rule2 = nullptr;
   v6 = nullptr; // its interfaces go silently
   EXPECT_EQ(log.size(), 3u);
   EXPECT_EQ(ruleRec.notifier(), nullptr);
   EXPECT_EQ(intfRec.notifier(), nullptr);
   EXPECT_EQ((live<VrfRuleStatus, RuleStatus, AfIntfColl>()), before);
}

TEST(Status, EmptyDump) {
   auto st = Status::StatusIs("status");
   EXPECT_EQ(st->vrfRuleStatusSize() + st->unsupportedQualSize(), 0u);
   EXPECT_EQ(dump(*st, 0), "FlowspecStatus: vrfRuleStatuses #0\nUnsupported AF quals: #0\n");
}

TEST(Status, UnsupportedQualIsKeyedByItsFamily) {
   Calls log;
   auto st = Status::StatusIs("status");
   StatusRec rec(log, st);
   auto q = qual(Ipkit::ipv6, MatchCompType::flowLabel, "no TCAM field");
   st->unsupportedQualIs(q);
   st->unsupportedQualIs(UnsupportedQual(q));
   st->unsupportedQualIs(st->unsupportedQualIteratorConst().value()); // the stored one itself
   q.qualIs(MatchCompType::tcpFlags, "no TCP flags");
   st->unsupportedQualIs(q);
   EXPECT_EQ(st->unsupportedQualSize(), 1u);
   EXPECT_EQ(st->unsupportedQual(Ipkit::ipv6), q);
   st->unsupportedQualIs(UnsupportedQual(Ipkit::ipv4));
   EXPECT_TRUE(!st->unsupportedQualDel(Ipkit::AddressFamily(9))) << "absent: silent";
   EXPECT_TRUE(!st->unsupportedQual(Ipkit::AddressFamily(9)));
   EXPECT_EQ(st->unsupportedQualDel(Ipkit::ipv6), q);
   EXPECT_FALSE(st->unsupportedQualHas(Ipkit::ipv6));
   st->unsupportedQualNotify(Ipkit::ipv6);
   EXPECT_EQ(log,
             (Calls{"onUnsupportedQual(ipv6)", "onUnsupportedQual(ipv6)", "onUnsupportedQual(ipv4)",
                    "onUnsupportedQual(ipv6)", "onUnsupportedQual(ipv6)"}));
   st->unsupportedQualIs(q);
   log.clear();
   st->unsupportedQualDelAll();
   EXPECT_EQ(log.size(), 2u);
   EXPECT_EQ(st->unsupportedQualSize(), 0u);
}

TEST(Status, DumpAtIndentZeroAndFour) {
   auto st = Status::StatusIs("status");
   st->vrfRuleStatusIs(7)->ruleStatusIs(key("10.0.0.0/8;*;"))->statusCodeIs(Code::programmed);
   st->unsupportedQualIs(qual(Ipkit::ipv6, MatchCompType::tcpFlags, "no TCAM field"));
   std::string const text = "FlowspecStatus: vrfRuleStatuses #1\n"
                            "  vrfId is 7, ruleStatuses #1\n"
                            "    key: 10.0.0.0/8;*;\n"
                            "    statusCode 1, errorReason Not processed, version "
                            "0000000000000000.0\n"
                            "    resolvedNexthopInfo nexthopSet: group 0 vrf default\n"
                            "    resolvedNexthopInfo viasActive #0\n"
                            "Unsupported AF quals: #1\n"
                            "  AF ipv6\n"
                            "    TCP --> no TCAM field\n";
   EXPECT_EQ(dump(*st, 0), text);
   EXPECT_EQ(dump(*st, 4), indented(text, 4));
}

TEST(Status, DestructionDeletesEachVrfTellingObservers) {
   auto const before = live<Status, VrfRuleStatus, RuleStatus, Status::VexUnsupportedQual>();
   Calls log, expected;
   StatusRec statusRec(log);
   VrfStatusRec vrfRec(log);
   {
      auto st = Status::StatusIs("status");
      for (Vrf::VrfIdMap::VrfId v : {7u, 9u, 11u})
         st->vrfRuleStatusIs(v);
      vrfRec.notifierIs(st->vrfRuleStatus(9));
      st->vrfRuleStatus(9)->ruleStatusIs(key("10.0.0.0/8;*;"));
      st->unsupportedQualIs(qual(Ipkit::ipv4, MatchCompType::dscp, "no"));
      statusRec.notifierIs(st);
      for (auto i = st->vrfRuleStatusIteratorConst(); i; ++i) { // the map's own order
         expected.push_back("onVrfRuleStatus(" + std::to_string(i.key()) + ")");
         if (i.key() == 9) expected.push_back("onRuleStatus(10.0.0.0/8;*;)");
      }
      log.clear();
   }
   EXPECT_EQ(expected.size(), 4u);
   EXPECT_EQ(log, expected) << "no callback for the unsupported qualifiers";
   EXPECT_EQ(statusRec.notifier(), nullptr);
   EXPECT_EQ(vrfRec.notifier(), nullptr);
   EXPECT_EQ((live<Status, VrfRuleStatus, RuleStatus, Status::VexUnsupportedQual>()), before);
}

TEST(Entities, FactoriesNamesAndAllocationTracking) {
   auto const count = live<Config, CliConfig, VrfRuleConfig, RuleConfig, InfeasibleRule, Status,
                           VrfRuleStatus, RuleStatus, AfIntfColl, Counter>;
   auto const& slot = RuleConfig::vexAllocTrackTypeInfo_;
   auto const before = count();
   auto const releases = Vex::allocTrackCounts(slot).releases;
   {
      auto cfg = configFactory("flowspec");
      auto cliCfg = cliConfigFactory("cli");
      auto vrfCfg = vrfRuleConfigFactory(3);
      auto rule = ruleConfigFactory(key("10.2.0.0/16;*;"));
      auto made = RuleConfig::RuleConfigIs(key("10.1.0.0/16;*;"));
      auto infeasible = InfeasibleRule::InfeasibleRuleIs(key("10.1.0.0/16;*;"));
      auto st = statusFactory("status");
      auto vrf = vrfRuleStatusFactory(3);
      auto rs = ruleStatusFactory(key("10.0.0.0/8;*;"));
      auto af = afIntfCollFactory(Ipkit::ipv6);
      auto counter = counterFactory("counter");
      Vex::Ptr<RuleStatus> plain(new RuleStatus(key("10.0.0.0/8;*;")));
      Vex::Ptr<RuleConfig> plainRule(new RuleConfig(key("10.3.0.0/16;*;")));
      EXPECT_FALSE(plain->hasNotificationActive() || plainRule->hasNotificationActive());
      auto const during = count();
      EXPECT_EQ(Vex::allocTrackCounts(slot).typeName, "Flowspec::RuleConfig");
      for (unsigned i = 0; i < before.size(); ++i)
         EXPECT_EQ(during[i], before[i] + (i == 3 ? 3 : i == 7 ? 2 : 1)) << i;
      EXPECT_EQ(vrfCfg->vrfId(), 3u);
      EXPECT_EQ(rule->key(), key("10.2.0.0/16;*;"));
      EXPECT_EQ(vrf->vrfId(), 3u);
      EXPECT_EQ(rs->key(), key("10.0.0.0/8;*;"));
      EXPECT_EQ(af->af(), Ipkit::ipv6);
      Calls log;
      ConfigRec rec(log, cfg);
      std::apply(
          [&](auto const&... e) {
             EXPECT_TRUE((e->hasNotificationActive() && ...));
             EXPECT_FALSE((e->hasBackupSupport() || ...));
             EXPECT_TRUE(((e->parent() == nullptr) && ...));
          },
          std::tuple(cfg, cliCfg, vrfCfg, rule, made, infeasible, st, vrf, rs, af, counter));
      for (auto [e, name] : {std::pair<Vex::Entity*, char const*>{cfg.get(), "flowspec"},
                             {cliCfg.get(), "cli"},
                             {st.get(), "status"},
                             {counter.get(), "counter"},
                             {vrfCfg.get(), ""},
                             {vrf.get(), ""},
                             {af.get(), ""},
                             {made.get(), ""},
                             {rs.get(), ""}}) {
         EXPECT_EQ(e->name(), name);
         e->nameIsFromBackup("restored");
         EXPECT_EQ(e->name(), *name ? "restored" : "") << name << ": a keyed child has no name";
      }
      EXPECT_EQ(log, Calls{}) << "renaming tells nobody";
   }
   EXPECT_EQ(count(), before);
   EXPECT_EQ(Vex::allocTrackCounts(slot).releases, releases + 3);
}

namespace {
// Reads its entity through notifier() in a callback that the entity's own
// destruction triggers.
struct ReadsNotifierWhileDestroyed : Flowspec::Status::NotifieeConst {
   void onVrfRuleStatus(Vrf::VrfIdMap::VrfId) override {
      if (auto s = notifier()) sizes.push_back(s->vrfRuleStatusSize());
   }
   std::vector<std::size_t> sizes;
};
} // namespace

TEST(Status, ObserversMayReadTheirEntityWhileItIsDestroyed) {
   ReadsNotifierWhileDestroyed observer;
   {
      auto status = Flowspec::statusFactory("status");
      status->vrfRuleStatusIs(1);
      status->vrfRuleStatusIs(2);
      observer.notifierIs(status);
   }
   EXPECT_EQ(observer.sizes, (std::vector<std::size_t>{1, 0}));
   EXPECT_FALSE(observer.notifier());
}
