#include "HwAgent.h"

#include "Flowspec/FlowspecStatedb.h"
#include "Flowspec/values/KeyMatchSet.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using Flowspec::HwRuleProgrammingStatus;
using Flowspec::MatchCompType;
using FlowspecTool::HwAgent;

Flowspec::FlowspecKey key(char const* text, Ipkit::AddressFamily af = Ipkit::ipv4) {
   Flowspec::FlowspecKey k;
   EXPECT_TRUE(k.copyInStrCli(text)) << text;
   k.vrfIdIs(0);
   k.addressFamilyIs(af);
   return k;
}

// A configuration, a status and a counter tree with an agent watching.
struct SimulatedHardware : ::testing::Test {
   Vex::Ptr<Flowspec::Config> config = Flowspec::configFactory("config");
   Vex::Ptr<Flowspec::Status> status = Flowspec::statusFactory("status");
   Vex::Ptr<Flowspec::Counter> counter = Flowspec::counterFactory("counter");

   Vex::Ptr<Flowspec::RuleConfig> rule(Flowspec::FlowspecKey const& k,
                                       Vrf::VrfIdMap::VrfId vrf = 0) {
      auto r = config->vrfRuleConfigIs(vrf)->ruleIs(k);
      for (auto const& c : Flowspec::matchSetFromKey(k))
         r->matchSetIs(c);
      r->actionFieldSetIs(Flowspec::ActionFieldSet::trafficDrop_);
      return r;
   }
   Vex::Ptr<Flowspec::RuleStatus> statusOf(Flowspec::FlowspecKey const& k,
                                           Vrf::VrfIdMap::VrfId vrf = 0) {
      auto v = status->vrfRuleStatus(vrf);
      return v ? v->ruleStatus(k) : nullptr;
   }
};

TEST_F(SimulatedHardware, PublishesWhatTheHardwareCannotMatch) {
   HwAgent agent(config, status, counter);
   EXPECT_TRUE(status->flowspecSupported());
   EXPECT_TRUE(status->unsupportedQual(Ipkit::ipv4).qualHas(MatchCompType::flowLabel));
   EXPECT_TRUE(status->unsupportedQual(Ipkit::ipv6).qualHas(MatchCompType::flowLabel));
   EXPECT_EQ(status->unsupportedQual(Ipkit::ipv6).qualSize(), 1u);
}

TEST_F(SimulatedHardware, ProgramsWhatItHeardOfOnlyWhenItRuns) {
   auto const before = key("10.0.0.0/8;*;IP:=6;");
   rule(before); // made before the agent: learnt when it starts
   HwAgent agent(config, status, counter);
   auto const after = key("10.0.0.0/8;*;IP:=17;");
   rule(after);
   EXPECT_FALSE(statusOf(before));
   EXPECT_FALSE(statusOf(after));
   EXPECT_EQ(counter->snapshotSize(), 0u);

   agent.run();
   for (auto const& k : {before, after}) {
      auto s = statusOf(k);
      ASSERT_TRUE(s) << k.toStrepCli();
      EXPECT_EQ(s->statusCode(), HwRuleProgrammingStatus::programmed);
      EXPECT_EQ(s->errorReason(), "");
      EXPECT_EQ(s->version().origin(), HwAgent::versionOrigin);
      EXPECT_TRUE(counter->snapshotHas(k));
      EXPECT_EQ(counter->snapshot(k), Flowspec::CounterVersion(0, s->version()));
   }
   // Programmed in key order.
   EXPECT_EQ(statusOf(before)->version(), Kiln::UniqueId(HwAgent::versionOrigin, 1));
   EXPECT_EQ(statusOf(after)->version(), Kiln::UniqueId(HwAgent::versionOrigin, 2));
}

TEST_F(SimulatedHardware, ARunWithoutChangesProgramsNothingAgain) {
   HwAgent agent(config, status, counter);
   auto const k = key("*;*;IP:=6;");
   rule(k);
   agent.run();
   agent.run();
   EXPECT_EQ(statusOf(k)->version(), Kiln::UniqueId(HwAgent::versionOrigin, 1));
}

TEST_F(SimulatedHardware, EachRuleIsProgrammedOnceARunHoweverOftenItChanged) {
   HwAgent agent(config, status, counter);
   auto const a = key("10.0.0.0/8;*;IP:=6;DP:=80;TCP:=2&!=16;"), b = key("*;*;IP:=17;");
   auto ra = rule(a); // a match set of four components and actions: five callbacks
   rule(b);
   auto versions = [&] {
      return std::set<std::uint64_t>{statusOf(a)->version().sequence(),
                                     statusOf(b)->version().sequence()};
   };
   agent.run();
   EXPECT_EQ(versions(), (std::set<std::uint64_t>{1, 2}));
   ra->trafficRateLimitIs(1000);
   ra->ruleIdIs(7);
   config->vrfRuleConfig(0)->ruleDel(b); // gone and back: queued twice
   rule(b);
   agent.run();
   EXPECT_EQ(versions(), (std::set<std::uint64_t>{3, 4}));
   agent.run();
   EXPECT_EQ(versions(), (std::set<std::uint64_t>{3, 4})) << "nothing changed since";
}

TEST_F(SimulatedHardware, AChangedRuleIsProgrammedAgainWithANewVersion) {
   HwAgent agent(config, status, counter);
   auto const k = key("*;*;IP:=6;");
   auto r = rule(k);
   agent.run();
   Flowspec::ActionFieldSet actions;
   actions.trafficRedirectIs(true);
   r->actionFieldSetIs(actions);
   r->trafficRedirectIs(Flowspec::TrafficRedirect(
       Vrf::VrfIdMap::noVrfId, Ipkit::IpGenAddr(Vex::String("192.0.2.1")), true));
   agent.run();
   auto s = statusOf(k);
   EXPECT_EQ(s->statusCode(), HwRuleProgrammingStatus::unsupportedAction);
   EXPECT_EQ(s->errorReason(), "the hardware cannot redirect a copy to a next hop");
   EXPECT_EQ(s->version(), Kiln::UniqueId(HwAgent::versionOrigin, 2));
   EXPECT_FALSE(counter->snapshotHas(k)); // the hardware holds it no more
}

TEST_F(SimulatedHardware, AnInfeasibleRuleIsNotProgrammed) {
   HwAgent agent(config, status, counter);
   auto const k = key("*;*;IP:=17;TCP:=2;");
   auto r = rule(k);
   auto infeasible = config->vrfRuleConfig(0)->infeasibleRuleIs(k);
   infeasible->matchCompTypeIs(r->infeasibleMatchInMatchSet());
   agent.run();
   auto s = statusOf(k);
   EXPECT_EQ(s->statusCode(), HwRuleProgrammingStatus::unprocessed);
   EXPECT_EQ(s->errorReason(), "infeasible: TCP Flags");
   EXPECT_TRUE(!s->version());
   EXPECT_FALSE(counter->snapshotHas(k));
}

TEST_F(SimulatedHardware, ARuleThatIsGoneLosesItsStatusAndCounter) {
   HwAgent agent(config, status, counter);
   auto const gone = key("*;*;IP:=6;"), kept = key("*;*;IP:=17;");
   rule(gone);
   rule(kept);
   agent.run();
   config->vrfRuleConfig(0)->ruleDel(gone);
   agent.run();
   EXPECT_FALSE(statusOf(gone));
   EXPECT_FALSE(counter->snapshotHas(gone));
   EXPECT_TRUE(statusOf(kept));
   EXPECT_TRUE(counter->snapshotHas(kept));
}

TEST_F(SimulatedHardware, AVrfThatIsGoneLosesTheStatusOfItsRules) {
   HwAgent agent(config, status, counter);
   auto const inVrf1 = key("*;*;IP:=6;"), inVrf2 = key("*;*;IP:=6;", Ipkit::ipv6);
   rule(inVrf1, 1);
   rule(inVrf2, 2);
   agent.run();
   config->vrfRuleConfigDel(1);
   agent.run();
   EXPECT_FALSE(statusOf(inVrf1, 1));
   EXPECT_TRUE(statusOf(inVrf2, 2));
}

TEST_F(SimulatedHardware, TheAgentCountsTheCallbacksItHears) {
   HwAgent agent(config, status, counter);
   rule(key("10.0.0.0/8;*;IP:=6;DP:=80;"));
   auto heard = agent.heard();
   std::vector<std::pair<std::string, unsigned>> const expected = {
       {"onVrfRuleConfig", 1},    {"onRule", 1},
       {"onInfeasibleRule", 0},   {"onRuleId", 0},
       {"onMatchSet", 3},         {"onActionFieldSet", 1},
       {"onTrafficRateLimit", 0}, {"onTrafficAction", 0},
       {"onTrafficRedirect", 0},  {"onTrafficMarkingDscp", 0}};
   EXPECT_EQ(heard, expected);
}

} // namespace
