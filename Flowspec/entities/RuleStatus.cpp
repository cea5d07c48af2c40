#include "Flowspec/entities/RuleStatus.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

#include <string>

namespace Flowspec {

Vex::AllocTrackSlot RuleStatus::vexAllocTrackTypeInfo_{nullptr};

RuleStatus::RuleStatus(FlowspecKey const& key)
    : key_(key), resolvedNexthopInfo_(Pbr::NexthopSet(0, false, false, "default", 0)) {}

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

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto ruleStatusRows =
    Vex::entityRows(Vex::identity<&RuleStatus::key>("key"), Vex::field<&RuleStatus::key>("ruleKey"),
                    VEX_MEMBER_ROWS(RuleStatus, FLOWSPEC_RULE_STATUS_MEMBERS),
                    Vex::field<&RuleStatus::isProgrammed>("isProgrammed"),
                    Vex::method<&RuleStatus::dumpState, "dumpCtx", "indentCount">("dumpState"));
VEX_ENTITY_OBSERVER(RuleStatusObserver, RuleStatus, FLOWSPEC_RULE_STATUS_MEMBERS);

} // namespace
} // namespace Flowspec

constinit Vex::VexType const Flowspec::RuleStatus::_vexType =
    Vex::entityDescriptor<RuleStatus, RuleStatusObserver, &RuleStatus::RuleStatusIs>(
        ruleStatusRows);
