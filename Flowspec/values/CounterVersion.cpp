#include "Flowspec/values/CounterVersion.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr auto counterVersionRows = Vex::valueRows({
    Vex::field<&CounterVersion::counter, &CounterVersion::counterIs>("counter"),
    Vex::field<&CounterVersion::version, &CounterVersion::versionIs>("version"),
});

constexpr Vex::CtorArg counterVersionArgs[] = {
    {"counter", "U64"}, {"version", "Kiln::UniqueId"}, {nullptr, nullptr}};

} // namespace

constinit Vex::VexType const CounterVersion::_vexType =
    Vex::valueDescriptor<CounterVersion>(
        vexTypeName, counterVersionRows, counterVersionArgs,
        &Vex::Reflection::constructValue<CounterVersion, std::uint64_t,
                                         Kiln::UniqueId>);

} // namespace Flowspec
