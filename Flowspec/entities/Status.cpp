#include "Flowspec/entities/Status.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

Vex::AllocTrackSlot AfIntfColl::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot VrfRuleStatus::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot Status::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot Status::VexUnsupportedQual::vexAllocTrackTypeInfo_{nullptr};

VrfRuleStatus::~VrfRuleStatus() {
   activeIntfPerAfDelAll();
   ruleStatusDelAll();
}

void VrfRuleStatus::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cvrfId is %d, ruleStatuses #%u\n", static_cast<int>(vrfId_),
            static_cast<unsigned>(ruleStatusSize()));
   for (auto i = ruleStatusIteratorConst(); i; ++i)
      i->dumpState(ctx, indent + 2);
}

Status::~Status() {
   vrfRuleStatusDelAll();
}

void Status::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*cFlowspecStatus: vrfRuleStatuses #%u\n",
            static_cast<unsigned>(vrfRuleStatusSize()));
   for (auto i = vrfRuleStatusIteratorConst(); i; ++i)
      i->dumpState(ctx, indent + 2);
   dumpLine(ctx, indent, "%*cUnsupported AF quals: #%u\n",
            static_cast<unsigned>(unsupportedQualSize()));
   for (auto i = unsupportedQualIteratorConst(); i; ++i)
      i->value().dumpState(ctx, indent + 2);
}

} // namespace Flowspec

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto statusRows =
    Vex::entityRows(VEX_MEMBER_ROWS(Status, FLOWSPEC_STATUS_MEMBERS),
                    Vex::method<&Status::dumpState, "dumpCtx", "indentCount">("dumpState"));
VEX_ENTITY_OBSERVER(StatusObserver, Status, FLOWSPEC_STATUS_MEMBERS);

constexpr auto vrfRuleStatusRows =
    Vex::entityRows(Vex::identity<&VrfRuleStatus::vrfId>("vrfId"),
                    VEX_MEMBER_ROWS(VrfRuleStatus, FLOWSPEC_VRF_RULE_STATUS_MEMBERS),
                    Vex::method<&VrfRuleStatus::dumpState, "dumpCtx", "indentCount">("dumpState"));
VEX_ENTITY_OBSERVER(VrfRuleStatusObserver, VrfRuleStatus, FLOWSPEC_VRF_RULE_STATUS_MEMBERS);

constexpr auto afIntfCollRows =
    Vex::entityRows(Vex::identity<&AfIntfColl::af>("af"),
                    VEX_MEMBER_ROWS(AfIntfColl, FLOWSPEC_AF_INTF_COLL_MEMBERS));
VEX_ENTITY_OBSERVER(AfIntfCollObserver, AfIntfColl, FLOWSPEC_AF_INTF_COLL_MEMBERS);

} // namespace
} // namespace Flowspec

constinit Vex::VexType const Flowspec::Status::_vexType =
    Vex::entityDescriptor<Status, StatusObserver, &Status::StatusIs, &Status::StatusIs>(statusRows);
constinit Vex::VexType const Flowspec::VrfRuleStatus::_vexType =
    Vex::entityDescriptor<VrfRuleStatus, VrfRuleStatusObserver, &VrfRuleStatus::VrfRuleStatusIs,
                          nullptr, &Vrf::VrfIdMap::vrfIdType>(vrfRuleStatusRows);
constinit Vex::VexType const Flowspec::AfIntfColl::_vexType =
    Vex::entityDescriptor<AfIntfColl, AfIntfCollObserver, &AfIntfColl::AfIntfCollIs>(
        afIntfCollRows);
