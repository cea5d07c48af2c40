// Ipkit/IpTos.h: the one-byte numbers of the IP header that rules match on.
//
// IpTos is the type-of-service byte (DSCP and ECN together); IpProtocolNumber
// is the protocol (IPv4) or next-header (IPv6) number, 6 for TCP, 17 for UDP.
// Both hold 0..255, print and read as decimal numbers and travel as u8.
#pragma once

#include "Vex/NboAttrLog.h"
#include "Vex/ValueText.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Ipkit {

class IpTos {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   constexpr IpTos() noexcept = default;
   /// Raises Vex::RangeException "IpTos::value > 255 not allowed" above 255.
   explicit IpTos(unsigned value);
   /// Reads the log encoding (u8).
   IpTos(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   constexpr std::uint8_t value() const noexcept { return value_; }
   /// The accumulator over value() as u8.
   std::uint32_t hash() const noexcept;

   friend constexpr bool operator==(IpTos const&, IpTos const&) noexcept = default;
   friend constexpr std::strong_ordering operator<=>(IpTos const&,
                                                     IpTos const&) noexcept = default;

private:
   std::uint8_t value_ = 0;
};

class IpProtocolNumber {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   constexpr IpProtocolNumber() noexcept = default;
   /// Raises Vex::RangeException "IpProtocolNumber::value > 255 not allowed"
   /// above 255.
   explicit IpProtocolNumber(unsigned value);
   /// Reads the log encoding (u8).
   IpProtocolNumber(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   constexpr std::uint8_t value() const noexcept { return value_; }
   /// The accumulator over value() as u8.
   std::uint32_t hash() const noexcept;

   friend constexpr bool operator==(IpProtocolNumber const&,
                                    IpProtocolNumber const&) noexcept = default;
   friend constexpr std::strong_ordering
   operator<=>(IpProtocolNumber const&, IpProtocolNumber const&) noexcept = default;

private:
   std::uint8_t value_ = 0;
};

// ---- text and log forms ----------------------------------------------------
// Stream output and the value text are the decimal number, "46". Reading the
// value text takes decimal digits only and raises Vex::RangeException, as the
// constructor does, above 255. Log encoding: value() as u8.

std::ostream& operator<<(std::ostream& os, IpTos const& v);
Vex::String valueToStrep(IpTos const& v);
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, IpTos& v);
Vex::Ptr<Vex::NboAttrLog::Out> const&
operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out, IpTos const& v);

std::ostream& operator<<(std::ostream& os, IpProtocolNumber const& v);
Vex::String valueToStrep(IpProtocolNumber const& v);
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, IpProtocolNumber& v);
Vex::Ptr<Vex::NboAttrLog::Out> const&
operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out, IpProtocolNumber const& v);

} // namespace Ipkit

template <>
struct std::hash<Ipkit::IpTos> {
   std::size_t operator()(Ipkit::IpTos const& v) const noexcept { return v.hash(); }
};
template <>
struct std::hash<Ipkit::IpProtocolNumber> {
   std::size_t operator()(Ipkit::IpProtocolNumber const& v) const noexcept {
      return v.hash();
   }
};
