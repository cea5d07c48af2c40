#include "Flowspec/values/IntfErrorKey.h"

#include "Vex/Hash.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

std::uint32_t IntfErrorKey::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixU32(intfId_.hash());
   h.mixU32(static_cast<std::uint32_t>(addressFamily_));
   return h.result();
}

Vex::String IntfErrorKey::toStrep() const {
   return intfId_.stringValue() + "," + Ipkit::valueToStrep(addressFamily_);
}

// --- Reflection ----------------------------------------------------------------

namespace {

constexpr auto intfErrorKeyRows =
    Vex::valueRows(Vex::fieldRows<IntfErrorKey>(), Vex::method<&IntfErrorKey::toStrep>("toStrep"),
                   Vex::method<&IntfErrorKey::hash>("hash"));

} // namespace

constinit Vex::VexType const IntfErrorKey::_vexType =
    Vex::valueDescriptor<IntfErrorKey>(intfErrorKeyRows);

} // namespace Flowspec
