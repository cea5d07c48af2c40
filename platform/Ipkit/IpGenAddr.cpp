#include "Ipkit/IpGenAddr.h"

#include "Vex/Hash.h"

#include <ostream>
#include <string>

namespace Ipkit {

IpGenAddr::IpGenAddr(IpAddr a) noexcept : af_(ipv4) {
   for (int i = 0; i < 4; ++i)
      bytes_[i] = static_cast<std::uint8_t>(a.value() >> (24 - 8 * i));
}

IpGenAddr::IpGenAddr(Ip6Addr const& a) noexcept : af_(ipv6), bytes_(a.bytes()) {}

IpGenAddr::IpGenAddr(Vex::String const& text) {
   std::string_view v = text.view();
   if (v.find(':') != std::string_view::npos) {
      *this = Ip6Addr(text);
   } else if (v.find('.') != std::string_view::npos) {
      *this = IpAddr(text);
   } else {
      std::string message = "invalid IP address ";
      Vex::appendQuoted(message, v);
      message += v.empty() ? ": the text is empty"
                           : ": neither a dotted-quad IPv4 address nor an IPv6 address";
      throw Vex::Exception(std::move(message));
   }
}

IpGenAddr::IpGenAddr(Vex::NboAttrLog::In* in, Vex::StreamBogon) {
   std::int32_t af = in->nextS32();
   if (af != ipunknown && af != ipv4 && af != ipv6) {
      throw Vex::Exception("IpGenAddr: address family " + std::to_string(af) +
                           " in the log is none of ipunknown (0), ipv4 (1), ipv6 (2)");
   }
   af_ = static_cast<std::uint8_t>(af);
   in->nextBytes(bytes_.data(), bitLength() / 8);
}

IpAddr IpGenAddr::v4() const noexcept {
   if (af_ != ipv4) return IpAddr();
   return IpAddr(std::uint32_t(bytes_[0]) << 24 | std::uint32_t(bytes_[1]) << 16 |
                 std::uint32_t(bytes_[2]) << 8 | bytes_[3]);
}

Ip6Addr IpGenAddr::v6() const noexcept {
   return af_ == ipv6 ? Ip6Addr(bytes_) : Ip6Addr();
}

Vex::String IpGenAddr::stringValue() const {
   switch (af()) {
   case ipv4:
      return v4().stringValue();
   case ipv6:
      return v6().stringValue();
   default:
      return "";
   }
}

std::uint32_t IpGenAddr::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixU32(static_cast<std::uint32_t>(af_));
   auto b = bytes();
   h.mixBytes(b.data(), b.size());
   return h.result();
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 IpGenAddr const& a) {
   out << a.af();
   auto b = a.bytes();
   out->writeBytes(b.data(), b.size());
   return out;
}

} // namespace Ipkit
