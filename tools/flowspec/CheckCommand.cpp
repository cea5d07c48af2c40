// flowspec check: a rule file through configuration, feasibility,
// sanitising and a simulated hardware agent.
//
// The check builds one model of what became of each rule (CheckModel) and
// prints that model as a table or as JSON; neither printer works anything
// out of its own.
#include "Commands.h"

#include "CheckModel.h"
#include "HwAgent.h"
#include "Json.h"
#include "RuleFile.h"
#include <optional>

#include "Flowspec/FlowspecStatedb.h"
#include "Kiln/DumpContext.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

namespace FlowspecTool {

using Flowspec::FlowspecKey;
using Flowspec::HwRuleProgrammingStatus;
using Flowspec::MatchCompType;

namespace {

constexpr std::string_view checkUsage =
    "flowspec check FILE|- [--sort file|key|precedence] [--verbose] [--dump] [--json]";

// "1 rule", "2 rules".
std::string count(std::size_t n, std::string_view thing) {
   return std::to_string(n) + ' ' + std::string(thing) + (n == 1 ? "" : "s");
}

std::string capabilityHelp() {
   std::vector<std::pair<std::string, std::string>> rows = {
       {"an infeasible rule", "Not processed"}};
   Flowspec::FlowspecUtil const util;
   for (HwAgent::Capability const& c : HwAgent::capabilities())
      rows.emplace_back(c.when, util.statusCodeToStrep(c.status).str());
   rows.emplace_back("anything else", "Programmed");
   std::string text;
   for (auto const& [when, status] : rows)
      text += wrapped(when + ": " + status, 4, "  - ");
   return text;
}

} // namespace

std::string checkHelp() {
   return std::string("usage: ") + std::string(checkUsage) + R"(

Reads a rule file (or standard input for -) and puts its rules through the
flowspec data model:
  1. A configuration agent builds the configuration tree: a Config with one
     VrfRuleConfig per VRF and one RuleConfig per rule, whose match set is
     derived from the rule's key and whose actions are the line's.
  2. It tests each rule's feasibility. An infeasible rule is recorded as an
     InfeasibleRule that names the component to blame; a feasible rule is
     sanitised: its IP protocols are narrowed to those its ports, TCP flags
     and ICMP matches allow.
  3. A simulated hardware agent, observing the configuration from before the
     first rule, programs the rules in RFC 8955 section 5.1 precedence order
     and reports each one in the Status tree (a RuleStatus per rule) and,
     once programmed, in Counter.
Then it prints one table of the rules: line, VRF (name and id), address
family, rule key, actions, verdict (with the IP protocols after sanitising)
and programming status, with the reason under every rule that is
infeasible or not programmed fully.

Options:
  --sort file        rules in the order of the file (the default)
  --sort key         in the order of their keys (VRF, family, prefixes, ...)
  --sort precedence  per VRF and family, in the order the hardware applies
                     them (RFC 8955 section 5.1)
  --verbose          also each rule's match set, version and counter, and
                     the agent's internals (callbacks heard, snapshots)
  --dump             also the debug dumps of the Config and Status trees
  --json             the same as JSON (docs/flowspec-check.schema.json)
  --version          the tool's version

)" + ruleFileHelp() +
          "\n" + keyGrammarHelp() + R"(
Feasibility. A rule is infeasible when one of its components accepts no
value at all (IP:>=200&<=100), or when its matches contradict each other
(ports need TCP or UDP, TCP flags need TCP, ICMP type and code need the
family's ICMP and exclude ports and TCP flags).

The simulated hardware (the first line that applies decides):
)" + capabilityHelp() +
          R"(Versions are numbered in the order the agent programs the rules; counters
start at 0 packets.

)" + exitStatusHelp();
}

namespace {

// ---- the table -------------------------------------------------------------------

// Left-aligned columns two blanks apart, the first right-aligned, the last
// not padded; a row may carry notes printed under it from the second
// column on. A row's cells are held in one string, so that a table of a
// million rules costs a few allocations a row.
class Table {
 public:
   explicit Table(std::vector<std::string> const& header) : width_(header.size(), 0) {
      row();
      for (auto const& cell : header)
         add(cell);
   }
   /// Starts a row, whose cells add() appends.
   void row() { rows_.emplace_back(); }
   void add(std::string_view cell) {
      Row& row = rows_.back();
      std::size_t const c = row.ends.size();
      row.text += cell;
      row.ends.push_back(row.text.size());
      width_[c] = std::max(width_[c], cell.size());
   }
   void note(std::string text) { rows_.back().notes.push_back(std::move(text)); }
   void print(std::ostream& out) const {
      std::string const blanks(*std::max_element(width_.begin(), width_.end()) + 2, ' ');
      auto pad = [&](std::size_t n) { out.write(blanks.data(), static_cast<std::streamsize>(n)); };
      for (Row const& row : rows_) {
         std::size_t begin = 0;
         for (std::size_t c = 0; c < row.ends.size(); ++c) {
            std::string_view const cell(row.text.data() + begin, row.ends[c] - begin);
            begin = row.ends[c];
            std::size_t const padding = width_[c] - cell.size();
            if (c == 0) pad(padding);
            out << cell;
            if (c + 1 < row.ends.size()) pad((c == 0 ? 0 : padding) + 2);
         }
         out << '\n';
         for (auto const& note : row.notes) {
            pad(width_[0] + 2);
            out << note << '\n';
         }
      }
   }

 private:
   struct Row {
      std::string text;              ///< the cells, one after the other
      std::vector<std::size_t> ends; ///< where each cell ends in text
      std::vector<std::string> notes;
   };
   std::vector<std::size_t> width_;
   std::vector<Row> rows_;
};

void printText(CheckModel const& m, CheckOptions const& options, std::ostream& out) {
   out << m.fileName << ": " << count(m.rules.size(), "rule") << " in "
       << count(m.vrfs.size(), "VRF");
   if (m.refusedLines) out << ", " << count(m.refusedLines, "line") << " refused";
   out << '\n';
   if (!m.rules.empty()) {
      out << '\n';
      Table table({"line", "VRF", "family", "rule", "actions", "verdict", "status"});
      Flowspec::FlowspecUtil const util;
      // The text of the VRF of the rule before: rules of one VRF come
      // together in most files.
      std::optional<Vrf::VrfIdMap::VrfId> vrfOfText;
      std::string vrfText;
      for (CheckedRule const* r : m.ordered(options.sort)) {
         if (vrfOfText != r->vrfId) {
            vrfOfText = r->vrfId;
            vrfText = m.vrfText(r->vrfId);
         }
         table.row();
         table.add(std::to_string(r->line));
         table.add(vrfText);
         table.add(r->family());
         table.add(r->rule());
         table.add(m.actionsText(*r));
         table.add(r->verdictText());
         table.add(r->statusCode ? util.statusCodeToStrep(*r->statusCode).view() : "-");
         if (!r->problem().empty()) table.note(r->problem());
         if (options.verbose) {
            table.note("match: " + r->matchText());
            if (r->statusCode && !r->infeasible) {
               table.note("version " + r->version.toStrep().str() +
                          (r->packets ? ", " + std::to_string(*r->packets) + " packets" : ""));
            }
         }
      }
      table.print(out);
   }
   out << "\nRule statuses:";
   char const* separator = " ";
   if (m.tallyTotal() == 0) out << " none";
   Flowspec::FlowspecUtil const util;
   for (std::size_t code = 0; code < m.tally.size(); ++code) {
      if (!m.tally[code]) continue;
      out << separator << m.tally[code] << ' '
          << util.statusCodeToStrep(static_cast<HwRuleProgrammingStatus>(code));
      separator = ", ";
   }
   out << '\n';
   if (options.verbose) {
      out << "Hardware agent heard:";
      separator = " ";
      for (auto const& [callback, n] : m.heard) {
         out << separator << callback << ' ' << n;
         separator = ", ";
      }
      out << "\nCounter snapshots: " << m.counterSnapshots << '\n';
   }
   out << "Result: " << m.resultText() << '\n';
   if (options.dump) {
      out << "\nConfig dump:\n" << m.configDump;
      out << "\nStatus dump:\n" << m.statusDump;
   }
}

void printJson(CheckModel const& m, CheckOptions const& options, std::ostream& out) {
   JsonWriter j(out);
   j.beginObject();
   j.key("file");
   j.value(m.fileName);
   j.key("exitStatus");
   j.value(std::uint64_t(m.exitStatus()));
   j.key("rulesRead");
   j.value(std::uint64_t(m.rules.size()));
   j.key("linesRefused");
   j.value(std::uint64_t(m.refusedLines));
   j.key("refused");
   j.beginArray();
   for (Refusal const& r : m.refusals) {
      j.beginObject();
      j.key("line");
      j.value(std::uint64_t(r.line));
      j.key("column");
      j.value(std::uint64_t(r.column));
      j.key("message");
      j.value(r.message);
      j.endObject();
   }
   j.endArray();
   j.key("vrfs");
   j.beginArray();
   for (VrfSummary const& v : m.vrfs) {
      j.beginObject();
      j.key("id");
      j.value(std::uint64_t(v.id));
      j.key("name");
      if (v.name.empty()) {
         j.null();
      } else {
         j.value(v.name);
      }
      j.key("rules");
      j.value(std::uint64_t(v.rules));
      j.key("infeasible");
      j.value(std::uint64_t(v.infeasible));
      j.endObject();
   }
   j.endArray();
   j.key("rules");
   j.beginArray();
   for (CheckedRule const* r : m.ordered(options.sort)) {
      j.beginObject();
      j.key("line");
      j.value(std::uint64_t(r->line));
      j.key("vrf");
      j.value(std::uint64_t(r->vrfId));
      j.key("vrfName");
      if (std::string const* name = m.vrfName(r->vrfId)) {
         j.value(*name);
      } else {
         j.null();
      }
      j.key("family");
      j.value(r->family());
      j.key("rule");
      j.value(r->rule());
      j.key("detail");
      j.value(r->detail());
      j.key("precedence");
      j.value(std::uint64_t(r->precedence));
      RuleActions const actions = r->actions();
      j.key("actions");
      j.beginObject();
      j.key("drop");
      j.value(actions.drop);
      j.key("permit");
      j.value(actions.permit);
      j.key("rate");
      if (actions.rate) {
         j.value(*actions.rate);
      } else {
         j.null();
      }
      j.key("redirect");
      if (actions.redirect) {
         j.beginObject();
         j.key("vrf");
         if (actions.redirect->vrf) {
            j.value(std::uint64_t(*actions.redirect->vrf));
         } else {
            j.null();
         }
         j.key("address");
         if (actions.redirect->address.empty()) {
            j.null();
         } else {
            j.value(actions.redirect->address);
         }
         j.key("copy");
         j.value(actions.redirect->copy);
         j.endObject();
      } else {
         j.null();
      }
      j.key("dscp");
      if (actions.dscp) {
         j.value(std::uint64_t(*actions.dscp));
      } else {
         j.null();
      }
      j.key("sample");
      j.value(actions.sample);
      j.key("continue");
      j.value(actions.continueMatch);
      j.endObject();
      j.key("feasible");
      j.value(!r->infeasible);
      j.key("infeasible");
      if (r->infeasible) {
         j.beginObject();
         j.key("component");
         j.value(Flowspec::stringValue(*r->infeasible).view());
         j.key("reason");
         j.value(r->problem());
         j.endObject();
      } else {
         j.null();
      }
      j.key("ipProtocols");
      if (r->ipProtocols) {
         j.beginArray();
         for (auto const& [lo, hi] : *r->ipProtocols)
            j.numbers({lo, hi});
         j.endArray();
      } else {
         j.null();
      }
      j.key("status");
      if (std::optional<RuleStatusView> const status = r->status()) {
         j.beginObject();
         j.key("code");
         j.value(status->code);
         j.key("text");
         j.value(status->text);
         j.key("reason");
         j.value(status->reason);
         j.key("version");
         j.value(status->version);
         j.key("programmed");
         j.value(status->programmed);
         j.endObject();
      } else {
         j.null();
      }
      j.key("packets");
      if (r->packets) {
         j.value(*r->packets);
      } else {
         j.null();
      }
      j.endObject();
   }
   j.endArray();
   j.key("ruleStatuses");
   j.beginObject();
   for (std::size_t code = 0; code < m.tally.size(); ++code) {
      if (!m.tally[code]) continue;
      j.key(Flowspec::stringValue(static_cast<HwRuleProgrammingStatus>(code)).view());
      j.value(std::uint64_t(m.tally[code]));
   }
   j.endObject();
   j.key("counterSnapshots");
   j.value(std::uint64_t(m.counterSnapshots));
   if (options.verbose) {
      j.key("agentHeard");
      j.beginObject();
      for (auto const& [callback, n] : m.heard) {
         j.key(callback);
         j.value(std::uint64_t(n));
      }
      j.endObject();
   }
   if (options.dump) {
      j.key("configDump");
      j.value(m.configDump);
      j.key("statusDump");
      j.value(m.statusDump);
   }
   j.endObject();
   j.end();
}

} // namespace

int checkStream(std::istream& in, std::string const& shownName, CheckOptions const& options,
                std::ostream& out, std::ostream& err) {
   std::optional<CheckModel> model = runCheck(in, shownName, options, err);
   if (!model) {
      err << "flowspec check: cannot read " << shownName << '\n';
      return exitUsage;
   }
   if (options.json) {
      printJson(*model, options, out);
   } else {
      printText(*model, options, out);
   }
   return model->exitStatus();
}

int checkFile(std::string const& path, std::string const& shownName, CheckOptions const& options,
              std::ostream& out, std::ostream& err) {
   if (path == "-") return checkStream(std::cin, "-", options, out, err);
   std::error_code ec;
   if (std::filesystem::is_directory(path, ec)) {
      err << "flowspec check: cannot read " << path << ": it is a directory\n";
      return exitUsage;
   }
   std::ifstream in(path, std::ios::binary);
   if (!in) {
      err << "flowspec check: cannot read " << path << ": " << std::strerror(errno) << '\n';
      return exitUsage;
   }
   return checkStream(in, shownName, options, out, err);
}

int checkCommand(Args const& args, std::ostream& out, std::ostream& err) {
   CheckOptions options;
   std::string_view file;
   bool haveFile = false;
   for (std::size_t i = 0; i < args.size(); ++i) {
      std::string_view const a = args[i];
      if (a == "--dump") {
         options.dump = true;
      } else if (a == "--json") {
         options.json = true;
      } else if (a == "--verbose" || a == "-v") {
         options.verbose = true;
      } else if (a == "--sort") {
         std::optional<RuleOrder> order =
             i + 1 < args.size() ? ruleOrderFromText(args[i + 1]) : std::nullopt;
         if (!order) {
            return usageError("check", checkUsage, "--sort takes file, key or precedence", err);
         }
         options.sort = *order;
         ++i;
      } else if (a.size() > 1 && a[0] == '-') {
         return usageError("check", checkUsage, "unknown option '" + std::string(a) + "'", err);
      } else if (haveFile) {
         return usageError("check", checkUsage, "one rule file at a time", err);
      } else {
         file = a;
         haveFile = true;
      }
   }
   if (!haveFile)
      return usageError("check", checkUsage, "which rule file? (- for standard input)", err);
   return checkFile(std::string(file), std::string(file), options, out, err);
}

} // namespace FlowspecTool
