#include "Ipkit/AddressFamily.h"

#include <limits>
#include <ostream>
#include <string_view>

namespace Ipkit {

namespace {

char const* nameOf(AddressFamily af) noexcept {
   switch (af) {
   case ipunknown:
      return "ipunknown";
   case ipv4:
      return "ipv4";
   case ipv6:
      return "ipv6";
   }
   return nullptr;
}

bool isNameChar(char c) noexcept {
   return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
}

} // namespace

std::ostream& operator<<(std::ostream& os, AddressFamily af) {
   if (char const* name = nameOf(af)) return os << name;
   return os << static_cast<std::int32_t>(af);
}

std::optional<AddressFamily> addressFamilyFromText(std::string_view text) noexcept {
   for (AddressFamily af : {ipv4, ipv6}) {
      if (text == nameOf(af)) return af;
   }
   return std::nullopt;
}

Vex::String valueToStrep(AddressFamily af) {
   if (char const* name = nameOf(af)) return name;
   return Vex::valueToStrep(static_cast<std::int32_t>(af));
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, AddressFamily& af) {
   if (pos != end && (*pos == '-' || (*pos >= '0' && *pos <= '9'))) {
      af = static_cast<AddressFamily>(Vex::readSigned(pos, end,
                                                      std::numeric_limits<std::int32_t>::min(),
                                                      std::numeric_limits<std::int32_t>::max()));
      return;
   }
   Vex::TextIter nameEnd = pos;
   while (nameEnd != end && isNameChar(*nameEnd))
      ++nameEnd;
   std::string_view name(pos, static_cast<std::size_t>(nameEnd - pos));
   for (AddressFamily known : {ipunknown, ipv4, ipv6}) {
      if (name == nameOf(known)) {
         af = known;
         pos = nameEnd;
         return;
      }
   }
   Vex::parseError("an address family (ipunknown, ipv4, ipv6 or a number)", pos, end);
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 AddressFamily af) {
   out->writeU32(static_cast<std::uint32_t>(static_cast<std::int32_t>(af)));
   return out;
}

} // namespace Ipkit
