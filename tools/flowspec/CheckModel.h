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
#include "Kiln/UniqueId.h"

#include <array>
#include <cstdint>
#include <deque>
#include <iosfwd>
#include <map>
#include <memory>
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

/// One rule of the check, kept compact for files of a million rules: its
/// texts are built when asked for, from the key, the actions and the few
/// texts a rule that is not programmed fully carries.
struct CheckedRule {
   /// IP protocol ranges; one list is shared by every rule that has it.
   using Protocols = std::vector<std::pair<std::uint64_t, std::uint64_t>>;

   unsigned line = 0;
   Vrf::VrfIdMap::VrfId vrfId = 0;
   Flowspec::FlowspecKey key;
   // The actions as the line gave them (RuleLine's fields).
   Flowspec::ActionFieldSet actionFieldSet;
   float trafficRateLimit = 0.0f;
   Flowspec::TrafficAction trafficAction;
   Flowspec::TrafficRedirect trafficRedirect;
   Ipkit::IpTos trafficMarkingDscp;
   /// The component blamed when the rule is infeasible.
   std::optional<Flowspec::MatchCompType> infeasible;
   /// The IP protocol ranges after sanitising; null when any protocol.
   std::shared_ptr<Protocols const> ipProtocols;
   /// What the agent reported, when it reported anything.
   std::optional<Flowspec::HwRuleProgrammingStatus> statusCode;
   bool programmed = false;
   Kiln::UniqueId version;
   std::optional<std::uint64_t> packets;
   /// 0-based place among the rules of its VRF in the order the agent
   /// programs them.
   std::uint32_t precedence = 0;

   /// "ipv4" or "ipv6".
   std::string family() const;
   /// The key's command-line form.
   std::string rule() const;
   /// The key's detailed form.
   std::string detail() const;
   RuleActions actions() const;
   /// Why the rule is infeasible or not programmed fully; empty otherwise.
   std::string const& problem() const;
   /// The match set, by names where they exist; empty unless the model was
   /// built with every text.
   std::string const& matchText() const;
   /// What the agent reported; nothing when it reported nothing.
   std::optional<RuleStatusView> status() const;
   /// "feasible", "feasible: tcp, udp", "infeasible".
   std::string verdictText() const;

   /// The texts few rules have: null when all are empty.
   struct Texts {
      std::string problem;
      std::string reason; ///< the status's reason
      std::string match;
   };
   std::unique_ptr<Texts> texts;
};

struct VrfSummary {
   Vrf::VrfIdMap::VrfId id = 0;
   std::string name; ///< empty when the file only numbers the VRF
   std::size_t rules = 0;
   std::size_t infeasible = 0;
};

struct CheckModel {
   std::string fileName;
   /// In file order; a deque, which grows without moving what it holds.
   std::deque<CheckedRule> rules;
   std::size_t refusedLines = 0;
   std::vector<Refusal> refusals; ///< kept for JSON
   std::vector<VrfSummary> vrfs;  ///< by id
   /// The name of every VRF the file names, by id (RuleReader::vrfNames).
   std::map<Vrf::VrfIdMap::VrfId, std::string> vrfNames;
   /// Rule statuses per HwRuleProgrammingStatus code.
   std::array<std::size_t, 7> tally{};
   std::vector<std::pair<std::string, unsigned>> heard;
   std::size_t counterSnapshots = 0;
   std::string configDump, statusDump;

   /// Whether each rule's precedence is known already, from the order the
   /// agent programmed them in (runCheck); build() works it out otherwise.
   bool precedenceKnown = false;

   /// Adds the rule of `line`, configured, at the end of `rules`.
   void add(RuleLine&& line);
   /// The rule of line `line`; null when there is none.
   CheckedRule* ruleAtLine(std::uint64_t line);
   /// Fills in what became of each rule, from the trees, and the summaries.
   /// Without `allTexts`, each rule's matchText stays empty: the table shows
   /// it only with --verbose, and on a million rules it is hundreds of
   /// megabytes.
   void build(std::map<Vrf::VrfIdMap::VrfId, std::string> names, Flowspec::Config const& config,
              Flowspec::Status const& status, Flowspec::Counter const& counter,
              bool allTexts = true);
   /// "rate 1250k sample": the actions of `rule` as a line would give them,
   /// canonically.
   std::string actionsText(CheckedRule const& rule) const;
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
