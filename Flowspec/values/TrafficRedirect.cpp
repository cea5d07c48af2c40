#include "Flowspec/values/TrafficRedirect.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

// The table is the fields; the constructor takes them.
constinit Vex::VexType const TrafficRedirect::_vexType = Vex::valueDescriptor<TrafficRedirect>();

} // namespace Flowspec
