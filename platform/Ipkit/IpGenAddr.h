// Ipkit/IpGenAddr.h: an IPv4 or IPv6 address, or none.
//
// IpGenAddr is for fields that may hold either kind of address. The default
// value is unspecified: it has no family (af() is ipunknown) and prints as "".
//
//   Ipkit::IpGenAddr a("10.0.0.1");       // a.af() == Ipkit::ipv4
//   Ipkit::IpGenAddr b = Ipkit::Ip6Addr("::1");
//   assert(a < b && Ipkit::IpGenAddr().isUnspecified());
#pragma once

#include "Ipkit/AddressFamily.h"
#include "Ipkit/IpAddr.h"
#include "Ipkit/TextForm.h"

#include <array>
#include <compare>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <span>

namespace Vex {
class VexType;
}

namespace Ipkit {

class IpGenAddr {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   /// Text adapters from stringValue() (Ipkit/TextForm.h).
   static constexpr bool ipkitTextForm = true;
   static constexpr bool emptyTextIsDefault = true;

   /// The unspecified address: no family, no bytes.
   constexpr IpGenAddr() noexcept = default;
   /// The IPv4 address `a`.
   IpGenAddr(IpAddr a) noexcept;
   /// The IPv6 address `a`.
   IpGenAddr(Ip6Addr const& a) noexcept;
   /// Reads a text with a ':' as Ip6Addr does, one with a '.' as IpAddr does,
   /// and raises their Vex::Exception when it does not read. Any other text,
   /// the empty one included, raises Vex::Exception too: the unspecified
   /// address has no text of its own outside the value text ''.
   explicit IpGenAddr(Vex::String const& text);
   /// Reads the log encoding (below). Raises Vex::Exception for a family other
   /// than ipunknown, ipv4 or ipv6, and when the record ends early.
   IpGenAddr(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   constexpr AddressFamily af() const noexcept { return static_cast<AddressFamily>(af_); }
   /// Whether this is the default value without a family. The all-zero
   /// addresses 0.0.0.0 and :: are specified addresses and give false.
   constexpr bool isUnspecified() const noexcept { return af_ == ipunknown; }
   /// The IPv4 address when af() is ipv4, and 0.0.0.0 otherwise.
   IpAddr v4() const noexcept;
   /// The IPv6 address when af() is ipv6, and :: otherwise.
   Ip6Addr v6() const noexcept;
   /// The address bytes in network order: 4 for ipv4, 16 for ipv6, none for
   /// the unspecified address. Valid while this value lives unchanged.
   std::span<std::uint8_t const> bytes() const noexcept {
      return {bytes_.data(), addressBits(af()) / 8};
   }
   /// The address bits: 32 for ipv4, 128 for ipv6, 0 for the unspecified.
   constexpr unsigned bitLength() const noexcept { return addressBits(af()); }

   /// The text of IpAddr or Ip6Addr, or "" for the unspecified address.
   Vex::String stringValue() const;
   /// The accumulator over af() as u32, then bytes().
   std::uint32_t hash() const noexcept;

   friend constexpr bool operator==(IpGenAddr const&, IpGenAddr const&) noexcept = default;
   /// A total order: by family (unspecified, ipv4, ipv6), then by the address
   /// as an unsigned number.
   friend constexpr std::strong_ordering operator<=>(IpGenAddr const&,
                                                     IpGenAddr const&) noexcept = default;

 private:
   // The family in one byte: 17 bytes an address, 18 a prefix, and no
   // padding where they are held (two in every rule key, one in every match
   // component). The order compares the family first, as the number it is.
   std::uint8_t af_ = ipunknown;
   // The address in network order, an IPv4 one in the first four bytes; the
   // bytes beyond the address are always zero, so that equality and order can
   // compare all of them.
   std::array<std::uint8_t, 16> bytes_{};
};

// ---- text and log forms ----------------------------------------------------
// Stream output prints stringValue(). The value text is stringValue() quoted
// as a Vex::String: '10.0.0.1', '2001:db8::1', and '' for the unspecified
// address; reading it raises what the text constructor raises for any other
// text, and leaves the value unchanged then.
//
// Log encoding: af() as s32, then the 4 or 16 bytes of bytes() (nothing for
// the unspecified address).

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 IpGenAddr const& a);

} // namespace Ipkit

template <>
struct std::hash<Ipkit::IpGenAddr> {
   std::size_t operator()(Ipkit::IpGenAddr const& a) const noexcept { return a.hash(); }
};
