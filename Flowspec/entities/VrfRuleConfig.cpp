#include "Flowspec/entities/VrfRuleConfig.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

Vex::AllocTrackSlot VrfRuleConfig::vexAllocTrackTypeInfo_{nullptr};

VrfRuleConfig::~VrfRuleConfig() {
   ruleDelAll();
   infeasibleRuleDelAll();
}

void VrfRuleConfig::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cvrfId is %d, rules #%u\n", static_cast<int>(vrfId_),
            static_cast<unsigned>(ruleSize()));
   for (auto i = ruleIteratorConst(); i; ++i)
      i->dumpState(ctx, indent + 2);
   dumpLine(ctx, indent, "%*cinfeasibleRules #%u\n", static_cast<unsigned>(infeasibleRuleSize()));
   for (auto i = infeasibleRuleIteratorConst(); i; ++i)
      i->dumpState(ctx, indent + 2);
}

} // namespace Flowspec

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto vrfRuleConfigRows =
    Vex::entityRows(Vex::identity<&VrfRuleConfig::vrfId>("vrfId"),
                    VEX_MEMBER_ROWS(VrfRuleConfig, FLOWSPEC_VRF_RULE_CONFIG_MEMBERS),
                    Vex::method<&VrfRuleConfig::empty>("empty"),
                    Vex::method<&VrfRuleConfig::dumpState, "dumpCtx", "indentCount">("dumpState"));
VEX_ENTITY_OBSERVER(VrfRuleConfigObserver, VrfRuleConfig, FLOWSPEC_VRF_RULE_CONFIG_MEMBERS);

} // namespace
} // namespace Flowspec

constinit Vex::VexType const Flowspec::VrfRuleConfig::_vexType =
    Vex::entityDescriptor<VrfRuleConfig, VrfRuleConfigObserver, &VrfRuleConfig::VrfRuleConfigIs,
                          nullptr, &Vrf::VrfIdMap::vrfIdType>(vrfRuleConfigRows);
