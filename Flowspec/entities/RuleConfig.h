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
#include "Vex/EntityPattern.h"
#include "Vex/RbTreeMap.h"

#include <cstdint>
#include <iosfwd>
#include <vector>

namespace Vex {
class VexType;
}

namespace Flowspec {

class RuleConfig : public Vex::Entity,
                   public Vex::RbTreeLink,
                   public Vex::AllocTracked<RuleConfig> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   Vex::VexType const* fwkType() const noexcept override { return &_vexType; }

   class NotifieeConst : public Vex::NotifieeConstOf<RuleConfig> {
    public:
      virtual void onRuleId() {}
      virtual void onMatchSet(MatchCompType) {}
      virtual void onMatchSet() {}
      virtual void onMatchSetvexImmediate() {}
      virtual void onActionFieldSet() {}
      virtual void onTrafficRateLimit() {}
      virtual void onTrafficAction() {}
      virtual void onTrafficRedirect() {}
      virtual void onTrafficMarkingDscp() {}
   };
   using Notifiee = Vex::NotifieeOf<RuleConfig>;

   struct MatchSetKey {
      MatchCompType operator()(MatchComponent const& c) const noexcept { return c.compType(); }
   };
   /// The node that holds one component of the match set.
   class VexMatchSet
       : public Vex::InternalKeyNode<MatchCompType, MatchComponent, MatchSetKey, Vex::RbTreeLink>,
         public Vex::AllocTracked<VexMatchSet> {
    public:
      using InternalKeyNode::InternalKeyNode;
      static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
      static constexpr char vexTypeName[] = "Flowspec::RuleConfig::VexMatchSet";
   };

   static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
   static constexpr char vexTypeName[] = "Flowspec::RuleConfig";

   /// The static creator: a new rule with notification on.
   static Vex::Ptr<RuleConfig> RuleConfigIs(FlowspecKey const& key) {
      return Vex::entityIs<RuleConfig>(key);
   }
   /// Use RuleConfigIs: rules are always held through Vex::Ptr.
   explicit RuleConfig(FlowspecKey const& key) : key_(key) {}
   /// Detaches the observers without calling them.
   ~RuleConfig() override;

   FlowspecKey const& key() const noexcept { return key_; }
   FlowspecKey const& fwkKey() const noexcept { return key_; }

   VEX_ATTRIBUTE(ruleId, RuleId, std::uint64_t, ruleId_)
   VEX_ATTRIBUTE(actionFieldSet, ActionFieldSet, ActionFieldSet, actionFieldSet_)
   VEX_ATTRIBUTE(trafficRateLimit, TrafficRateLimit, float, trafficRateLimit_)
   VEX_ATTRIBUTE(trafficAction, TrafficAction, TrafficAction, trafficAction_)
   VEX_ATTRIBUTE(trafficRedirect, TrafficRedirect, TrafficRedirect, trafficRedirect_)
   VEX_ATTRIBUTE(trafficMarkingDscp, TrafficMarkingDscp, Ipkit::IpTos, trafficMarkingDscp_)

   /// matchSetIs(component), matchSetDel(type) (the removed component, or
   /// MatchComponent(invalid)), matchSetDel(iterator), matchSetDelAll(),
   /// matchSetNotify(type), matchSet(type) (a copy, or MatchComponent(invalid)),
   /// matchSetHas, matchSetSize, matchSetIteratorConst (ascending type order).
   VEX_ELEMENT_COLLECTION(matchSet, MatchSet, MatchComponent, MatchCompType, matchSet_)

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
   using MatchSetMap = Vex::RbTreeMap<VexMatchSet, MatchCompType, MatchComponent>;

   FlowspecKey key_;
   std::uint64_t ruleId_ = 0;
   Vex::ElementCollection<VexMatchSet, MatchCompType, MatchComponent, MatchSetMap> matchSet_;
   ActionFieldSet actionFieldSet_;
   float trafficRateLimit_ = 0.0f;
   TrafficAction trafficAction_;
   TrafficRedirect trafficRedirect_;
   Ipkit::IpTos trafficMarkingDscp_;
};

/// Whether the rule's ipProto component allows one of `protocols`: true when
/// the match set is empty or has no ipProto component; otherwise whether a
/// range of it contains one of the numbers (so an empty vector gives false).
bool ruleConfigIpProtoContains(Vex::Ptr<RuleConfig const> const& rule,
                               std::vector<Ipkit::IpProtocolNumber>& protocols);

/// "<matchSets=<count>;actionFieldSet=<its value text>>"; "<null>" for null.
std::ostream& operator<<(std::ostream& os, RuleConfig const* rule);

/// A rule whose match set can never match, with the type to blame.
class InfeasibleRule : public Vex::Entity,
                       public Vex::RbTreeLink,
                       public Vex::AllocTracked<InfeasibleRule> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   Vex::VexType const* fwkType() const noexcept override { return &_vexType; }

   class NotifieeConst : public Vex::NotifieeConstOf<InfeasibleRule> {
    public:
      virtual void onRuleId() {}
      virtual void onMatchCompType() {}
   };
   using Notifiee = Vex::NotifieeOf<InfeasibleRule>;

   static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
   static constexpr char vexTypeName[] = "Flowspec::InfeasibleRule";

   static Vex::Ptr<InfeasibleRule> InfeasibleRuleIs(FlowspecKey const& key) {
      return Vex::entityIs<InfeasibleRule>(key);
   }
   explicit InfeasibleRule(FlowspecKey const& key) : key_(key) {}
   ~InfeasibleRule() override;

   FlowspecKey const& key() const noexcept { return key_; }
   FlowspecKey const& fwkKey() const noexcept { return key_; }
   VEX_ATTRIBUTE(ruleId, RuleId, std::uint64_t, ruleId_)
   VEX_ATTRIBUTE(matchCompType, MatchCompType, MatchCompType, matchCompType_)

   /// "ruleKey: <command-line key>, ruleId: <id>", then "matchCompType is <n>".
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const override;

 private:
   FlowspecKey key_;
   std::uint64_t ruleId_ = 0;
   MatchCompType matchCompType_ = MatchCompType::invalid;
};

} // namespace Flowspec
