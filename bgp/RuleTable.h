// bgp/RuleTable.h: the flowspec routes of every peer, one Adj-RIB-In each,
// and the rules they make in the Config tree.
//
// A route is a rule key (its VRF already chosen: the default VRF for SAFI
// 133, the VRF of its route distinguisher for SAFI 134) and the actions of
// its extended communities. When several peers send the same key, one of
// them wins and its actions are the rule's:
//
//   best path: the peer with the lowest BGP identifier wins; between equal
//   identifiers, the lowest peer address (compared as text of the same
//   family, i.e. by PeerId's order). A route that is the only one for its
//   key wins outright.
//
// (Flowspec routes carry no next hop to resolve and this receiver sets no
// LOCAL_PREF or MED policy, so the BGP decision process of RFC 4271 section
// 9.1.2.2 comes down to its last steps: the identifier, then the address.)
//
// Each winner is written into the Config tree: Config::vrfRuleConfigIs(vrf),
// VrfRuleConfig::ruleIs(key), its match set from the key, its actions; a key
// whose match set cannot match anything is also recorded as InfeasibleRule,
// the others are sanitised. A route withdrawn, or a peer gone, deletes the
// rule, or hands it to the next best peer that still has the key.
#pragma once

#include "Flowspec/entities/Config.h"
#include "Flowspec/wire/ActionCodec.h"

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

namespace Bgp {

/// A peer, in best-path order.
struct PeerId {
   std::uint32_t bgpIdentifier = 0;
   /// The address, as text; compared after the identifier.
   std::string address;

   friend auto operator<=>(PeerId const&, PeerId const&) = default;
};

/// The key's own hash. Not noexcept on purpose: the standard containers
/// then keep each element's hash beside it instead of hashing every key
/// again when they grow.
struct KeyHash {
   std::size_t operator()(Flowspec::FlowspecKey const& k) const { return k.hash(); }
};

enum class RuleChangeKind : std::uint8_t { added, changed, withdrawn };
/// "added", "changed", "withdrawn".
char const* ruleChangeText(RuleChangeKind kind) noexcept;

/// What happened to one rule of the Config tree.
struct RuleChange {
   RuleChangeKind kind = RuleChangeKind::added;
   Flowspec::FlowspecKey key;
   /// The address of the peer whose route the rule now follows (added,
   /// changed) or followed (withdrawn).
   std::string peer;
   /// The rule's actions (none when withdrawn).
   Flowspec::RuleActions actions;
   /// The key's match set matches nothing: recorded as InfeasibleRule.
   bool infeasible = false;
   /// Why the rule could not be configured (then nothing was); empty else.
   std::string error;
};

class RuleTable {
 public:
   explicit RuleTable(Vex::Ptr<Flowspec::Config> config);

   /// `peer` announces `key` with `actions`. Appends to `changes` what it
   /// did to the Config tree: nothing when `peer` does not win the key or
   /// re-announces the same actions. One hash of the key and, for a key not
   /// seen before, one copy of it.
   void announce(PeerId const& peer, Flowspec::FlowspecKey const& key,
                 Flowspec::RuleActions const& actions, std::vector<RuleChange>& changes);
   /// `peer` withdraws `key`; a key it never sent changes nothing.
   void withdraw(PeerId const& peer, Flowspec::FlowspecKey const& key,
                 std::vector<RuleChange>& changes);
   /// Every route of `peer` goes (its session ended). Walks every key held.
   void withdrawAll(PeerId const& peer, std::vector<RuleChange>& changes);

   /// The routes in `peer`'s Adj-RIB-In.
   std::size_t routes(PeerId const& peer) const;
   /// The actions `peer` sent for `key`, or null when it sent none.
   Flowspec::RuleActions const* route(PeerId const& peer, Flowspec::FlowspecKey const& key) const;
   /// The rules in the Config tree.
   std::size_t size() const { return configured_; }
   /// The peer whose route `key` follows, or null.
   PeerId const* winner(Flowspec::FlowspecKey const& key) const;
   /// Calls f(key, peer, actions) for each rule in the Config tree, in no
   /// particular order.
   template <class F>
   void forEachRule(F&& f) const {
      for (auto const& [key, entry] : entries_)
         if (entry.configured)
            f(key, peers_[entry.candidates.front().peer], entry.candidates.front().actions);
   }

 private:
   // One peer's route for a key. Peers are numbered in the order they first
   // sent a route; peers_ holds their identities.
   struct Candidate {
      std::uint32_t peer;
      Flowspec::RuleActions actions;
   };
   // Every route for one key, best first: together, the candidates of all
   // keys are the peers' Adj-RIBs-In, and each key's first is its rule.
   struct Entry {
      std::vector<Candidate> candidates;
      bool configured = false;
   };
   using Entries = std::unordered_map<Flowspec::FlowspecKey, Entry, KeyHash>;

   std::uint32_t number(PeerId const& peer);
   // Removes `peer`'s candidate from `it`, if any, and settles the rule; may
   // erase the entry.
   void remove(Entries::iterator it, std::uint32_t peer, std::vector<RuleChange>& changes);
   // Writes the first candidate of `entry` into the tree (the winner changed,
   // or its actions), or takes the rule out when there is none.
   void settle(Flowspec::FlowspecKey const& key, Entry& entry, std::vector<RuleChange>& changes);
   std::string configure(Flowspec::FlowspecKey const& key, Flowspec::RuleActions const& actions,
                         bool fresh, bool& infeasible);
   void unconfigure(Flowspec::FlowspecKey const& key);

   Vex::Ptr<Flowspec::Config> config_;
   Entries entries_;
   std::vector<PeerId> peers_;
   std::map<PeerId, std::uint32_t> numbers_;
   std::vector<std::size_t> routes_; // per peer number
   std::size_t configured_ = 0;
   std::uint64_t ruleIds_ = 0;
};

} // namespace Bgp
