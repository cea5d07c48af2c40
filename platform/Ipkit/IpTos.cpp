#include "Ipkit/IpTos.h"

#include "Vex/Hash.h"

#include <limits>

namespace Ipkit::Internal {

std::uint32_t hashByte(std::uint8_t value) noexcept {
   Vex::HashAccumulator h;
   h.mixU8(value);
   return h.result();
}

unsigned readByteText(Vex::TextIter& pos, Vex::TextIter end) {
   return static_cast<unsigned>(Vex::readUnsigned(pos, end, std::numeric_limits<unsigned>::max()));
}

} // namespace Ipkit::Internal
