#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/FlagSetDescriptor.h"

namespace Flowspec {

constinit Vex::VexType const TrafficAction::_vexType = flagSetDescriptor<TrafficAction>();

} // namespace Flowspec
