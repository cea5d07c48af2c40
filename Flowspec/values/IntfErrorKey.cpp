#include "Flowspec/values/IntfErrorKey.h"

#include "Vex/Hash.h"

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

} // namespace Flowspec
