// Fuzz target: the flowspec tool's rule-file reader on any bytes, and what
// the tool then does with every rule it accepts.
//
// The reader must never throw or crash. It reports every refused line as
// "fuzz.txt:<line>:<column>: <why>" with a line number inside the file and a
// column inside the line (or just past it), accepts lines
// in file order, and gives each accepted rule a key of the family its line
// names. Each accepted key then goes the way `flowspec check` takes it: its
// match set is derived, set on a RuleConfig, tested for feasibility and
// sanitised; none of that may throw or crash either. The key parser is the
// strict one made for user text (parseKeyCli), so no reader that asserts on
// bad input is ever reached.
#include "FuzzSupport.h"

#include "Flowspec/entities/RuleConfig.h"
#include "Flowspec/values/KeyMatchSet.h"
#include "RuleFile.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   std::string_view const text(reinterpret_cast<char const*>(data), size);
   FlowspecTool::RuleFile const file = FlowspecTool::readRuleFile(text, "fuzz.txt");

   auto const lines = static_cast<unsigned>(std::count(text.begin(), text.end(), '\n') + 1);
   for (std::string const& error : file.errors) {
      FUZZ_CHECK(error.rfind("fuzz.txt:", 0) == 0, error);
      unsigned long const line = std::stoul(error.substr(9));
      FUZZ_CHECK(line >= 1 && line <= lines, error);
   }
   for (FlowspecTool::Refusal const& r : file.refusals) {
      FUZZ_CHECK(r.column >= 1 && r.column <= FlowspecTool::maxLineBytes + 1 && !r.message.empty(),
                 r.text("fuzz.txt"));
   }
   unsigned previous = 0;
   for (FlowspecTool::RuleLine const& rule : file.rules) {
      FUZZ_CHECK(rule.line > previous && rule.line <= lines, std::to_string(rule.line));
      previous = rule.line;
      Ipkit::AddressFamily const af = rule.key.addressFamily();
      FUZZ_CHECK(af == Ipkit::ipv4 || af == Ipkit::ipv6, std::to_string(rule.line));
      for (Ipkit::IpGenPrefix const& p : {rule.key.destPrefix(), rule.key.srcPrefix()}) {
         FUZZ_CHECK(p.isEmpty() || p.af() == af, rule.key.toStrepCli().str());
      }

      auto config = Flowspec::RuleConfig::RuleConfigIs(rule.key);
      for (Flowspec::MatchComponent const& c : Flowspec::matchSetFromKey(rule.key)) {
         config->matchSetIs(c);
      }
      config->actionFieldSetIs(rule.actionFieldSet);
      if (config->infeasibleMatchInMatchSet() == Flowspec::MatchCompType::invalid) {
         config->sanitizeMatchSet();
      }
   }
   return 0;
}
