#include "RuleFile.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <new>
#include <sstream>
#include <string>

// Every allocation of the test binary is counted, so that a test can count
// the work a reader does by the allocations it makes. Neither side is
// inlined, so that the compiler does not see free() meet a pointer from
// malloc() behind new and delete.
namespace {
std::atomic<std::size_t> allocations{0};
}
[[gnu::noinline]] void* operator new(std::size_t size) {
   ++allocations;
   if (void* p = std::malloc(size ? size : 1)) return p;
   throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept {
   std::free(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
   std::free(p);
}

namespace {

using FlowspecTool::readRuleFile;
using FlowspecTool::Refusal;
using FlowspecTool::RuleFile;

std::string exampleText() {
   std::ifstream in(FLOWSPEC_EXAMPLE_RULES, std::ios::binary);
   return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

TEST(RuleFile, ReadsTheActionsIntoTheRuleConfigFields) {
   RuleFile f =
       readRuleFile("vrf default ipv6 2001:db8::/32;*;IP:=17; rate 12k sample continue dscp 46 "
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
   for (char const* rate : {"1001G", "1000000000001", "18446744073709551616", "1K", "k", "-1"}) {
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
   EXPECT_EQ(f.errors[0].rfind("f:2:21: unknown action 'bogus'", 0), 0u) << f.errors[0];
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
   std::vector<std::string> const errors = {"f:4:12: the same rule as line 1",
                                            "f:5:12: the same rule as line 1"};
   EXPECT_EQ(f.errors, errors);
}

TEST(RuleFile, AReaderWhoseCallerKeepsTheKeysAsksItForTheFirstLine) {
   std::string const text = "vrf 1 ipv4 *;*;IP:=6; drop\n"
                            "vrf 2 ipv4 *;*;IP:=6; drop\n"
                            "vrf 1 ipv4 *;*;IP:=6; drop drop\n" // refused: not kept
                            "vrf 1 ipv6 *;*;IP:=6; drop\n"
                            "vrf 1 ipv4 *;*;IP:=6; permit\n"
                            "vrf 2 ipv4 *;*;IP:=0x6; permit\n";
   // The caller keeps each rule returned, as a Config tree would.
   std::map<Flowspec::FlowspecKey, unsigned> kept;
   std::vector<Flowspec::FlowspecKey> asked;
   FlowspecTool::RuleReader reader([&](Flowspec::FlowspecKey const& key) {
      asked.push_back(key);
      auto at = kept.find(key);
      return at == kept.end() ? std::nullopt : std::optional<unsigned>(at->second);
   });
   std::vector<std::string> errors;
   std::istringstream in(text);
   EXPECT_TRUE(FlowspecTool::readRules(
       in, reader, [&](FlowspecTool::RuleLine&& rule) { kept.emplace(rule.key, rule.line); },
       [&](Refusal&& r) { errors.push_back(r.text("f")); }));
   std::vector<std::string> const expected = {"f:3:28: 'drop' is given twice",
                                              "f:5:12: the same rule as line 1",
                                              "f:6:12: the same rule as line 2"};
   EXPECT_EQ(errors, expected);
   EXPECT_EQ(errors, readRuleFile(text, "f").errors) << "the same as a reader keeping the keys";
   ASSERT_EQ(asked.size(), 5u) << "asked once for each line read whole";
   EXPECT_EQ(asked[1].vrfId(), 2u) << "with the VRF in the key";
   EXPECT_EQ(asked[2].addressFamily(), Ipkit::ipv6);

   // The reader itself keeps no key: a line the caller did not keep is no
   // duplicate.
   kept.clear();
   EXPECT_TRUE(std::holds_alternative<FlowspecTool::RuleLine>(
       reader.line("vrf 1 ipv4 *;*;IP:=6; drop", 7)));
}

TEST(RuleFile, LinesEndInNewlinesCarriageReturnsOrTheEndOfTheText) {
   EXPECT_TRUE(readRuleFile("", "f").rules.empty());
   RuleFile f = readRuleFile("\r\n# c\r\nvrf 0 ipv4 *;*; drop\r\n\nvrf 0 ipv6 *;*; drop", "f");
   EXPECT_TRUE(f.errors.empty());
   ASSERT_EQ(f.rules.size(), 2u);
   EXPECT_EQ(f.rules[0].line, 3u);
   EXPECT_EQ(f.rules[1].line, 5u);
   // A carriage return inside a line is a control character.
   RuleFile g = readRuleFile("vrf 0 ipv4 *;*;\r drop\n", "g");
   std::vector<std::string> const errors = {"g:1:16: control character 0x0d in the line"};
   EXPECT_EQ(g.errors, errors);
}

TEST(RuleFile, MessagesShowBytesOutsidePrintableAsciiEscaped) {
   RuleFile f = readRuleFile("vrf 0 ipv4 *;*;IP:=\xc3\xa9; drop\n", "f");
   std::vector<std::string> const errors = {"f:1:20: rule key: unexpected character '\\xc3'"};
   EXPECT_EQ(f.errors, errors);
}

TEST(RuleFile, EachRefusalNamesItsLineColumnAndReason) {
   struct Case {
      char const* description;
      char const* line;
      unsigned column;
      char const* message;
   } const cases[] = {
       {"ICMP is no label", "vrf default ipv4 *;*;ICMP:=8; drop", 22,
        "rule key: 'ICMP' is not a label; the labels are IP, P, DP, SP, IT, IC, TCP, LEN, DSCP, "
        "FRAG and FL"},
       {"IPX is no label", "vrf default ipv4 *;*;IPX:=6; drop", 22,
        "rule key: 'IPX' is not a label; the labels are IP, P, DP, SP, IT, IC, TCP, LEN, DSCP, "
        "FRAG and FL"},
       {"DPORT is no label", "vrf default ipv4 *;*;DPORT:=80; drop", 22,
        "rule key: 'DPORT' is not a label; the labels are IP, P, DP, SP, IT, IC, TCP, LEN, DSCP, "
        "FRAG and FL"},
       {"digits that stop early", "vrf default ipv4 *;*;DP:=08; drop", 26,
        "rule key: the number '08' has a leading zero: write 8, or 0x... for hexadecimal (octal is "
        "not read)"},
       {"a bare value", "vrf default ipv4 *;*;DP:80; drop", 25,
        "rule key: the value '80' has no operator: write =, <, > or a combination before it"},
       {"a port too large", "vrf default ipv4 *;*;DP:=70000; drop", 26,
        "rule key: the number 70000 is out of range for DP (Destination Port): 0 to 65535"},
       {"a protocol too large", "vrf default ipv4 *;*;IP:=256; drop", 26,
        "rule key: the number 256 is out of range for IP (IP Protocol): 0 to 255"},
       {"DSCP 64", "vrf default ipv4 *;*;DSCP:=64; drop", 28,
        "rule key: the number 64 is out of range for DSCP (DSCP): 0 to 63"},
       {"a flow label too large", "vrf default ipv6 *;*;FL:=0x100000; drop", 26,
        "rule key: the number 0x100000 is out of range for FL (Flow Label): 0 to 1048575 "
        "(0xfffff)"},
       {"an IPv4 rule to an IPv6 next hop", "vrf default ipv4 *;*;IP:=6; redirect 2001:db8::1", 38,
        "an ipv4 rule cannot redirect to the ipv6 next hop 2001:db8::1"},
       {"an IPv6 rule to an IPv4 next hop", "vrf default ipv6 *;*;IP:=6; redirect 192.0.2.1 copy",
        38, "an ipv6 rule cannot redirect to the ipv4 next hop 192.0.2.1"},
       {"a prefix of the other family", "vrf default ipv6 10.0.0.0/8;*; drop", 18,
        "rule key: the destination prefix '10.0.0.0/8' is not ipv6"},
       {"tabs count as one byte", "vrf\tdefault\tipv4\t*;*;IP:=6;\tdrop\tdrop", 34,
        "'drop' is given twice"},
   };
   for (Case const& c : cases) {
      SCOPED_TRACE(c.description);
      RuleFile const f = readRuleFile(c.line, "f");
      EXPECT_TRUE(f.rules.empty());
      ASSERT_EQ(f.refusals.size(), 1u);
      EXPECT_EQ(f.refusals[0], (Refusal{1, c.column, c.message})) << f.refusals[0].message;
   }
}

TEST(RuleFile, ARefusedLineLeavesNoVrfNameBehindEvenFromItsRedirect) {
   RuleFile f = readRuleFile("vrf blue ipv4 *;*; redirect vrf green drop drop\n" // refused
                             "vrf red ipv4 *;*; drop\n"
                             "vrf 3 ipv4 *;*; redirect vrf green\n",
                             "f");
   ASSERT_EQ(f.errors.size(), 1u);
   ASSERT_EQ(f.rules.size(), 2u);
   EXPECT_EQ(f.rules[0].vrfId, 1u) << "red takes the id blue would have had";
   EXPECT_EQ(f.rules[1].trafficRedirect.vrfId(), 2u);
   std::map<Vrf::VrfIdMap::VrfId, std::string> const names = {{1, "red"}, {2, "green"}};
   EXPECT_EQ(f.vrfNames, names);
}

// The bookkeeping of a line does not grow with the VRFs read before it: a
// reader that copied its VRF maps for every line (to undo a refused one)
// would make allocations grow with the square of the lines here.
TEST(RuleFile, TheWorkPerLineDoesNotGrowWithTheVrfsRead) {
   auto allocationsFor = [](unsigned vrfs) {
      std::string text;
      for (unsigned i = 0; i < vrfs; ++i)
         text +=
             "vrf v" + std::to_string(i) + " ipv4 *;*;IP:=" + std::to_string(i % 256) + "; drop\n";
      text += "vrf nothing ipv4 *;*; bogus\n"; // a refused line too
      std::size_t const before = allocations;
      RuleFile const f = readRuleFile(text, "f");
      std::size_t const made = allocations - before;
      EXPECT_EQ(f.rules.size(), vrfs);
      return made;
   };
   std::size_t const small = allocationsFor(500), large = allocationsFor(4000);
   // Eight times the lines: about eight times the allocations, not 64.
   EXPECT_LT(large, small * 10) << small << " then " << large;
}

TEST(RuleFile, LinesLongerThanTheLimitAreRefusedWithoutBeingHeld) {
   std::string const tooLong =
       "vrf default ipv4 *;*;IP:=6; drop" + std::string(FlowspecTool::maxLineBytes, ' ');
   std::string const longest =
       "vrf default ipv4 *;*;IP:=7; drop" + std::string(FlowspecTool::maxLineBytes - 32, ' ');
   ASSERT_EQ(longest.size(), FlowspecTool::maxLineBytes);
   RuleFile const f = readRuleFile(tooLong + "\n" + longest + "\nvrf 0 ipv4 *;*; drop", "f");
   std::vector<Refusal> const refusals = {{1, 65537, "the line is longer than 65536 bytes"}};
   EXPECT_EQ(f.refusals, refusals);
   ASSERT_EQ(f.rules.size(), 2u);
   EXPECT_EQ(f.rules[0].line, 2u);
   EXPECT_EQ(f.rules[1].line, 3u);

   // A stream of a million bytes without a newline holds at most one line.
   std::istringstream endless(std::string(1 << 20, 'x'));
   FlowspecTool::RuleReader reader;
   std::vector<Refusal> seen;
   std::size_t const before = allocations;
   EXPECT_TRUE(FlowspecTool::readRules(
       endless, reader, [](FlowspecTool::RuleLine&&) {}, [&](Refusal&& r) { seen.push_back(r); }));
   EXPECT_LT(allocations - before, 40u) << "the line buffer grows to the limit once";
   ASSERT_EQ(seen.size(), 1u);
   EXPECT_EQ(seen[0].column, 65537u);
}

// A stream that holds `piece` bytes ready at a time, as a pipe may.
class Trickle : public std::streambuf {
 public:
   Trickle(std::string text, std::size_t piece) : text_(std::move(text)), piece_(piece) {}

 protected:
   int_type underflow() override {
      if (at_ == text_.size()) return traits_type::eof();
      std::size_t const n = std::min(piece_, text_.size() - at_);
      setg(text_.data() + at_, text_.data() + at_, text_.data() + at_ + n);
      at_ += n;
      return traits_type::to_int_type(*gptr());
   }

 private:
   std::string text_;
   std::size_t piece_;
   std::size_t at_ = 0;
};

TEST(RuleFile, LinesReadAlikeHoweverTheStreamHandsOutItsBytes) {
   // Lines that straddle any boundary of the pieces: a CR and its LF apart,
   // lines of the longest length and one byte more, a last line without a
   // newline.
   std::string const longest =
       "vrf 0 ipv4 *;*; drop #" + std::string(FlowspecTool::maxLineBytes - 22, 'c');
   std::string text;
   for (int i = 0; i < 300; ++i)
      text += "vrf 0 ipv4 10." + std::to_string(i) + ".0.0/16;*; drop\r\n\n# c\n";
   // The CR of the third long line is its last byte allowed.
   text += longest + "\n" + longest + "x\r\n" + longest.substr(0, longest.size() - 1) +
           "\r\nvrf 1 ipv6 *;*; drop";
   auto read = [](std::istream& in) {
      FlowspecTool::RuleReader reader;
      std::vector<std::string> seen;
      EXPECT_TRUE(FlowspecTool::readRules(
          in, reader,
          [&](FlowspecTool::RuleLine&& r) {
             seen.push_back(std::to_string(r.line) + " " + r.key.toStrepCli().str());
          },
          [&](Refusal&& r) { seen.push_back(r.text("f")); }));
      return seen;
   };
   std::istringstream whole(text);
   std::vector<std::string> const expected = read(whole);
   ASSERT_EQ(expected.size(), 304u);
   EXPECT_EQ(expected[0], "1 10.0.0.0/16;*;");
   EXPECT_EQ(expected[300], "901 *;*;");
   EXPECT_EQ(expected[301], "f:902:65537: the line is longer than 65536 bytes");
   EXPECT_EQ(expected[302], "f:903:12: the same rule as line 901");
   EXPECT_EQ(expected[303], "904 *;*;");
   for (std::size_t piece : {1, 2, 7, 4096, 16 * 1024 + 1}) {
      SCOPED_TRACE(piece);
      Trickle trickle(text, piece);
      std::istream in(&trickle);
      EXPECT_EQ(read(in), expected);
   }
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
         EXPECT_EQ(e.rfind("f:" + std::to_string(wholeLines + 1) + ":", 0), 0u) << e;
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
            EXPECT_EQ(e.rfind("f:1:", 0), 0u) << e;
      }
   }
}

} // namespace
