#include "Flowspec/entities/RuleStatus.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

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

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto ruleStatusRows = Vex::entityRows({
   Vex::identity<&RuleStatus::key>("key"),
   Vex::field<&RuleStatus::key>("ruleKey"),
   Vex::field<&RuleStatus::statusCode, &RuleStatus::statusCodeIs>("statusCode"),
   Vex::field<&RuleStatus::errorReason, &RuleStatus::errorReasonIs>("errorReason"),
   Vex::field<&RuleStatus::packetCount, &RuleStatus::packetCountIs>("packetCount"),
   Vex::field<&RuleStatus::version, &RuleStatus::versionIs>("version"),
   Vex::field<&RuleStatus::resolvedNexthopInfo, &RuleStatus::resolvedNexthopInfoIs>(
      "resolvedNexthopInfo"),
   Vex::field<&RuleStatus::isProgrammed>("isProgrammed"),
   Vex::method<&RuleStatus::dumpState, "dumpCtx", "indentCount">("dumpState"),
});

} // namespace
} // namespace Flowspec

template <>
struct Vex::Reflection::ObserverOf<Flowspec::RuleStatus>
    : Vex::Reflection::EntityObserver<Flowspec::RuleStatus> {
   using EntityObserver::EntityObserver;
   VEX_TELL(StatusCode, statusCode)
   VEX_TELL(ErrorReason, errorReason)
   VEX_TELL(PacketCount, packetCount)
   VEX_TELL(Version, version)
   VEX_TELL(ResolvedNexthopInfo, resolvedNexthopInfo)
};

constinit Vex::VexType const Flowspec::RuleStatus::_vexType =
   Vex::entityDescriptor<RuleStatus, &RuleStatus::RuleStatusIs>(ruleStatusRows);
