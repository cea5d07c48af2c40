#include "Ipkit/IpTos.h"

#include "Vex/Hash.h"

#include <limits>
#include <ostream>

namespace Ipkit {

namespace {

std::uint8_t checkedByte(unsigned value, char const* rangeMessage) {
   if (value > 255) throw Vex::RangeException(rangeMessage);
   return static_cast<std::uint8_t>(value);
}

std::uint32_t hashByte(std::uint8_t value) noexcept {
   Vex::HashAccumulator h;
   h.mixU8(value);
   return h.result();
}

/// Reads decimal digits into any unsigned value (the range check is the
/// constructor's, so that it raises Vex::RangeException).
unsigned readNumber(Vex::TextIter& pos, Vex::TextIter end) {
   return static_cast<unsigned>(
       Vex::readUnsigned(pos, end, std::numeric_limits<unsigned>::max()));
}

} // namespace

IpTos::IpTos(unsigned value)
    : value_(checkedByte(value, "IpTos::value > 255 not allowed")) {}

IpTos::IpTos(Vex::NboAttrLog::In* in, Vex::StreamBogon) : value_(in->nextU8()) {}

std::uint32_t IpTos::hash() const noexcept {
   return hashByte(value_);
}

std::ostream& operator<<(std::ostream& os, IpTos const& v) {
   return os << unsigned(v.value());
}

Vex::String valueToStrep(IpTos const& v) {
   return Vex::valueToStrep(v.value());
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, IpTos& v) {
   v = IpTos(readNumber(pos, end));
}

Vex::Ptr<Vex::NboAttrLog::Out> const&
operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out, IpTos const& v) {
   out->writeU8(v.value());
   return out;
}

IpProtocolNumber::IpProtocolNumber(unsigned value)
    : value_(checkedByte(value, "IpProtocolNumber::value > 255 not allowed")) {}

IpProtocolNumber::IpProtocolNumber(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : value_(in->nextU8()) {}

std::uint32_t IpProtocolNumber::hash() const noexcept {
   return hashByte(value_);
}

std::ostream& operator<<(std::ostream& os, IpProtocolNumber const& v) {
   return os << unsigned(v.value());
}

Vex::String valueToStrep(IpProtocolNumber const& v) {
   return Vex::valueToStrep(v.value());
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, IpProtocolNumber& v) {
   v = IpProtocolNumber(readNumber(pos, end));
}

Vex::Ptr<Vex::NboAttrLog::Out> const&
operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out, IpProtocolNumber const& v) {
   out->writeU8(v.value());
   return out;
}

} // namespace Ipkit
