#include "RuleFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

namespace {

using FlowspecTool::readRuleFile;
using FlowspecTool::RuleFile;

std::string exampleText() {
   std::ifstream in(FLOWSPEC_EXAMPLE_RULES, std::ios::binary);
   return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(RuleFile, ReadsTheActionsIntoTheRuleConfigFields) {
   RuleFile f = readRuleFile(
       "vrf default ipv6 2001:db8::/32;*;IP:=17; rate 12k sample continue dscp 46 "
       "redirect 2001:db8::1 copy\n",
       "f");
   ASSERT_TRUE(f.errors.empty()) << f.errors.front();
   ASSERT_EQ(f.rules.size(), 1u);
   auto const& r = f.rules.front();
   EXPECT_EQ(r.line, 1u);
   EXPECT_EQ(r.vrfId, 0u);
   EXPECT_EQ(r.key.vrfId(), 0u);
   EXPECT_EQ(r.key.addressFamily(), Ipkit::ipv6);
   EXPECT_EQ(r.key.toStrepCli(), "2001:db8::/32;*;IP:=17;");
   // rate, action, redirect and marking: 8 | 16 | 32 | 64.
   EXPECT_EQ(r.actionFieldSet.value(), 0x78u);
   EXPECT_EQ(r.trafficRateLimit, 12000.0f);
   EXPECT_EQ(r.trafficAction.value(), 3u);
   EXPECT_EQ(r.trafficRedirect.vrfId(), Vrf::VrfIdMap::noVrfId);
   EXPECT_EQ(r.trafficRedirect.addr().stringValue(), "2001:db8::1");
   EXPECT_TRUE(r.trafficRedirect.copy());
   EXPECT_EQ(r.trafficMarkingDscp.value(), 46);
}

TEST(RuleFile, RatesScaleByTheirUnitUpTo1000G) {
   struct {
      char const* rate;
      float bytes;
   } const cases[] = {{"0", 0.0f},      {"1", 1.0f},      {"1k", 1e3f},
                      {"125M", 125e6f}, {"1000G", 1e12f}, {"1000000000000", 1e12f}};
   for (auto const& c : cases) {
      RuleFile f = readRuleFile(std::string("vrf 0 ipv4 *;*; rate ") + c.rate, "f");
      ASSERT_EQ(f.rules.size(), 1u) << c.rate << ": " << f.errors.front();
      EXPECT_EQ(f.rules.front().trafficRateLimit, c.bytes) << c.rate;
   }
   for (char const* rate :
        {"1001G", "1000000000001", "18446744073709551616", "1K", "k", "-1"}) {
      RuleFile f = readRuleFile(std::string("vrf 0 ipv4 *;*; rate ") + rate, "f");
      EXPECT_TRUE(f.rules.empty()) << rate;
      EXPECT_EQ(f.errors.size(), 1u) << rate;
   }
}

TEST(RuleFile, NamedVrfsGetIdsInTheOrderOfTheLinesRead) {
   RuleFile f = readRuleFile("vrf blue ipv4 *;*; drop\n"
                             "vrf green ipv4 *;*; bogus\n" // refused: green gets no id
                             "vrf red ipv4 *;*; redirect vrf green\n"
                             "vrf default ipv4 *;*; drop\n"
                             "vrf 0 ipv6 *;*; drop\n",
                             "f");
   ASSERT_EQ(f.errors.size(), 1u);
   EXPECT_EQ(f.errors[0].rfind("f:2: unknown action 'bogus'", 0), 0u) << f.errors[0];
   ASSERT_EQ(f.rules.size(), 4u);
   EXPECT_EQ(f.rules[0].vrfId, 1u);
   EXPECT_EQ(f.rules[1].vrfId, 2u);
   EXPECT_EQ(f.rules[1].trafficRedirect.vrfId(), 3u);
   EXPECT_EQ(f.rules[2].vrfId, 0u);
   EXPECT_EQ(f.rules[3].vrfId, 0u);
   std::map<Vrf::VrfIdMap::VrfId, std::string> const names = {
       {0, "default"}, {1, "blue"}, {2, "red"}, {3, "green"}};
   EXPECT_EQ(f.vrfNames, names);
}

TEST(RuleFile, AKeyIsUniquePerVrfAndFamily) {
   RuleFile f = readRuleFile("vrf 1 ipv4 *;*;IP:=6; drop\n"
                             "vrf 2 ipv4 *;*;IP:=6; drop\n"
                             "vrf 1 ipv6 *;*;IP:=6; drop\n"
                             "vrf 1 ipv4 *;*;IP:=6; permit\n"
                             "vrf 1 ipv4 *;*;IP:=0x6; permit\n",
                             "f");
   EXPECT_EQ(f.rules.size(), 3u);
   std::vector<std::string> const errors = {"f:4: the same rule as line 1",
                                            "f:5: the same rule as line 1"};
   EXPECT_EQ(f.errors, errors);
}

TEST(RuleFile, LinesEndInNewlinesCarriageReturnsOrTheEndOfTheText) {
   EXPECT_TRUE(readRuleFile("", "f").rules.empty());
   RuleFile f =
       readRuleFile("\r\n# c\r\nvrf 0 ipv4 *;*; drop\r\n\nvrf 0 ipv6 *;*; drop", "f");
   EXPECT_TRUE(f.errors.empty());
   ASSERT_EQ(f.rules.size(), 2u);
   EXPECT_EQ(f.rules[0].line, 3u);
   EXPECT_EQ(f.rules[1].line, 5u);
   // A carriage return inside a line is a control character.
   RuleFile g = readRuleFile("vrf 0 ipv4 *;*;\r drop\n", "g");
   std::vector<std::string> const errors = {"g:1: control character 0x0d in the line"};
   EXPECT_EQ(g.errors, errors);
}

TEST(RuleFile, MessagesShowBytesOutsidePrintableAsciiEscaped) {
   RuleFile f = readRuleFile("vrf 0 ipv4 *;*;IP:=\xc3\xa9; drop\n", "f");
   std::vector<std::string> const errors = {
       "f:1: rule key: Unexpected character \\xc3"};
   EXPECT_EQ(f.errors, errors);
}

// Every prefix of the example reads without a fault: the lines it holds whole
// read as in the whole file, and at most its last, cut line reads otherwise.
TEST(RuleFile, EveryPrefixOfTheExampleReadsLineByLine) {
   std::string const text = exampleText();
   RuleFile const whole = readRuleFile(text, "f");
   ASSERT_GE(whole.rules.size(), 30u);
   ASSERT_TRUE(whole.errors.empty()) << whole.errors.front();
   for (std::size_t n = 0; n <= text.size(); ++n) {
      RuleFile const part = readRuleFile(std::string_view(text).substr(0, n), "f");
      std::size_t const wholeLines = std::count(text.begin(), text.begin() + n, '\n');
      std::size_t matched = 0;
      for (auto const& r : part.rules) {
         if (r.line > wholeLines) break;
         ASSERT_LT(matched, whole.rules.size());
         EXPECT_EQ(r.line, whole.rules[matched].line);
         EXPECT_TRUE(r.key == whole.rules[matched].key) << "prefix " << n;
         ++matched;
      }
      EXPECT_LE(part.rules.size() + part.errors.size(), matched + 1) << "prefix " << n;
      for (auto const& e : part.errors) {
         EXPECT_EQ(e.rfind("f:" + std::to_string(wholeLines + 1) + ": ", 0), 0u) << e;
      }
   }
}

// Deleting any one byte of a rule line reads it or refuses it with a message
// about that line; nothing throws and nothing aborts.
TEST(RuleFile, EveryLineWithOneByteLessIsReadOrRefused) {
   std::string const text = exampleText();
   std::size_t start = 0;
   while (start < text.size()) {
      std::size_t end = text.find('\n', start);
      if (end == std::string::npos) end = text.size();
      std::string const line = text.substr(start, end - start);
      start = end + 1;
      if (line.rfind("vrf ", 0) != 0) continue;
      for (std::size_t i = 0; i < line.size(); ++i) {
         std::string cut = line;
         cut.erase(i, 1);
         RuleFile const f = readRuleFile(cut, "f");
         EXPECT_EQ(f.rules.size() + f.errors.size(), 1u) << cut;
         for (auto const& e : f.errors)
            EXPECT_EQ(e.rfind("f:1: ", 0), 0u) << e;
      }
   }
}

} // namespace
