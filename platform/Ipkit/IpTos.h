// Ipkit/IpTos.h: the one-byte numbers of the IP header that rules match on.
//
// IpTos is the type-of-service byte (DSCP and ECN together); IpProtocolNumber
// is the protocol (IPv4) or next-header (IPv6) number, 6 for TCP, 17 for UDP.
// Both hold 0..255, print and read as decimal numbers and travel as u8.
#pragma once

#include "Vex/Exception.h"
#include "Vex/NboAttrLog.h"
#include "Vex/ValueText.h"

#include <compare>
#include <cstdint>
#include <functional>
#include <ostream>

namespace Vex {
class VexType;
}

namespace Ipkit {

namespace Internal {
std::uint32_t hashByte(std::uint8_t value) noexcept;
/// Reads decimal digits (any unsigned number; the range check is the
/// constructor's, so that it raises Vex::RangeException).
unsigned readByteText(Vex::TextIter& pos, Vex::TextIter end);
} // namespace Internal

/// What IpTos and IpProtocolNumber share: one byte, 0..255, checked on
/// construction against Derived::rangeMessage; equality, order, the hash of
/// the byte; stream output and value text as the decimal number ("46"),
/// read back from decimal digits with the constructor's check; log
/// encoding value() as u8.
template <class Derived>
class ByteValue {
 public:
   constexpr ByteValue() noexcept = default;
   /// Raises Vex::RangeException(Derived::rangeMessage) above 255.
   explicit ByteValue(unsigned value) : value_(checked(value)) {}
   /// Reads the log encoding (u8).
   ByteValue(Vex::NboAttrLog::In* in, Vex::StreamBogon) : value_(in->nextU8()) {}

   constexpr std::uint8_t value() const noexcept { return value_; }
   /// The accumulator over value() as u8.
   std::uint32_t hash() const noexcept { return Internal::hashByte(value_); }

   friend constexpr bool operator==(Derived const& a, Derived const& b) noexcept {
      return a.value_ == b.value_;
   }
   friend constexpr std::strong_ordering operator<=>(Derived const& a, Derived const& b) noexcept {
      return a.value_ <=> b.value_;
   }

   friend std::ostream& operator<<(std::ostream& os, Derived const& v) {
      return os << unsigned(v.value());
   }
   friend Vex::String valueToStrep(Derived const& v) { return Vex::valueToStrep(v.value()); }
   friend void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, Derived& v) {
      v = Derived(Internal::readByteText(pos, end));
   }
   friend Vex::Ptr<Vex::NboAttrLog::Out> const&
   operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out, Derived const& v) {
      out->writeU8(v.value());
      return out;
   }

 private:
   static std::uint8_t checked(unsigned value) {
      if (value > 255) throw Vex::RangeException(Derived::rangeMessage);
      return static_cast<std::uint8_t>(value);
   }

   std::uint8_t value_ = 0;
};

/// The type-of-service byte (DSCP and ECN together).
class IpTos : public ByteValue<IpTos> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   static constexpr char rangeMessage[] = "IpTos::value > 255 not allowed";
   using ByteValue::ByteValue;
};

/// The protocol (IPv4) or next-header (IPv6) number: 6 for TCP, 17 for UDP.
class IpProtocolNumber : public ByteValue<IpProtocolNumber> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   static constexpr char rangeMessage[] = "IpProtocolNumber::value > 255 not allowed";
   using ByteValue::ByteValue;
};

} // namespace Ipkit

template <>
struct std::hash<Ipkit::IpTos> {
   std::size_t operator()(Ipkit::IpTos const& v) const noexcept { return v.hash(); }
};
template <>
struct std::hash<Ipkit::IpProtocolNumber> {
   std::size_t operator()(Ipkit::IpProtocolNumber const& v) const noexcept { return v.hash(); }
};
