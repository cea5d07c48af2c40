// Routes of several peers into the Config tree: the best-path tie-break,
// hand-over on withdraw and on peer down, infeasible keys.
#include "bgp/RuleTable.h"

#include "WireTestUtil.h"

#include "Flowspec/FlowspecStatedb.h"

#include <gtest/gtest.h>

namespace Bgp {
namespace {

Flowspec::RuleActions drop() {
   Flowspec::RuleActions a;
   a.actionFieldSet.trafficDropIs(true);
   return a;
}

Flowspec::RuleActions rate(float r) {
   Flowspec::RuleActions a;
   a.actionFieldSet.trafficRateIs(true);
   a.trafficRateLimit = r;
   return a;
}

Flowspec::FlowspecKey key(std::string const& text, Vrf::VrfIdMap::VrfId vrf = 0) {
   Flowspec::FlowspecKey k = WireTest::cliKey(text);
   k.vrfIdIs(vrf);
   return k;
}

std::string text(std::vector<RuleChange> const& changes) {
   std::string s;
   for (RuleChange const& c : changes) {
      s += std::string(ruleChangeText(c.kind)) + " " + c.key.toStrepCli().str() + " from " +
           c.peer + (c.infeasible ? " infeasible" : "") + "\n";
   }
   return s;
}

TEST(BgpRuleTable, LowestIdentifierThenAddressWins) {
   auto config = Flowspec::configFactory("config");
   RuleTable t(config);
   PeerId const a{0x0a000002, "127.0.0.2"}, b{0x0a000001, "127.0.0.3"}, c{0x0a000001, "127.0.0.4"};
   Flowspec::FlowspecKey const k = key("10.0.0.0/24;*;IP:=6;");
   std::vector<RuleChange> ch;
   t.announce(a, k, drop(), ch);
   t.announce(a, k, drop(), ch); // the same again: nothing
   t.announce(c, k, rate(100), ch);
   t.announce(b, k, rate(200), ch);
   t.announce(c, k, rate(300), ch); // not the winner: nothing
   EXPECT_EQ(text(ch), "added 10.0.0.0/24;*;IP:=6; from 127.0.0.2\n"
                       "changed 10.0.0.0/24;*;IP:=6; from 127.0.0.4\n"
                       "changed 10.0.0.0/24;*;IP:=6; from 127.0.0.3\n");
   auto rule = config->vrfRuleConfig(0)->rule(k);
   ASSERT_TRUE(rule);
   EXPECT_TRUE(Flowspec::ruleActions(*rule) == rate(200));
   ASSERT_TRUE(t.winner(k));
   EXPECT_EQ(t.winner(k)->address, "127.0.0.3");

   // The winner withdraws: the next best takes over with its own actions;
   // a peer goes: its routes go; the last one withdraws: the rule goes.
   ch.clear();
   t.withdraw(b, k, ch);
   EXPECT_TRUE(Flowspec::ruleActions(*config->vrfRuleConfig(0)->rule(k)) == rate(300));
   t.withdraw(b, k, ch); // never sent again: nothing
   t.withdrawAll(c, ch);
   t.withdraw(a, k, ch);
   EXPECT_EQ(text(ch), "changed 10.0.0.0/24;*;IP:=6; from 127.0.0.4\n"
                       "changed 10.0.0.0/24;*;IP:=6; from 127.0.0.2\n"
                       "withdrawn 10.0.0.0/24;*;IP:=6; from 127.0.0.2\n");
   EXPECT_FALSE(config->vrfRuleConfig(0)->rule(k));
   EXPECT_EQ(t.size(), 0u);
   EXPECT_EQ(t.routes(a), 0u);
   EXPECT_EQ(t.route(a, k), nullptr);
}

TEST(BgpRuleTable, VrfsAndInfeasibleKeys) {
   auto config = Flowspec::configFactory("config");
   RuleTable t(config);
   PeerId const p{1, "127.0.0.2"};
   std::vector<RuleChange> ch;
   // TCP flags on UDP can match nothing: the rule is kept and recorded as
   // infeasible.
   Flowspec::FlowspecKey const infeasible = key("10.0.0.0/24;*;IP:=17;TCP:=2;");
   Flowspec::FlowspecKey const inVrf = key("10.0.0.0/24;*;", 5);
   t.announce(p, infeasible, drop(), ch);
   t.announce(p, inVrf, drop(), ch);
   EXPECT_EQ(text(ch), "added 10.0.0.0/24;*;IP:=17;TCP:=2; from 127.0.0.2 infeasible\n"
                       "added 10.0.0.0/24;*; from 127.0.0.2\n");
   EXPECT_TRUE(config->vrfRuleConfig(0)->infeasibleRule(infeasible));
   EXPECT_TRUE(config->vrfRuleConfig(5)->rule(inVrf));
   EXPECT_EQ(t.routes(p), 2u);
   ASSERT_NE(t.route(p, inVrf), nullptr);
   EXPECT_TRUE(*t.route(p, inVrf) == drop());
   ch.clear();
   t.withdrawAll(p, ch);
   EXPECT_EQ(ch.size(), 2u);
   EXPECT_FALSE(config->vrfRuleConfig(0)->infeasibleRule(infeasible));
   EXPECT_EQ(config->vrfRuleConfig(0)->ruleSize() + config->vrfRuleConfig(5)->ruleSize(), 0u);
}

} // namespace
} // namespace Bgp
