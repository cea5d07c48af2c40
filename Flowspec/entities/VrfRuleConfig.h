// Flowspec/entities/VrfRuleConfig.h: the configured rules of one VRF.
//
// Identified by its VRF id, child of Config. Holds the configured rules and
// the rules found infeasible, each ordered by FlowspecKey's order. The
// collection operations follow the entity pattern (Vex/EntityPattern.h):
// ruleIs(key) creates or returns, ruleDel(key) hands back the removed rule
// with its parent cleared, ruleDelAll() deletes in ascending key order, and
// observers hear onRule(key) once per change (likewise infeasibleRule).
// Destroying a VrfRuleConfig first deletes its rules and then its infeasible
// rules (its observers hear each), then detaches its observers.
#pragma once

#include "Flowspec/entities/RuleConfig.h"
#include "Vex/HashMap.h"
#include "Vrf/VrfIdMap.h"

namespace Vex {
class VexType;
}

namespace Flowspec {

/// VrfRuleConfig's attributes and collections, in table order (Vex/EntityPattern.h).
#define FLOWSPEC_VRF_RULE_CONFIG_MEMBERS(T, ATTRIBUTE, COLLECTION)                                 \
   COLLECTION(T, rule, Rule, FlowspecKey, "key")                                                   \
   COLLECTION(T, infeasibleRule, InfeasibleRule, FlowspecKey, "key")

class VrfRuleConfig : public Vex::Entity,
                      public Vex::HashLink,
                      public Vex::AllocTracked<VrfRuleConfig> {
 public:
   VEX_ENTITY_DECLARATIONS(VrfRuleConfig, "Flowspec::VrfRuleConfig",
                           FLOWSPEC_VRF_RULE_CONFIG_MEMBERS, Vrf::VrfIdMap::VrfId)

   explicit VrfRuleConfig(Vrf::VrfIdMap::VrfId vrfId) : vrfId_(vrfId) {}
   ~VrfRuleConfig() override;

   Vrf::VrfIdMap::VrfId vrfId() const noexcept { return vrfId_; }
   Vrf::VrfIdMap::VrfId fwkKey() const noexcept { return vrfId_; }

   VEX_CHILD_COLLECTION(rule, Rule, RuleConfig, FlowspecKey, rule_)
   VEX_CHILD_COLLECTION(infeasibleRule, InfeasibleRule, InfeasibleRule, FlowspecKey,
                        infeasibleRule_)

   /// "vrfId is <id>, rules #<n>", the rules at indent + 2, "infeasibleRules
   /// #<n>", the infeasible rules at indent + 2, both in key order.
   /// Whether the VRF holds no rule and no infeasible rule.
   bool empty() const noexcept { return ruleSize() == 0 && infeasibleRuleSize() == 0; }

   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const override;

 private:
   Vrf::VrfIdMap::VrfId vrfId_;
   Vex::ChildCollection<RuleConfig, FlowspecKey, Vex::RbTreeMap<RuleConfig, FlowspecKey>> rule_;
   Vex::ChildCollection<InfeasibleRule, FlowspecKey, Vex::RbTreeMap<InfeasibleRule, FlowspecKey>>
       infeasibleRule_;
};

} // namespace Flowspec
