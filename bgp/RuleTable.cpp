#include "bgp/RuleTable.h"

#include "Flowspec/values/KeyMatchSet.h"

#include <exception>

namespace Bgp {

char const* ruleChangeText(RuleChangeKind kind) noexcept {
   switch (kind) {
   case RuleChangeKind::added:
      return "added";
   case RuleChangeKind::changed:
      return "changed";
   case RuleChangeKind::withdrawn:
      return "withdrawn";
   }
   return "?";
}

RuleTable::RuleTable(Vex::Ptr<Flowspec::Config> config) : config_(std::move(config)) {}

void RuleTable::announce(PeerId const& peer, Flowspec::FlowspecKey const& key,
                         Flowspec::RuleActions const& actions, std::vector<RuleChange>& changes) {
   AdjRibIn& rib = ribs_[peer];
   auto [it, fresh] = rib.try_emplace(key, actions);
   if (!fresh) {
      if (it->second == actions) return;
      it->second = actions;
   }
   settle(peer, key, changes);
}

void RuleTable::withdraw(PeerId const& peer, Flowspec::FlowspecKey const& key,
                         std::vector<RuleChange>& changes) {
   auto r = ribs_.find(peer);
   if (r == ribs_.end() || r->second.erase(key) == 0) return;
   if (r->second.empty()) ribs_.erase(r);
   settle(peer, key, changes);
}

void RuleTable::withdrawAll(PeerId const& peer, std::vector<RuleChange>& changes) {
   auto r = ribs_.find(peer);
   if (r == ribs_.end()) return;
   AdjRibIn gone = std::move(r->second);
   ribs_.erase(r);
   for (auto const& [key, actions] : gone)
      settle(peer, key, changes);
}

AdjRibIn const* RuleTable::adjRibIn(PeerId const& peer) const {
   auto r = ribs_.find(peer);
   return r == ribs_.end() ? nullptr : &r->second;
}

PeerId const* RuleTable::winner(Flowspec::FlowspecKey const& key) const {
   auto w = winners_.find(key);
   return w == winners_.end() ? nullptr : &w->second;
}

void RuleTable::settle(PeerId const& from, Flowspec::FlowspecKey const& key,
                       std::vector<RuleChange>& changes) {
   // The best peer is the first, in PeerId order, that has the key.
   PeerId const* best = nullptr;
   Flowspec::RuleActions const* actions = nullptr;
   for (auto const& [peer, rib] : ribs_) {
      auto found = rib.find(key);
      if (found != rib.end()) {
         best = &peer;
         actions = &found->second;
         break;
      }
   }
   auto w = winners_.find(key);
   if (!best) {
      if (w == winners_.end()) return;
      RuleChange c{RuleChangeKind::withdrawn, key, w->second.address, {}, false, {}};
      winners_.erase(w);
      unconfigure(key);
      changes.push_back(std::move(c));
      return;
   }
   bool const fresh = w == winners_.end();
   // Another peer's route changed beneath the winner: the rule stands.
   if (!fresh && w->second == *best && *best != from) return;
   RuleChange c{fresh ? RuleChangeKind::added : RuleChangeKind::changed,
                key,
                best->address,
                *actions,
                false,
                {}};
   c.error = configure(key, *actions, fresh, c.infeasible);
   if (!c.error.empty()) {
      // Nothing of the route is in the tree: it stays in the Adj-RIB-In
      // only, and a rule another peer's route made before goes.
      if (!fresh) {
         winners_.erase(w);
         unconfigure(key);
      }
   } else if (fresh) {
      winners_.emplace(key, *best);
   } else {
      w->second = *best;
   }
   changes.push_back(std::move(c));
}

std::string RuleTable::configure(Flowspec::FlowspecKey const& key,
                                 Flowspec::RuleActions const& actions, bool fresh,
                                 bool& infeasible) {
   Vex::Ptr<Flowspec::VrfRuleConfig> vrf = config_->vrfRuleConfigIs(key.vrfId());
   if (!fresh) {
      Vex::Ptr<Flowspec::RuleConfig> rule = vrf->rule(key);
      if (rule) {
         Flowspec::ruleActionsIs(*rule, actions);
         infeasible = bool(vrf->infeasibleRule(key));
         return "";
      }
   }
   std::vector<Flowspec::MatchComponent> matchSet;
   try {
      matchSet = Flowspec::matchSetFromKey(key);
   } catch (std::exception const& e) {
      return e.what();
   }
   Vex::Ptr<Flowspec::RuleConfig> rule = vrf->ruleIs(key);
   rule->ruleIdIs(++ruleIds_);
   for (auto const& c : matchSet)
      rule->matchSetIs(c);
   Flowspec::ruleActionsIs(*rule, actions);
   Flowspec::MatchCompType const blame = rule->infeasibleMatchInMatchSet();
   infeasible = blame != Flowspec::MatchCompType::invalid;
   if (infeasible) {
      Vex::Ptr<Flowspec::InfeasibleRule> record = vrf->infeasibleRuleIs(key);
      record->ruleIdIs(ruleIds_);
      record->matchCompTypeIs(blame);
   } else {
      rule->sanitizeMatchSet();
   }
   return "";
}

void RuleTable::unconfigure(Flowspec::FlowspecKey const& key) {
   Vex::Ptr<Flowspec::VrfRuleConfig> vrf = config_->vrfRuleConfig(key.vrfId());
   if (!vrf) return;
   vrf->infeasibleRuleDel(key);
   vrf->ruleDel(key);
}

} // namespace Bgp
