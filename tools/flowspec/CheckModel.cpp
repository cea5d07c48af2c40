#include "CheckModel.h"

#include "HwAgent.h"

#include "Flowspec/FlowspecStatedb.h"
#include "Kiln/DumpContext.h"

#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/MatchComponent.h"
#include "Flowspec/values/TcpBitMask.h"

#include <algorithm>
#include <exception>
#include <istream>
#include <ostream>
#include <utility>

namespace FlowspecTool {

using Flowspec::HwRuleProgrammingStatus;
using Flowspec::MatchCompType;
using T = MatchCompType;

namespace {

std::string label(MatchCompType t) {
   return Flowspec::FlowspecUtil().compTypeToDetailLabel(t).str();
}

// IANA protocol numbers with a well-known name.
struct Protocol {
   std::uint8_t number;
   char const* name;
};
constexpr Protocol protocols[] = {
    {1, "icmp"},  {2, "igmp"},  {4, "ipip"},   {6, "tcp"},    {17, "udp"},
    {41, "ipv6"}, {47, "gre"},  {50, "esp"},   {51, "ah"},    {58, "ipv6-icmp"},
    {89, "ospf"}, {103, "pim"}, {112, "vrrp"}, {132, "sctp"},
};

std::string rangeText(std::uint64_t lo, std::uint64_t hi, std::string (*name)(std::uint64_t)) {
   return lo == hi ? name(lo) : name(lo) + "-" + name(hi);
}

std::string number(std::uint64_t n) {
   return std::to_string(n);
}

// "80, 443, 1000-2000": the ranges of a numeric component, ascending.
std::vector<std::pair<std::uint64_t, std::uint64_t>> rangesOf(Flowspec::MatchComponent const& c) {
   std::vector<std::pair<std::uint64_t, std::uint64_t>> ranges;
   for (auto i = c.numericalRangeIteratorConst(); i; ++i)
      ranges.emplace_back(i.key().rangeMin(), i.key().rangeMax());
   std::sort(ranges.begin(), ranges.end());
   return ranges;
}

std::string rangesText(std::vector<std::pair<std::uint64_t, std::uint64_t>> const& ranges,
                       std::string (*name)(std::uint64_t)) {
   std::string text;
   for (auto const& [lo, hi] : ranges)
      text += (text.empty() ? "" : ", ") + rangeText(lo, hi, name);
   return text.empty() ? "none" : text;
}

// "all of SYN, not ACK": one bit mask by the names of its bits.
template <class Mask>
std::string maskText(Mask const& m) {
   std::string bits;
   for (std::uint32_t b = 0; b <= Mask::lastBit; ++b) {
      if (!(m.mask() >> b & 1U)) continue;
      bits += std::string(bits.empty() ? "" : ", ") + (m.val() >> b & 1U ? "" : "not ") +
              Mask::bitTable[b].cliName;
   }
   return (m.matchAll() ? "all of " : "any of ") + bits;
}

template <class Mask, class Iterator>
std::string masksText(Iterator i) {
   std::vector<std::string> masks;
   for (; i; ++i)
      masks.push_back(maskText<Mask>(i.key()));
   std::sort(masks.begin(), masks.end());
   std::string text;
   for (auto const& m : masks)
      text += (text.empty() ? "" : " or ") + m;
   return text.empty() ? "none" : text;
}

std::string matchText(Flowspec::RuleConfig const& rule) {
   std::string text;
   for (auto i = rule.matchSetIteratorConst(); i; ++i) {
      Flowspec::MatchComponent const& c = i.value();
      std::string value;
      if (Flowspec::isPrefixType(c.compType())) {
         value = c.prefix().stringValue().str();
      } else if (c.compType() == T::tcpFlags) {
         value = masksText<Flowspec::TcpBitMask>(c.tcpBitMaskIteratorConst());
      } else if (c.compType() == T::fragment) {
         value = masksText<Flowspec::IpBitMask>(c.ipBitMaskIteratorConst());
      } else {
         value = rangesText(rangesOf(c), c.compType() == T::ipProto ? protocolName : number);
      }
      text += (text.empty() ? "" : "; ") + label(c.compType()) + " " + value;
   }
   return text.empty() ? "every packet" : text;
}

// "gre", "tcp, udp" or "any": the IP protocols the rule's match set allows.
std::string protocolsText(Flowspec::RuleConfig const& rule) {
   if (!rule.matchSetHas(T::ipProto)) return "any";
   return rangesText(rangesOf(rule.matchSet(T::ipProto)), protocolName);
}

// Why `blame` makes the rule infeasible, in the terms of the feasibility
// test (RuleConfig::infeasibleMatchInMatchSet).
std::string infeasibleReason(Flowspec::RuleConfig const& rule, MatchCompType blame) {
   std::string const what = label(blame);
   if (componentMatchingNothing(rule) == blame) return what + " accepts no value";
   bool const icmp = rule.matchSetHas(T::icmpType) || rule.matchSetHas(T::icmpCode);
   bool const port =
       rule.matchSetHas(T::port) || rule.matchSetHas(T::destPort) || rule.matchSetHas(T::srcPort);
   std::string const allowed = ", and the IP protocols are " + protocolsText(rule);
   switch (blame) {
   case T::tcpFlags:
      return icmp ? what + " and ICMP exclude each other" : what + " need tcp" + allowed;
   case T::icmpType:
   case T::icmpCode:
      if (port || rule.matchSetHas(T::tcpFlags)) return what + " excludes ports and TCP flags";
      return what + " needs " + (rule.key().addressFamily() == Ipkit::ipv6 ? "ipv6-icmp" : "icmp") +
             allowed;
   default:
      return icmp ? what + " and ICMP exclude each other" : what + " needs tcp or udp" + allowed;
   }
}

// "1250k": a rate as a line would give it. The rule holds a float, which
// keeps about 7 digits (1000G is held as 999999995904): a multiple of a unit
// that close is shown as that multiple.
std::string rateText(std::uint64_t rate) {
   for (auto [unit, suffix] : {std::pair{1000000000ULL, "G"}, {1000000ULL, "M"}, {1000ULL, "k"}}) {
      std::uint64_t const units = (rate + unit / 2) / unit;
      std::uint64_t const near = units * unit;
      std::uint64_t const off = near > rate ? near - rate : rate - near;
      if (units && off * 10000000 <= near) return std::to_string(units) + suffix;
   }
   return std::to_string(rate);
}

// ---- the configuration agent ----------------------------------------------

} // namespace

void configureRule(Flowspec::Config& config, RuleLine const& line) {
   std::vector<Flowspec::MatchComponent> matchSet = Flowspec::matchSetFromKey(line.key);
   Vex::Ptr<Flowspec::VrfRuleConfig> vrf = config.vrfRuleConfigIs(line.vrfId);
   Vex::Ptr<Flowspec::RuleConfig> rule = vrf->ruleIs(line.key);
   rule->ruleIdIs(line.line);
   for (auto& c : matchSet)
      rule->matchSetIs(std::move(c));
   rule->actionFieldSetIs(line.actionFieldSet);
   rule->trafficRateLimitIs(line.trafficRateLimit);
   rule->trafficActionIs(line.trafficAction);
   rule->trafficRedirectIs(line.trafficRedirect);
   rule->trafficMarkingDscpIs(line.trafficMarkingDscp);

   // A component that accepts nothing is the real cause, whatever else the
   // feasibility test would blame first.
   MatchCompType blame = componentMatchingNothing(*rule);
   if (blame == MatchCompType::invalid) blame = rule->infeasibleMatchInMatchSet();
   if (blame != MatchCompType::invalid) {
      Vex::Ptr<Flowspec::InfeasibleRule> infeasible = vrf->infeasibleRuleIs(line.key);
      infeasible->ruleIdIs(line.line);
      infeasible->matchCompTypeIs(blame);
   } else {
      rule->sanitizeMatchSet();
   }
}

RuleReader::KeyLine keyLineIn(Flowspec::Config const& config) {
   return [&config](Flowspec::FlowspecKey const& key) -> std::optional<unsigned> {
      Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config.vrfRuleConfig(key.vrfId());
      Vex::Ptr<Flowspec::RuleConfig const> rule = vrf ? vrf->rule(key) : nullptr;
      if (!rule) return std::nullopt;
      return static_cast<unsigned>(rule->ruleId());
   };
}

namespace {

std::string dumpOf(Vex::Entity const& root) {
   Kiln::DumpContext ctx;
   root.dumpState(ctx, 0);
   return ctx.text().str();
}

} // namespace

std::optional<CheckModel> runCheck(std::istream& in, std::string const& shownName,
                                   CheckOptions const& options, std::ostream& err) {
   CheckModel model;
   model.fileName = shownName;
   auto config = Flowspec::configFactory("config");
   auto status = Flowspec::statusFactory("status");
   auto counter = Flowspec::counterFactory("counter");
   // The keys are held by the Config tree, but for those of the rare rules
   // configureRule refused (a key it cannot derive a match set from): the
   // reader finds the line of a key read before in either.
   std::map<Flowspec::FlowspecKey, unsigned> unconfigured;
   RuleReader reader([&unconfigured, inConfig = keyLineIn(*config)](
                         Flowspec::FlowspecKey const& key) -> std::optional<unsigned> {
      if (std::optional<unsigned> line = inConfig(key)) return line;
      auto refused = unconfigured.find(key);
      if (refused == unconfigured.end()) return std::nullopt;
      return refused->second;
   });
   auto refuse = [&](Refusal&& refusal) {
      err << refusal.text(shownName) << '\n';
      ++model.refusedLines;
      // Kept for JSON only: text output needs no more than the count.
      if (options.json) model.refusals.push_back(std::move(refusal));
   };
   bool readOk;
   {
      // The agent observes before the first rule arrives, and stops
      // observing before the trees go.
      HwAgent agent(config, status, counter);
      readOk = readRules(
          in, reader,
          [&](RuleLine&& line) {
             try {
                configureRule(*config, line);
                model.add(std::move(line));
             } catch (std::exception const& e) {
                unconfigured.emplace(line.key, line.line);
                refuse(Refusal{line.line, 1, printable(e.what())});
             }
          },
          refuse);
      // The agent programs each VRF's rules in precedence order: their
      // places are noted as it goes, rather than sorted again. A rule the
      // model does not hold (configured in part, then refused) would shift
      // the places: build() sorts then.
      std::size_t placed = 0;
      bool stray = false;
      Vrf::VrfIdMap::VrfId placing = Vrf::VrfIdMap::noVrfId;
      std::uint32_t place = 0;
      agent.run([&](Vrf::VrfIdMap::VrfId vrfId, Flowspec::RuleConfig const& rule) {
         if (vrfId != placing) {
            placing = vrfId;
            place = 0;
         }
         CheckedRule* row = model.ruleAtLine(rule.ruleId());
         if (!row || row->vrfId != vrfId || !(row->key == rule.key())) {
            stray = true;
            return;
         }
         row->precedence = place++;
         ++placed;
      });
      model.precedenceKnown = !stray && placed == model.rules.size();
      model.heard = agent.heard();
   }
   if (!readOk || in.bad()) return std::nullopt;
   model.build(reader.vrfNames(), *config, *status, *counter, options.verbose || options.json);
   if (options.dump) {
      model.configDump = dumpOf(*config);
      model.statusDump = dumpOf(*status);
   }
   return model;
}

std::optional<RuleOrder> ruleOrderFromText(std::string_view text) {
   if (text == "file") return RuleOrder::file;
   if (text == "key") return RuleOrder::key;
   if (text == "precedence") return RuleOrder::precedence;
   return std::nullopt;
}

std::string protocolName(std::uint64_t n) {
   for (Protocol const& p : protocols) {
      if (p.number == n) return p.name;
   }
   return std::to_string(n);
}

MatchCompType componentMatchingNothing(Flowspec::RuleConfig const& rule) {
   for (auto i = rule.matchSetIteratorConst(); i; ++i) {
      Flowspec::MatchComponent const& c = i.value();
      bool const empty = c.matchTypeNumericalRange()   ? c.numericalRangeSize() == 0
                         : c.compType() == T::tcpFlags ? c.tcpBitMaskSize() == 0
                         : c.compType() == T::fragment ? c.ipBitMaskSize() == 0
                                                       : false;
      if (empty) return c.compType();
   }
   return T::invalid;
}

std::string CheckedRule::family() const {
   return Ipkit::valueToStrep(key.addressFamily()).str();
}

std::string CheckedRule::rule() const {
   return key.toStrepCli().str();
}

std::string CheckedRule::detail() const {
   return key.toStrepCliDetail().str();
}

RuleActions CheckedRule::actions() const {
   RuleActions a;
   Flowspec::ActionFieldSet const f = actionFieldSet;
   a.drop = f.trafficDrop();
   a.permit = f.trafficPermit();
   if (f.trafficRate()) a.rate = static_cast<std::uint64_t>(trafficRateLimit);
   // (JSON gives the rate the rule holds; the table rounds it, see rateText.)
   if (f.trafficRedirect()) {
      RuleActions::Redirect r;
      if (trafficRedirect.vrfId() != Vrf::VrfIdMap::noVrfId) r.vrf = trafficRedirect.vrfId();
      if (!trafficRedirect.addr().isUnspecified()) {
         r.address = trafficRedirect.addr().stringValue().str();
      }
      r.copy = trafficRedirect.copy();
      a.redirect = r;
   }
   if (f.trafficMarking()) a.dscp = trafficMarkingDscp.value();
   a.sample = trafficAction.sampleAndLog();
   a.continueMatch = trafficAction.continueMatch();
   return a;
}

namespace {
std::string const noText;
}

std::string const& CheckedRule::problem() const {
   return texts ? texts->problem : noText;
}

std::string const& CheckedRule::matchText() const {
   return texts ? texts->match : noText;
}

std::optional<RuleStatusView> CheckedRule::status() const {
   if (!statusCode) return std::nullopt;
   RuleStatusView s;
   s.status = *statusCode;
   s.code = Flowspec::stringValue(s.status).str();
   s.text = Flowspec::FlowspecUtil().statusCodeToStrep(s.status).str();
   if (texts) s.reason = texts->reason;
   s.version = version.toStrep().str();
   s.programmed = programmed;
   return s;
}

std::string CheckedRule::verdictText() const {
   if (infeasible) return "infeasible";
   if (!ipProtocols) return "feasible";
   return "feasible: " + rangesText(*ipProtocols, protocolName);
}

void CheckModel::add(RuleLine&& line) {
   CheckedRule& r = rules.emplace_back();
   r.line = line.line;
   r.vrfId = line.vrfId;
   r.key = std::move(line.key);
   r.actionFieldSet = line.actionFieldSet;
   r.trafficRateLimit = line.trafficRateLimit;
   r.trafficAction = line.trafficAction;
   r.trafficRedirect = line.trafficRedirect;
   r.trafficMarkingDscp = line.trafficMarkingDscp;
}

void CheckModel::build(std::map<Vrf::VrfIdMap::VrfId, std::string> names,
                       Flowspec::Config const& config, Flowspec::Status const& status,
                       Flowspec::Counter const& counter, bool allTexts) {
   vrfNames = std::move(names);
   std::map<Vrf::VrfIdMap::VrfId, VrfSummary> summaries;
   // Rules share their protocol lists: there are few distinct ones.
   std::map<CheckedRule::Protocols, std::shared_ptr<CheckedRule::Protocols const>> protocolLists;
   for (CheckedRule& r : rules) {
      Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config.vrfRuleConfig(r.vrfId);
      Vex::Ptr<Flowspec::RuleConfig const> rule = vrf->rule(r.key);
      Vex::Ptr<Flowspec::InfeasibleRule const> infeasible = vrf->infeasibleRule(r.key);
      Vex::Ptr<Flowspec::VrfRuleStatus const> vrfStatus = status.vrfRuleStatus(r.vrfId);
      Vex::Ptr<Flowspec::RuleStatus const> ruleStatus =
          vrfStatus ? vrfStatus->ruleStatus(r.key) : nullptr;

      CheckedRule::Texts texts;
      if (allTexts) texts.match = matchText(*rule);
      if (rule->matchSetHas(T::ipProto) && !infeasible) {
         CheckedRule::Protocols ranges = rangesOf(rule->matchSet(T::ipProto));
         auto& shared = protocolLists[ranges];
         if (!shared) shared = std::make_shared<CheckedRule::Protocols const>(std::move(ranges));
         r.ipProtocols = shared;
      }
      if (infeasible) {
         r.infeasible = infeasible->matchCompType();
         texts.problem = "infeasible: " + infeasibleReason(*rule, *r.infeasible);
      }
      if (ruleStatus) {
         HwRuleProgrammingStatus const code = ruleStatus->statusCode();
         r.statusCode = code;
         texts.reason = ruleStatus->errorReason().str();
         r.version = ruleStatus->version();
         r.programmed = ruleStatus->isProgrammed();
         if (!infeasible && code != HwRuleProgrammingStatus::programmed)
            texts.problem = texts.reason;
         ++tally[static_cast<std::size_t>(code)];
      }
      if (!texts.problem.empty() || !texts.reason.empty() || !texts.match.empty()) {
         r.texts = std::make_unique<CheckedRule::Texts>(std::move(texts));
      }
      if (counter.snapshotHas(r.key)) r.packets = counter.snapshot(r.key).counter();

      VrfSummary& v = summaries[r.vrfId];
      v.id = r.vrfId;
      if (auto named = vrfNames.find(r.vrfId); named != vrfNames.end()) v.name = named->second;
      ++v.rules;
      if (infeasible) ++v.infeasible;
   }
   for (auto& [id, v] : summaries)
      vrfs.push_back(std::move(v));
   counterSnapshots = counter.snapshotSize();

   if (precedenceKnown) return;
   // The place of each rule in its VRF's programming order.
   std::vector<CheckedRule*> byPrecedence;
   byPrecedence.reserve(rules.size());
   for (CheckedRule& r : rules)
      byPrecedence.push_back(&r);
   std::sort(byPrecedence.begin(), byPrecedence.end(),
             [](CheckedRule const* a, CheckedRule const* b) {
                return HwAgent::programsBefore(a->vrfId, a->key, b->vrfId, b->key);
             });
   std::map<Vrf::VrfIdMap::VrfId, std::uint32_t> places;
   for (CheckedRule* r : byPrecedence)
      r->precedence = places[r->vrfId]++;
}

CheckedRule* CheckModel::ruleAtLine(std::uint64_t line) {
   // The rules are in file order: their lines ascend.
   auto at = std::lower_bound(rules.begin(), rules.end(), line,
                              [](CheckedRule const& r, std::uint64_t l) { return r.line < l; });
   return at != rules.end() && at->line == line ? &*at : nullptr;
}

std::string CheckModel::actionsText(CheckedRule const& r) const {
   RuleActions const actions = r.actions();
   std::string a;
   auto add = [&a](std::string const& word) { a += (a.empty() ? "" : " ") + word; };
   if (actions.drop) add("drop");
   if (actions.permit) add("permit");
   if (actions.rate) add("rate " + rateText(*actions.rate));
   if (actions.redirect) {
      RuleActions::Redirect const& to = *actions.redirect;
      if (to.vrf) {
         auto named = vrfNames.find(*to.vrf);
         add("redirect vrf " + (named != vrfNames.end() ? named->second : std::to_string(*to.vrf)));
      } else {
         add("redirect " + to.address);
      }
      if (to.copy) add("copy");
   }
   if (actions.dscp) add("dscp " + std::to_string(*actions.dscp));
   if (actions.sample) add("sample");
   if (actions.continueMatch) add("continue");
   return a;
}

std::vector<CheckedRule const*> CheckModel::ordered(RuleOrder order) const {
   std::vector<CheckedRule const*> out;
   out.reserve(rules.size());
   for (CheckedRule const& r : rules)
      out.push_back(&r);
   if (order == RuleOrder::key) {
      std::stable_sort(out.begin(), out.end(),
                       [](CheckedRule const* a, CheckedRule const* b) { return a->key < b->key; });
   } else if (order == RuleOrder::precedence) {
      std::stable_sort(out.begin(), out.end(), [](CheckedRule const* a, CheckedRule const* b) {
         return a->vrfId != b->vrfId ? a->vrfId < b->vrfId : a->precedence < b->precedence;
      });
   }
   return out;
}

std::string const* CheckModel::vrfName(Vrf::VrfIdMap::VrfId id) const {
   auto v = std::lower_bound(vrfs.begin(), vrfs.end(), id,
                             [](VrfSummary const& s, Vrf::VrfIdMap::VrfId i) { return s.id < i; });
   if (v == vrfs.end() || v->id != id || v->name.empty()) return nullptr;
   return &v->name;
}

std::string CheckModel::vrfText(Vrf::VrfIdMap::VrfId id) const {
   std::string const* name = vrfName(id);
   return name ? *name + " (" + std::to_string(id) + ")" : std::to_string(id);
}

std::size_t CheckModel::tallyTotal() const {
   std::size_t n = 0;
   for (std::size_t c : tally)
      n += c;
   return n;
}

std::size_t CheckModel::infeasibleRules() const {
   return static_cast<std::size_t>(std::count_if(
       rules.begin(), rules.end(), [](CheckedRule const& r) { return r.infeasible.has_value(); }));
}

std::size_t CheckModel::notProgrammedRules() const {
   return static_cast<std::size_t>(
       std::count_if(rules.begin(), rules.end(), [](CheckedRule const& r) {
          return !r.infeasible && r.statusCode != HwRuleProgrammingStatus::programmed;
       }));
}

int CheckModel::exitStatus() const {
   if (refusedLines) return 1;
   if (infeasibleRules() || notProgrammedRules()) return 4;
   return 0;
}

std::string CheckModel::resultText() const {
   std::vector<std::string> parts;
   auto add = [&parts](std::size_t n, char const* one, char const* many) {
      if (n) parts.push_back(std::to_string(n) + " " + (n == 1 ? one : many));
   };
   add(refusedLines, "line refused", "lines refused");
   add(infeasibleRules(), "rule infeasible", "rules infeasible");
   add(notProgrammedRules(), "rule not programmed fully", "rules not programmed fully");
   std::string text;
   for (auto const& p : parts)
      text += (text.empty() ? "" : ", ") + p;
   if (text.empty()) text = "every rule read and programmed";
   return text + " (exit status " + std::to_string(exitStatus()) + ")";
}

} // namespace FlowspecTool
