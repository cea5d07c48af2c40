#include "bgp/RuleTable.h"

#include "Flowspec/values/KeyMatchSet.h"

#include <algorithm>
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

std::uint32_t RuleTable::number(PeerId const& peer) {
   auto [it, fresh] = numbers_.try_emplace(peer, std::uint32_t(peers_.size()));
   if (fresh) {
      peers_.push_back(peer);
      routes_.push_back(0);
   }
   return it->second;
}

void RuleTable::announce(PeerId const& peer, Flowspec::FlowspecKey const& key,
                         Flowspec::RuleActions const& actions, std::vector<RuleChange>& changes) {
   std::uint32_t const n = number(peer);
   Entry& e = entries_.try_emplace(key).first->second;
   auto& c = e.candidates;
   auto at = std::find_if(c.begin(), c.end(), [n](Candidate const& x) { return x.peer == n; });
   if (at != c.end()) {
      if (at->actions == actions) return;
      at->actions = actions;
   } else {
      ++routes_[n];
      // Best first: the first candidate whose peer ranks after this one.
      at = std::find_if(c.begin(), c.end(),
                        [&](Candidate const& x) { return peer < peers_[x.peer]; });
      at = c.insert(at, Candidate{n, actions});
   }
   if (at == c.begin()) settle(key, e, changes);
}

void RuleTable::withdraw(PeerId const& peer, Flowspec::FlowspecKey const& key,
                         std::vector<RuleChange>& changes) {
   auto p = numbers_.find(peer);
   if (p == numbers_.end()) return;
   auto it = entries_.find(key);
   if (it != entries_.end()) remove(it, p->second, changes);
}

void RuleTable::withdrawAll(PeerId const& peer, std::vector<RuleChange>& changes) {
   auto p = numbers_.find(peer);
   if (p == numbers_.end() || routes_[p->second] == 0) return;
   for (auto it = entries_.begin(); it != entries_.end() && routes_[p->second] > 0;) {
      auto const next = std::next(it);
      remove(it, p->second, changes);
      it = next;
   }
}

void RuleTable::remove(Entries::iterator it, std::uint32_t peer, std::vector<RuleChange>& changes) {
   auto& c = it->second.candidates;
   auto at =
       std::find_if(c.begin(), c.end(), [peer](Candidate const& x) { return x.peer == peer; });
   if (at == c.end()) return;
   --routes_[peer];
   bool const wasBest = at == c.begin();
   // The peer that loses the key, for the withdrawn event.
   std::string const& address = peers_[peer].address;
   c.erase(at);
   if (!wasBest) return;
   if (c.empty()) {
      if (it->second.configured) {
         --configured_;
         unconfigure(it->first);
         changes.push_back({RuleChangeKind::withdrawn, it->first, address, {}, false, {}});
      }
      entries_.erase(it);
      return;
   }
   settle(it->first, it->second, changes);
}

std::size_t RuleTable::routes(PeerId const& peer) const {
   auto p = numbers_.find(peer);
   return p == numbers_.end() ? 0 : routes_[p->second];
}

Flowspec::RuleActions const* RuleTable::route(PeerId const& peer,
                                              Flowspec::FlowspecKey const& key) const {
   auto p = numbers_.find(peer);
   auto it = p == numbers_.end() ? entries_.end() : entries_.find(key);
   if (it == entries_.end()) return nullptr;
   for (Candidate const& c : it->second.candidates)
      if (c.peer == p->second) return &c.actions;
   return nullptr;
}

PeerId const* RuleTable::winner(Flowspec::FlowspecKey const& key) const {
   auto it = entries_.find(key);
   if (it == entries_.end() || !it->second.configured) return nullptr;
   return &peers_[it->second.candidates.front().peer];
}

void RuleTable::settle(Flowspec::FlowspecKey const& key, Entry& e,
                       std::vector<RuleChange>& changes) {
   Candidate const& best = e.candidates.front();
   bool const fresh = !e.configured;
   RuleChange c{fresh ? RuleChangeKind::added : RuleChangeKind::changed,
                key,
                peers_[best.peer].address,
                best.actions,
                false,
                {}};
   c.error = configure(key, best.actions, fresh, c.infeasible);
   if (!c.error.empty()) {
      // Nothing of the route is in the tree: it stays in the Adj-RIB-In
      // only, and a rule another peer's route made before goes.
      if (!fresh) {
         --configured_;
         e.configured = false;
         unconfigure(key);
      }
   } else if (fresh) {
      ++configured_;
      e.configured = true;
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
