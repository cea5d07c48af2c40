#include "Flowspec/values/CounterVersion.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr auto counterVersionRows = Vex::valueRows(Vex::fieldRows<CounterVersion>());

} // namespace

constinit Vex::VexType const CounterVersion::_vexType =
   Vex::valueDescriptor<CounterVersion>(counterVersionRows);

} // namespace Flowspec
