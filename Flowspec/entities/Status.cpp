#include "Flowspec/entities/Status.h"

#include "Flowspec/framework/Dump.h"
#include "Vex/ReflectTable.h"

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

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto statusRows = Vex::entityRows({
   VEX_COLLECTION_ROW(Status, vrfRuleStatus, "key", &Vrf::VrfIdMap::vrfIdType),
   Vex::field<&Status::counterUpdateTime, &Status::counterUpdateTimeIs>("counterUpdateTime"),
   Vex::field<&Status::flowspecSupported, &Status::flowspecSupportedIs>("flowspecSupported"),
   VEX_COLLECTION_ROW(Status, unsupportedQual, "af"),
   Vex::method<&Status::dumpState, "dumpCtx", "indentCount">("dumpState"),
});

constexpr auto vrfRuleStatusRows = Vex::entityRows({
   Vex::identity<&VrfRuleStatus::vrfId>("vrfId"),
   VEX_COLLECTION_ROW(VrfRuleStatus, activeIntfPerAf, "key"),
   VEX_COLLECTION_ROW(VrfRuleStatus, intfError, "key"),
   VEX_COLLECTION_ROW(VrfRuleStatus, ruleStatus, "key"),
   Vex::method<&VrfRuleStatus::dumpState, "dumpCtx", "indentCount">("dumpState"),
});

constexpr auto afIntfCollRows = Vex::entityRows({
   Vex::identity<&AfIntfColl::af>("af"),
   VEX_COLLECTION_ROW(AfIntfColl, intf, "key"),
});

} // namespace
} // namespace Flowspec

template <>
struct Vex::Reflection::ObserverOf<Flowspec::Status>
    : Vex::Reflection::EntityObserver<Flowspec::Status> {
   using EntityObserver::EntityObserver;
   VEX_TELL_KEY(VrfRuleStatus, vrfRuleStatus, Vrf::VrfIdMap::VrfId)
   VEX_TELL(CounterUpdateTime, counterUpdateTime)
   VEX_TELL(FlowspecSupported, flowspecSupported)
   VEX_TELL_KEY(UnsupportedQual, unsupportedQual, Ipkit::AddressFamily)
};

template <>
struct Vex::Reflection::ObserverOf<Flowspec::VrfRuleStatus>
    : Vex::Reflection::EntityObserver<Flowspec::VrfRuleStatus> {
   using EntityObserver::EntityObserver;
   VEX_TELL_KEY(ActiveIntfPerAf, activeIntfPerAf, Ipkit::AddressFamily)
   VEX_TELL_KEY(IntfError, intfError, Flowspec::IntfErrorKey const&)
   VEX_TELL_KEY(RuleStatus, ruleStatus, Flowspec::FlowspecKey const&)
};

template <>
struct Vex::Reflection::ObserverOf<Flowspec::AfIntfColl>
    : Vex::Reflection::EntityObserver<Flowspec::AfIntfColl> {
   using EntityObserver::EntityObserver;
   VEX_TELL_KEY(Intf, intf, Ipkit::IntfId const&)
};

constinit Vex::VexType const Flowspec::Status::_vexType =
   Vex::entityDescriptor<Status, &Status::StatusIs, &Status::StatusIs>(statusRows);
constinit Vex::VexType const Flowspec::VrfRuleStatus::_vexType =
   Vex::entityDescriptor<VrfRuleStatus, &VrfRuleStatus::VrfRuleStatusIs, nullptr, &Vrf::VrfIdMap::vrfIdType>(vrfRuleStatusRows);
constinit Vex::VexType const Flowspec::AfIntfColl::_vexType =
   Vex::entityDescriptor<AfIntfColl, &AfIntfColl::AfIntfCollIs>(afIntfCollRows);
