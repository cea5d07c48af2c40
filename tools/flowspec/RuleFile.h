// tools/flowspec/RuleFile.h: the rule files of the flowspec tool.
//
// A rule file holds one flowspec rule per line (ruleFileHelp() prints the
// grammar from the reader's own table of actions):
//
//   vrf VRF FAMILY KEY ACTION...
//
// The reader never stops at a bad line: it refuses it with its line, its
// column and the reason, and goes on. A refused line leaves nothing behind:
// VRF names it would have introduced get no id, so ids follow the lines
// read. Lines are read as a stream, one at a time, each at most
// maxLineBytes long: memory grows with the rules read (or not at all when
// the caller keeps the keys), never with the bytes of one line. The bookkeeping of a line costs O(log n) in the VRFs and
// rules read so far and copies nothing. The reader is safe on any bytes,
// which makes it the entry point of the rule-file fuzz target.
#pragma once

#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Ipkit/IpTos.h"
#include "Vrf/VrfIdMap.h"

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <utility>
#include <variant>
#include <vector>

namespace FlowspecTool {

/// The longest line a rule file may hold, newline excluded.
inline constexpr std::size_t maxLineBytes = 64 * 1024;

/// One rule as its line gives it: the key (with its VRF and family set) and
/// the action fields of a Flowspec::RuleConfig.
struct RuleLine {
   unsigned line = 0; ///< 1-based line number in the file
   Vrf::VrfIdMap::VrfId vrfId = Vrf::VrfIdMap::defaultVrfId;
   Flowspec::FlowspecKey key;
   Flowspec::ActionFieldSet actionFieldSet;
   /// Bytes per second; set when actionFieldSet.trafficRate().
   float trafficRateLimit = 0.0f;
   Flowspec::TrafficAction trafficAction;
   Flowspec::TrafficRedirect trafficRedirect;
   /// The DSCP value; set when actionFieldSet.trafficMarking().
   Ipkit::IpTos trafficMarkingDscp;
};

/// A line the reader refused: where and why.
struct Refusal {
   unsigned line = 0;   ///< 1-based
   unsigned column = 0; ///< 1-based byte in the line; 1 for the line as a whole
   std::string message; ///< printable ASCII only

   /// "FILE:LINE:COLUMN: message", the form of compilers and editors.
   std::string text(std::string_view fileName) const;
   friend bool operator==(Refusal const&, Refusal const&) = default;
};

/// Reads rule lines one at a time, remembering what later lines need: the
/// VRF ids handed out and, unless its caller keeps them, the keys already
/// read.
class RuleReader {
 public:
   /// The line of the rule read earlier with the same key (VRF included),
   /// or nothing.
   using KeyLine = std::function<std::optional<unsigned>(Flowspec::FlowspecKey const&)>;

   /// A reader that remembers the key and line of each rule it returns, for
   /// refusing a key read again.
   RuleReader() = default;
   /// A reader that keeps no keys and asks `keyLine` instead: for a caller
   /// that keeps each rule returned (say in a Config tree) before it reads
   /// the next line, so that the keys are not held twice.
   explicit RuleReader(KeyLine keyLine) : keyLine_(std::move(keyLine)) {}

   /// Nothing (a blank or comment line), the rule of the line, or why the
   /// line is refused. `text` is the line without its newline.
   using Outcome = std::variant<std::monostate, RuleLine, Refusal>;
   Outcome line(std::string_view text, unsigned number);

   /// The name of every VRF the file names (not those it only numbers), by id.
   std::map<Vrf::VrfIdMap::VrfId, std::string> const& vrfNames() const { return vrfNames_; }

   // What one line and one of its actions are read with (RuleFile.cpp).
   struct LineState;
   struct ActionContext;

 private:
   Outcome read(std::string_view text, unsigned number, LineState& state);
   Vrf::VrfIdMap::VrfId vrf(std::string_view word, LineState& state);
   void action(std::string_view word, LineState& state, RuleLine& rule);

   Vrf::VrfIdMap vrfIds_;
   std::unordered_set<Vrf::VrfIdMap::VrfId> numberedVrfs_;
   std::map<Vrf::VrfIdMap::VrfId, std::string> vrfNames_;
   KeyLine keyLine_;
   /// Without keyLine_: the line of each key read.
   std::map<Flowspec::FlowspecKey, unsigned> keyLines_;
};

/// Reads every line of `in` (a rule file or standard input) through
/// `reader`, calling `onRule` for each rule and `onRefusal` for each refused
/// line, in file order. A line longer than maxLineBytes is refused and
/// skipped to its end without being held. Returns false when reading `in`
/// failed (other than by reaching its end).
bool readRules(std::istream& in, RuleReader& reader, std::function<void(RuleLine&&)> const& onRule,
               std::function<void(Refusal&&)> const& onRefusal);

/// All of one file, for tests and the fuzz target.
struct RuleFile {
   std::vector<RuleLine> rules;                          ///< in file order
   std::vector<Refusal> refusals;                        ///< in file order
   std::map<Vrf::VrfIdMap::VrfId, std::string> vrfNames; ///< see RuleReader
   /// refusals[i].text(fileName), for each i.
   std::vector<std::string> errors;
};

/// Reads the rule file `text`; `fileName` is what the messages call it.
RuleFile readRuleFile(std::string_view text, std::string_view fileName);

/// The grammar of rule files, as the help and the manual print it.
std::string ruleFileHelp();

/// `text` (one paragraph) wrapped at 76 columns, each line indented by
/// `indent` blanks, the first by `first` instead when it is given.
std::string wrapped(std::string_view text, std::size_t indent, std::string_view first = {});

/// `text` with every byte outside printable ASCII written as \xNN, so that
/// what a user typed cannot upset the terminal or the JSON it is shown in.
std::string printable(std::string_view text);

} // namespace FlowspecTool
