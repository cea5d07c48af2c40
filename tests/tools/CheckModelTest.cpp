#include "CheckModel.h"
#include "HwAgent.h"

#include "Flowspec/FlowspecStatedb.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

using Flowspec::HwRuleProgrammingStatus;
using Flowspec::MatchCompType;
using FlowspecTool::CheckedRule;
using FlowspecTool::CheckModel;
using FlowspecTool::CheckOptions;
using FlowspecTool::RuleOrder;

struct Checked {
   CheckModel model;
   std::string errors;
};

Checked check(std::string const& text, CheckOptions options = {}) {
   std::istringstream in(text);
   std::ostringstream err;
   std::optional<CheckModel> model = FlowspecTool::runCheck(in, "f", options, err);
   EXPECT_TRUE(model.has_value());
   return {std::move(*model), err.str()};
}

CheckedRule const& ruleAt(CheckModel const& m, unsigned line) {
   for (CheckedRule const& r : m.rules) {
      if (r.line == line) return r;
   }
   ADD_FAILURE() << "no rule at line " << line;
   return m.rules.front();
}

// The lines of the rules, listed in `order`.
std::vector<unsigned> linesIn(CheckModel const& m, RuleOrder order) {
   std::vector<unsigned> out;
   for (CheckedRule const* rule : m.ordered(order))
      out.push_back(rule->line);
   return out;
}

TEST(CheckModel, AnInfeasibleRuleNamesItsRealCause) {
   struct Case {
      char const* description;
      char const* key;
      MatchCompType blamed;
      char const* problem;
   } const cases[] = {
       {"a protocol list that accepts nothing, not the port", "*;*;IP:>=200&<=100;SP:=53;",
        MatchCompType::ipProto, "infeasible: IP Protocol accepts no value"},
       {"a port range that accepts nothing", "*;*;IP:=6;DP:>=2000&<=1000;", MatchCompType::destPort,
        "infeasible: Destination Port accepts no value"},
       {"a port under GRE", "*;*;IP:=47;DP:=80;", MatchCompType::destPort,
        "infeasible: Destination Port needs tcp or udp, and the IP protocols are gre"},
       {"TCP flags under UDP", "*;*;IP:=17;TCP:=2;", MatchCompType::tcpFlags,
        "infeasible: TCP Flags need tcp, and the IP protocols are udp"},
       {"ICMP with a port", "*;*;DP:=80;IT:=8;", MatchCompType::icmpType,
        "infeasible: ICMP Type excludes ports and TCP flags"},
   };
   for (auto const& c : cases) {
      SCOPED_TRACE(c.description);
      Checked const r = check(std::string("vrf default ipv4 ") + c.key + " drop\n");
      ASSERT_EQ(r.model.rules.size(), 1u) << r.errors;
      CheckedRule const& rule = r.model.rules.front();
      ASSERT_TRUE(rule.infeasible.has_value());
      EXPECT_EQ(*rule.infeasible, c.blamed);
      EXPECT_EQ(rule.problem(), c.problem);
      ASSERT_TRUE(rule.status().has_value());
      EXPECT_EQ(rule.status()->status, HwRuleProgrammingStatus::unprocessed);
      EXPECT_EQ(r.model.exitStatus(), 4);
   }
}

TEST(CheckModel, ExitStatusSaysWhetherEveryRuleWasReadAndProgrammed) {
   struct Case {
      char const* description;
      char const* text;
      int exit;
      char const* result;
   } const cases[] = {
       {"all programmed", "vrf default ipv4 *;*;IP:=6; drop\n", 0,
        "every rule read and programmed (exit status 0)"},
       {"no rules at all", "# nothing\n", 0, "every rule read and programmed (exit status 0)"},
       {"one infeasible",
        "vrf default ipv4 *;*;IP:=6; drop\nvrf default ipv4 *;*;IP:=47;DP:=80; drop\n", 4,
        "1 rule infeasible (exit status 4)"},
       {"one not programmed", "vrf default ipv6 *;*;FL:=1; drop\n", 4,
        "1 rule not programmed fully (exit status 4)"},
       {"programmed with failures", "vrf default ipv4 *;*;IP:=6; drop continue\n", 4,
        "1 rule not programmed fully (exit status 4)"},
       {"a refused line wins over the rest",
        "vrf default ipv4 *;*;ICMP:=8; drop\nvrf default ipv6 *;*;FL:=1; drop\n", 1,
        "1 line refused, 1 rule not programmed fully (exit status 1)"},
   };
   for (auto const& c : cases) {
      SCOPED_TRACE(c.description);
      Checked const r = check(c.text);
      EXPECT_EQ(r.model.exitStatus(), c.exit);
      EXPECT_EQ(r.model.resultText(), c.result);
   }
}

TEST(CheckModel, RefusalsGoToErrorsAsTheyComeAndToTheModelForJson) {
   std::string const text = "vrf default ipv4 *;*;ICMP:=8; drop\nvrf default ipv4 "
                            "*;*;IP:=6; redirect 2001:db8::1\n";
   Checked const plain = check(text);
   EXPECT_EQ(plain.errors,
             "f:1:22: rule key: 'ICMP' is not a label; the labels are IP, P, DP, SP, "
             "IT, IC, TCP, LEN, "
             "DSCP, FRAG and FL\n"
             "f:2:38: an ipv4 rule cannot redirect to the ipv6 next hop 2001:db8::1\n");
   EXPECT_EQ(plain.model.refusedLines, 2u);
   EXPECT_TRUE(plain.model.refusals.empty()) << "text output keeps only the count";
   CheckOptions json;
   json.json = true;
   Checked const forJson = check(text, json);
   ASSERT_EQ(forJson.model.refusals.size(), 2u);
   EXPECT_EQ(forJson.model.refusals[1].line, 2u);
   EXPECT_EQ(forJson.model.refusals[1].column, 38u);
}

TEST(CheckModel, ARuleReadAgainIsRefusedWithTheLineOfTheFirst) {
   // The check's reader finds earlier keys in the Config tree: infeasible
   // rules are there too, refused lines are not.
   Checked const r = check("vrf default ipv4 *;*;IP:=47;DP:=80; drop\n"     // infeasible
                           "vrf default ipv4 *;*;IP:=6; drop drop\n"        // refused
                           "vrf default ipv4 *;*;IP:=6; permit\n"           // first
                           "vrf blue ipv4 *;*;IP:=6; drop\n"                // another VRF
                           "vrf default ipv4 *;*;IP:=0x6; drop\n"           // as line 3
                           "vrf default ipv4 *;*;IP:=47;DP:=0x50; permit\n" // as line 1
                           "vrf 0 ipv4 *;*;IP:=6; drop\n");                 // as line 3
   EXPECT_EQ(r.errors, "f:2:34: 'drop' is given twice\n"
                       "f:5:18: the same rule as line 3\n"
                       "f:6:18: the same rule as line 1\n"
                       "f:7:12: the same rule as line 3\n");
   EXPECT_EQ(linesIn(r.model, RuleOrder::file), (std::vector<unsigned>{1, 3, 4}));
   EXPECT_EQ(r.model.refusedLines, 4u);
}

TEST(CheckModel, RulesListInFileOrderByKeyOrByPrecedence) {
   Checked const r = check("vrf blue ipv4 *;*;IP:=17; drop\n"
                           "vrf default ipv4 10.0.0.0/8;*; drop\n"
                           "vrf default ipv4 10.1.0.0/16;*; drop\n"
                           "vrf 7 ipv4 *;*;IP:=6; drop\n"
                           "vrf default ipv4 *;*;IP:=6; drop\n");
   EXPECT_EQ(linesIn(r.model, RuleOrder::file), (std::vector<unsigned>{1, 2, 3, 4, 5}));
   EXPECT_EQ(linesIn(r.model, RuleOrder::key), (std::vector<unsigned>{2, 3, 5, 1, 4}));
   EXPECT_EQ(r.model.vrfText(0), "default (0)");
   EXPECT_EQ(r.model.vrfText(1), "blue (1)");
   EXPECT_EQ(r.model.vrfText(7), "7");
   EXPECT_EQ(r.model.actionsText(ruleAt(r.model, 1)), "drop");
}

TEST(CheckModel, TheAgentProgramsEachVrfInPrecedenceOrder) {
   Checked const r =
       check("vrf default ipv4 *;*;IP:=6; drop\n"          // no destination: last
             "vrf default ipv4 10.0.0.0/8;*; drop\n"       // less specific
             "vrf default ipv6 2001:db8::/32;*; drop\n"    // IPv6 after IPv4
             "vrf default ipv4 10.1.0.0/16;*; drop\n"      // more specific: first
             "vrf default ipv4 10.0.0.0/8;*;IP:=6; drop\n" // same prefix, more components
             "vrf blue ipv4 *;*;IP:=17; drop\n");
   EXPECT_EQ(linesIn(r.model, RuleOrder::precedence), (std::vector<unsigned>{4, 5, 2, 1, 3, 6}));
   EXPECT_EQ(ruleAt(r.model, 4).precedence, 0u);
   EXPECT_EQ(ruleAt(r.model, 6).precedence, 0u) << "places count per VRF";
   // Versions number the rules in the order the agent programmed them.
   std::vector<std::string> versions;
   for (CheckedRule const* rule : r.model.ordered(RuleOrder::precedence))
      versions.push_back(rule->status()->version);
   EXPECT_EQ(versions, (std::vector<std::string>{"0000000000000f10.1", "0000000000000f10.2",
                                                 "0000000000000f10.3", "0000000000000f10.4",
                                                 "0000000000000f10.5", "0000000000000f10.6"}));
}

TEST(CheckModel, PlacesNotedWhileTheAgentProgramsAreThePlacesOfTheSort) {
   std::string const text = "vrf default ipv4 *;*;IP:=6; drop\n"
                            "vrf blue ipv4 10.0.0.0/8;*; drop\n"
                            "vrf default ipv4 10.0.0.0/8;*; drop\n"
                            "vrf default ipv6 2001:db8::/32;*; drop\n"
                            "vrf blue ipv4 *;*;IP:=17; drop\n"
                            "vrf default ipv4 10.1.0.0/16;*;IP:=47;DP:=80; drop\n" // infeasible
                            "vrf 7 ipv4 *;*; drop\n"
                            "vrf default ipv4 10.0.0.0/8;*;IP:=6; drop\n";
   Checked const checked = check(text);
   ASSERT_TRUE(checked.model.precedenceKnown);

   // The same rules, with an agent that tells nothing: build() sorts.
   auto config = Flowspec::configFactory("config");
   auto status = Flowspec::statusFactory("status");
   auto counter = Flowspec::counterFactory("counter");
   FlowspecTool::RuleFile file = FlowspecTool::readRuleFile(text, "f");
   CheckModel sorted;
   {
      FlowspecTool::HwAgent agent(config, status, counter);
      for (FlowspecTool::RuleLine& line : file.rules) {
         FlowspecTool::configureRule(*config, line);
         sorted.add(std::move(line));
      }
      agent.run();
   }
   sorted.build(file.vrfNames, *config, *status, *counter);
   ASSERT_EQ(sorted.rules.size(), checked.model.rules.size());
   for (std::size_t i = 0; i < sorted.rules.size(); ++i) {
      SCOPED_TRACE(sorted.rules[i].line);
      EXPECT_EQ(checked.model.rules[i].precedence, sorted.rules[i].precedence);
   }
   EXPECT_EQ(linesIn(checked.model, RuleOrder::precedence),
             (std::vector<unsigned>{6, 8, 3, 1, 4, 2, 5, 7}));
   EXPECT_EQ(ruleAt(checked.model, 6).precedence, 0u) << "infeasible rules have their place";
}

TEST(CheckModel, TheModelHoldsWhatBothPrintersShow) {
   CheckOptions verbose;
   verbose.verbose = true;
   Checked const r =
       check("vrf default ipv4 198.51.100.0/24;*;IP:=6;DP:=80|=443;TCP:=2&!=16; rate 1250k "
             "sample\n"
             "vrf default ipv4 *;*;SP:=11211; redirect vrf scrubbing copy dscp 46 continue\n"
             "vrf default ipv4 *;*;IP:=17; rate 1000G\n",
             verbose);
   CheckedRule const& syn = ruleAt(r.model, 1);
   EXPECT_EQ(syn.verdictText(), "feasible: tcp");
   EXPECT_EQ(r.model.actionsText(syn), "rate 1250k sample");
   EXPECT_EQ(syn.matchText(), "Destination Prefix 198.51.100.0/24; IP Protocol tcp; "
                              "Destination Port 80, 443; TCP Flags all "
                              "of SYN, not ACK");
   ASSERT_TRUE(syn.status().has_value());
   EXPECT_EQ(syn.status()->code, "programmed");
   EXPECT_EQ(syn.packets, 0u);
   CheckedRule const& memcached = ruleAt(r.model, 2);
   EXPECT_EQ(memcached.verdictText(), "feasible: tcp, udp");
   EXPECT_EQ(r.model.actionsText(memcached), "redirect vrf scrubbing copy dscp 46 continue");
   EXPECT_EQ(memcached.problem(), "continue is not supported: programmed as a terminal rule");
   EXPECT_EQ(r.model.actionsText(ruleAt(r.model, 3)), "rate 1000G")
       << "the float's 999999995904 reads as 1000G";
   std::size_t programmed = r.model.tally[std::size_t(HwRuleProgrammingStatus::programmed)];
   EXPECT_EQ(programmed, 2u);
   EXPECT_EQ(r.model.tallyTotal(), 3u);
   EXPECT_EQ(FlowspecTool::protocolName(58), "ipv6-icmp");
   EXPECT_EQ(FlowspecTool::protocolName(253), "253");

   // The plain table does not show the match: the model leaves it out, and
   // keeps no text at all for a rule programmed fully.
   Checked const plain = check("vrf default ipv4 198.51.100.0/24;*;TCP:=2; drop\n");
   EXPECT_EQ(ruleAt(plain.model, 1).matchText(), "");
   EXPECT_FALSE(ruleAt(plain.model, 1).texts);
   EXPECT_EQ(ruleAt(plain.model, 1).rule(), "198.51.100.0/24;*;TCP:=2;");
   EXPECT_EQ(ruleAt(plain.model, 1).detail(),
             "Destination Prefix : 198.51.100.0/24;Source Prefix : *;TCP Flags : ALL(SYN:1);");
}

} // namespace
