#include "Hex.h"

namespace FlowspecTool {

std::string hexText(std::span<std::uint8_t const> bytes) {
   static constexpr char digits[] = "0123456789abcdef";
   std::string s;
   s.reserve(bytes.size() * 2);
   for (std::uint8_t v : bytes) {
      s += digits[v >> 4];
      s += digits[v & 0xf];
   }
   return s;
}

std::optional<std::vector<std::uint8_t>> parseHex(std::string_view text) {
   std::vector<std::uint8_t> bytes;
   int high = -1;
   for (std::size_t i = 0; i < text.size(); ++i) {
      char const c = text[i];
      if (c == ' ' || c == '\n' || c == '\t' || c == '\r' || c == ':') continue;
      if (c == '0' && high < 0 && i + 1 < text.size() && (text[i + 1] | 0x20) == 'x') {
         ++i;
         continue;
      }
      int const v = c >= '0' && c <= '9'   ? c - '0'
                    : c >= 'a' && c <= 'f' ? c - 'a' + 10
                    : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                           : -1;
      if (v < 0) return std::nullopt;
      if (high < 0) {
         high = v;
      } else {
         bytes.push_back(static_cast<std::uint8_t>(high << 4 | v));
         high = -1;
      }
   }
   if (high >= 0) return std::nullopt;
   return bytes;
}

} // namespace FlowspecTool
