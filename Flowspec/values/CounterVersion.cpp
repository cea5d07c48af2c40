#include "Flowspec/values/CounterVersion.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr auto counterVersionRows = Vex::valueRows({
    Vex::field<&CounterVersion::counter, &CounterVersion::counterIs>("counter"),
    Vex::field<&CounterVersion::version, &CounterVersion::versionIs>("version"),
});

} // namespace

constinit Vex::VexType const CounterVersion::_vexType =
   Vex::valueDescriptor<CounterVersion>(counterVersionRows);

} // namespace Flowspec
