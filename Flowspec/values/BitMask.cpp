#include "Flowspec/values/BitMask.h"

#include "Vex/Hash.h"

#include <cstdio>
#include <string>

namespace Flowspec::Internal {

Vex::String bitMaskToStrep(std::uint16_t val, std::uint16_t mask) {
   char buf[40];
   int n = std::snprintf(buf, sizeof buf, "<value:0x%x;mask:0x%x>", unsigned(val), unsigned(mask));
   return Vex::String(buf, static_cast<std::size_t>(n));
}

Vex::String bitMaskToStrepCli(std::uint16_t val, std::uint16_t mask,
                              std::span<char const* const> bitNames) {
   std::string out;
   for (std::size_t bit = 0; bit < bitNames.size(); ++bit) {
      if (!(mask >> bit & 1U)) continue;
      if (!out.empty()) out += ',';
      out += bitNames[bit];
      out += (val >> bit & 1U) ? ":1" : ":0";
   }
   return Vex::String(std::move(out));
}

std::uint32_t bitMaskHash(bool matchAll, std::uint16_t val, std::uint16_t mask) noexcept {
   Vex::HashAccumulator h;
   h.mixBool(matchAll);
   h.mixU16(val);
   h.mixU16(mask);
   return h.result();
}

} // namespace Flowspec::Internal
