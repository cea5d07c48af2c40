#include "Flowspec/entities/VrfRuleConfig.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

Vex::AllocTrackSlot VrfRuleConfig::vexAllocTrackTypeInfo_{nullptr};

VrfRuleConfig::~VrfRuleConfig() {
   ruleDelAll();
   infeasibleRuleDelAll();
   notifieeList().detachAll();
}

void VrfRuleConfig::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cvrfId is %d, rules #%u\n", static_cast<int>(vrfId_),
            static_cast<unsigned>(ruleSize()));
   for (auto i = ruleIteratorConst(); i; ++i) i->dumpState(ctx, indent + 2);
   dumpLine(ctx, indent, "%*cinfeasibleRules #%u\n", static_cast<unsigned>(infeasibleRuleSize()));
   for (auto i = infeasibleRuleIteratorConst(); i; ++i) i->dumpState(ctx, indent + 2);
}

} // namespace Flowspec

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto vrfRuleConfigRows = Vex::entityRows({
   Vex::identity<&VrfRuleConfig::vrfId>("vrfId"),
   VEX_COLLECTION_ROW(VrfRuleConfig, rule, "key"),
   VEX_COLLECTION_ROW(VrfRuleConfig, infeasibleRule, "key"),
   Vex::method<&VrfRuleConfig::empty>("empty"),
   Vex::method<&VrfRuleConfig::dumpState, "dumpCtx", "indentCount">("dumpState"),
});

} // namespace
} // namespace Flowspec

template <>
struct Vex::Reflection::ObserverOf<Flowspec::VrfRuleConfig>
    : Vex::Reflection::EntityObserver<Flowspec::VrfRuleConfig> {
   using EntityObserver::EntityObserver;
   VEX_TELL_KEY(Rule, rule, Flowspec::FlowspecKey const&)
   VEX_TELL_KEY(InfeasibleRule, infeasibleRule, Flowspec::FlowspecKey const&)
};

constinit Vex::VexType const Flowspec::VrfRuleConfig::_vexType =
   Vex::entityDescriptor<VrfRuleConfig, &VrfRuleConfig::VrfRuleConfigIs, nullptr, &Vrf::VrfIdMap::vrfIdType>(vrfRuleConfigRows);
