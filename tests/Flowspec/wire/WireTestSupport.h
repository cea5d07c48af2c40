// tests/Flowspec/wire/WireTestSupport.h: building BGP messages from hex in
// the UPDATE and MRT tests (bytes and hex from WireTestUtil.h).
#pragma once

#include "WireTestUtil.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace WireTest {

using Bytes = std::vector<std::uint8_t>;

/// `n` as `width` bytes of hex.
inline std::string num(std::size_t n, unsigned width) {
   std::string s;
   char digits[3];
   for (unsigned i = width; i-- > 0;) {
      std::snprintf(digits, sizeof digits, "%02x", unsigned(n >> (8 * i)) & 0xff);
      s += digits;
   }
   return s;
}

/// One path attribute from its flags, type and value (hex); the length is
/// 2 bytes when the extended-length flag 0x10 is set.
inline std::string attr(unsigned flags, unsigned type, std::string_view value) {
   std::size_t const len = bytes(std::string(value)).size();
   return num(flags, 1) + num(type, 1) + num(len, flags & 0x10 ? 2 : 1) + std::string(value);
}

/// A whole UPDATE: marker, length, type 2, the withdrawn routes, the path
/// attributes and the NLRI field (each hex).
inline Bytes update(std::string_view attributes, std::string_view nlri = "",
                    std::string_view withdrawn = "") {
   std::size_t const w = bytes(std::string(withdrawn)).size();
   std::size_t const a = bytes(std::string(attributes)).size();
   std::size_t const n = bytes(std::string(nlri)).size();
   return bytes(std::string(32, 'f') + num(19 + 2 + w + 2 + a + n, 2) + "02" + num(w, 2) +
                std::string(withdrawn) + num(a, 2) + std::string(attributes) + std::string(nlri));
}

} // namespace WireTest
