#include "Ipkit/IntfId.h"

#include "Vex/Hash.h"

#include <ostream>
#include <string>

namespace Ipkit {

namespace {

[[noreturn]] void refuse(Vex::String const& name, std::string const& why) {
   std::string message = "invalid interface name ";
   if (name.size() > IntfId::maxLength) {
      message += "of " + std::to_string(name.size()) + " bytes";
   } else {
      Vex::appendQuoted(message, name.view());
   }
   throw Vex::Exception(message + ": " + why);
}

/// Raises unless `name` is a valid interface name.
void checkName(Vex::String const& name) {
   if (name.size() > IntfId::maxLength) {
      refuse(name, "longer than " + std::to_string(IntfId::maxLength) + " bytes");
   }
   for (std::size_t i = 0; i < name.size(); ++i) {
      auto const c = static_cast<unsigned char>(name.data()[i]);
      if (c > ' ' && c < 0x7f) continue;
      std::string const at = " at byte " + std::to_string(i);
      if (c == ' ') refuse(name, "a blank" + at);
      static char const hex[] = "0123456789abcdef";
      std::string const code = std::string("0x") + hex[c >> 4] + hex[c & 0xf];
      refuse(name, (c < ' ' || c == 0x7f ? "control character " : "non-ASCII byte ") + code + at);
   }
}

} // namespace

IntfId::IntfId(Vex::String const& name) : name_(name) {
   checkName(name_);
}

IntfId::IntfId(Vex::NboAttrLog::In* in, Vex::StreamBogon) : name_(in->nextString()) {
   checkName(name_);
}

std::uint32_t IntfId::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixBytes(name_.data(), name_.size());
   return h.result();
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 IntfId const& id) {
   out->writeString(id.stringValue());
   return out;
}

} // namespace Ipkit
