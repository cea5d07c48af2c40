// The descriptor of Vrf::VrfIdMap::VrfId, registered when libvrf is loaded.
#include "Vex/ReflectTable.h"
#include "Vrf/VrfIdMap.h"

namespace Vrf {

namespace {

constexpr Vex::CtorArg idArgs[] = {{"value", "U32"}, {nullptr, nullptr}};
constexpr std::array<Vex::AttrRow, 0> noRows{};

[[maybe_unused]] bool const registered = [] {
   Vex::typeNodeIs(VrfIdMap::_vexType_VrfId);
   return true;
}();

} // namespace

constinit Vex::VexType const VrfIdMap::_vexType_VrfId = Vex::valueDescriptor<VrfIdMap::VrfId>(
   "Vrf::VrfIdMap::VrfId", noRows, idArgs,
   &Vex::Reflection::constructValue<VrfIdMap::VrfId, std::uint32_t>);

} // namespace Vrf
