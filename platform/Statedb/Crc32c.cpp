#include "Statedb/Crc32c.h"

#include <array>

namespace Statedb {

namespace {

// Slicing by eight: table[k][b] is the CRC of byte b followed by k zero bytes.
constexpr auto tables = [] {
   std::array<std::array<std::uint32_t, 256>, 8> t{};
   for (std::uint32_t b = 0; b < 256; ++b) {
      std::uint32_t c = b;
      for (int i = 0; i < 8; ++i)
         c = (c & 1) ? (c >> 1) ^ 0x82F63B78u : c >> 1;
      t[0][b] = c;
   }
   for (std::size_t k = 1; k < 8; ++k) {
      for (std::uint32_t b = 0; b < 256; ++b)
         t[k][b] = (t[k - 1][b] >> 8) ^ t[0][t[k - 1][b] & 0xff];
   }
   return t;
}();

} // namespace

std::uint32_t crc32c(void const* data, std::size_t size, std::uint32_t crc) noexcept {
   auto p = static_cast<unsigned char const*>(data);
   std::uint32_t c = ~crc;
   while (size >= 8) {
      std::uint32_t lo = c ^ (std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 |
                              std::uint32_t(p[2]) << 16 | std::uint32_t(p[3]) << 24);
      c = tables[7][lo & 0xff] ^ tables[6][(lo >> 8) & 0xff] ^ tables[5][(lo >> 16) & 0xff] ^
          tables[4][lo >> 24] ^ tables[3][p[4]] ^ tables[2][p[5]] ^ tables[1][p[6]] ^
          tables[0][p[7]];
      p += 8;
      size -= 8;
   }
   while (size--)
      c = (c >> 8) ^ tables[0][(c ^ *p++) & 0xff];
   return ~c;
}

} // namespace Statedb
