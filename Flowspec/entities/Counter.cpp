#include "Flowspec/entities/Counter.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

Vex::AllocTrackSlot Counter::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot Counter::VexSnapshot::vexAllocTrackTypeInfo_{nullptr};

Counter::~Counter() { notifieeList().detachAll(); }

void Counter::nameIsFromBackup(Vex::Name const& name) {
   if (&name != &name_) name_ = name;
}

} // namespace Flowspec

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto counterRows = Vex::entityRows({
   VEX_COLLECTION_ROW(Counter, snapshot, "key"),
   Vex::field<&Counter::timestamp, &Counter::timestampIs>("timestamp"),
});

} // namespace
} // namespace Flowspec

template <>
struct Vex::Reflection::ObserverOf<Flowspec::Counter>
    : Vex::Reflection::EntityObserver<Flowspec::Counter> {
   using EntityObserver::EntityObserver;
   VEX_TELL_KEY(Snapshot, snapshot, Flowspec::FlowspecKey const&)
   VEX_TELL(Timestamp, timestamp)
};

constinit Vex::VexType const Flowspec::Counter::_vexType =
   Vex::entityDescriptor<Counter, &Counter::CounterIs, &Counter::CounterIs>(counterRows);
