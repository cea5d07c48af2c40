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

TEST_F(SimulatedHardware, ARuleDeletedAndAddedAgainIsObservedAnew) {
   HwAgent agent(config, status, counter);
   auto const k = key("*;*;IP:=6;");
   auto old = rule(k);
   agent.run();
   EXPECT_EQ(statusOf(k)->version(), Kiln::UniqueId(HwAgent::versionOrigin, 1));

   // Deleted: the agent stops observing the rule it held, even while
   // someone else still holds it.
   config->vrfRuleConfig(0)->ruleDel(k);
   auto heardOf = [&agent](char const* callback) {
      for (auto const& [name, n] : agent.heard()) {
         if (name == std::string(callback)) return n;
      }
      return 0u;
   };
   unsigned const rateCallbacks = heardOf("onTrafficRateLimit");
   old->trafficRateLimitIs(5);
   EXPECT_EQ(heardOf("onTrafficRateLimit"), rateCallbacks) << "a deleted rule is not observed";
   agent.run();
   EXPECT_FALSE(statusOf(k));
   EXPECT_FALSE(counter->snapshotHas(k));

   // Added again: a new rule under the same key, observed and programmed.
   auto again = rule(k);
   agent.run();
   ASSERT_TRUE(statusOf(k));
   EXPECT_EQ(statusOf(k)->version(), Kiln::UniqueId(HwAgent::versionOrigin, 2));
   again->trafficRateLimitIs(7);
   EXPECT_EQ(heardOf("onTrafficRateLimit"), rateCallbacks + 1);
   agent.run();
   EXPECT_EQ(statusOf(k)->version(), Kiln::UniqueId(HwAgent::versionOrigin, 3));
   old->trafficRateLimitIs(9);
   agent.run();
   EXPECT_EQ(statusOf(k)->version(), Kiln::UniqueId(HwAgent::versionOrigin, 3))
       << "the old rule's change programs nothing";

   // Deleted and added again within one run: programmed once.
   config->vrfRuleConfig(0)->ruleDel(k);
   rule(k);
   agent.run();
   EXPECT_EQ(statusOf(k)->version(), Kiln::UniqueId(HwAgent::versionOrigin, 4));
   EXPECT_TRUE(counter->snapshotHas(k));
}

TEST_F(SimulatedHardware, ThousandsOfRulesComeAndGoAcrossVrfs) {
   // Enough rules, in three VRFs with the same keys in each, that the
   // agent's table of observers grows, and deletions leave holes among
   // rules that share places; every rule must still be found.
   HwAgent agent(config, status, counter);
   constexpr unsigned perVrf = 1500;
   auto keyOf = [](unsigned i) {
      return key(
          ("10." + std::to_string(i / 256) + "." + std::to_string(i % 256) + ".0/24;*;").c_str());
   };
   std::vector<Flowspec::FlowspecKey> keys;
   for (unsigned i = 0; i < perVrf; ++i)
      keys.push_back(keyOf(i));
   std::vector<Vex::Ptr<Flowspec::RuleConfig>> held; // the rules of VRF 0
   for (Vrf::VrfIdMap::VrfId vrf : {0u, 1u, 2u}) {
      for (auto const& k : keys) {
         auto r = rule(k, vrf);
         if (vrf == 0) held.push_back(r);
      }
   }
   agent.run();
   EXPECT_EQ(counter->snapshotSize(), perVrf) << "counter snapshots are keyed by the key alone";
   // Every third rule of VRF 0 goes; every other one of VRF 1 goes and
   // comes back; VRF 2 goes as a whole.
   for (unsigned i = 0; i < perVrf; i += 3)
      config->vrfRuleConfig(0)->ruleDel(keys[i]);
   for (unsigned i = 0; i < perVrf; i += 2)
      config->vrfRuleConfig(1)->ruleDel(keys[i]);
   for (unsigned i = 0; i < perVrf; i += 2)
      rule(keys[i], 1);
   config->vrfRuleConfigDel(2);
   // The rules deleted are observed no more, although held here: the agent
   // found each one's observer when it was deleted.
   auto ruleIdCallbacks = [&agent] { return agent.heard()[3].second; };
   unsigned const before = ruleIdCallbacks();
   for (unsigned i = 0; i < perVrf; i += 3)
      held[i]->ruleIdIs(i + 1);
   EXPECT_EQ(ruleIdCallbacks(), before);
   agent.run();
   std::uint64_t const afterSecondRun = 3 * perVrf + perVrf / 2;
   for (unsigned i = 0; i < perVrf; ++i) {
      SCOPED_TRACE(keys[i].toStrepCli());
      EXPECT_EQ(statusOf(keys[i], 0) != nullptr, i % 3 != 0);
      ASSERT_TRUE(statusOf(keys[i], 1));
      EXPECT_EQ(statusOf(keys[i], 1)->version().sequence() > 3 * perVrf, i % 2 == 0)
          << "only the rules added again are programmed again";
      EXPECT_FALSE(statusOf(keys[i], 2));
   }
   EXPECT_FALSE(status->vrfRuleStatus(2) && status->vrfRuleStatus(2)->ruleStatusSize());
   // Each rule left is still observed: a change programs it, and it alone.
   for (unsigned i = 0; i < perVrf; ++i) {
      if (i % 3 != 0) config->vrfRuleConfig(0)->rule(keys[i])->ruleIdIs(i + 1);
   }
   agent.run();
   std::uint64_t sequence = afterSecondRun;
   for (unsigned i = 0; i < perVrf; ++i) {
      if (i % 3 == 0) continue;
      EXPECT_EQ(statusOf(keys[i], 0)->version().sequence(), ++sequence)
          << keys[i].toStrepCli() << ": programmed in precedence order";
   }
   EXPECT_LE(statusOf(keys[1], 1)->version().sequence(), afterSecondRun);
}

TEST(HwAgentOrder, PrecedenceHintsOrderRulesAsPrecedenceDoes) {
   // Nested, disjoint, equal and host-bit prefixes of every length, with and
   // without other components: wherever two hints differ, they order the
   // keys as programsBefore does.
   std::vector<Flowspec::FlowspecKey> keys;
   char const* const rest[] = {"*;DP:=80;", "10.9.0.0/16;", "*;IP:=6;", "*;"};
   std::uint32_t const bases[] = {0x0a000000, 0x0a010000, 0x0a0100ff, 0xffffffff, 0};
   for (std::uint32_t base : bases) {
      for (unsigned len = 0; len <= 32; len += (len < 8 || len > 22) ? 1 : 7) {
         for (char const* r : rest) {
            std::string const text =
                std::to_string(base >> 24) + "." + std::to_string(base >> 16 & 255) + "." +
                std::to_string(base >> 8 & 255) + "." + std::to_string(base & 255) + "/" +
                std::to_string(len) + ";" + r;
            keys.push_back(key(text.c_str()));
         }
      }
   }
   keys.push_back(key("*;*;DP:=80;"));
   keys.push_back(key("2001:db8::/32;*;", Ipkit::ipv6));
   std::size_t decided = 0;
   for (auto const& a : keys) {
      for (auto const& b : keys) {
         auto const ha = HwAgent::precedenceHint(a), hb = HwAgent::precedenceHint(b);
         if (!ha || !hb || *ha == *hb) continue;
         ++decided;
         ASSERT_EQ(*ha < *hb, HwAgent::programsBefore(0, a, 0, b))
             << a.toStrepCli() << " against " << b.toStrepCli();
      }
   }
   EXPECT_GT(decided, keys.size() * keys.size() / 2) << "most pairs are told apart by hints";
   EXPECT_FALSE(HwAgent::precedenceHint(key("*;*;DP:=80;"))) << "no destination: no hint";
   EXPECT_FALSE(HwAgent::precedenceHint(key("2001:db8::/32;*;", Ipkit::ipv6)));
}
