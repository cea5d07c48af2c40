#include "Flowspec/entities/Config.h"

#include "EntityTestUtil.h"
#include "Flowspec/module/Factories.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using namespace Flowspec;
using namespace EntityTest;

TEST(Entities, ChildCollectionsCreateOnceAndHandBackOnDeletion) {
   Calls log;
   auto const k = key("10.1.0.0/16;*;"), absent = key("10.9.0.0/16;*;");
   auto cfg = Config::ConfigIs("flowspec");
   auto vrf = VrfRuleConfig::VrfRuleConfigIs(7);
   auto st = Status::StatusIs("status");
   auto vrfSt = VrfRuleStatus::VrfRuleStatusIs(7);
   ConfigRec cfgRec(log, cfg);
   VrfConfigRec vrfRec(log, vrf);
   StatusRec stRec(log, st);
   VrfStatusRec vrfStRec(log, vrfSt);
   auto const heard = [&](std::string const& call) {
      EXPECT_EQ(log, Calls(3, call));
      log.clear();
   };
   EXPECT_CHILDREN(vrf, rule, k, absent, , true);
   heard("onRule(10.1.0.0/16;*;)");
   EXPECT_CHILDREN(vrf, infeasibleRule, k, absent, , true);
   heard("onInfeasibleRule(10.1.0.0/16;*;)");
   EXPECT_CHILDREN(cfg, vrfRuleConfig, 7, 9, c->ruleIs(k), c->ruleSize() == 1u);
   heard("onVrfRuleConfig(7)");
   EXPECT_CHILDREN(vrfSt, ruleStatus, k, absent, , true);
   heard("onRuleStatus(10.1.0.0/16;*;)");
   EXPECT_CHILDREN(vrfSt, activeIntfPerAf, Ipkit::ipv4, Ipkit::ipv6, c->intfIs(intf("Ethernet1")),
                   c->intfSize() == 1u && c->af() == Ipkit::ipv4);
   heard("onActiveIntfPerAf(ipv4)");
   EXPECT_CHILDREN(st, vrfRuleStatus, 7, 9, c->ruleStatusIs(k), c->ruleStatusSize() == 1u);
   heard("onVrfRuleStatus(7)");

   // A rule still held outlives the VRF and the collection it was in.
   auto const kept = vrf->ruleIs(key("10.2.0.0/16;*;"));
   kept->ruleIdIs(5);
   log.clear();
   vrf = nullptr;
   EXPECT_EQ(log, Calls{"onRule(10.2.0.0/16;*;)"});
   EXPECT_EQ(vrfRec.notifier(), nullptr);
   EXPECT_EQ(kept->parent(), nullptr);
   EXPECT_EQ(kept->ruleId(), 5u);
   EXPECT_EQ(kept->key(), key("10.2.0.0/16;*;"));
}

TEST(VrfRuleConfig, DeleteAllFollowsObserversThatChangeTheRules) {
   // While the rules are deleted, an observer deletes the rule after the one
   // it hears of, and puts back a rule whose key sorts first: the walk skips
   // what is gone, leaves what came back before it, and tells each deletion
   // once.
   auto vrf = VrfRuleConfig::VrfRuleConfigIs(7);
   std::vector<FlowspecKey> keys;
   for (int i = 1; i <= 40; ++i) {
      keys.push_back(key(("10." + std::to_string(i) + ".0.0/16;*;").c_str()));
      vrf->ruleIs(keys.back());
   }
   struct Meddler : VrfRuleConfig::Notifiee {
      std::vector<FlowspecKey> const* keys;
      Calls heard;
      void onRule(FlowspecKey const& k) override {
         heard.push_back(cli(k));
         auto at = std::find(keys->begin(), keys->end(), k);
         auto self = notifier();
         if (self->rule(k)) return; // a rule being added
         if (at == keys->begin() + 10) self->ruleIs(keys->front());
         if (at + 1 != keys->end() && (at - keys->begin()) % 3 == 0) self->ruleDel(*(at + 1));
      }
   } meddler;
   meddler.keys = &keys;
   meddler.notifierIs(vrf);
   vrf->ruleDelAll();

   // What the walk must hear: each deletion, and inside it what the
   // observer does (a put-back is heard as such, a deletion recurses).
   Calls expected;
   std::vector<bool> gone(40);
   std::function<void(int)> deleted = [&](int j) {
      gone[j] = true;
      expected.push_back(cli(keys[j]));
      if (j == 10) expected.push_back(cli(keys[0]));
      if (j + 1 < 40 && j % 3 == 0) deleted(j + 1);
   };
   for (int i = 0; i < 40; ++i)
      if (!gone[i]) deleted(i);
   EXPECT_EQ(meddler.heard, expected);
   ASSERT_EQ(vrf->ruleSize(), 1u) << "the rule put back sorts before the walk";
   EXPECT_TRUE(vrf->rule(keys[0]));
}

TEST(VrfRuleConfig, DeletionWalksInAscendingKeyOrder) {
   Calls visited;
   auto vrf = VrfRuleConfig::VrfRuleConfigIs(7);
   for (auto cli : {"10.2.0.0/16;*;", "*;*;", "10.1.0.0/16;*;", "10.2.0.0/16;*;IP:=6;"}) {
      vrf->ruleIs(key(cli))->ruleIdIs(cli[0] == '*' ? 1 : 2);
      vrf->infeasibleRuleIs(key(cli));
   }
   VrfConfigRec rec(vrf);
   // A walk may delete the member it stands on: the "*" rule, last in key order.
   for (auto i = vrf->ruleIteratorConst(); i; ++i) {
      visited.push_back(cli(i.key()));
      if (i->ruleId() == 1) {
         EXPECT_EQ(vrf->ruleDel(i)->ruleId(), 1u);
      }
   }
   // A concrete prefix sorts before "*", and a longer key before its prefix.
   Calls const order{"10.1.0.0/16;*;", "10.2.0.0/16;*;IP:=6;", "10.2.0.0/16;*;", "*;*;"};
   EXPECT_EQ(visited, order);
   vrf->ruleDelAll();
   vrf->infeasibleRuleDelAll();
   Calls expected{"onRule(*;*;)"};
   for (auto const& k : {order[0], order[1], order[2]})
      expected.push_back("onRule(" + k + ")");
   for (auto const& k : order)
      expected.push_back("onInfeasibleRule(" + k + ")");
   EXPECT_EQ(rec.calls, expected);
   EXPECT_EQ(vrf->ruleSize() + vrf->infeasibleRuleSize(), 0u);
}

TEST(Config, EnabledInterfaces) {
   auto cfg = Config::ConfigIs("flowspec");
   ConfigRec rec(cfg);
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
   EXPECT_EQ(rec.calls, (Calls{"onEnabledIntf(Ethernet1)", "onEnabledIntf(Ethernet1)",
                               "onEnabledIntf(Ethernet2)", "onEnabledIntf(Ethernet2)",
                               "onEnabledIntf(Ethernet2)"}));

   cfg->enabledIntfIs(e2, true);
   cfg->enabledIntfIs(intf("Ethernet3"), false);
   Calls order;
   for (auto i = cfg->enabledIntfIteratorConst(); i; ++i)
      order.push_back("onEnabledIntf(" + str(i.key()) + ")");
   rec.calls.clear();
   cfg->enabledIntfDelAll();
   EXPECT_EQ(order.size(), 3u);
   EXPECT_EQ(rec.calls, order) << "one callback per member, in the map's order";
   EXPECT_EQ(cfg->enabledIntfSize(), 0u);
}

TEST(CliConfig, EnabledInterfacesHoldAVersion) {
   auto cli = CliConfig::CliConfigIs("cli");
   CliConfigRec rec(cli);
   auto const e1 = intf("Ethernet1"), e2 = intf("Ethernet2");
   EXPECT_EQ(cli->enabledIntf(e1), IpVersion()) << "absent: no version";
   cli->enabledIntfIs(e1, IpVersion::ipv4_);
   cli->enabledIntfIs(e1, IpVersion::ipv4_);
   cli->enabledIntfIs(e1, IpVersion::ipv6_);
   EXPECT_EQ(cli->enabledIntf(e1), IpVersion::ipv6_);
   EXPECT_EQ(cli->enabledIntfDel(e2), IpVersion()) << "absent: silent";
   EXPECT_EQ(cli->enabledIntfDel(e1), IpVersion::ipv6_);
   EXPECT_EQ(rec.calls, Calls(3, "onEnabledIntf(Ethernet1)"));
}

TEST(Config, DumpAtIndentZeroAndFour) {
   auto cfg = Config::ConfigIs("flowspec");
   cfg->enabledIntfIs(intf("Ethernet1"), true); // interfaces are not dumped
   EXPECT_EQ(dump(*cfg, 0), "FlowspecConfig: vrfRuleConfigs #0\n");
   auto const vrf = cfg->vrfRuleConfigIs(7);
   vrf->ruleIs(key("10.1.0.0/16;*;"))->ruleIdIs(5);
   vrf->infeasibleRuleIs(key("10.2.0.0/16;*;"))->matchCompTypeIs(MatchCompType::tcpFlags);
   std::string const text = "FlowspecConfig: vrfRuleConfigs #1\n"
                            "  vrfId is 7, rules #1\n"
                            "    ruleKey: 10.1.0.0/16;*;, ruleId: 5\n"
                            "    matchSets #0\n"
                            "    actionFieldSet is 0, trafficAction is 0, trafficRedirect is "
                            "(vrf=16777215, addr=, copy=0), trafficMarkingDscp is 0\n"
                            "  infeasibleRules #1\n"
                            "    ruleKey: 10.2.0.0/16;*;, ruleId: 0\n"
                            "    matchCompType is 9\n";
   EXPECT_EQ(dump(*cfg, 0), text);
   EXPECT_EQ(dump(*cfg, 4), indented(text, 4));
}

TEST(Config, DestructionDeletesChildrenTellingObserversThenDetachesThem) {
   auto const before = live<Config, VrfRuleConfig, RuleConfig, InfeasibleRule>();
   Calls log;
   ConfigRec configRec(log);
   VrfConfigRec vrfRec(log);
   RuleConfig::NotifieeConst ruleObserver;
   {
      auto cfg = Config::ConfigIs("flowspec");
      auto vrf = cfg->vrfRuleConfigIs(7);
      ruleObserver.notifierIs(vrf->ruleIs(key("10.2.0.0/16;*;")));
      vrf->ruleIs(key("10.1.0.0/16;*;"));
      vrf->infeasibleRuleIs(key("10.3.0.0/16;*;"));
      configRec.notifierIs(cfg);
      vrfRec.notifierIs(vrf);
      vrf = nullptr; // the Config's collection holds the last pointer
   }
   EXPECT_EQ(log, (Calls{"onVrfRuleConfig(7)", "onRule(10.1.0.0/16;*;)", "onRule(10.2.0.0/16;*;)",
                         "onInfeasibleRule(10.3.0.0/16;*;)"}));
   EXPECT_EQ(configRec.notifier(), nullptr);
   EXPECT_EQ(vrfRec.notifier(), nullptr);
   EXPECT_EQ(ruleObserver.notifier(), nullptr);
   EXPECT_EQ((live<Config, VrfRuleConfig, RuleConfig, InfeasibleRule>()), before);
}
