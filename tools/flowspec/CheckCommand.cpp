// flowspec check: a rule file through configuration, feasibility,
// sanitising and a simulated hardware agent.
#include "Commands.h"

#include "HwAgent.h"
#include "Json.h"
#include "RuleFile.h"

#include "Flowspec/FlowspecStatedb.h"
#include "Flowspec/values/KeyMatchSet.h"
#include "Kiln/DumpContext.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

namespace FlowspecTool {

using Flowspec::FlowspecKey;
using Flowspec::MatchCompType;
using VrfId = Vrf::VrfIdMap::VrfId;

std::string checkHelp() {
   return std::string(R"(usage: flowspec check FILE [--dump] [--json]

Reads a rule file and puts its rules through the flowspec data model:
  1. A configuration agent builds the configuration tree: a Config with one
     VrfRuleConfig per VRF and one RuleConfig per rule, whose match set is
     derived from the rule's key and whose actions are the line's.
  2. It tests each rule's feasibility. An infeasible rule is recorded as an
     InfeasibleRule that names the component to blame; a feasible rule is
     sanitised: its IP protocols are narrowed to those its ports, TCP flags
     and ICMP matches allow.
  3. A simulated hardware agent, observing the configuration from before the
     first rule, programs the rules and reports each one in the Status tree
     (a RuleStatus per rule) and, once programmed, in Counter.
Then it prints a table per VRF: each rule's line, address family, verdict,
IP protocols (after sanitising), programming status and key, in the order of
the rule keys, with the agent's reason under every rule it did not program
fully.

Options:
  --dump   also print the debug dumps of the Config and Status trees
  --json   print the same as JSON instead of tables

Rule files hold one rule per line:

  vrf VRF FAMILY KEY ACTION...

  VRF     a VRF name or id (0 to 16777214); "default" is id 0, other names
          get the ids 1, 2, ... in the order of first use
  FAMILY  ipv4 or ipv6; the key's prefixes must be of this family
  KEY     the rule key in the command-line form, without blanks (below)
  ACTION  drop
          permit
          rate BYTES_PER_SECOND     a whole number, optionally with k, M or
                                    G (thousand, million, billion); rate 0
                                    drops
          redirect vrf VRF [copy]   into another VRF
          redirect ADDRESS [copy]   to a next hop
          dscp 0-63                 mark the packets with this DSCP
          sample                    sample and log the packets
          continue                  go on matching the rules after this one
                                    (the rule is not terminal)

Each action at most once, at least one, and drop, permit and rate exclude
each other. '#' starts a comment; blank lines are skipped. A key may appear
once per VRF and family. For example:

  vrf default ipv4 *;*;IP:=17;SP:=123; rate 0 sample
  vrf default ipv6 2001:db8::/32;*;IT:=128; rate 12500
  vrf default ipv4 192.0.2.0/24;*;TCP:=2&!=16; redirect vrf scrubbing

)") + keyGrammarHelp +
          R"(
Feasibility. A rule is infeasible when the library's test finds its matches
contradict each other (ports need TCP or UDP, TCP flags need TCP, ICMP type
and code need the family's ICMP and exclude ports and TCP flags), or when
one of its components accepts no value at all (DP:>=2000&<=1000).

The simulated hardware (the first line that applies decides):
  an infeasible rule                              Not processed
  a flow label match (published as unsupported
    in the Status tree for both families)         Unsupported Match
  more than 4 ranges or bit masks in one match    Unsupported TCAM Profile
  a packet-length range wider than 1024 lengths   Unsupported TCAM Profile
  a redirect of a copy to a next-hop address      Unsupported Action
  continue                                        Programmed with some
                                                  failures (as terminal)
  anything else                                   Programmed
Versions are numbered in the order the agent programs the rules; counters
start at 0 packets.

Exit status: 0 every line was read; 1 some line was refused: each gets a
message FILE:LINE: ... on standard error and the other lines are still
checked; 2 usage error or a file that cannot be read.
)";
}

namespace {

// "1 rule", "2 rules".
std::string count(std::size_t n, std::string_view thing) {
   return std::to_string(n) + ' ' + std::string(thing) + (n == 1 ? "" : "s");
}

constexpr std::string_view checkUsage = "flowspec check FILE [--dump] [--json]";

// ---- the configuration agent -------------------------------------------------

// The first component, in type order, that accepts no value: a numeric one
// without ranges, or a bit-mask one without masks. `invalid` when none.
MatchCompType componentMatchingNothing(Flowspec::RuleConfig const& rule) {
   for (auto i = rule.matchSetIteratorConst(); i; ++i) {
      Flowspec::MatchComponent const& c = i.value();
      bool const empty =
          c.matchTypeNumericalRange()               ? c.numericalRangeSize() == 0
          : c.compType() == MatchCompType::tcpFlags ? c.tcpBitMaskSize() == 0
          : c.compType() == MatchCompType::fragment ? c.ipBitMaskSize() == 0
                                                    : false;
      if (empty) return c.compType();
   }
   return MatchCompType::invalid;
}

// Configures one rule: its match set and actions, then feasibility and
// sanitising. Raises what matchSetFromKey raises, before changing anything.
void configure(Flowspec::Config& config, RuleLine const& line) {
   std::vector<Flowspec::MatchComponent> const matchSet =
       Flowspec::matchSetFromKey(line.key);
   Vex::Ptr<Flowspec::VrfRuleConfig> vrf = config.vrfRuleConfigIs(line.vrfId);
   Vex::Ptr<Flowspec::RuleConfig> rule = vrf->ruleIs(line.key);
   rule->ruleIdIs(line.line);
   for (auto const& c : matchSet)
      rule->matchSetIs(c);
   rule->actionFieldSetIs(line.actionFieldSet);
   rule->trafficRateLimitIs(line.trafficRateLimit);
   rule->trafficActionIs(line.trafficAction);
   rule->trafficRedirectIs(line.trafficRedirect);
   rule->trafficMarkingDscpIs(line.trafficMarkingDscp);

   MatchCompType blame = rule->infeasibleMatchInMatchSet();
   if (blame == MatchCompType::invalid) blame = componentMatchingNothing(*rule);
   if (blame != MatchCompType::invalid) {
      Vex::Ptr<Flowspec::InfeasibleRule> infeasible = vrf->infeasibleRuleIs(line.key);
      infeasible->ruleIdIs(line.line);
      infeasible->matchCompTypeIs(blame);
   } else {
      rule->sanitizeMatchSet();
   }
}

// ---- what is printed -----------------------------------------------------------

// One rule, as the trees hold it.
struct RuleView {
   Vex::Ptr<Flowspec::RuleConfig const> config;
   Vex::Ptr<Flowspec::InfeasibleRule const> infeasible;
   Vex::Ptr<Flowspec::RuleStatus const> status;
};

std::string familyText(Ipkit::AddressFamily af) {
   std::ostringstream os;
   os << af;
   return os.str();
}

std::string detailLabel(MatchCompType t) {
   return Flowspec::FlowspecUtil().compTypeToDetailLabel(t).str();
}

std::string verdictText(RuleView const& r) {
   return r.infeasible ? "infeasible: " + detailLabel(r.infeasible->matchCompType())
                       : std::string("feasible");
}

// The ranges of the rule's ipProto component in ascending order; nothing
// when it has none.
std::vector<Flowspec::NumericalRange> ipProtocols(Flowspec::RuleConfig const& rule) {
   std::vector<Flowspec::NumericalRange> ranges;
   Flowspec::MatchComponent const proto = rule.matchSet(MatchCompType::ipProto);
   for (auto i = proto.numericalRangeIteratorConst(); i; ++i)
      ranges.push_back(i.key());
   std::sort(ranges.begin(), ranges.end());
   return ranges;
}

std::string ipProtocolsText(Flowspec::RuleConfig const& rule) {
   if (!rule.matchSetHas(MatchCompType::ipProto)) return "any";
   std::string text;
   for (auto const& r : ipProtocols(rule)) {
      if (!text.empty()) text += ' ';
      text += r.toStrep().str();
   }
   return text.empty() ? "none" : text;
}

std::string statusText(RuleView const& r) {
   return r.status
              ? Flowspec::FlowspecUtil().statusCodeToStrep(r.status->statusCode()).str()
              : std::string("-");
}

// A table: left-aligned columns two blanks apart, the first right-aligned,
// the last not padded; a row may carry a note printed under it from the
// third column on.
class Table {
public:
   explicit Table(std::vector<std::string> header) {
      rows_.push_back({std::move(header), {}});
   }
   void add(std::vector<std::string> cells, std::string note) {
      rows_.push_back({std::move(cells), std::move(note)});
   }
   void print(std::ostream& out) const {
      std::vector<std::size_t> width(rows_.front().cells.size(), 0);
      for (auto const& row : rows_) {
         for (std::size_t c = 0; c < row.cells.size(); ++c) {
            width[c] = std::max(width[c], row.cells[c].size());
         }
      }
      for (auto const& row : rows_) {
         std::string line = "  ";
         for (std::size_t c = 0; c < row.cells.size(); ++c) {
            std::string const& cell = row.cells[c];
            std::size_t const pad = width[c] - cell.size();
            if (c == 0) {
               line += std::string(pad, ' ') + cell;
            } else if (c + 1 == row.cells.size()) {
               line += cell;
            } else {
               line += cell + std::string(pad, ' ');
            }
            if (c + 1 < row.cells.size()) line += "  ";
         }
         out << line << '\n';
         if (!row.note.empty()) {
            out << std::string(2 + width[0] + 2 + width[1] + 2, ' ') << row.note
                << '\n';
         }
      }
   }

private:
   struct Row {
      std::vector<std::string> cells;
      std::string note;
   };
   std::vector<Row> rows_;
};

// Everything check prints, gathered from the trees.
struct Report {
   std::string fileName;
   std::size_t rules = 0;
   std::size_t refused = 0;
   std::vector<std::string> errors;
   std::map<VrfId, std::string> vrfNames;
   Vex::Ptr<Flowspec::Config> config;
   Vex::Ptr<Flowspec::Status> status;
   Vex::Ptr<Flowspec::Counter> counter;
   std::vector<std::pair<std::string, unsigned>> heard;

   std::vector<VrfId> vrfIds() const {
      std::vector<VrfId> ids;
      for (auto i = config->vrfRuleConfigIteratorConst(); i; ++i)
         ids.push_back(i.key());
      std::sort(ids.begin(), ids.end());
      return ids;
   }
   std::vector<RuleView> rulesOf(VrfId vrfId) const {
      std::vector<RuleView> views;
      Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config->vrfRuleConfig(vrfId);
      Vex::Ptr<Flowspec::VrfRuleStatus const> vrfStatus = status->vrfRuleStatus(vrfId);
      for (auto i = vrf->ruleIteratorConst(); i; ++i) {
         FlowspecKey const& key = i.key();
         views.push_back({i.ptr(), vrf->infeasibleRule(key),
                          vrfStatus ? vrfStatus->ruleStatus(key) : nullptr});
      }
      return views;
   }
   std::string vrfTitle(VrfId vrfId) const {
      auto it = vrfNames.find(vrfId);
      return it == vrfNames.end()
                 ? "VRF " + std::to_string(vrfId)
                 : "VRF " + it->second + " (id " + std::to_string(vrfId) + ")";
   }
   // How many rule statuses hold each code, in the enumeration's order.
   std::vector<std::pair<Flowspec::HwRuleProgrammingStatus, std::size_t>>
   statusTally() const {
      std::map<Flowspec::HwRuleProgrammingStatus, std::size_t> counts;
      for (auto v = status->vrfRuleStatusIteratorConst(); v; ++v) {
         for (auto r = v->ruleStatusIteratorConst(); r; ++r)
            ++counts[r->statusCode()];
      }
      return {counts.begin(), counts.end()};
   }
   std::string dump(Vex::Entity const& root) const {
      Kiln::DumpContext ctx;
      root.dumpState(ctx, 0);
      return ctx.text().str();
   }
};

void printText(Report const& report, bool dump, std::ostream& out) {
   Flowspec::FlowspecUtil const util;
   std::vector<VrfId> const vrfIds = report.vrfIds();
   out << report.fileName << ": " << count(report.rules, "rule") << " in "
       << count(vrfIds.size(), "VRF");
   if (report.refused) out << ", " << count(report.refused, "line") << " refused";
   out << '\n';

   for (VrfId vrfId : vrfIds) {
      Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = report.config->vrfRuleConfig(vrfId);
      out << '\n'
          << report.vrfTitle(vrfId) << ": " << count(vrf->ruleSize(), "rule") << ", "
          << vrf->infeasibleRuleSize() << " infeasible\n";
      Table table({"line", "family", "verdict", "IP protocols", "status", "rule"});
      for (RuleView const& r : report.rulesOf(vrfId)) {
         std::string note;
         // The reason of an infeasible rule repeats its verdict.
         if (r.status && !r.infeasible &&
             r.status->statusCode() != Flowspec::HwRuleProgrammingStatus::programmed) {
            note = r.status->errorReason().str();
         }
         table.add({std::to_string(r.config->ruleId()),
                    familyText(r.config->key().addressFamily()), verdictText(r),
                    ipProtocolsText(*r.config), statusText(r),
                    r.config->key().toStrepCli().str()},
                   note);
      }
      table.print(out);
   }

   out << "\nHardware agent heard:";
   char const* separator = " ";
   for (auto const& [callback, count] : report.heard) {
      out << separator << callback << ' ' << count;
      separator = ", ";
   }
   out << "\nRule statuses:";
   separator = " ";
   if (report.statusTally().empty()) out << " none";
   for (auto const& [code, count] : report.statusTally()) {
      out << separator << count << ' ' << util.statusCodeToStrep(code);
      separator = ", ";
   }
   out << "\nCounter snapshots: " << report.counter->snapshotSize() << '\n';

   if (dump) {
      out << "\nConfig dump:\n" << report.dump(*report.config);
      out << "\nStatus dump:\n" << report.dump(*report.status);
   }
}

void printJson(Report const& report, bool dump, std::ostream& out) {
   Flowspec::FlowspecUtil const util;
   JsonWriter j(out);
   j.beginObject();
   j.key("file");
   j.value(report.fileName);
   j.key("rules");
   j.value(std::uint64_t(report.rules));
   j.key("refused");
   j.beginArray();
   for (auto const& e : report.errors)
      j.value(e);
   j.endArray();
   j.key("vrfs");
   j.beginArray();
   for (VrfId vrfId : report.vrfIds()) {
      j.beginObject();
      j.key("id");
      j.value(std::uint64_t(vrfId));
      j.key("name");
      if (auto it = report.vrfNames.find(vrfId); it != report.vrfNames.end()) {
         j.value(it->second);
      } else {
         j.null();
      }
      j.key("rules");
      j.beginArray();
      for (RuleView const& r : report.rulesOf(vrfId)) {
         Flowspec::RuleConfig const& rule = *r.config;
         Flowspec::ActionFieldSet const actions = rule.actionFieldSet();
         j.beginObject();
         j.key("line");
         j.value(std::uint64_t(rule.ruleId()));
         j.key("family");
         j.value(familyText(rule.key().addressFamily()));
         j.key("rule");
         j.value(rule.key().toStrepCli().view());
         j.key("detail");
         j.value(rule.key().toStrepCliDetail().view());
         j.key("feasible");
         j.value(!r.infeasible);
         j.key("infeasibleMatch");
         if (r.infeasible) {
            j.value(detailLabel(r.infeasible->matchCompType()));
         } else {
            j.null();
         }
         j.key("ipProtocols");
         if (rule.matchSetHas(MatchCompType::ipProto)) {
            j.beginArray();
            for (auto const& range : ipProtocols(rule))
               j.numbers({range.rangeMin(), range.rangeMax()});
            j.endArray();
         } else {
            j.null();
         }
         j.key("actions");
         j.beginObject();
         j.key("drop");
         j.value(actions.trafficDrop());
         j.key("permit");
         j.value(actions.trafficPermit());
         j.key("rate");
         if (actions.trafficRate()) {
            j.value(static_cast<std::uint64_t>(rule.trafficRateLimit()));
         } else {
            j.null();
         }
         j.key("redirect");
         if (actions.trafficRedirect()) {
            Flowspec::TrafficRedirect const& redirect = rule.trafficRedirect();
            j.beginObject();
            j.key("vrf");
            if (redirect.vrfId() == Vrf::VrfIdMap::noVrfId) {
               j.null();
            } else {
               j.value(std::uint64_t(redirect.vrfId()));
            }
            j.key("address");
            if (redirect.addr().isUnspecified()) {
               j.null();
            } else {
               j.value(redirect.addr().stringValue().view());
            }
            j.key("copy");
            j.value(redirect.copy());
            j.endObject();
         } else {
            j.null();
         }
         j.key("dscp");
         if (actions.trafficMarking()) {
            j.value(std::uint64_t(rule.trafficMarkingDscp().value()));
         } else {
            j.null();
         }
         j.key("sample");
         j.value(rule.trafficAction().sampleAndLog());
         j.key("continue");
         j.value(rule.trafficAction().continueMatch());
         j.endObject();
         j.key("status");
         if (r.status) {
            j.beginObject();
            j.key("code");
            j.value(Flowspec::stringValue(r.status->statusCode()).view());
            j.key("text");
            j.value(util.statusCodeToStrep(r.status->statusCode()).view());
            j.key("reason");
            j.value(r.status->errorReason().view());
            j.key("version");
            j.value(r.status->version().toStrep().view());
            j.key("programmed");
            j.value(r.status->isProgrammed());
            j.endObject();
         } else {
            j.null();
         }
         j.key("packets");
         if (report.counter->snapshotHas(rule.key())) {
            j.value(report.counter->snapshot(rule.key()).counter());
         } else {
            j.null();
         }
         j.endObject();
      }
      j.endArray();
      j.endObject();
   }
   j.endArray();
   j.key("agentHeard");
   j.beginObject();
   for (auto const& [callback, count] : report.heard) {
      j.key(callback);
      j.value(std::uint64_t(count));
   }
   j.endObject();
   j.key("ruleStatuses");
   j.beginObject();
   for (auto const& [code, count] : report.statusTally()) {
      j.key(util.statusCodeToStrep(code).view());
      j.value(std::uint64_t(count));
   }
   j.endObject();
   j.key("counterSnapshots");
   j.value(std::uint64_t(report.counter->snapshotSize()));
   if (dump) {
      j.key("configDump");
      j.value(report.dump(*report.config));
      j.key("statusDump");
      j.value(report.dump(*report.status));
   }
   j.endObject();
   j.end();
}

} // namespace

int checkFile(std::string const& path, std::string const& shownName, bool dump,
              bool json, std::ostream& out, std::ostream& err) {
   std::error_code ec;
   if (std::filesystem::is_directory(path, ec)) {
      err << "flowspec check: cannot read " << path << ": it is a directory\n";
      return exitUsage;
   }
   std::ifstream in(path, std::ios::binary);
   if (!in) {
      err << "flowspec check: cannot read " << path << ": " << std::strerror(errno)
          << '\n';
      return exitUsage;
   }
   std::string const text{std::istreambuf_iterator<char>(in),
                          std::istreambuf_iterator<char>()};
   if (in.bad()) {
      err << "flowspec check: cannot read " << path << '\n';
      return exitUsage;
   }

   RuleFile file = readRuleFile(text, shownName);
   Report report;
   report.fileName = shownName;
   report.errors = std::move(file.errors);
   report.vrfNames = std::move(file.vrfNames);
   report.config = Flowspec::configFactory("config");
   report.status = Flowspec::statusFactory("status");
   report.counter = Flowspec::counterFactory("counter");
   {
      // The agent observes before the first rule arrives, and stops
      // observing before the trees go.
      HwAgent agent(report.config, report.status, report.counter);
      for (RuleLine const& line : file.rules) {
         try {
            configure(*report.config, line);
            ++report.rules;
         } catch (std::exception const& e) {
            report.errors.push_back(shownName + ":" + std::to_string(line.line) + ": " +
                                    e.what());
         }
      }
      agent.run();
      report.heard = agent.heard();
   }
   report.refused = report.errors.size();

   for (auto const& e : report.errors)
      err << e << '\n';
   if (json) {
      printJson(report, dump, out);
   } else {
      printText(report, dump, out);
   }
   return report.refused ? exitRefused : exitOk;
}

int checkCommand(Args const& args, std::ostream& out, std::ostream& err) {
   bool dump = false, json = false;
   std::string_view file;
   bool haveFile = false;
   for (std::string_view a : args) {
      if (a == "--dump") {
         dump = true;
      } else if (a == "--json") {
         json = true;
      } else if (a.size() > 1 && a[0] == '-') {
         return usageError("check", checkUsage,
                           "unknown option '" + std::string(a) + "'", err);
      } else if (haveFile) {
         return usageError("check", checkUsage, "one rule file at a time", err);
      } else {
         file = a;
         haveFile = true;
      }
   }
   if (!haveFile) return usageError("check", checkUsage, "which rule file?", err);
   return checkFile(std::string(file), std::string(file), dump, json, out, err);
}

} // namespace FlowspecTool
