#include "Flowspec/entities/VrfRuleConfig.h"

#include "Flowspec/framework/Dump.h"

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
