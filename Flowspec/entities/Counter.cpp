#include "Flowspec/entities/Counter.h"

namespace Flowspec {

Vex::AllocTrackSlot Counter::vexAllocTrackTypeInfo_{nullptr};
Vex::AllocTrackSlot Counter::VexSnapshot::vexAllocTrackTypeInfo_{nullptr};

Counter::~Counter() { notifieeList().detachAll(); }

void Counter::nameIsFromBackup(Vex::Name const& name) {
   if (&name != &name_) name_ = name;
}

} // namespace Flowspec
