#include "Flowspec/entities/RuleStatus.h"

#include "Flowspec/framework/Dump.h"

#include <string>

namespace Flowspec {

Vex::AllocTrackSlot RuleStatus::vexAllocTrackTypeInfo_{nullptr};

RuleStatus::RuleStatus(FlowspecKey const& key)
    : key_(key), resolvedNexthopInfo_(Pbr::NexthopSet(0, false, false, "default", 0)) {}

RuleStatus::~RuleStatus() { notifieeList().detachAll(); }

void RuleStatus::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   // A copy, so observers that change the entity while it prints cannot
   // disturb the walk over the vias.
   Pbr::ResolvedNexthopInfo const info = resolvedNexthopInfo_;
   dumpLine(ctx, indent, "%*ckey: %s\n", key_.toStrepCli().c_str());
   dumpLine(ctx, indent, "%*cstatusCode %d, errorReason %s, version %s\n",
            static_cast<int>(statusCode_), errorReason_.c_str(), version_.toStrep().c_str());
   dumpLine(ctx, indent, "%*cresolvedNexthopInfo nexthopSet: %s\n",
            info.nexthopSet().toStrepCli().c_str());
   dumpLine(ctx, indent, "%*cresolvedNexthopInfo viasActive #%u\n",
            static_cast<unsigned>(info.viaActiveSize()));
   for (auto i = info.viaActiveIteratorConst(); i; ++i) {
      Pbr::Via const& via = i.key();
      dumpLine(ctx, indent + 2, "%*c%s, %s, %s\n", via.addr().stringValue().c_str(),
               via.intf().stringValue().c_str(), std::to_string(via.weight()).c_str());
   }
}

} // namespace Flowspec
