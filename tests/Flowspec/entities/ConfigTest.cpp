#include "Flowspec/entities/Config.h"

#include "EntityTestUtil.h"
#include "Flowspec/framework/Factories.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace Flowspec;
using namespace EntityTest;

namespace {

// Recorders append to one shared log, so that the order across entities shows.
struct VrfRecorder : VrfRuleConfig::NotifieeConst {
   explicit VrfRecorder(Calls& log) : log(log) {}
   void onRule(FlowspecKey const& k) override { add("onRule(", k); }
   void onInfeasibleRule(FlowspecKey const& k) override { add("onInfeasibleRule(", k); }
   void add(char const* call, FlowspecKey const& k) {
      log.push_back(call + k.toStrepCli().str() + ")");
   }
   Calls& log;
};

struct ConfigRecorder : Config::NotifieeConst {
   explicit ConfigRecorder(Calls& log) : log(log) {}
   void onEnabledIntf(Ipkit::IntfId const& i) override {
      log.push_back("onEnabledIntf(" + i.stringValue().str() + ")");
   }
   void onEnabledIntfAll() override { log.push_back("onEnabledIntfAll"); }
   void onVrfRuleConfig(Vrf::VrfIdMap::VrfId v) override {
      log.push_back("onVrfRuleConfig(" + std::to_string(v) + ")");
   }
   Calls& log;
};

} // namespace

TEST(VrfRuleConfig, ChildrenAreCreatedOnceAndHandedBackOnDeletion) {
   Calls log;
   auto vrf = VrfRuleConfig::VrfRuleConfigIs(7);
   VrfRecorder rec(log);
   rec.notifierIs(vrf);
   auto const k = key("10.1.0.0/16;*;");
   EXPECT_EQ(vrf->ruleDel(k), nullptr);
   EXPECT_EQ(vrf->infeasibleRuleDel(k), nullptr);
   auto const rule = vrf->ruleIs(k);
   auto const infeasible = vrf->infeasibleRuleIs(k);
   EXPECT_EQ(vrf->ruleIs(k), rule);
   EXPECT_EQ(vrf->infeasibleRuleIs(k), infeasible);
   EXPECT_EQ(vrf->rule(k), rule);
   EXPECT_EQ(vrf->rule(key("10.9.0.0/16;*;")), nullptr);
   EXPECT_EQ(rule->parent(), vrf.get());
   EXPECT_EQ(infeasible->parent(), vrf.get());
   EXPECT_TRUE(rule->hasNotificationActive() && infeasible->hasNotificationActive());
   vrf->ruleNotify(k);
   EXPECT_EQ(vrf->ruleDel(k), rule);
   EXPECT_EQ(vrf->infeasibleRuleDel(k), infeasible);
   EXPECT_EQ(rule->parent(), nullptr);
   EXPECT_EQ(infeasible->parent(), nullptr);
   EXPECT_FALSE(vrf->ruleHas(k) || vrf->infeasibleRuleHas(k));
   EXPECT_EQ(log, (Calls{"onRule(10.1.0.0/16;*;)", "onInfeasibleRule(10.1.0.0/16;*;)",
                         "onRule(10.1.0.0/16;*;)", "onRule(10.1.0.0/16;*;)",
                         "onInfeasibleRule(10.1.0.0/16;*;)"}));

   // A rule still held outlives the VRF and the collection it was in.
   auto const kept = vrf->ruleIs(key("10.2.0.0/16;*;"));
   kept->ruleIdIs(5);
   log.clear();
   vrf = nullptr;
   EXPECT_EQ(log, Calls{"onRule(10.2.0.0/16;*;)"});
   EXPECT_EQ(rec.notifier(), nullptr);
   EXPECT_EQ(kept->parent(), nullptr);
   EXPECT_EQ(kept->ruleId(), 5u);
   EXPECT_EQ(kept->key(), key("10.2.0.0/16;*;"));
}

TEST(VrfRuleConfig, DeletionWalksInAscendingKeyOrder) {
   Calls log, visited;
   auto vrf = VrfRuleConfig::VrfRuleConfigIs(7);
   for (auto cli :
        {"10.2.0.0/16;*;", "*;*;", "10.1.0.0/16;*;", "10.2.0.0/16;*;IP:=6;"}) {
      vrf->ruleIs(key(cli))->ruleIdIs(cli[0] == '*' ? 1 : 2);
      vrf->infeasibleRuleIs(key(cli));
   }
   VrfRecorder rec(log);
   rec.notifierIs(vrf);
   // A walk may delete the member it stands on: the "*" rule, last in key order.
   for (auto i = vrf->ruleIterator(); i; ++i) {
      visited.push_back(i.key().toStrepCli().str());
      if (i->ruleId() == 1) {
         EXPECT_EQ(vrf->ruleDel(i)->ruleId(), 1u);
      }
   }
   // A specified prefix sorts before "*", and a longer key before its prefix.
   Calls const order{"10.1.0.0/16;*;", "10.2.0.0/16;*;IP:=6;", "10.2.0.0/16;*;",
                     "*;*;"};
   EXPECT_EQ(visited, order);
   vrf->ruleDelAll();
   vrf->infeasibleRuleDelAll();
   Calls expected{"onRule(*;*;)"};
   for (auto const& k : {order[0], order[1], order[2]})
      expected.push_back("onRule(" + k + ")");
   for (auto const& k : order)
      expected.push_back("onInfeasibleRule(" + k + ")");
   EXPECT_EQ(log, expected);
   EXPECT_EQ(vrf->ruleSize() + vrf->infeasibleRuleSize(), 0u);
}

TEST(Config, EnabledInterfaces) {
   Calls log;
   auto cfg = Config::ConfigIs("flowspec");
   ConfigRecorder rec(log);
   rec.notifierIs(cfg);
   auto const e1 = intf("Ethernet1"), e2 = intf("Ethernet2");
   EXPECT_FALSE(cfg->enabledIntf(e1)) << "absent";
   cfg->enabledIntfIs(e1, true);
   cfg->enabledIntfIs(e1, true);
   cfg->enabledIntfIs(e1, false);
   EXPECT_TRUE(cfg->enabledIntfHas(e1));
   EXPECT_FALSE(cfg->enabledIntf(e1));
   EXPECT_FALSE(cfg->enabledIntfDel(e2)) << "absent: silent";
   cfg->enabledIntfIs(e2, true);
   EXPECT_TRUE(cfg->enabledIntfDel(e2)) << "the removed value";
   cfg->enabledIntfNotify(e2);
   cfg->enabledIntfAllIs(false);
   cfg->enabledIntfAllIs(true);
   cfg->enabledIntfAllIs(true);
   EXPECT_EQ(log, (Calls{"onEnabledIntf(Ethernet1)", "onEnabledIntf(Ethernet1)",
                         "onEnabledIntf(Ethernet2)", "onEnabledIntf(Ethernet2)",
                         "onEnabledIntf(Ethernet2)", "onEnabledIntfAll"}));

   cfg->enabledIntfIs(e2, true);
   cfg->enabledIntfIs(intf("Ethernet3"), false);
   Calls order;
   for (auto i = cfg->enabledIntfIteratorConst(); i; ++i) {
      order.push_back("onEnabledIntf(" + i.key().stringValue().str() + ")");
   }
   log.clear();
   cfg->enabledIntfDelAll();
   EXPECT_EQ(order.size(), 3u);
   EXPECT_EQ(log, order) << "one callback per member, in the map's order";
   EXPECT_EQ(cfg->enabledIntfSize(), 0u);
}

TEST(Config, VrfRuleConfigChildren) {
   Calls log;
   auto cfg = Config::ConfigIs("flowspec");
   ConfigRecorder rec(log);
   rec.notifierIs(cfg);
   auto const vrf = cfg->vrfRuleConfigIs(7);
   EXPECT_EQ(cfg->vrfRuleConfigIs(7), vrf);
   EXPECT_EQ(cfg->vrfRuleConfigSize(), 1u);
   EXPECT_EQ(vrf->parent(), cfg.get());
   EXPECT_EQ(cfg->vrfRuleConfigDel(9), nullptr);
   vrf->ruleIs(key("10.1.0.0/16;*;"));
   EXPECT_EQ(cfg->vrfRuleConfigDel(7), vrf);
   EXPECT_EQ(vrf->parent(), nullptr);
   EXPECT_EQ(vrf->ruleSize(), 1u) << "a removed VRF keeps its rules";
   EXPECT_EQ(log, (Calls{"onVrfRuleConfig(7)", "onVrfRuleConfig(7)"}));
}

TEST(Config, DumpAtIndentZeroAndFour) {
   auto cfg = Config::ConfigIs("flowspec");
   cfg->enabledIntfIs(intf("Ethernet1"), true); // interfaces are not dumped
   EXPECT_EQ(dump(*cfg, 0), "FlowspecConfig: vrfRuleConfigs #0\n");
   auto const vrf = cfg->vrfRuleConfigIs(7);
   vrf->ruleIs(key("10.1.0.0/16;*;"))->ruleIdIs(5);
   vrf->infeasibleRuleIs(key("10.2.0.0/16;*;"))
       ->matchCompTypeIs(MatchCompType::tcpFlags);
   EXPECT_EQ(dump(*cfg, 0),
             "FlowspecConfig: vrfRuleConfigs #1\n"
             "  vrfId is 7, rules #1\n"
             "    ruleKey: 10.1.0.0/16;*;, ruleId: 5\n"
             "    matchSets #0\n"
             "    actionFieldSet is 0, trafficAction is 0, trafficRedirect is "
             "(vrf=16777215, addr=, copy=0), trafficMarkingDscp is 0\n"
             "  infeasibleRules #1\n"
             "    ruleKey: 10.2.0.0/16;*;, ruleId: 0\n"
             "    matchCompType is 9\n");
   EXPECT_EQ(dump(*cfg, 4),
             "    FlowspecConfig: vrfRuleConfigs #1\n"
             "      vrfId is 7, rules #1\n"
             "        ruleKey: 10.1.0.0/16;*;, ruleId: 5\n"
             "        matchSets #0\n"
             "        actionFieldSet is 0, trafficAction is 0, trafficRedirect is "
             "(vrf=16777215, addr=, copy=0), trafficMarkingDscp is 0\n"
             "      infeasibleRules #1\n"
             "        ruleKey: 10.2.0.0/16;*;, ruleId: 0\n"
             "        matchCompType is 9\n");
}

TEST(Config, NamesFactoriesAndBackupSupport) {
   auto const before = live<Config, CliConfig, VrfRuleConfig>();
   auto cfg = configFactory("flowspec");
   auto cli = cliConfigFactory("cli");
   auto vrf = vrfRuleConfigFactory(3);
   auto const during = live<Config, CliConfig, VrfRuleConfig>();
   EXPECT_EQ(during, (std::vector{before[0] + 1, before[1] + 1, before[2] + 1}));
   EXPECT_TRUE(cfg->hasNotificationActive() && cli->hasNotificationActive() &&
               vrf->hasNotificationActive());
   Calls log;
   ConfigRecorder rec(log);
   rec.notifierIs(cfg);
   EXPECT_EQ(cfg->name(), "flowspec");
   cfg->nameIsFromBackup("restored");
   cli->nameIsFromBackup("cliRestored");
   vrf->nameIsFromBackup("ignored");
   EXPECT_EQ(log, Calls{}) << "renaming tells nobody";
   EXPECT_EQ(cfg->name(), "restored");
   EXPECT_EQ(cli->name(), "cliRestored");
   EXPECT_TRUE(vrf->name().empty());
   EXPECT_EQ(vrf->vrfId(), 3u);
   EXPECT_FALSE(cfg->hasBackupSupport() || cli->hasBackupSupport() ||
                vrf->hasBackupSupport());
}

TEST(CliConfig, EnabledInterfacesAndCounterRequest) {
   auto cli = CliConfig::CliConfigIs("cli");
   struct Recorder : CliConfig::NotifieeConst {
      Calls calls;
      void onEnabledIntf(Ipkit::IntfId const& i) override {
         calls.push_back("onEnabledIntf(" + i.stringValue().str() + ")");
      }
      void onCounterUpdateRequestTime() override {
         calls.push_back("onCounterUpdateRequestTime=" +
                         std::to_string(notifier()->counterUpdateRequestTime()));
      }
   } rec;
   rec.notifierIs(cli);
   auto const e1 = intf("Ethernet1"), e2 = intf("Ethernet2");
   EXPECT_EQ(cli->enabledIntf(e1), IpVersion()) << "absent: no version";
   cli->enabledIntfIs(e1, IpVersion::ipv4_);
   cli->enabledIntfIs(e1, IpVersion::ipv4_);
   cli->enabledIntfIs(e1, IpVersion::ipv6_);
   EXPECT_EQ(cli->enabledIntf(e1), IpVersion::ipv6_);
   EXPECT_EQ(cli->enabledIntfDel(e2), IpVersion()) << "absent: silent";
   EXPECT_EQ(cli->enabledIntfDel(e1), IpVersion::ipv6_);
   cli->counterUpdateRequestTimeIs(0.0);
   cli->counterUpdateRequestTimeIs(12.5);
   cli->counterUpdateRequestTimeIs(12.5);
   EXPECT_EQ(rec.calls, (Calls{"onEnabledIntf(Ethernet1)", "onEnabledIntf(Ethernet1)",
                               "onEnabledIntf(Ethernet1)",
                               "onCounterUpdateRequestTime=12.500000"}));
}

TEST(Config, DestructionDeletesChildrenTellingObserversThenDetachesThem) {
   auto const before = live<Config, VrfRuleConfig, RuleConfig, InfeasibleRule>();
   Calls log;
   ConfigRecorder configRec(log);
   VrfRecorder vrfRec(log);
   RuleConfig::NotifieeConst ruleObserver;
   {
      auto cfg = Config::ConfigIs("flowspec");
      auto vrf = cfg->vrfRuleConfigIs(7);
      ruleObserver.notifierIs(vrf->ruleIs(key("10.2.0.0/16;*;")));
      vrf->ruleIs(key("10.1.0.0/16;*;"));
      vrf->infeasibleRuleIs(key("10.3.0.0/16;*;"));
      configRec.notifierIs(cfg);
      vrfRec.notifierIs(vrf);
      log.clear();
      vrf = nullptr; // the Config's collection holds the last pointer
   }
   EXPECT_EQ(log,
             (Calls{"onVrfRuleConfig(7)", "onRule(10.1.0.0/16;*;)",
                    "onRule(10.2.0.0/16;*;)", "onInfeasibleRule(10.3.0.0/16;*;)"}));
   EXPECT_EQ(configRec.notifier(), nullptr);
   EXPECT_EQ(vrfRec.notifier(), nullptr);
   EXPECT_EQ(ruleObserver.notifier(), nullptr);
   EXPECT_EQ((live<Config, VrfRuleConfig, RuleConfig, InfeasibleRule>()), before);
}
