#include "Flowspec/values/CounterVersion.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

// The table is the fields; the constructor takes them.
constinit Vex::VexType const CounterVersion::_vexType = Vex::valueDescriptor<CounterVersion>();

} // namespace Flowspec
