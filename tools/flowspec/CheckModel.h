// tools/flowspec/CheckModel.h: what `flowspec check` found, worked out once.
//
// After the rules went through configuration and the hardware agent, the
// model gathers, for each rule, everything the table and the JSON show: its
// line, VRF, family, key, actions, verdict with its real cause, IP protocols
// after sanitising, status and counter. The VRF summaries, the status tally
// and the exit status are computed here too, so that the two printers only
// lay the model out.
#pragma once

#include "RuleFile.h"

#include "Flowspec/entities/Config.h"
#include "Flowspec/entities/Counter.h"
#include "Flowspec/entities/Status.h"
#include "Flowspec/values/HwRuleProgrammingStatus.h"

#include <array>
#include <cstdint>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace FlowspecTool {

/// The order rules are listed in.
enum class RuleOrder {
   file,       ///< the order of their lines
   key,        ///< FlowspecKey's order: VRF, family, prefixes, pairs
   precedence, ///< per VRF, the order the hardware applies them
};
/// "file", "key" or "precedence"; nothing for any other text.
std::optional<RuleOrder> ruleOrderFromText(std::string_view text);

struct CheckOptions {
   RuleOrder sort = RuleOrder::file;
   bool verbose = false;
   bool dump = false;
   bool json = false;
};

/// A rule's actions, as the line gave them.
struct RuleActions {
   struct Redirect {
      std::optional<Vrf::VrfIdMap::VrfId> vrf;
      std::string address; ///< empty for a redirect into a VRF
      bool copy = false;
   };
   bool drop = false;
   bool permit = false;
   std::optional<std::uint64_t> rate; ///< bytes per second
   std::optional<Redirect> redirect;
   std::optional<unsigned> dscp;
   bool sample = false;
   bool continueMatch = false;
};

/// What the hardware agent reported for a rule.
struct RuleStatusView {
   std::string code;   ///< the enumerator name: "programmed"
   std::string text;   ///< FlowspecUtil::statusCodeToStrep: "Programmed"
   std::string reason; ///< empty when programmed
   std::string version;
   bool programmed = false;
   Flowspec::HwRuleProgrammingStatus status{};
};

struct CheckedRule {
   unsigned line = 0;
   Vrf::VrfIdMap::VrfId vrfId = 0;
   Flowspec::FlowspecKey key;
   std::string family; ///< "ipv4" or "ipv6"
   std::string rule;   ///< the key's command-line form
   std::string detail; ///< the key's detailed form
   RuleActions actions;
   std::string actionsText; ///< "rate 1250k sample"
   /// The component blamed when the rule is infeasible.
   std::optional<Flowspec::MatchCompType> infeasible;
   /// Why the rule is infeasible or not programmed fully; empty otherwise.
   std::string problem;
   /// The IP protocol ranges after sanitising; nothing when any protocol.
   std::optional<std::vector<std::pair<std::uint64_t, std::uint64_t>>> ipProtocols;
   std::string matchText; ///< the match set, by names where they exist
   std::optional<RuleStatusView> status;
   std::optional<std::uint64_t> packets;
   /// 0-based place among the rules of its VRF in the order the agent
   /// programs them.
   std::size_t precedence = 0;

   /// "feasible", "feasible: tcp, udp", "infeasible".
   std::string verdictText() const;
};

struct VrfSummary {
   Vrf::VrfIdMap::VrfId id = 0;
   std::string name; ///< empty when the file only numbers the VRF
   std::size_t rules = 0;
   std::size_t infeasible = 0;
};

struct CheckModel {
   std::string fileName;
   std::vector<CheckedRule> rules; ///< in file order
   std::size_t refusedLines = 0;
   std::vector<Refusal> refusals; ///< kept for JSON
   std::vector<VrfSummary> vrfs;  ///< by id
   /// Rule statuses per HwRuleProgrammingStatus code.
   std::array<std::size_t, 7> tally{};
   std::vector<std::pair<std::string, unsigned>> heard;
   std::size_t counterSnapshots = 0;
   std::string configDump, statusDump;

   /// Fills the model from the rules read (in file order) and the trees.
   /// Without `allTexts`, each rule's detail and matchText stay empty: the
   /// table shows them only with --verbose (matchText) or --json (detail),
   /// and on a million rules they are hundreds of megabytes.
   void build(std::vector<RuleLine> const& lines,
              std::map<Vrf::VrfIdMap::VrfId, std::string> const& vrfNames,
              Flowspec::Config const& config, Flowspec::Status const& status,
              Flowspec::Counter const& counter, bool allTexts = true);
   /// The rules in `order`.
   std::vector<CheckedRule const*> ordered(RuleOrder order) const;
   /// The name of VRF `id`, or null when the file only numbers it.
   std::string const* vrfName(Vrf::VrfIdMap::VrfId id) const;
   /// "default (0)", or "7" for a VRF the file only numbers.
   std::string vrfText(Vrf::VrfIdMap::VrfId id) const;
   std::size_t tallyTotal() const;
   /// The rules that are infeasible, and those feasible but not Programmed.
   std::size_t infeasibleRules() const;
   std::size_t notProgrammedRules() const;
   /// 0, 1 (a line refused) or 4 (a rule infeasible or not programmed).
   int exitStatus() const;
   /// "every rule read and programmed (exit status 0)" and the like.
   std::string resultText() const;
};

/// Reads the rules of `in` (called `shownName`), configures each one as it
/// is read (match set, actions, feasibility, sanitising), lets a simulated
/// hardware agent program them, and returns the model of it all. Refused
/// lines go to `err` as "FILE:LINE:COLUMN: why" as they are met. Nothing
/// when `in` could not be read.
std::optional<CheckModel> runCheck(std::istream& in, std::string const& shownName,
                                   CheckOptions const& options, std::ostream& err);

/// Configures the rule of `line` in `config` as check does: its match set
/// (Flowspec::matchSetFromKey), actions and rule id, then either an
/// InfeasibleRule naming the component to blame or a sanitised match set.
/// Raises what the match-set derivation raises for a malformed key.
void configureRule(Flowspec::Config& config, RuleLine const& line);

/// The line of the rule configureRule configured in `config` with a key:
/// its rule id, or nothing when there is no such rule. For a RuleReader
/// whose rules go into `config`.
RuleReader::KeyLine keyLineIn(Flowspec::Config const& config);

/// The first component of `rule`, in type order, that accepts no value: a
/// numeric one without ranges, or a bit-mask one without masks. `invalid`
/// when there is none.
Flowspec::MatchCompType componentMatchingNothing(Flowspec::RuleConfig const& rule);

/// The name of IP protocol `number` ("tcp", "ipv6-icmp"), or its number.
std::string protocolName(std::uint64_t number);

} // namespace FlowspecTool
