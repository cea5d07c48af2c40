// Flowspec/entities/RuleConfig.h: one configured flowspec rule of one VRF.
//
// Identified by its rule key, a RuleConfig holds the rule's match set (at
// most one MatchComponent per match component type, ordered by type) and its
// actions. Setters and the match-set operations follow the entity pattern
// (Vex/EntityPattern.h): store, then tell the observers, only on a change.
// Feasibility and sanitising are separate, explicit calls: matchSetIs
// neither validates nor normalises.
//
//   | attribute          | type             | default                          |
//   |--------------------|------------------|----------------------------------|
//   | key                | FlowspecKey      | given (identity)                 |
//   | ruleId             | u64              | 0                                |
//   | matchSet           | type -> component| empty                            |
//   | actionFieldSet     | ActionFieldSet   | 0                                |
//   | trafficRateLimit   | float            | 0.0                              |
//   | trafficAction      | TrafficAction    | 0                                |
//   | trafficRedirect    | TrafficRedirect  | VRF 0xffffff, no address, no copy|
//   | trafficMarkingDscp | Ipkit::IpTos     | 0                                |
#pragma once

#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/MatchComponent.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Ipkit/IpTos.h"
#include "Kiln/DumpContext.h"
#include "Vex/AllocTrack.h"
#include "Vex/ElementArray.h"
#include "Vex/EntityPattern.h"
#include "Vex/RbTreeMap.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace Vex {
class VexType;
}

namespace Flowspec {

/// RuleConfig's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_RULE_CONFIG_MEMBERS(T, ATTRIBUTE, COLLECTION)                                     \
   ATTRIBUTE(T, ruleId, RuleId, std::uint64_t, 0)                                                  \
   COLLECTION(T, matchSet, MatchSet, MatchCompType, "compType")                                    \
   ATTRIBUTE(T, actionFieldSet, ActionFieldSet, ActionFieldSet, )                                  \
   ATTRIBUTE(T, trafficRateLimit, TrafficRateLimit, float, 0.0f)                                   \
   ATTRIBUTE(T, trafficAction, TrafficAction, TrafficAction, )                                     \
   ATTRIBUTE(T, trafficRedirect, TrafficRedirect, TrafficRedirect, )                               \
   ATTRIBUTE(T, trafficMarkingDscp, TrafficMarkingDscp, Ipkit::IpTos, )

class RuleConfig : public Vex::Entity,
                   public Vex::RbTreeLink,
                   public Vex::AllocTracked<RuleConfig> {
 public:
   VEX_ENTITY_DECLARATIONS(RuleConfig, "Flowspec::RuleConfig", FLOWSPEC_RULE_CONFIG_MEMBERS,
                           FlowspecKey const&)

   struct MatchSetKey {
      MatchCompType const& operator()(MatchComponent const& c) const noexcept {
         return c.compType();
      }
   };
   /// The match set's storage: its components sit in one block per rule, in
   /// ascending type order (Vex/ElementArray.h), and each block is recorded
   /// against this class's allocation tracker.
   struct VexMatchSet {
      static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
      static constexpr char vexTypeName[] = "Flowspec::RuleConfig::VexMatchSet";
   };

   /// Use RuleConfigIs: rules are always held through Vex::Ptr.
   explicit RuleConfig(FlowspecKey const& key) : key_(key) {}

   FlowspecKey const& key() const noexcept { return key_; }
   FlowspecKey const& fwkKey() const noexcept { return key_; }

   FLOWSPEC_RULE_CONFIG_MEMBERS(RuleConfig, VEX_ATTRIBUTE_OF, VEX_NO_COLLECTION)

   /// matchSetIs(component), matchSetDel(type) (the removed component, or
   /// MatchComponent(invalid)), matchSetDel(iterator), matchSetDelAll(),
   /// matchSetNotify(type), matchSet(type) (a copy, or MatchComponent(invalid)),
   /// matchSetHas, matchSetSize, matchSetIteratorConst (ascending type order).
   VEX_ELEMENT_COLLECTION(matchSet, MatchSet, MatchComponent, MatchCompType, matchSet_)
   /// The stored component of `type`, or null: a look at it in place,
   /// without the copy matchSet(type) makes. Valid until the match set changes.
   MatchComponent const* matchSetFind(MatchCompType type) const noexcept;

   /// `invalid` when the match set can match a packet; otherwise the type to
   /// blame. In order, the first that fires decides:
   ///   TCP flags with ICMP type or code, or where TCP is not possible: tcpFlags;
   ///   ICMP type or code with a port or TCP flags, or where the family's ICMP
   ///   (58 for IPv6, else 1) is not possible: icmpType, else icmpCode;
   ///   a port with ICMP type or code, or where neither TCP nor UDP is
   ///   possible: the first of port, destPort, srcPort present.
   MatchCompType infeasibleMatchInMatchSet() const;
   /// The feasibility result when it is not `invalid` (and nothing changes);
   /// otherwise narrows the ipProto component to what the other components
   /// allow (TCP for TCP flags, the family's ICMP for ICMP type or code, TCP
   /// and/or UDP for ports, each only where already possible) and returns
   /// `invalid`. Observers hear onMatchSet(ipProto) only on a real change.
   MatchCompType sanitizeMatchSet();

   /// "ruleKey: <command-line key>, ruleId: <id>", the components at
   /// indent + 2 in type order, then the action fields.
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const override;

 private:
   FlowspecKey key_;
   FLOWSPEC_RULE_CONFIG_MEMBERS(RuleConfig, VEX_ATTRIBUTE_MEMBER, VEX_NO_COLLECTION)
   Vex::ElementArray<VexMatchSet, MatchCompType, MatchComponent, MatchSetKey> matchSet_;
};

/// Whether the rule's ipProto component allows one of `protocols`: true when
/// the match set is empty or has no ipProto component; otherwise whether a
/// range of it contains one of the numbers (so an empty vector gives false).
bool ruleConfigIpProtoContains(Vex::Ptr<RuleConfig const> const& rule,
                               std::vector<Ipkit::IpProtocolNumber>& protocols);

/// "<matchSets=<count>;actionFieldSet=<its value text>>"; "<null>" for null.
std::ostream& operator<<(std::ostream& os, RuleConfig const* rule);

/// InfeasibleRule's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_INFEASIBLE_RULE_MEMBERS(T, ATTRIBUTE, COLLECTION)                                 \
   ATTRIBUTE(T, ruleId, RuleId, std::uint64_t, 0)                                                  \
   ATTRIBUTE(T, matchCompType, MatchCompType, MatchCompType, MatchCompType::invalid)

/// A rule whose match set can never match, with the type to blame.
class InfeasibleRule : public Vex::Entity,
                       public Vex::RbTreeLink,
                       public Vex::AllocTracked<InfeasibleRule> {
 public:
   VEX_ENTITY_DECLARATIONS(InfeasibleRule, "Flowspec::InfeasibleRule",
                           FLOWSPEC_INFEASIBLE_RULE_MEMBERS, FlowspecKey const&)

   explicit InfeasibleRule(FlowspecKey const& key) : key_(key) {}

   FlowspecKey const& key() const noexcept { return key_; }
   FlowspecKey const& fwkKey() const noexcept { return key_; }
   FLOWSPEC_INFEASIBLE_RULE_MEMBERS(InfeasibleRule, VEX_ATTRIBUTE_OF, VEX_NO_COLLECTION)

   /// "ruleKey: <command-line key>, ruleId: <id>", then "matchCompType is <n>".
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const override;

 private:
   FlowspecKey key_;
   FLOWSPEC_INFEASIBLE_RULE_MEMBERS(InfeasibleRule, VEX_ATTRIBUTE_MEMBER, VEX_NO_COLLECTION)
};

} // namespace Flowspec
