// Flowspec/wire/ByteOrder.h: numbers in network byte order, as BGP carries
// them. The readers do not check bounds: callers check the length first.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Flowspec {

inline std::uint16_t getBe16(std::span<std::uint8_t const> b, std::size_t at) noexcept {
   return static_cast<std::uint16_t>(b[at] << 8 | b[at + 1]);
}
inline std::uint32_t getBe32(std::span<std::uint8_t const> b, std::size_t at) noexcept {
   return std::uint32_t(getBe16(b, at)) << 16 | getBe16(b, at + 2);
}
/// Appends the low 16 bits of `v`, high byte first.
inline void putBe16(std::vector<std::uint8_t>& out, std::uint32_t v) {
   out.push_back(static_cast<std::uint8_t>(v >> 8));
   out.push_back(static_cast<std::uint8_t>(v));
}
inline void putBe32(std::vector<std::uint8_t>& out, std::uint32_t v) {
   putBe16(out, v >> 16);
   putBe16(out, v & 0xffff);
}

} // namespace Flowspec
