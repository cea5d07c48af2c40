#include "HwAgent.h"

#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/UnsupportedQual.h"
#include "Flowspec/wire/Precedence.h"
#include "Kiln/UniqueId.h"
#include "Vex/Hash.h"

#include <algorithm>
#include <array>
#include <optional>

namespace FlowspecTool {

namespace {
enum Callback : std::size_t {
   onVrfRuleConfig,
   onRule,
   onInfeasibleRule,
   onRuleId,
   onMatchSet,
   onActionFieldSet,
   onTrafficRateLimit,
   onTrafficAction,
   onTrafficRedirect,
   onTrafficMarkingDscp,
};
} // namespace

using Flowspec::FlowspecKey;
using Flowspec::HwRuleProgrammingStatus;
using Flowspec::MatchCompType;
using VrfId = Vrf::VrfIdMap::VrfId;

// The order heard() reports the callbacks in: outside in. heard_ counts
// them by their place here.
static constexpr std::array<char const*, 10> callbackNames = {
    "onVrfRuleConfig",    "onRule",
    "onInfeasibleRule",   "onRuleId",
    "onMatchSet",         "onActionFieldSet",
    "onTrafficRateLimit", "onTrafficAction",
    "onTrafficRedirect",  "onTrafficMarkingDscp"};

class HwAgent::ConfigObserver : public Flowspec::Config::NotifieeConst {
 public:
   explicit ConfigObserver(HwAgent& agent) : agent_(agent) {}
   void onVrfRuleConfig(VrfId vrfId) override {
      ++agent_.heard_[Callback::onVrfRuleConfig];
      agent_.vrfSeen(vrfId);
   }

 private:
   HwAgent& agent_;
};

class HwAgent::VrfObserver : public Flowspec::VrfRuleConfig::NotifieeConst {
 public:
   VrfObserver(HwAgent& agent, VrfId vrfId) : agent_(agent), vrfId_(vrfId) {}
   void onRule(FlowspecKey const& key) override {
      ++agent_.heard_[Callback::onRule];
      agent_.ruleSeen(vrfId_, key);
   }
   void onInfeasibleRule(FlowspecKey const& key) override {
      ++agent_.heard_[Callback::onInfeasibleRule];
      agent_.changed(vrfId_, key);
   }

 private:
   HwAgent& agent_;
   VrfId vrfId_;
};

class HwAgent::RuleObserver : public Flowspec::RuleConfig::NotifieeConst {
 public:
   void onRuleId() override { heard(Callback::onRuleId); }
   void onMatchSet(MatchCompType) override { heard(Callback::onMatchSet); }
   void onActionFieldSet() override { heard(Callback::onActionFieldSet); }
   void onTrafficRateLimit() override { heard(Callback::onTrafficRateLimit); }
   void onTrafficAction() override { heard(Callback::onTrafficAction); }
   void onTrafficRedirect() override { heard(Callback::onTrafficRedirect); }
   void onTrafficMarkingDscp() override { heard(Callback::onTrafficMarkingDscp); }

   /// Makes this free observer the one of a rule of VRF `vrfId`.
   void reuse(HwAgent& agent, std::uint32_t slot, VrfId vrfId, std::uint32_t hash) {
      agent_ = &agent;
      slot_ = slot;
      vrfId_ = vrfId;
      hash_ = hash;
      queuedIn_ = ~std::uint64_t(0);
   }
   /// The rule observed; null for a free observer.
   Flowspec::RuleConfig const* rule() const noexcept {
      return static_cast<Flowspec::RuleConfig const*>(notifierEntity());
   }
   VrfId vrfId() const noexcept { return vrfId_; }
   std::uint32_t hash() const noexcept { return hash_; }

   /// Queues the rule for the next run, once however many callbacks come.
   void touch() {
      if (queuedIn_ == agent_->runs_) return;
      queuedIn_ = agent_->runs_;
      agent_->dirtyRules_.push_back(slot_);
   }

 private:
   void heard(Callback callback) {
      ++agent_->heard_[callback];
      touch();
   }

   HwAgent* agent_ = nullptr;
   std::uint32_t slot_ = 0;
   VrfId vrfId_ = 0;
   /// ruleHash(vrfId_, key), for the index.
   std::uint32_t hash_ = 0;
   /// The run (HwAgent::runs_) before which the rule was last queued.
   std::uint64_t queuedIn_ = ~std::uint64_t(0);
};

HwAgent::HwAgent(Vex::Ptr<Flowspec::Config const> const& config, Vex::Ptr<Flowspec::Status> status,
                 Vex::Ptr<Flowspec::Counter> counter)
    : config_(config), status_(std::move(status)), counter_(std::move(counter)),
      configObserver_(std::make_unique<ConfigObserver>(*this)) {
   configObserver_->notifierIs(config_);
   status_->flowspecSupportedIs(true);
   Flowspec::UnsupportedQual v4(Ipkit::ipv4);
   v4.qualIs(MatchCompType::flowLabel, "IPv4 packets carry no flow label");
   status_->unsupportedQualIs(v4);
   Flowspec::UnsupportedQual v6(Ipkit::ipv6);
   v6.qualIs(MatchCompType::flowLabel, "the TCAM profile has no flow label field");
   status_->unsupportedQualIs(v6);
   // VRFs that exist already are learnt as if they had just been made.
   for (auto i = config_->vrfRuleConfigIteratorConst(); i; ++i)
      vrfSeen(i.key());
}

HwAgent::~HwAgent() = default;

// ---- the observers of the rules --------------------------------------------

std::uint32_t HwAgent::ruleHash(VrfId vrfId, FlowspecKey const& key) {
   // The key's own hash with the VRF the rule is in (a rule's key need not
   // name its VRF), mixed so that the low bits the table uses depend on
   // every bit.
   Vex::HashAccumulator h;
   h.mixU32(key.hash());
   h.mixU32(vrfId);
   return h.result();
}

HwAgent::RuleObserver& HwAgent::ruleObserver(std::uint32_t slot) const {
   return ruleObserverChunks_[slot / ruleObserverChunk][slot % ruleObserverChunk];
}

std::size_t HwAgent::ruleIndexFind(VrfId vrfId, FlowspecKey const& key, std::uint32_t hash) const {
   if (ruleIndex_.empty()) return notFound;
   std::size_t const mask = ruleIndex_.size() - 1;
   for (std::size_t place = hash & mask;; place = (place + 1) & mask) {
      std::uint32_t const entry = ruleIndex_[place];
      if (entry == 0) return notFound;
      RuleObserver const& o = ruleObserver(entry - 1);
      if (o.hash() != hash || o.vrfId() != vrfId) continue;
      // An observer whose rule was destroyed unannounced observes nothing
      // and stands for no rule.
      if (Flowspec::RuleConfig const* rule = o.rule(); rule && rule->key() == key) return place;
   }
}

void HwAgent::ruleIndexGrow() {
   std::vector<std::uint32_t> old = std::move(ruleIndex_);
   ruleIndex_.assign(old.empty() ? 16 : old.size() * 2, 0);
   std::size_t const mask = ruleIndex_.size() - 1;
   for (std::uint32_t entry : old) {
      if (entry == 0) continue;
      std::size_t place = ruleObserver(entry - 1).hash() & mask;
      while (ruleIndex_[place] != 0)
         place = (place + 1) & mask;
      ruleIndex_[place] = entry;
   }
}

HwAgent::RuleObserver& HwAgent::ruleObserverNew(VrfId vrfId, std::uint32_t hash) {
   // At most three quarters of the table in use keeps the probes short.
   if ((ruleIndexSize_ + 1) * 4 > ruleIndex_.size() * 3) ruleIndexGrow();
   std::uint32_t slot;
   if (!freeRuleObservers_.empty()) {
      slot = freeRuleObservers_.back();
      freeRuleObservers_.pop_back();
   } else {
      slot = ruleObserverSlots_++;
      if (slot % ruleObserverChunk == 0) {
         ruleObserverChunks_.push_back(std::make_unique<RuleObserver[]>(ruleObserverChunk));
      }
   }
   RuleObserver& observer = ruleObserver(slot);
   observer.reuse(*this, slot, vrfId, hash);
   std::size_t const mask = ruleIndex_.size() - 1;
   std::size_t place = hash & mask;
   while (ruleIndex_[place] != 0)
      place = (place + 1) & mask;
   ruleIndex_[place] = slot + 1;
   ++ruleIndexSize_;
   return observer;
}

void HwAgent::ruleObserverDel(std::size_t place) {
   std::uint32_t const slot = ruleIndex_[place] - 1;
   ruleObserver(slot).notifierIs(nullptr);
   freeRuleObservers_.push_back(slot);
   --ruleIndexSize_;
   // Backward-shift deletion: each entry after the hole that may move into
   // it (its home is not between the hole and itself) moves, and leaves a
   // hole of its own, up to the first empty place.
   std::size_t const mask = ruleIndex_.size() - 1;
   std::size_t hole = place;
   ruleIndex_[hole] = 0;
   for (std::size_t next = (hole + 1) & mask; ruleIndex_[next] != 0; next = (next + 1) & mask) {
      std::size_t const home = ruleObserver(ruleIndex_[next] - 1).hash() & mask;
      if (((next - home) & mask) >= ((next - hole) & mask)) {
         ruleIndex_[hole] = ruleIndex_[next];
         ruleIndex_[next] = 0;
         hole = next;
      }
   }
}

// ---- what the agent hears ----------------------------------------------------

void HwAgent::vrfSeen(VrfId vrfId) {
   Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config_->vrfRuleConfig(vrfId);
   if (!vrf) {
      // The VRF is gone, and with it what the hardware holds of its rules.
      // Its rules live while this is announced.
      vrfObservers_.erase(vrfId);
      for (std::size_t place = 0; place < ruleIndex_.size();) {
         std::uint32_t const entry = ruleIndex_[place];
         RuleObserver const* o = entry ? &ruleObserver(entry - 1) : nullptr;
         if (!o || o->vrfId() != vrfId) {
            ++place;
            continue;
         }
         if (Flowspec::RuleConfig const* rule = o->rule())
            dirtyKeys_.emplace_back(vrfId, rule->key());
         // The shift may bring an entry not yet seen into this place.
         ruleObserverDel(place);
      }
      return;
   }
   auto& observer = vrfObservers_[vrfId];
   if (!observer) observer = std::make_unique<VrfObserver>(*this, vrfId);
   observer->notifierIs(vrf);
   status_->vrfRuleStatusIs(vrfId);
   for (auto i = vrf->ruleIteratorConst(); i; ++i)
      ruleSeen(vrfId, i.key());
}

void HwAgent::ruleSeen(VrfId vrfId, FlowspecKey const& key) {
   std::uint32_t const hash = ruleHash(vrfId, key);
   std::size_t const place = ruleIndexFind(vrfId, key, hash);
   Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config_->vrfRuleConfig(vrfId);
   Vex::Ptr<Flowspec::RuleConfig const> rule = vrf ? vrf->rule(key) : nullptr;
   if (!rule) {
      if (place != notFound) ruleObserverDel(place);
      dirtyKeys_.emplace_back(vrfId, key);
      return;
   }
   RuleObserver& observer =
       place != notFound ? ruleObserver(ruleIndex_[place] - 1) : ruleObserverNew(vrfId, hash);
   observer.notifierIs(rule);
   observer.touch();
}

void HwAgent::changed(VrfId vrfId, FlowspecKey const& key) {
   std::size_t const place = ruleIndexFind(vrfId, key, ruleHash(vrfId, key));
   if (place != notFound) {
      ruleObserver(ruleIndex_[place] - 1).touch();
   } else {
      dirtyKeys_.emplace_back(vrfId, key);
   }
}

bool HwAgent::programsBefore(VrfId vrfA, FlowspecKey const& a, VrfId vrfB, FlowspecKey const& b) {
   if (vrfA != vrfB) return vrfA < vrfB;
   if (int const order = Flowspec::comparePrecedence(a, b)) return order < 0;
   return a < b;
}

void HwAgent::run() {
   run(nullptr);
}

void HwAgent::run(Programming const& programming) {
   // Changes from here on are queued for the next run.
   ++runs_;
   std::vector<std::uint32_t> const slots = std::move(dirtyRules_);
   dirtyRules_.clear();
   std::vector<std::pair<VrfId, FlowspecKey>> const keys = std::move(dirtyKeys_);
   dirtyKeys_.clear();
   // Each queued rule with the key it is programmed under; an observed rule
   // is held, so that its key lives through the run whatever the observers
   // of Status and Counter do.
   struct Queued {
      VrfId vrfId;
      bool hinted;        // hint orders it against every other hinted rule
      std::uint64_t hint; // see precedenceHint
      FlowspecKey const* key;
      Vex::Ptr<Flowspec::RuleConfig const> rule;
   };
   std::vector<Queued> queue;
   queue.reserve(slots.size() + keys.size());
   auto enqueue = [&queue](VrfId vrfId, FlowspecKey const& key,
                           Vex::Ptr<Flowspec::RuleConfig const> rule) {
      std::optional<std::uint64_t> const hint = precedenceHint(key);
      queue.push_back({vrfId, hint.has_value(), hint.value_or(0), &key, std::move(rule)});
   };
   for (std::uint32_t slot : slots) {
      // A slot freed since stands for nothing; one reused since stands for
      // a rule that queued itself anew.
      RuleObserver const& o = ruleObserver(slot);
      if (Flowspec::RuleConfig const* rule = o.rule()) enqueue(o.vrfId(), rule->key(), rule);
   }
   for (auto const& [vrfId, key] : keys)
      enqueue(vrfId, key, nullptr);
   // Most rules are told apart by their hints, compared in the queue itself;
   // only the others read their keys, which are spread over the heap.
   std::sort(queue.begin(), queue.end(), [](Queued const& x, Queued const& y) {
      if (x.vrfId != y.vrfId) return x.vrfId < y.vrfId;
      if (x.hinted && y.hinted && x.hint != y.hint) return x.hint < y.hint;
      return programsBefore(x.vrfId, *x.key, y.vrfId, *y.key);
   });
   // A rule queued twice (a rule observer queues once a run; a rule gone
   // and back may be queued again) is programmed once.
   queue.erase(std::unique(queue.begin(), queue.end(),
                           [](Queued const& x, Queued const& y) {
                              return x.vrfId == y.vrfId && *x.key == *y.key;
                           }),
               queue.end());
   for (Queued const& q : queue)
      program(q.vrfId, *q.key, programming, q.rule.get());
}

std::optional<std::uint64_t> HwAgent::precedenceHint(FlowspecKey const& key) {
   // Two IPv4 destination prefixes in precedence order are in the order of
   // their last addresses, the longer first where those are equal: disjoint
   // prefixes are ordered by their addresses, and of two nested ones the
   // inner ends first or at the same address. Equal hints say nothing.
   Ipkit::IpGenPrefix const& dest = key.destPrefix();
   if (key.addressFamily() != Ipkit::ipv4 || dest.isEmpty() || dest.af() != Ipkit::ipv4)
      return std::nullopt;
   std::uint32_t const address = dest.addr().v4().value();
   std::uint32_t const host = dest.len() >= 32 ? 0 : ~std::uint32_t(0) >> dest.len();
   return std::uint64_t(address | host) << 8 | (32 - dest.len());
}

void HwAgent::program(VrfId vrfId, FlowspecKey const& key, Programming const& programming,
                      Flowspec::RuleConfig const* queued) {
   Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config_->vrfRuleConfig(vrfId);
   // The queued rule, while its VRF still holds it (a rule taken out has no
   // parent, and one put back under its key is a new entity): no lookup.
   Vex::Ptr<Flowspec::RuleConfig const> rule;
   if (queued && vrf && queued->parent() == vrf.get()) {
      rule = queued;
   } else if (vrf) {
      rule = vrf->rule(key);
   }
   if (!rule) {
      if (auto vrfStatus = status_->vrfRuleStatus(vrfId)) vrfStatus->ruleStatusDel(key);
      counter_->snapshotDel(key);
      return;
   }
   if (programming) programming(vrfId, *rule);
   Vex::Ptr<Flowspec::RuleStatus> ruleStatus = status_->vrfRuleStatusIs(vrfId)->ruleStatusIs(key);
   if (auto infeasible = vrf->infeasibleRule(key)) {
      // Nothing of an infeasible rule reaches the hardware.
      ruleStatus->statusCodeIs(HwRuleProgrammingStatus::unprocessed);
      ruleStatus->errorReasonIs(
          "infeasible: " +
          Flowspec::FlowspecUtil().compTypeToDetailLabel(infeasible->matchCompType()).str());
      counter_->snapshotDel(key);
      return;
   }
   Outcome outcome = capability(*rule);
   Kiln::UniqueId const version(versionOrigin, ++sequence_);
   ruleStatus->statusCodeIs(outcome.code);
   ruleStatus->errorReasonIs(Vex::String(outcome.reason));
   ruleStatus->versionIs(version);
   if (ruleStatus->isProgrammed()) {
      counter_->snapshotIs(key, Flowspec::CounterVersion(0, version));
   } else {
      counter_->snapshotDel(key);
   }
}

namespace {

std::string label(MatchCompType t) {
   return Flowspec::FlowspecUtil().compTypeToDetailLabel(t).str();
}

} // namespace

std::vector<HwAgent::Capability> const& HwAgent::capabilities() {
   static std::vector<Capability> const rows = {
       {"a match the hardware lacks for the family (the flow label; published as unsupportedQual "
        "in the Status tree)",
        HwRuleProgrammingStatus::unsupportedMatch,
        [](HwAgent const& agent, Flowspec::RuleConfig const& rule) -> std::string {
           // Read in place: a copy of the qualifiers per rule was a tenth of
           // programming.
           for (auto q = agent.status_->unsupportedQualIteratorConst(); q; ++q) {
              if (q.key() != rule.key().addressFamily()) continue;
              auto const& unsupported = q.value();
              for (auto i = rule.matchSetIteratorConst(); i; ++i) {
                 if (unsupported.qualHas(i.key())) {
                    return label(i.key()) + ": " + unsupported.qual(i.key()).str();
                 }
              }
           }
           return "";
        }},
       {"more than " + std::to_string(maxValuesPerComponent) + " ranges or bit masks in one match",
        HwRuleProgrammingStatus::unsupportedTcamProfile,
        [](HwAgent const&, Flowspec::RuleConfig const& rule) -> std::string {
           for (auto i = rule.matchSetIteratorConst(); i; ++i) {
              Flowspec::MatchComponent const& c = i.value();
              std::size_t const values =
                  c.numericalRangeSize() + c.tcpBitMaskSize() + c.ipBitMaskSize();
              if (values > maxValuesPerComponent) {
                 return label(c.compType()) + ": " + std::to_string(values) +
                        " values, the TCAM profile holds at most " +
                        std::to_string(maxValuesPerComponent) + " per match";
              }
           }
           return "";
        }},
       {"a packet-length range wider than " + std::to_string(maxPacketLengthSpan) + " lengths",
        HwRuleProgrammingStatus::unsupportedTcamProfile,
        [](HwAgent const&, Flowspec::RuleConfig const& rule) -> std::string {
           Flowspec::MatchComponent const c = rule.matchSet(MatchCompType::packetLength);
           for (auto r = c.numericalRangeIteratorConst(); r; ++r) {
              Flowspec::NumericalRange const& range = r.key();
              if (range.isValid() && range.rangeMax() - range.rangeMin() >= maxPacketLengthSpan) {
                 return label(MatchCompType::packetLength) + ": the range " +
                        range.toStrep().str() + " is wider than the " +
                        std::to_string(maxPacketLengthSpan) + " lengths a range checker covers";
              }
           }
           return "";
        }},
       {"a redirect of a copy to a next-hop address", HwRuleProgrammingStatus::unsupportedAction,
        [](HwAgent const&, Flowspec::RuleConfig const& rule) -> std::string {
           bool const applies = rule.actionFieldSet().trafficRedirect() &&
                                rule.trafficRedirect().copy() &&
                                !rule.trafficRedirect().addr().isUnspecified();
           return applies ? "the hardware cannot redirect a copy to a next hop" : "";
        }},
       {"continue, which the hardware cannot do: it programs the rule as terminal",
        HwRuleProgrammingStatus::programmedWithFailures,
        [](HwAgent const&, Flowspec::RuleConfig const& rule) -> std::string {
           bool const applies =
               rule.actionFieldSet().trafficAction() && rule.trafficAction().continueMatch();
           return applies ? "continue is not supported: programmed as a terminal rule" : "";
        }},
   };
   return rows;
}

HwAgent::Outcome HwAgent::capability(Flowspec::RuleConfig const& rule) const {
   for (Capability const& row : capabilities()) {
      if (std::string reason = row.check(*this, rule); !reason.empty()) return {row.status, reason};
   }
   return {HwRuleProgrammingStatus::programmed, ""};
}

std::vector<std::pair<std::string, unsigned>> HwAgent::heard() const {
   std::vector<std::pair<std::string, unsigned>> result;
   for (std::size_t i = 0; i < callbackNames.size(); ++i)
      result.emplace_back(callbackNames[i], heard_[i]);
   return result;
}

} // namespace FlowspecTool
