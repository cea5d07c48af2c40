// Ipkit/IpAddr.h: IPv4 and IPv6 addresses as values.
//
// IpAddr is an IPv4 address held as a 32-bit number in host order; Ip6Addr is
// an IPv6 address held as its 16 bytes in network order. Both read the usual
// texts, print them in one canonical form, order as unsigned numbers, hash,
// and travel in the attribute log.
//
//   Ipkit::IpAddr a("10.0.0.1");            // a.value() == 0x0a000001
//   Ipkit::Ip6Addr b("2001:DB8:0:0::1");    // b.stringValue() == "2001:db8::1"
#pragma once

#include "Ipkit/TextForm.h"
#include "Vex/NboAttrLog.h"
#include "Vex/ValueText.h"

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Ipkit {

class IpAddr {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   /// Text adapters from stringValue() (Ipkit/TextForm.h).
   static constexpr bool ipkitTextForm = true;

   /// 0.0.0.0.
   constexpr IpAddr() noexcept = default;
   /// The address whose bytes, most significant first, are those of
   /// `hostOrderValue`: IpAddr(0x0a000001) is 10.0.0.1.
   constexpr explicit IpAddr(std::uint32_t hostOrderValue) noexcept : value_(hostOrderValue) {}
   /// Reads a dotted quad: exactly four decimal numbers 0..255 separated by
   /// '.', with no blanks, signs or other characters. An octet with a leading
   /// zero ("010") is refused, because some readers take it as octal. Raises
   /// Vex::Exception whose message quotes the text and says what is wrong.
   explicit IpAddr(Vex::String const& text);
   /// Reads the log encoding (u32).
   IpAddr(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   /// The address as a number in host order.
   constexpr std::uint32_t value() const noexcept { return value_; }
   /// The dotted quad, "10.0.0.1".
   Vex::String stringValue() const;
   /// The accumulator over value() as u32.
   std::uint32_t hash() const noexcept;

   friend constexpr bool operator==(IpAddr const&, IpAddr const&) noexcept = default;
   /// Orders as the numbers value() do.
   friend constexpr std::strong_ordering operator<=>(IpAddr const&,
                                                     IpAddr const&) noexcept = default;

 private:
   std::uint32_t value_ = 0;
};

class Ip6Addr {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   /// Text adapters from stringValue() (Ipkit/TextForm.h).
   static constexpr bool ipkitTextForm = true;

   using Bytes = std::array<std::uint8_t, 16>;

   /// The all-zero address, "::".
   constexpr Ip6Addr() noexcept = default;
   /// The address with these bytes, in network order.
   constexpr explicit Ip6Addr(Bytes const& bytes) noexcept : bytes_(bytes) {}
   /// Reads the text forms of RFC 4291: eight groups of 1 to 4 hexadecimal
   /// digits (either case) separated by ':', where one "::" may stand for one
   /// or more zero groups and the last two groups may be written as a dotted
   /// quad ("::ffff:10.0.0.1"), read as IpAddr reads it. Refuses zone ids
   /// ("fe80::1%eth0"), ":::", a lone ':' at either end, more than eight
   /// groups, longer groups and anything else with Vex::Exception whose message
   /// quotes the text and says what is wrong.
   explicit Ip6Addr(Vex::String const& text);
   /// Reads the log encoding (16 bytes).
   Ip6Addr(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   constexpr Bytes const& bytes() const noexcept { return bytes_; }
   /// The canonical text of RFC 5952: lower-case groups without leading zeros,
   /// the longest run of two or more zero groups (the first of equally long
   /// runs) written as "::", and the IPv4-mapped addresses (::ffff:0:0/96)
   /// with a dotted-quad tail, "::ffff:10.0.0.1".
   Vex::String stringValue() const;
   /// The accumulator over the 16 bytes.
   std::uint32_t hash() const noexcept;

   friend constexpr bool operator==(Ip6Addr const&, Ip6Addr const&) noexcept = default;
   /// Orders as 128-bit unsigned numbers (bytes compared in order).
   friend constexpr std::strong_ordering operator<=>(Ip6Addr const&,
                                                     Ip6Addr const&) noexcept = default;

 private:
   Bytes bytes_{};
};

// ---- text and log forms ----------------------------------------------------
// Stream output prints stringValue(). The value text is stringValue() quoted
// as a Vex::String ('10.0.0.1'); reading it accepts what the text constructor
// accepts and leaves the value unchanged when it raises.

/// Writes value() as u32 (so the bytes are in network order).
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 IpAddr const& a);

/// Writes the 16 bytes as they are.
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 Ip6Addr const& a);

} // namespace Ipkit

template <>
struct std::hash<Ipkit::IpAddr> {
   std::size_t operator()(Ipkit::IpAddr const& a) const noexcept { return a.hash(); }
};
template <>
struct std::hash<Ipkit::Ip6Addr> {
   std::size_t operator()(Ipkit::Ip6Addr const& a) const noexcept { return a.hash(); }
};
