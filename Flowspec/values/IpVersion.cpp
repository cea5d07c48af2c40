#include "Flowspec/values/IpVersion.h"
#include "Flowspec/values/FlagSetDescriptor.h"

namespace Flowspec {

constinit Vex::VexType const IpVersion::_vexType = flagSetDescriptor<IpVersion>();

} // namespace Flowspec
