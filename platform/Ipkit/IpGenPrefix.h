// Ipkit/IpGenPrefix.h: an IPv4 or IPv6 prefix (an address and a length in
// bits), or the empty prefix that stands for any address.
//
// A prefix keeps only its network bits: the bits of the address beyond the
// length are cleared when it is made, so equal prefixes compare equal.
//
//   Ipkit::IpGenPrefix p("10.1.2.3/8");   // p.stringValue() == "10.0.0.0/8"
//   Ipkit::IpGenPrefix h("2001:db8::1");  // a host prefix, "2001:db8::1/128"
#pragma once

#include "Ipkit/IpGenAddr.h"
#include "Ipkit/TextForm.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Ipkit {

class IpGenPrefix {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   /// Text adapters from stringValue() (Ipkit/TextForm.h).
   static constexpr bool ipkitTextForm = true;
   static constexpr bool emptyTextIsDefault = true;

   /// The empty prefix: no family, the unspecified address, length 0.
   constexpr IpGenPrefix() noexcept = default;
   /// The first `len` bits of `addr`, the bits beyond cleared. Raises
   /// Vex::RangeException "IpGenPrefix::len > 32 not allowed" for an IPv4
   /// address ("> 128" for IPv6), and "IpGenPrefix::len > 0 not allowed" for
   /// the unspecified address, whose prefix is the empty one.
   IpGenPrefix(IpGenAddr const& addr, unsigned len);
   /// Reads "<address>/<length>" ("10.0.0.0/8", "2001:db8::/32") or a bare
   /// address, which means the host prefix (/32 or /128). The address reads as
   /// IpGenAddr reads it; the length is 1 to 3 decimal digits with no sign,
   /// blank or leading zero ("0" is fine, "08" is not) and at most the address
   /// bits. Host bits are cleared, not refused. Raises Vex::Exception for
   /// anything else, the empty text included, with a message that quotes the
   /// text and says what is wrong.
   explicit IpGenPrefix(Vex::String const& text);
   /// Reads the log encoding (below). Raises Vex::Exception for a family other
   /// than ipunknown, ipv4 or ipv6, a length beyond the address bits (any
   /// length at all without a family), host bits set beyond the length, and
   /// when the record ends early.
   IpGenPrefix(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   constexpr AddressFamily af() const noexcept { return addr_.af(); }
   /// The network address: the host bits are zero.
   constexpr IpGenAddr const& addr() const noexcept { return addr_; }
   constexpr unsigned len() const noexcept { return len_; }
   /// Whether this is the empty prefix (no family). 0.0.0.0/0 and ::/0 are
   /// not empty: they match any address of their own family only.
   constexpr bool isEmpty() const noexcept { return addr_.isUnspecified(); }

   /// "10.0.0.0/8", "2001:db8::/32"; "" for the empty prefix.
   Vex::String stringValue() const;
   /// The accumulator over the address as IpGenAddr::hash() mixes it, then len()
   /// as u8.
   std::uint32_t hash() const noexcept;

   friend constexpr bool operator==(IpGenPrefix const&, IpGenPrefix const&) noexcept = default;
   /// A total order: by family, then address, then length.
   friend constexpr std::strong_ordering operator<=>(IpGenPrefix const&,
                                                     IpGenPrefix const&) noexcept = default;

 private:
   IpGenAddr addr_;
   std::uint8_t len_ = 0;
};

// ---- text and log forms ----------------------------------------------------
// Stream output prints stringValue(). The value text is stringValue() quoted
// as a Vex::String: '10.0.0.0/8', and '' for the empty prefix; reading it
// raises what the text constructor raises for any other text, and leaves the
// value unchanged then.
//
// Log encoding: the address as IpGenAddr writes it (s32 family, then 4, 16 or
// no bytes), then the length as u8.

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 IpGenPrefix const& p);

} // namespace Ipkit

template <>
struct std::hash<Ipkit::IpGenPrefix> {
   std::size_t operator()(Ipkit::IpGenPrefix const& p) const noexcept { return p.hash(); }
};
