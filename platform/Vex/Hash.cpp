#include "Vex/Hash.h"

#include <cstring>

namespace Vex {

void HashAccumulator::mixBytes(void const* data, std::size_t size) noexcept {
   auto const* p = static_cast<unsigned char const*>(data);
   while (size >= 4) {
      // Little-endian assembly, so the result does not depend on the host.
      block(std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
                std::uint32_t(p[3]) << 24,
            4);
      p += 4;
      size -= 4;
   }
   if (size > 0) {
      std::uint32_t k = 0;
      for (std::size_t i = 0; i < size; ++i)
         k |= std::uint32_t(p[i]) << (8 * i);
      block(k, static_cast<std::uint32_t>(size));
   }
}

} // namespace Vex
