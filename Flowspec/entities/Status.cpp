#include "Flowspec/entities/Status.h"

#include "Flowspec/framework/Dump.h"

namespace Flowspec {

Vex::AllocTrackSlot AfIntfColl::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot VrfRuleStatus::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot Status::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot Status::VexUnsupportedQual::vexAllocTrackTypeInfo_{nullptr};

AfIntfColl::~AfIntfColl() { notifieeList().detachAll(); }

VrfRuleStatus::~VrfRuleStatus() {
   activeIntfPerAfDelAll();
   ruleStatusDelAll();
   notifieeList().detachAll();
}

void VrfRuleStatus::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cvrfId is %d, ruleStatuses #%u\n", static_cast<int>(vrfId_),
            static_cast<unsigned>(ruleStatusSize()));
   for (auto i = ruleStatusIteratorConst(); i; ++i) i->dumpState(ctx, indent + 2);
}

Status::~Status() {
   vrfRuleStatusDelAll();
   notifieeList().detachAll();
}

void Status::nameIsFromBackup(Vex::Name const& name) {
   if (&name != &name_) name_ = name;
}

void Status::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cFlowspecStatus: vrfRuleStatuses #%u\n",
            static_cast<unsigned>(vrfRuleStatusSize()));
   for (auto i = vrfRuleStatusIteratorConst(); i; ++i) i->dumpState(ctx, indent + 2);
   dumpLine(ctx, indent, "%*cUnsupported AF quals: #%u\n",
            static_cast<unsigned>(unsupportedQualSize()));
   for (auto i = unsupportedQualIteratorConst(); i; ++i) i->value().dumpState(ctx, indent + 2);
}

} // namespace Flowspec
