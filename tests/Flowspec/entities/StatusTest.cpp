#include "Flowspec/entities/Status.h"

#include "EntityTestUtil.h"
#include "Flowspec/framework/Factories.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

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

std::string af(Ipkit::AddressFamily a) {
   return Ipkit::valueToStrep(a).str();
}

// Recorders append to one shared log, so that the order across entities shows;
// attribute callbacks record the value the entity holds when they are called.
struct RuleRecorder : RuleStatus::NotifieeConst {
   explicit RuleRecorder(Calls& log) : log(log) {}
   RuleStatus const& r() const { return *notifier(); }
   void onStatusCode() override { say("onStatusCode=", unsigned(r().statusCode())); }
   void onErrorReason() override {
      log.push_back("onErrorReason=" + r().errorReason().str());
   }
   void onPacketCount() override { say("onPacketCount=", r().packetCount()); }
   void onVersion() override {
      log.push_back("onVersion=" + r().version().toStrep().str());
   }
   void onResolvedNexthopInfo() override {
      say("onResolvedNexthopInfo=", r().resolvedNexthopInfo().viaActiveSize());
   }
   void say(char const* what, std::uint64_t v) {
      log.push_back(what + std::to_string(v));
   }
   Calls& log;
};

struct VrfRecorder : VrfRuleStatus::NotifieeConst {
   explicit VrfRecorder(Calls& log) : log(log) {}
   void onActiveIntfPerAf(Ipkit::AddressFamily a) override {
      log.push_back("onActiveIntfPerAf(" + af(a) + ")");
   }
   void onIntfError(IntfErrorKey const& k) override {
      log.push_back("onIntfError(" + k.toStrep().str() + ")");
   }
   void onRuleStatus(FlowspecKey const& k) override {
      log.push_back("onRuleStatus(" + cli(k) + ")");
   }
   Calls& log;
};

struct StatusRecorder : Status::NotifieeConst {
   explicit StatusRecorder(Calls& log) : log(log) {}
   void onVrfRuleStatus(Vrf::VrfIdMap::VrfId v) override {
      log.push_back("onVrfRuleStatus(" + std::to_string(v) + ")");
   }
   void onCounterUpdateTime() override {
      log.push_back("onCounterUpdateTime=" +
                    std::to_string(notifier()->counterUpdateTime()));
   }
   void onFlowspecSupported() override {
      log.push_back("onFlowspecSupported=" +
                    std::to_string(notifier()->flowspecSupported()));
   }
   void onUnsupportedQual(Ipkit::AddressFamily a) override {
      log.push_back("onUnsupportedQual(" + af(a) + ")");
   }
   Calls& log;
};

struct IntfRecorder : AfIntfColl::NotifieeConst {
   explicit IntfRecorder(Calls& log) : log(log) {}
   void onIntf(Ipkit::IntfId const& i) override {
      log.push_back("onIntf(" + i.stringValue().str() + ")");
   }
   Calls& log;
};

} // namespace

TEST(RuleStatus, DefaultsAndFreshDump) {
   auto rs = RuleStatus::RuleStatusIs(key("10.0.0.0/8;*;"));
   EXPECT_EQ(rs->key(), key("10.0.0.0/8;*;"));
   EXPECT_EQ(rs->ruleKey(), rs->key());
   EXPECT_EQ(rs->statusCode(), Code::unprocessed);
   EXPECT_EQ(rs->errorReason(), "Not processed");
   EXPECT_EQ(rs->packetCount(), 0u);
   EXPECT_EQ(rs->version().toStrep(), "0000000000000000.0");
   EXPECT_EQ(rs->resolvedNexthopInfo().nexthopSet().toStrepCli(),
             "group 0 vrf default");
   EXPECT_EQ(rs->resolvedNexthopInfo().viaActiveSize(), 0u);
   EXPECT_FALSE(rs->isProgrammed());
   EXPECT_TRUE(rs->name().empty());
   EXPECT_FALSE(rs->hasBackupSupport());
   EXPECT_EQ(rs->parent(), nullptr);
   EXPECT_EQ(dump(*rs, 4), "    key: 10.0.0.0/8;*;\n"
                           "    statusCode 0, errorReason Not processed, version "
                           "0000000000000000.0\n"
                           "    resolvedNexthopInfo nexthopSet: group 0 vrf default\n"
                           "    resolvedNexthopInfo viasActive #0\n");
}

TEST(RuleStatus, SettersTellOncePerChangeAfterTheStore) {
   Calls log;
   auto rs = RuleStatus::RuleStatusIs(key("10.0.0.0/8;*;"));
   RuleRecorder rec(log);
   rec.notifierIs(rs);
   // The defaults stored again, the reason in a string object of its own.
   rs->statusCodeIs(Code::unprocessed);
   rs->errorReasonIs(Vex::String(std::string("Not ") + "processed"));
   rs->packetCountIs(0);
   rs->versionIs(Kiln::UniqueId());
   rs->resolvedNexthopInfoIs(Pbr::ResolvedNexthopInfo(Pbr::NexthopSet()));
   EXPECT_EQ(log, Calls{});

   Pbr::ResolvedNexthopInfo info;
   info.viaActiveIs(via("10.0.0.2", "Ethernet1", 1));
   for (int round = 0; round < 2; ++round) { // the second round stores equal values
      rs->statusCodeIs(Code::programmed);
      rs->errorReasonIs("");
      rs->packetCountIs(std::uint64_t(1)
                        << 32); // differs from 0 in the upper half only
      rs->versionIs(Kiln::UniqueId(0xab, 3));
      rs->resolvedNexthopInfoIs(info);
   }
   rs->packetCountIs(std::uint64_t(3) << 32);
   info.viaActiveIs(via("10.0.0.3", "Ethernet1", 1));
   rs->resolvedNexthopInfoIs(info);
   EXPECT_EQ(log, (Calls{"onStatusCode=1", "onErrorReason=", "onPacketCount=4294967296",
                         "onVersion=00000000000000ab.3", "onResolvedNexthopInfo=1",
                         "onPacketCount=12884901888", "onResolvedNexthopInfo=2"}));
}

TEST(RuleStatus, IsProgrammedOnlyWhenProgrammed) {
   Calls log;
   auto rs = RuleStatus::RuleStatusIs(key("10.0.0.0/8;*;"));
   RuleRecorder rec(log);
   rec.notifierIs(rs);
   struct Case {
      Code code;
      bool programmed;
   } const cases[] = {{Code::programmedWithFailures, true},
                      {Code::unsupportedAction, false},
                      {Code::programmed, true},
                      {Code::unsupportedMatch, false},
                      {Code::unsupportedTcamProfile, false},
                      {Code::resourceExhausted, false},
                      {Code::unprocessed, false}};
   Calls expected;
   for (auto const& c : cases) {
      rs->statusCodeIs(c.code);
      EXPECT_EQ(rs->isProgrammed(), c.programmed) << unsigned(c.code);
      expected.push_back("onStatusCode=" + std::to_string(unsigned(c.code)));
   }
   EXPECT_EQ(log, expected) << "isProgrammed has no callback of its own";
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
   std::string const text =
       "key: 10.0.0.0/8;*;IP:=6;\n"
       "statusCode 2, errorReason partial, version 3f2a9c0d11e8b702.42\n"
       "resolvedNexthopInfo nexthopSet: group 5 vrf red recursive\n"
       "resolvedNexthopInfo viasActive #2\n" +
       (v4First ? v4 + v6 : v6 + v4);
   EXPECT_EQ(dump(*rs, 0), text);
   EXPECT_EQ(dump(*rs, 4), indented(text, 4));
}

TEST(VrfRuleStatus, RuleStatusChildren) {
   Calls log;
   auto vrf = VrfRuleStatus::VrfRuleStatusIs(7);
   VrfRecorder rec(log);
   rec.notifierIs(vrf);
   auto const k = key("10.1.0.0/16;*;");
   EXPECT_EQ(vrf->ruleStatusDel(k), nullptr);
   auto const rs = vrf->ruleStatusIs(k);
   EXPECT_EQ(vrf->ruleStatusIs(k), rs);
   EXPECT_EQ(vrf->ruleStatus(k), rs);
   EXPECT_EQ(vrf->ruleStatus(key("10.9.0.0/16;*;")), nullptr);
   EXPECT_EQ(rs->parent(), vrf.get());
   EXPECT_TRUE(rs->hasNotificationActive());
   vrf->ruleStatusNotify(k);
   EXPECT_EQ(vrf->ruleStatusDel(k), rs);
   EXPECT_EQ(rs->parent(), nullptr);
   EXPECT_EQ(log, Calls(3, "onRuleStatus(10.1.0.0/16;*;)"));

   // Walking from the first member and deleting each member the walk stands on.
   for (auto c : {"10.2.0.0/16;*;", "*;*;", "10.1.0.0/16;*;", "10.2.0.0/16;*;IP:=6;"}) {
      vrf->ruleStatusIs(key(c));
   }
   log.clear();
   Calls const order{"10.1.0.0/16;*;", "10.2.0.0/16;*;IP:=6;", "10.2.0.0/16;*;",
                     "*;*;"};
   Calls visited, expected;
   auto i = vrf->ruleStatusIterator();
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
   EXPECT_EQ(log, expected);
   EXPECT_EQ(vrf->ruleStatusSize(), 0u);

   for (auto const& c : order)
      vrf->ruleStatusIs(key(c.c_str()));
   log.clear();
   vrf->ruleStatusDelAll();
   EXPECT_EQ(log, expected);
}

TEST(VrfRuleStatus, ActiveInterfacesPerFamily) {
   Calls log;
   auto vrf = VrfRuleStatus::VrfRuleStatusIs(7);
   VrfRecorder vrfRec(log);
   vrfRec.notifierIs(vrf);
   auto const v4 = vrf->activeIntfPerAfIs(Ipkit::ipv4);
   EXPECT_EQ(vrf->activeIntfPerAfIs(Ipkit::ipv4), v4);
   EXPECT_EQ(vrf->activeIntfPerAf(Ipkit::ipv4), v4);
   EXPECT_EQ(v4->af(), Ipkit::ipv4);
   EXPECT_EQ(v4->parent(), vrf.get());
   IntfRecorder intfRec(log);
   intfRec.notifierIs(v4);
   auto const e1 = intf("Ethernet1"), e2 = intf("Ethernet2");
   v4->intfIs(e1);
   v4->intfIs(e1);
   EXPECT_TRUE(v4->intf(e1));
   EXPECT_FALSE(v4->intfDel(e2)) << "absent: silent";
   v4->intfIs(e2);
   EXPECT_TRUE(v4->intfDel(e2));
   EXPECT_FALSE(v4->intf(e2));
   v4->intfNotify(e2);
   EXPECT_EQ(vrf->activeIntfPerAfDel(Ipkit::ipv6), nullptr);
   EXPECT_EQ(vrf->activeIntfPerAfDel(Ipkit::ipv4), v4);
   EXPECT_EQ(v4->parent(), nullptr);
   EXPECT_EQ(v4->intfSize(), 1u) << "a removed family keeps its interfaces";
   EXPECT_EQ(log, (Calls{"onActiveIntfPerAf(ipv4)", "onIntf(Ethernet1)",
                         "onIntf(Ethernet2)", "onIntf(Ethernet2)", "onIntf(Ethernet2)",
                         "onActiveIntfPerAf(ipv4)"}));
   v4->intfIs(e2);
   log.clear();
   v4->intfDelAll();
   EXPECT_EQ(log.size(), 2u);
   EXPECT_EQ(v4->intfSize(), 0u);
}

TEST(VrfRuleStatus, InterfaceErrorsAreNotDumped) {
   Calls log;
   auto vrf = VrfRuleStatus::VrfRuleStatusIs(7);
   VrfRecorder rec(log);
   rec.notifierIs(vrf);
   IntfErrorKey const k4(intf("Ethernet1"), Ipkit::ipv4),
       k6(intf("Ethernet1"), Ipkit::ipv6);
   EXPECT_EQ(vrf->intfError(k4), "") << "absent";
   EXPECT_EQ(vrf->intfErrorDel(k4), "") << "absent: silent";
   vrf->intfErrorIs(k4, "no TCAM");
   vrf->intfErrorIs(k4, Vex::String(std::string("no ") + "TCAM"));
   vrf->intfErrorIs(k6, "no TCAM");
   vrf->intfErrorIs(k4, "down");
   EXPECT_EQ(vrf->intfError(k4), "down");
   EXPECT_EQ(vrf->intfErrorSize(), 2u);
   EXPECT_EQ(vrf->intfErrorDel(k6), "no TCAM");
   EXPECT_EQ(log,
             (Calls{"onIntfError(Ethernet1,ipv4)", "onIntfError(Ethernet1,ipv6)",
                    "onIntfError(Ethernet1,ipv4)", "onIntfError(Ethernet1,ipv6)"}));
   vrf->activeIntfPerAfIs(Ipkit::ipv4)->intfIs(intf("Ethernet1"));
   EXPECT_EQ(dump(*vrf, 0), "vrfId is 7, ruleStatuses #0\n");
   EXPECT_EQ(dump(*VrfRuleStatus::VrfRuleStatusIs(0xffffffff), 2),
             "  vrfId is -1, ruleStatuses #0\n");
}

TEST(VrfRuleStatus, DestructionDeletesFamiliesThenRulesInKeyOrder) {
   auto const before = live<VrfRuleStatus, RuleStatus, AfIntfColl>();
   Calls log;
   VrfRecorder vrfRec(log);
   RuleRecorder ruleRec(log);
   IntfRecorder intfRec(log);
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

TEST(Status, DefaultsSettersAndEmptyDump) {
   Calls log;
   auto st = Status::StatusIs("status");
   StatusRecorder rec(log);
   rec.notifierIs(st);
   EXPECT_EQ(st->counterUpdateTime(), 0.0);
   EXPECT_FALSE(st->flowspecSupported());
   EXPECT_EQ(st->vrfRuleStatusSize() + st->unsupportedQualSize(), 0u);
   EXPECT_EQ(dump(*st, 0),
             "FlowspecStatus: vrfRuleStatuses #0\nUnsupported AF quals: #0\n");
   EXPECT_EQ(st->name(), "status");
   st->nameIsFromBackup("restored");
   EXPECT_EQ(st->name(), "restored");
   EXPECT_FALSE(st->hasBackupSupport());
   st->counterUpdateTimeIs(-0.0);
   st->flowspecSupportedIs(false);
   for (int round = 0; round < 2; ++round) {
      st->counterUpdateTimeIs(12.5);
      st->flowspecSupportedIs(true);
   }
   EXPECT_EQ(log, (Calls{"onCounterUpdateTime=12.500000", "onFlowspecSupported=1"}));
}

TEST(Status, UnsupportedQualIsKeyedByItsFamily) {
   Calls log;
   auto st = Status::StatusIs("status");
   StatusRecorder rec(log);
   rec.notifierIs(st);
   auto q = qual(Ipkit::ipv6, MatchCompType::flowLabel, "no TCAM field");
   st->unsupportedQualIs(q);
   st->unsupportedQualIs(UnsupportedQual(q));
   st->unsupportedQualIs(
       st->unsupportedQualIteratorConst().value()); // the stored one itself
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
   EXPECT_EQ(log, (Calls{"onUnsupportedQual(ipv6)", "onUnsupportedQual(ipv6)",
                         "onUnsupportedQual(ipv4)", "onUnsupportedQual(ipv6)",
                         "onUnsupportedQual(ipv6)"}));
   st->unsupportedQualIs(q);
   log.clear();
   st->unsupportedQualDelAll();
   EXPECT_EQ(log.size(), 2u);
   EXPECT_EQ(st->unsupportedQualSize(), 0u);
}

TEST(Status, VrfChildrenAndDumpAtIndentZeroAndFour) {
   Calls log;
   auto st = Status::StatusIs("status");
   StatusRecorder rec(log);
   rec.notifierIs(st);
   auto const vrf = st->vrfRuleStatusIs(7);
   EXPECT_EQ(st->vrfRuleStatusIs(7), vrf);
   EXPECT_EQ(st->vrfRuleStatus(7), vrf);
   EXPECT_EQ(st->vrfRuleStatus(9), nullptr);
   EXPECT_EQ(st->vrfRuleStatusDel(9), nullptr);
   EXPECT_EQ(vrf->parent(), st.get());
   vrf->ruleStatusIs(key("10.0.0.0/8;*;"))->statusCodeIs(Code::programmed);
   st->unsupportedQualIs(qual(Ipkit::ipv6, MatchCompType::tcpFlags, "no TCAM field"));
   EXPECT_EQ(log, (Calls{"onVrfRuleStatus(7)", "onUnsupportedQual(ipv6)"}));
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
   EXPECT_EQ(st->vrfRuleStatusDel(7), vrf);
   EXPECT_EQ(vrf->parent(), nullptr);
   EXPECT_EQ(vrf->ruleStatusSize(), 1u) << "a removed VRF keeps its rules";
}

TEST(Status, DestructionDeletesEachVrfTellingObservers) {
   auto const before =
       live<Status, VrfRuleStatus, RuleStatus, Status::VexUnsupportedQual>();
   Calls log, expected;
   StatusRecorder statusRec(log);
   VrfRecorder vrfRec(log);
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
   EXPECT_EQ((live<Status, VrfRuleStatus, RuleStatus, Status::VexUnsupportedQual>()),
             before);
}

TEST(StatusEntities, FactoriesSwitchNotificationOnAndTrackAllocations) {
   auto const before = live<Status, VrfRuleStatus, RuleStatus, AfIntfColl, Counter>();
   {
      auto st = statusFactory("status");
      auto vrf = vrfRuleStatusFactory(3);
      auto rs = ruleStatusFactory(key("10.0.0.0/8;*;"));
      auto af = afIntfCollFactory(Ipkit::ipv6);
      auto counter = counterFactory("counter");
      Vex::Ptr<RuleStatus> plain(new RuleStatus(key("10.0.0.0/8;*;")));
      EXPECT_TRUE(st->hasNotificationActive() && vrf->hasNotificationActive() &&
                  rs->hasNotificationActive() && af->hasNotificationActive() &&
                  counter->hasNotificationActive());
      EXPECT_FALSE(plain->hasNotificationActive());
      EXPECT_EQ(st->name(), "status");
      EXPECT_EQ(vrf->vrfId(), 3u);
      EXPECT_EQ(rs->key(), key("10.0.0.0/8;*;"));
      EXPECT_EQ(af->af(), Ipkit::ipv6);
      EXPECT_EQ(counter->name(), "counter");
      EXPECT_TRUE(vrf->name().empty() && af->name().empty());
      EXPECT_FALSE(vrf->hasBackupSupport() || af->hasBackupSupport());
      EXPECT_EQ((live<Status, VrfRuleStatus, RuleStatus, AfIntfColl, Counter>()),
                (std::vector{before[0] + 1, before[1] + 1, before[2] + 2, before[3] + 1,
                             before[4] + 1}));
   }
   EXPECT_EQ((live<Status, VrfRuleStatus, RuleStatus, AfIntfColl, Counter>()), before);
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
