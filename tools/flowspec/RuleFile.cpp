#include "RuleFile.h"

#include "Flowspec/values/FlowspecKeyParse.h"
#include "Ipkit/IpGenAddr.h"
#include "Vex/Exception.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <exception>
#include <istream>
#include <iterator>
#include <optional>
#include <sstream>
#include <streambuf>

namespace FlowspecTool {

namespace {

constexpr std::uint64_t maxRate = 1000ULL * 1000 * 1000 * 1000; // 1000G

// A line could not be read: why, and the column of the word at fault.
struct LineError {
   std::size_t column;
   std::string what;
};

bool isBlank(char c) {
   return c == ' ' || c == '\t';
}
bool isDigits(std::string_view s) {
   if (s.empty()) return false;
   for (char c : s) {
      if (c < '0' || c > '9') return false;
   }
   return true;
}

// "'word'", for messages.
std::string quoted(std::string_view word) {
   return "'" + printable(word) + "'";
}

} // namespace

// What one line is read with: its words, front to back, each with its
// column, and the VRF names the line would introduce (committed only when
// the whole line is read).
struct RuleReader::LineState {
   explicit LineState(std::string_view line) : line(line) {
      std::size_t i = 0;
      while (i < line.size()) {
         while (i < line.size() && isBlank(line[i]))
            ++i;
         std::size_t start = i;
         while (i < line.size() && !isBlank(line[i]))
            ++i;
         if (i > start) words.push_back(line.substr(start, i - start));
      }
   }
   bool empty() const { return next == words.size(); }
   std::optional<std::string_view> take() {
      if (empty()) return std::nullopt;
      current = words[next];
      return words[next++];
   }
   std::optional<std::string_view> peek() const {
      if (empty()) return std::nullopt;
      return words[next];
   }
   // The 0-based column of `word`, a view into the line.
   std::size_t columnOf(std::string_view word) const {
      return static_cast<std::size_t>(word.data() - line.data());
   }
   // An error at the word read last, or past the end of the line when
   // `missing` (something that should follow is not there).
   [[noreturn]] void fail(std::string what, bool missing = false) const {
      std::size_t const column =
          missing || current.empty()
              ? (words.empty() ? 0 : columnOf(words.back()) + words.back().size() + 1)
              : columnOf(current);
      throw LineError{column, std::move(what)};
   }

   std::string_view line;
   std::vector<std::string_view> words;
   std::size_t next = 0;
   std::string_view current;
   // Names new to the file, with the ids they will get, in order of use.
   std::vector<std::pair<std::string, Vrf::VrfIdMap::VrfId>> newNames;
   std::size_t newIds = 0; // how many of newNames get a new id
   std::vector<Vrf::VrfIdMap::VrfId> newNumbers;
};

std::string Refusal::text(std::string_view fileName) const {
   return std::string(fileName) + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " +
          message;
}

RuleReader::Outcome RuleReader::line(std::string_view text, unsigned number) {
   if (std::size_t hash = text.find('#'); hash != std::string_view::npos)
      text = text.substr(0, hash);
   LineState state(text);
   try {
      Outcome outcome = read(text, number, state);
      if (auto* rule = std::get_if<RuleLine>(&outcome)) {
         std::optional<unsigned> first;
         if (keyLine_) {
            first = keyLine_(rule->key);
         } else if (auto [at, inserted] = keyLines_.emplace(rule->key, number); !inserted) {
            first = at->second;
         }
         if (first) {
            throw LineError{state.columnOf(state.words[3]),
                            "the same rule as line " + std::to_string(*first)};
         }
         // The line is read: what it introduced is the file's now.
         for (auto const& [name, id] : state.newNames) {
            Vrf::VrfIdMap::VrfId const given = vrfIds_.vrfIdIs(Vex::String(name));
            (void)given; // equal to id: names are handed out in order
            vrfNames_.emplace(id, name);
         }
         numberedVrfs_.insert(state.newNumbers.begin(), state.newNumbers.end());
      }
      return outcome;
   } catch (LineError const& e) {
      return Refusal{number, static_cast<unsigned>(e.column + 1), printable(e.what)};
   } catch (std::exception const& e) {
      // A value type refused a value: its message says which and why.
      std::size_t const column = state.current.empty() ? 0 : state.columnOf(state.current);
      return Refusal{number, static_cast<unsigned>(column + 1), printable(e.what())};
   }
}

RuleReader::Outcome RuleReader::read(std::string_view text, unsigned number, LineState& words) {
   for (std::size_t i = 0; i < text.size(); ++i) {
      auto u = static_cast<unsigned char>(text[i]);
      if ((u < 0x20 && text[i] != '\t') || u == 0x7f) {
         char hex[8];
         std::snprintf(hex, sizeof hex, "0x%02x", u);
         throw LineError{i, std::string("control character ") + hex + " in the line"};
      }
   }
   if (words.empty()) return std::monostate{};
   RuleLine r;
   r.line = number;

   std::string_view first = *words.take();
   if (first != "vrf") words.fail("a rule starts with 'vrf', not " + quoted(first));
   auto vrfWord = words.take();
   if (!vrfWord) words.fail("'vrf' needs a VRF name or id", true);
   r.vrfId = vrf(*vrfWord, words);

   auto familyWord = words.take();
   if (!familyWord) words.fail("the VRF needs an address family after it, ipv4 or ipv6", true);
   std::optional<Ipkit::AddressFamily> const af = Ipkit::addressFamilyFromText(*familyWord);
   if (!af) words.fail("the address family is ipv4 or ipv6, not " + quoted(*familyWord));

   auto keyWord = words.take();
   if (!keyWord) words.fail("the address family needs a rule key after it", true);
   Flowspec::KeyParseResult parsed = Flowspec::parseKeyCli(*keyWord, *af);
   if (!parsed) {
      throw LineError{words.columnOf(*keyWord) + parsed.error().column - 1,
                      "rule key: " + parsed.error().message};
   }
   r.key = std::move(parsed.key());
   r.key.vrfIdIs(r.vrfId);

   if (words.empty()) {
      words.fail("no action: give drop, permit, rate, redirect, dscp, sample or continue", true);
   }
   while (auto word = words.take())
      action(*word, words, r);
   return r;
}

Vrf::VrfIdMap::VrfId RuleReader::vrf(std::string_view word, LineState& state) {
   if (isDigits(word)) {
      std::uint64_t id = 0;
      for (char c : word) {
         id = id * 10 + static_cast<unsigned>(c - '0');
         if (id > Vrf::VrfIdMap::maxVrfId) {
            state.fail("VRF id " + std::string(word) + " is out of range (0 to " +
                       std::to_string(Vrf::VrfIdMap::maxVrfId) + ")");
         }
      }
      auto vrfId = static_cast<Vrf::VrfIdMap::VrfId>(id);
      auto named = vrfNames_.find(vrfId);
      std::string const* name = named != vrfNames_.end() ? &named->second : nullptr;
      for (auto const& [n, i] : state.newNames) {
         if (i == vrfId) name = &n;
      }
      if (name && vrfId != Vrf::VrfIdMap::defaultVrfId) {
         state.fail("VRF id " + std::string(word) + " is already the id of VRF " + *name +
                    "; name it or number it, not both");
      }
      state.newNumbers.push_back(vrfId);
      return vrfId;
   }
   Vex::String const name{std::string(word)};
   std::optional<Vrf::VrfIdMap::VrfId> vrfId = vrfIds_.vrfId(name);
   bool const known = vrfId.has_value();
   for (auto const& [n, i] : state.newNames) {
      if (n == word) vrfId = i;
   }
   if (!vrfId) {
      // The id the map hands out next: it hands them out in order and the
      // reader never deletes one.
      vrfId = static_cast<Vrf::VrfIdMap::VrfId>(vrfIds_.size() + state.newIds);
      if (*vrfId > Vrf::VrfIdMap::maxVrfId) state.fail("every VRF id is in use");
      Vrf::VrfIdMap probe(1);
      probe.vrfIdIs(name); // raises for a name a VRF cannot have
      ++state.newIds;
      state.newNames.emplace_back(std::string(word), *vrfId);
   } else if (known && !vrfNames_.count(*vrfId)) {
      state.newNames.emplace_back(std::string(word),
                                  *vrfId); // "default", named for the first time
   }
   bool numbered = numberedVrfs_.count(*vrfId) != 0;
   for (auto n : state.newNumbers)
      numbered = numbered || n == *vrfId;
   if (*vrfId != Vrf::VrfIdMap::defaultVrfId && numbered) {
      state.fail("VRF " + std::string(word) + " would get the id " + std::to_string(*vrfId) +
                 ", which the file already uses as a number; name it or number it, not both");
   }
   return *vrfId;
}

// ---- the actions: one row each, for the reader and for the help ------------

struct RuleReader::ActionContext {
   RuleReader& reader;
   LineState& words;
   RuleLine& rule;
   std::string_view word;
   Vrf::VrfIdMap::VrfId vrf(std::string_view name) const { return reader.vrf(name, words); }
   // Refuses an action given twice.
   void once(bool present) const {
      if (present) words.fail(quoted(word) + " is given twice");
   }
   // Refuses a second one of drop, permit and rate.
   void oneVerdict() const {
      Flowspec::ActionFieldSet const f = rule.actionFieldSet;
      if (f.trafficDrop() || f.trafficPermit() || f.trafficRate()) {
         words.fail("drop, permit and rate exclude each other");
      }
   }
};

namespace {

struct Action {
   std::string_view word;
   std::string_view arguments; // for the help
   std::string_view help;
   void (*read)(RuleReader::ActionContext& c);
};

Action const actions[] = {
    {"drop", "", "drop the packets",
     [](RuleReader::ActionContext& c) {
        c.once(c.rule.actionFieldSet.trafficDrop());
        c.oneVerdict();
        c.rule.actionFieldSet.trafficDropIs(true);
     }},
    {"permit", "", "let the packets through",
     [](RuleReader::ActionContext& c) {
        c.once(c.rule.actionFieldSet.trafficPermit());
        c.oneVerdict();
        c.rule.actionFieldSet.trafficPermitIs(true);
     }},
    {"rate", "BYTES_PER_SECOND",
     "limit the traffic; a whole number with an optional k, M or G (thousand, million, "
     "billion), at "
     "most 1000G; rate 0 drops",
     [](RuleReader::ActionContext& c) {
        c.once(c.rule.actionFieldSet.trafficRate());
        c.oneVerdict();
        auto value = c.words.take();
        if (!value) c.words.fail("'rate' needs a number of bytes per second", true);
        std::string_view digits = *value;
        std::uint64_t unit = 1;
        switch (digits.back()) {
        case 'k':
           unit = 1000;
           break;
        case 'M':
           unit = 1000 * 1000;
           break;
        case 'G':
           unit = 1000 * 1000 * 1000;
           break;
        default:
           break;
        }
        if (unit != 1) digits.remove_suffix(1);
        if (!isDigits(digits)) {
           c.words.fail("the rate is a whole number of bytes per second with an "
                        "optional k, M or G, not " +
                        quoted(*value));
        }
        std::uint64_t rate = 0;
        for (char d : digits) {
           rate = rate * 10 + static_cast<unsigned>(d - '0');
           if (rate > maxRate / unit)
              c.words.fail("the rate " + std::string(*value) + " is above 1000G");
        }
        c.rule.actionFieldSet.trafficRateIs(true);
        c.rule.trafficRateLimit = static_cast<float>(rate * unit);
     }},
    {"redirect", "vrf VRF [copy] | ADDRESS [copy]",
     "redirect the packets (or with copy, a copy of them) into another VRF, or to a "
     "next hop of the "
     "rule's family",
     [](RuleReader::ActionContext& c) {
        c.once(c.rule.actionFieldSet.trafficRedirect());
        auto target = c.words.take();
        if (!target) c.words.fail("'redirect' needs 'vrf VRF' or an address", true);
        if (*target == "vrf") {
           auto name = c.words.take();
           if (!name) c.words.fail("'redirect vrf' needs a VRF name or id", true);
           c.rule.trafficRedirect.vrfIdIs(c.vrf(*name));
        } else {
           Ipkit::IpGenAddr const next{Vex::String(std::string(*target))};
           Ipkit::AddressFamily const af = c.rule.key.addressFamily();
           if (next.af() != af) {
              c.words.fail("an " + Ipkit::valueToStrep(af).str() + " rule cannot redirect to the " +
                           Ipkit::valueToStrep(next.af()).str() + " next hop " +
                           next.stringValue().str());
           }
           c.rule.trafficRedirect.addrIs(next);
        }
        if (c.words.peek() == "copy") {
           c.words.take();
           c.rule.trafficRedirect.copyIs(true);
        }
        c.rule.actionFieldSet.trafficRedirectIs(true);
     }},
    {"dscp", "0-63", "mark the packets with this DSCP value",
     [](RuleReader::ActionContext& c) {
        c.once(c.rule.actionFieldSet.trafficMarking());
        auto value = c.words.take();
        if (!value) c.words.fail("'dscp' needs a DSCP value from 0 to 63", true);
        if (!isDigits(*value) || value->size() > 2 || std::stoul(std::string(*value)) > 63) {
           c.words.fail("'dscp' needs a DSCP value from 0 to 63, not " + quoted(*value));
        }
        c.rule.trafficMarkingDscp =
            Ipkit::IpTos(static_cast<unsigned>(std::stoul(std::string(*value))));
        c.rule.actionFieldSet.trafficMarkingIs(true);
     }},
    {"sample", "", "sample and log the packets",
     [](RuleReader::ActionContext& c) {
        c.once(c.rule.trafficAction.sampleAndLog());
        c.rule.trafficAction.sampleAndLogIs(true);
        c.rule.actionFieldSet.trafficActionIs(true);
     }},
    {"continue", "", "go on matching the rules after this one (the rule is not terminal)",
     [](RuleReader::ActionContext& c) {
        c.once(c.rule.trafficAction.continueMatch());
        c.rule.trafficAction.continueMatchIs(true);
        c.rule.actionFieldSet.trafficActionIs(true);
     }},
};

// "drop, permit, rate, redirect, dscp, sample and continue".
std::string actionList() {
   std::string list;
   for (std::size_t i = 0; i < std::size(actions); ++i)
      list += std::string(i == 0                        ? ""
                          : i + 1 == std::size(actions) ? " and "
                                                        : ", ") +
              std::string(actions[i].word);
   return list;
}

} // namespace

void RuleReader::action(std::string_view word, LineState& words, RuleLine& rule) {
   for (Action const& a : actions) {
      if (a.word != word) continue;
      ActionContext context{*this, words, rule, word};
      a.read(context);
      return;
   }
   if (word == "copy") words.fail("'copy' belongs right after a redirect target");
   words.fail("unknown action " + quoted(word) + "; the actions are " + actionList());
}

std::string ruleFileHelp() {
   std::string text = R"(Rule files hold one rule per line:

  vrf VRF FAMILY KEY ACTION...

  VRF     a VRF name or id (0 to )" +
                      std::to_string(Vrf::VrfIdMap::maxVrfId) +
                      R"(); "default" is id 0, other names
          get the ids 1, 2, ... in the order of first use; a name and a
          number may not denote the same VRF
  FAMILY  ipv4 or ipv6; the key's prefixes and a redirect's next hop must be
          of this family
  KEY     the rule key in the command-line form, without blanks (below)
  ACTION  one of
)";
   for (Action const& a : actions) {
      text += "    " + std::string(a.word) +
              (a.arguments.empty() ? "" : " " + std::string(a.arguments)) + "\n";
      text += wrapped(a.help, 8);
   }
   text += R"(
Each action at most once, at least one, and drop, permit and rate exclude
each other. '#' starts a comment that runs to the end of the line; blank
lines are skipped; words are separated by blanks or tabs. A line holds at
most )" + std::to_string(maxLineBytes) +
           R"( bytes. A key may appear once per VRF and family. For example:

  vrf default ipv4 *;*;IP:=17;SP:=123; rate 0 sample
  vrf default ipv6 2001:db8::/32;*;IT:=128; rate 12500
  vrf default ipv4 192.0.2.0/24;*;TCP:=2&!=16; redirect vrf scrubbing
)";
   return text;
}

bool readRules(std::istream& in, RuleReader& reader, std::function<void(RuleLine&&)> const& onRule,
               std::function<void(Refusal&&)> const& onRefusal) {
   std::streambuf* buf = in.rdbuf();
   if (!buf) return false;
   std::string line;
   unsigned number = 0;
   auto deliver = [&](RuleReader::Outcome&& outcome) {
      if (auto* rule = std::get_if<RuleLine>(&outcome)) {
         onRule(std::move(*rule));
      } else if (auto* refusal = std::get_if<Refusal>(&outcome)) {
         onRefusal(std::move(*refusal));
      }
   };
   // The bytes are taken from the stream as many at a time as it holds
   // ready, and one at a time (waiting for them) when it holds none, so
   // that a line is read as soon as it is there, on a pipe too.
   std::vector<char> chunk(16 * 1024);
   std::size_t pos = 0, size = 0;
   auto fill = [&] {
      pos = 0;
      size = 0;
      if (std::streamsize const ready = buf->in_avail(); ready > 0) {
         std::streamsize const n =
             buf->sgetn(chunk.data(), std::min(ready, static_cast<std::streamsize>(chunk.size())));
         size = n > 0 ? static_cast<std::size_t>(n) : 0;
      }
      if (size == 0) {
         int const c = buf->sbumpc();
         if (c == std::char_traits<char>::eof()) return false;
         chunk[0] = static_cast<char>(c);
         size = 1;
      }
      return true;
   };
   for (;;) {
      line.clear();
      bool tooLong = false, any = false, newline = false;
      while (!newline && (pos < size || fill())) {
         char const* const begin = chunk.data() + pos;
         auto const* const end = static_cast<char const*>(std::memchr(begin, '\n', size - pos));
         std::size_t const take = end ? static_cast<std::size_t>(end - begin) : size - pos;
         std::size_t const room = maxLineBytes - line.size();
         if (take > room) tooLong = true; // kept up to the limit, read on to the end
         line.append(begin, std::min(take, room));
         any = any || take > 0;
         pos += take;
         if (end) {
            ++pos;
            newline = true;
         }
      }
      bool const end = !newline;
      if (end && !any) break;
      ++number;
      if (!line.empty() && line.back() == '\r' && !tooLong) line.pop_back();
      if (tooLong) {
         onRefusal(Refusal{number, static_cast<unsigned>(maxLineBytes + 1),
                           "the line is longer than " + std::to_string(maxLineBytes) + " bytes"});
      } else {
         deliver(reader.line(line, number));
      }
      if (end) break;
   }
   return true;
}

RuleFile readRuleFile(std::string_view text, std::string_view fileName) {
   RuleReader reader;
   RuleFile file;
   std::istringstream in{std::string(text)};
   readRules(
       in, reader, [&](RuleLine&& rule) { file.rules.push_back(std::move(rule)); },
       [&](Refusal&& refusal) {
          file.errors.push_back(refusal.text(fileName));
          file.refusals.push_back(std::move(refusal));
       });
   file.vrfNames = reader.vrfNames();
   return file;
}

std::string wrapped(std::string_view text, std::size_t indent, std::string_view first) {
   std::string out, line;
   bool firstLine = true;
   auto flush = [&] {
      out += (firstLine && !first.empty() ? std::string(first) : std::string(indent, ' ')) + line +
             "\n";
      firstLine = false;
      line.clear();
   };
   std::size_t i = 0;
   while (i < text.size()) {
      std::size_t end = text.find(' ', i);
      if (end == std::string_view::npos) end = text.size();
      std::string_view const word = text.substr(i, end - i);
      if (!line.empty() && indent + line.size() + 1 + word.size() > 76) flush();
      if (!word.empty()) line += (line.empty() ? "" : " ") + std::string(word);
      i = end + 1;
   }
   if (!line.empty()) flush();
   return out;
}

std::string printable(std::string_view text) {
   return Flowspec::printableText(text);
}

} // namespace FlowspecTool
