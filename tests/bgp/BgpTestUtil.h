// Helpers shared by the BGP tests.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace BgpTest {

/// A message of `length` bytes and `type` with a valid marker, zeros after
/// the header (a length below 19 still gets the whole header).
inline std::vector<std::uint8_t> header(std::size_t length, std::uint8_t type) {
   std::vector<std::uint8_t> b(16, 0xff);
   b.push_back(std::uint8_t(length >> 8));
   b.push_back(std::uint8_t(length));
   b.push_back(type);
   b.resize(std::max<std::size_t>(length, 19), 0);
   return b;
}

} // namespace BgpTest
