#include "Flowspec/entities/Counter.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

Vex::AllocTrackSlot Counter::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot Counter::VexSnapshot::vexAllocTrackTypeInfo_{nullptr};

} // namespace Flowspec

// --- Reflection ----------------------------------------------------------------

namespace Flowspec {
namespace {

constexpr auto counterRows = Vex::entityRows(VEX_MEMBER_ROWS(Counter, FLOWSPEC_COUNTER_MEMBERS));
VEX_ENTITY_OBSERVER(CounterObserver, Counter, FLOWSPEC_COUNTER_MEMBERS);

} // namespace
} // namespace Flowspec

constinit Vex::VexType const Flowspec::Counter::_vexType =
    Vex::entityDescriptor<Counter, CounterObserver, &Counter::CounterIs, &Counter::CounterIs>(
        counterRows);
