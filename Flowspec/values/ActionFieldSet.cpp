#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/FlagSetDescriptor.h"

namespace Flowspec {

constinit Vex::VexType const ActionFieldSet::_vexType = flagSetDescriptor<ActionFieldSet>();

} // namespace Flowspec
