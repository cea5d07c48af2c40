// Ipkit/AddressFamily.h: which kind of IP address a value holds.
//
// ipunknown means no address at all; ipv4 and ipv6 name the two address kinds.
// Numbers other than these may arrive from outside: the enumeration is a plain
// signed 32-bit number, so they convert without loss and print as numbers.
#pragma once

#include "Vex/NboAttrLog.h"
#include "Vex/ValueText.h"

#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string_view>

namespace Vex {
class VexType;
}

namespace Ipkit {

/// Unscoped, so that both Ipkit::ipv4 and Ipkit::AddressFamily::ipv4 name the
/// enumerators. The fixed underlying type makes every 32-bit number a valid
/// value for static_cast.
enum AddressFamily : std::int32_t {
   ipunknown = 0,
   ipv4 = 1,
   ipv6 = 2,
};

/// The descriptor "Ipkit::AddressFamily", and the hook that ties the
/// enumeration to it.
extern Vex::VexType const _vexType_AddressFamily;
Vex::VexType const& vexTypeOf(AddressFamily const*);

/// Prints "ipunknown", "ipv4" or "ipv6", and any other number in decimal.
std::ostream& operator<<(std::ostream& os, AddressFamily af);

/// The family a person names on a command line or in a file: "ipv4" or
/// "ipv6", exactly; std::nullopt for any other text ("IPv4", "ipunknown", a
/// number).
std::optional<AddressFamily> addressFamilyFromText(std::string_view text) noexcept;

/// The value text: the bare enumerator name (ipv4, not quoted), or the decimal
/// number for a value without a name.
Vex::String valueToStrep(AddressFamily af);
/// Reads an enumerator name or an optionally negative decimal number that fits
/// 32 bits. Raises Vex::Exception for anything else; `af` is then unchanged.
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, AddressFamily& af);

/// Writes the number as s32. Read it back with Vex::nboRead<AddressFamily>,
/// which accepts any number: the values that hold a family check it themselves.
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 AddressFamily af);

/// The number of bits in an address of `af`: 32, 128, and 0 for every other
/// number.
constexpr unsigned addressBits(AddressFamily af) noexcept {
   return af == ipv4 ? 32 : af == ipv6 ? 128 : 0;
}

} // namespace Ipkit
