// The descriptor of Vrf::VrfIdMap::VrfId, registered when libvrf is loaded.
#include "Vex/ReflectTable.h"
#include "Vrf/VrfIdMap.h"

namespace Vrf {

namespace {

constexpr Vex::Param idArgs[] = {{"value", &Vex::Reflection::typeFn<std::uint32_t>}};

[[maybe_unused]] bool const registered = [] {
   Vex::typeNodeIs(VrfIdMap::_vexType_VrfId);
   return true;
}();

} // namespace

constinit Vex::VexType const VrfIdMap::_vexType_VrfId = Vex::valueDescriptor<VrfIdMap::VrfId>({
    .name = "Vrf::VrfIdMap::VrfId",
    .ctorArgs = idArgs,
    .construct = &Vex::Reflection::constructValue<VrfIdMap::VrfId, std::uint32_t>,
});

Vex::VexType const& VrfIdMap::vrfIdType() {
   return _vexType_VrfId;
}

} // namespace Vrf
