#include "Vex/String.h"

#include "Vex/Hash.h"

#include <ostream>

namespace Vex {

std::uint32_t String::hash() const noexcept {
   HashAccumulator h;
   h.mixBytes(data(), size());
   return h.result();
}

std::ostream& operator<<(std::ostream& os, String const& s) {
   return os.write(s.data(), static_cast<std::streamsize>(s.size()));
}

} // namespace Vex
