#include "HwAgent.h"

#include "Flowspec/values/CounterVersion.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/UnsupportedQual.h"
#include "Flowspec/wire/Precedence.h"
#include "Kiln/UniqueId.h"

#include <algorithm>
#include <array>

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
   RuleObserver(HwAgent& agent, VrfId vrfId, FlowspecKey const& key)
       : agent_(agent), vrfId_(vrfId), key_(key) {}
   void onRuleId() override { heard(Callback::onRuleId); }
   void onMatchSet(MatchCompType) override { heard(Callback::onMatchSet); }
   void onActionFieldSet() override { heard(Callback::onActionFieldSet); }
   void onTrafficRateLimit() override { heard(Callback::onTrafficRateLimit); }
   void onTrafficAction() override { heard(Callback::onTrafficAction); }
   void onTrafficRedirect() override { heard(Callback::onTrafficRedirect); }
   void onTrafficMarkingDscp() override { heard(Callback::onTrafficMarkingDscp); }

   /// Queues the rule for the next run, once however many callbacks come.
   void touch() {
      if (queuedIn_ == agent_.runs_) return;
      queuedIn_ = agent_.runs_;
      agent_.changed(vrfId_, key_);
   }

 private:
   void heard(Callback callback) {
      ++agent_.heard_[callback];
      touch();
   }

   HwAgent& agent_;
   VrfId vrfId_;
   FlowspecKey key_;
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

void HwAgent::vrfSeen(VrfId vrfId) {
   Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config_->vrfRuleConfig(vrfId);
   if (!vrf) {
      // The VRF is gone, and with it what the hardware holds of its rules.
      vrfObservers_.erase(vrfId);
      for (auto it = ruleObservers_.begin(); it != ruleObservers_.end();) {
         if (it->first.first != vrfId) {
            ++it;
            continue;
         }
         changed(vrfId, it->first.second);
         it = ruleObservers_.erase(it);
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
   auto id = std::make_pair(vrfId, key);
   Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config_->vrfRuleConfig(vrfId);
   Vex::Ptr<Flowspec::RuleConfig const> rule = vrf ? vrf->rule(key) : nullptr;
   if (!rule) {
      ruleObservers_.erase(id);
   } else {
      auto& observer = ruleObservers_[std::move(id)];
      if (!observer) observer = std::make_unique<RuleObserver>(*this, vrfId, key);
      observer->notifierIs(rule);
      observer->touch();
      return;
   }
   changed(vrfId, key);
}

void HwAgent::changed(VrfId vrfId, FlowspecKey const& key) {
   dirty_.emplace_back(vrfId, key);
}

bool HwAgent::programsBefore(VrfId vrfA, FlowspecKey const& a, VrfId vrfB, FlowspecKey const& b) {
   if (vrfA != vrfB) return vrfA < vrfB;
   if (int const order = Flowspec::comparePrecedence(a, b)) return order < 0;
   return a < b;
}

void HwAgent::run() {
   // Changes from here on are queued for the next run.
   ++runs_;
   std::vector<std::pair<VrfId, FlowspecKey>> dirty = std::move(dirty_);
   dirty_.clear();
   std::sort(dirty.begin(), dirty.end(), [](auto const& x, auto const& y) {
      return programsBefore(x.first, x.second, y.first, y.second);
   });
   // A rule queued twice (a rule observer queues once a run; a rule gone
   // and back may be queued again) is programmed once.
   dirty.erase(std::unique(dirty.begin(), dirty.end()), dirty.end());
   for (auto const& [vrfId, key] : dirty)
      program(vrfId, key);
}

void HwAgent::program(VrfId vrfId, FlowspecKey const& key) {
   Vex::Ptr<Flowspec::VrfRuleConfig const> vrf = config_->vrfRuleConfig(vrfId);
   Vex::Ptr<Flowspec::RuleConfig const> rule = vrf ? vrf->rule(key) : nullptr;
   if (!rule) {
      if (auto vrfStatus = status_->vrfRuleStatus(vrfId)) vrfStatus->ruleStatusDel(key);
      counter_->snapshotDel(key);
      return;
   }
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
