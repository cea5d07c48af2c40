#include "Ipkit/IpGenPrefix.h"

#include "Vex/Hash.h"

#include <array>
#include <charconv>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>

namespace Ipkit {

namespace {

/// `addr` with every bit beyond the first `len` cleared (`len` is at most the
/// address bits).
IpGenAddr networkAddress(IpGenAddr const& addr, unsigned len) {
   std::array<std::uint8_t, 16> bytes{};
   auto const in = addr.bytes();
   for (std::size_t i = 0; i < in.size(); ++i) {
      unsigned const kept = len >= 8 * (i + 1) ? 8 : len > 8 * i ? len - 8 * i : 0;
      bytes[i] = static_cast<std::uint8_t>(in[i] & (0xff00u >> kept));
   }
   switch (addr.af()) {
   case ipv4:
      return IpAddr(std::uint32_t(bytes[0]) << 24 | std::uint32_t(bytes[1]) << 16 |
                    std::uint32_t(bytes[2]) << 8 | bytes[3]);
   case ipv6:
      return Ip6Addr(bytes);
   default:
      return IpGenAddr();
   }
}

[[noreturn]] void textError(std::string_view text, std::string_view why) {
   std::string message = "invalid IP prefix ";
   Vex::appendQuoted(message, text);
   message += ": ";
   message += why;
   throw Vex::Exception(std::move(message));
}

std::string quoted(std::string_view text) {
   std::string out;
   Vex::appendQuoted(out, text);
   return out;
}

} // namespace

IpGenPrefix::IpGenPrefix(IpGenAddr const& addr, unsigned len) {
   if (len > addr.bitLength()) {
      throw Vex::RangeException("IpGenPrefix::len > " + std::to_string(addr.bitLength()) +
                                " not allowed");
   }
   addr_ = networkAddress(addr, len);
   len_ = static_cast<std::uint8_t>(len);
}

IpGenPrefix::IpGenPrefix(Vex::String const& text) {
   std::string_view const all = text.view();
   if (all.empty()) textError(all, "the text is empty");
   std::size_t const slash = all.find('/');
   std::string_view const addrText = all.substr(0, slash);
   if (addrText.empty()) textError(all, "the address before '/' is missing");
   IpGenAddr addr;
   try {
      addr = IpGenAddr(Vex::String(addrText));
   } catch (Vex::Exception const& e) {
      textError(all, e.message().view());
   }
   unsigned len = addr.bitLength();
   if (slash != std::string_view::npos) {
      std::string_view const lenText = all.substr(slash + 1);
      if (lenText.empty()) textError(all, "the length after '/' is missing");
      for (char c : lenText) {
         if (c < '0' || c > '9') {
            textError(all, "the length " + quoted(lenText) + " is not a decimal number");
         }
      }
      if (lenText.size() > 1 && lenText[0] == '0') {
         textError(all, "the length " + quoted(lenText) + " has a leading zero");
      }
      len = addr.bitLength() + 1;
      if (lenText.size() <= 3)
         std::from_chars(lenText.data(), lenText.data() + lenText.size(), len);
      if (len > addr.bitLength()) {
         textError(all, "the length " + std::string(lenText) + " is greater than " +
                            std::to_string(addr.bitLength()) + ", the bits of an " +
                            (addr.af() == ipv4 ? "IPv4" : "IPv6") + " address");
      }
   }
   *this = IpGenPrefix(addr, len);
}

IpGenPrefix::IpGenPrefix(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : addr_(in, Vex::StreamBogon()), len_(in->nextU8()) {
   if (isEmpty() && len_ != 0) {
      throw Vex::Exception("IpGenPrefix: length " + std::to_string(len_) +
                           " in the log for a prefix without address family");
   }
   if (len_ > addr_.bitLength()) {
      std::ostringstream message;
      message << "IpGenPrefix: length " << unsigned(len_) << " in the log exceeds the "
              << addr_.bitLength() << " bits of an " << addr_.af() << " address";
      throw Vex::Exception(message.str());
   }
   if (networkAddress(addr_, len_) != addr_) {
      throw Vex::Exception("IpGenPrefix: the address " + addr_.stringValue().str() +
                           " in the log has bits set beyond its length " + std::to_string(len_));
   }
}

Vex::String IpGenPrefix::stringValue() const {
   if (isEmpty()) return "";
   std::string text = addr_.stringValue().str();
   char len[4] = {'/'};
   text.append(len, std::to_chars(len + 1, len + sizeof len, unsigned(len_)).ptr);
   return Vex::String(std::move(text));
}

std::uint32_t IpGenPrefix::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixU32(static_cast<std::uint32_t>(addr_.af()));
   auto b = addr_.bytes();
   h.mixBytes(b.data(), b.size());
   h.mixU8(len_);
   return h.result();
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 IpGenPrefix const& p) {
   out << p.addr();
   out->writeU8(static_cast<std::uint8_t>(p.len()));
   return out;
}

} // namespace Ipkit
