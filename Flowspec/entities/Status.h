// Flowspec/entities/Status.h: the status tree above the single rule.
//
// Status (named root): whether flowspec is supported, the match kinds each
// address family cannot program (UnsupportedQual, keyed by its own af), the
// time of the last counter update, and one VrfRuleStatus per VRF.
// VrfRuleStatus (per VRF): the RuleStatus of each rule (ordered by key), the
// active interfaces per address family (AfIntfColl children) and an error
// text per (interface, family). AfIntfColl (per family): a set of interfaces.
//
// All follow the entity pattern (Vex/EntityPattern.h). Destruction empties
// the child collections through their deletion operations while observers
// are attached (VrfRuleStatus: activeIntfPerAf, then ruleStatus in key
// order; Status: vrfRuleStatus), then detaches the observers; value
// collections go silently.
#pragma once

#include "Flowspec/entities/RuleStatus.h"
#include "Flowspec/values/IntfErrorKey.h"
#include "Flowspec/values/UnsupportedQual.h"
#include "Ipkit/AddressFamily.h"
#include "Ipkit/IntfId.h"
#include "Vex/HashMap.h"
#include "Vex/HashMap2018.h"
#include "Vrf/VrfIdMap.h"

namespace Vex {
class VexType;
}

namespace Flowspec {

/// AfIntfColl's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_AF_INTF_COLL_MEMBERS(T, ATTRIBUTE, COLLECTION)                                    \
   COLLECTION(T, intf, Intf, Ipkit::IntfId, "key")

/// The active interfaces of one address family.
class AfIntfColl : public Vex::Entity, public Vex::HashLink, public Vex::AllocTracked<AfIntfColl> {
 public:
   VEX_ENTITY_DECLARATIONS(AfIntfColl, "Flowspec::AfIntfColl", FLOWSPEC_AF_INTF_COLL_MEMBERS,
                           Ipkit::AddressFamily)

   explicit AfIntfColl(Ipkit::AddressFamily af) : af_(af) {}

   Ipkit::AddressFamily af() const noexcept { return af_; }
   Ipkit::AddressFamily fwkKey() const noexcept { return af_; }

   /// intfIs(intf) (silent when present), intfDel(intf) (whether it was),
   /// intfDelAll(), intfNotify(intf), intf(intf) (membership), ...
   VEX_SET_COLLECTION(intf, Intf, Ipkit::IntfId, intf_)

 private:
   using IntfNode = Vex::SetNode<Ipkit::IntfId, Vex::HashLink>;

   Ipkit::AddressFamily af_;
   Vex::SetCollection<IntfNode, Ipkit::IntfId, Vex::HashMap2018<IntfNode, Ipkit::IntfId, void>>
       intf_;
};

/// VrfRuleStatus's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_VRF_RULE_STATUS_MEMBERS(T, ATTRIBUTE, COLLECTION)                                 \
   COLLECTION(T, activeIntfPerAf, ActiveIntfPerAf, Ipkit::AddressFamily, "key")                    \
   COLLECTION(T, intfError, IntfError, IntfErrorKey, "key")                                        \
   COLLECTION(T, ruleStatus, RuleStatus, FlowspecKey, "key")

class VrfRuleStatus : public Vex::Entity,
                      public Vex::HashLink,
                      public Vex::AllocTracked<VrfRuleStatus> {
 public:
   VEX_ENTITY_DECLARATIONS(VrfRuleStatus, "Flowspec::VrfRuleStatus",
                           FLOWSPEC_VRF_RULE_STATUS_MEMBERS, Vrf::VrfIdMap::VrfId)

   explicit VrfRuleStatus(Vrf::VrfIdMap::VrfId vrfId) : vrfId_(vrfId) {}
   ~VrfRuleStatus() override;

   Vrf::VrfIdMap::VrfId vrfId() const noexcept { return vrfId_; }
   Vrf::VrfIdMap::VrfId fwkKey() const noexcept { return vrfId_; }

   VEX_CHILD_COLLECTION(activeIntfPerAf, ActiveIntfPerAf, AfIntfColl, Ipkit::AddressFamily,
                        activeIntfPerAf_)
   /// intfErrorIs(key, text) (silent when equal), intfError(key) (the text,
   /// "" when absent), intfErrorDel, intfErrorDelAll, intfErrorNotify.
   VEX_MAP_COLLECTION(intfError, IntfError, IntfErrorKey, Vex::String, intfError_)
   /// ruleStatusIs(key), ruleStatus(key), ruleStatusDel(key), and
   /// ruleStatusDel(iterator), which removes the member the iterator stands
   /// on (the iterator stays usable) and hands it back; null at the end.
   VEX_CHILD_COLLECTION(ruleStatus, RuleStatus, RuleStatus, FlowspecKey, ruleStatus_)

   /// "vrfId is <id>, ruleStatuses #<n>", then each rule status in key order
   /// at indent + 2. Interfaces and errors are not dumped.
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const override;

 private:
   using IntfErrorNode = Vex::MapNode<IntfErrorKey, Vex::String, Vex::HashLink>;

   Vrf::VrfIdMap::VrfId vrfId_;
   Vex::ChildCollection<AfIntfColl, Ipkit::AddressFamily,
                        Vex::HashMap<AfIntfColl, Ipkit::AddressFamily>>
       activeIntfPerAf_;
   Vex::MapCollection<IntfErrorNode, IntfErrorKey, Vex::String,
                      Vex::HashMap2018<IntfErrorNode, IntfErrorKey, Vex::String>>
       intfError_;
   Vex::ChildCollection<RuleStatus, FlowspecKey, Vex::RbTreeMap<RuleStatus, FlowspecKey>>
       ruleStatus_;
};

/// Status's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_STATUS_MEMBERS(T, ATTRIBUTE, COLLECTION)                                          \
   COLLECTION(T, vrfRuleStatus, VrfRuleStatus, Vrf::VrfIdMap::VrfId, "key",                        \
              &Vrf::VrfIdMap::vrfIdType)                                                           \
   ATTRIBUTE(T, counterUpdateTime, CounterUpdateTime, double, 0.0)                                 \
   ATTRIBUTE(T, flowspecSupported, FlowspecSupported, bool, false)                                 \
   COLLECTION(T, unsupportedQual, UnsupportedQual, Ipkit::AddressFamily, "af")

class Status : public Vex::NamedEntity, public Vex::AllocTracked<Status> {
 public:
   VEX_ENTITY_DECLARATIONS(Status, "Flowspec::Status", FLOWSPEC_STATUS_MEMBERS, Vex::Name const&)

   /// Keys an UnsupportedQual by its address family.
   struct UnsupportedQualKeyFunktor {
      Ipkit::AddressFamily operator()(UnsupportedQual const& q) const noexcept { return q.af(); }
   };
   /// The node that holds one UnsupportedQual; its key is always its af.
   class VexUnsupportedQual : public Vex::InternalKeyNode<Ipkit::AddressFamily, UnsupportedQual,
                                                          UnsupportedQualKeyFunktor, Vex::HashLink>,
                              public Vex::AllocTracked<VexUnsupportedQual> {
    public:
      using InternalKeyNode::InternalKeyNode;
      static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
      static constexpr char vexTypeName[] = "Flowspec::Status::VexUnsupportedQual";
   };

   explicit Status(Vex::Name const& name) : NamedEntity(name) {}
   ~Status() override;

   VEX_CHILD_COLLECTION(vrfRuleStatus, VrfRuleStatus, VrfRuleStatus, Vrf::VrfIdMap::VrfId,
                        vrfRuleStatus_)
   FLOWSPEC_STATUS_MEMBERS(Status, VEX_ATTRIBUTE_OF, VEX_NO_COLLECTION)
   /// unsupportedQualIs(q) keyed by q.af(): silent when an equal value is
   /// stored, otherwise replaces or inserts and tells onUnsupportedQual(af);
   /// unsupportedQualDel(af) (the removed value, or UnsupportedQual(0)), ...
   VEX_ELEMENT_COLLECTION(unsupportedQual, UnsupportedQual, UnsupportedQual, Ipkit::AddressFamily,
                          unsupportedQual_)

   /// "FlowspecStatus: vrfRuleStatuses #<n>", each VrfRuleStatus at indent +
   /// 2, "Unsupported AF quals: #<n>", each UnsupportedQual at indent + 2.
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const override;

 private:
   Vex::ChildCollection<VrfRuleStatus, Vrf::VrfIdMap::VrfId,
                        Vex::HashMap<VrfRuleStatus, Vrf::VrfIdMap::VrfId>>
       vrfRuleStatus_;
   FLOWSPEC_STATUS_MEMBERS(Status, VEX_ATTRIBUTE_MEMBER, VEX_NO_COLLECTION)
   Vex::ElementCollection<
       VexUnsupportedQual, Ipkit::AddressFamily, UnsupportedQual,
       Vex::HashMap2018<VexUnsupportedQual, Ipkit::AddressFamily, UnsupportedQual>>
       unsupportedQual_;
};

} // namespace Flowspec
