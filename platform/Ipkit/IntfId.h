// Ipkit/IntfId.h: the name of a network interface, "Ethernet1", "Vlan100".
//
// A name is 1 to 255 printable ASCII bytes without blanks, or empty for "no
// interface" (the default). Names compare byte by byte.
#pragma once

#include "Ipkit/TextForm.h"
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

class IntfId {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   /// Text adapters from stringValue() (Ipkit/TextForm.h).
   static constexpr bool ipkitTextForm = true;

   /// The empty id: no interface.
   IntfId() = default;
   /// The interface `name`; "" gives the empty id. Raises Vex::Exception for a
   /// name longer than 255 bytes or with a byte outside '!'..'~' (a blank, a
   /// control character, DEL or a non-ASCII byte); the message says which.
   explicit IntfId(Vex::String const& name);
   /// Reads the log encoding (a Vex::String) and checks it as above.
   IntfId(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   Vex::String const& stringValue() const noexcept { return name_; }
   bool isEmpty() const noexcept { return name_.empty(); }
   /// The accumulator over the name's bytes.
   std::uint32_t hash() const noexcept;

   friend bool operator==(IntfId const&, IntfId const&) noexcept = default;
   /// Byte-wise lexicographic order of the names (so "Ethernet10" <
   /// "Ethernet2").
   friend std::strong_ordering operator<=>(IntfId const&, IntfId const&) noexcept = default;

   static constexpr std::size_t maxLength = 255;

 private:
   Vex::String name_;
};

// ---- text and log forms ----------------------------------------------------
// Stream output prints the name. The value text is the name quoted as a
// Vex::String: 'Ethernet1', and '' for the empty id; reading it checks the
// name as the constructor does and leaves the value unchanged when it raises.
//
// Log encoding: the name as a Vex::String (u32 byte count, then the bytes).

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 IntfId const& id);

} // namespace Ipkit

template <>
struct std::hash<Ipkit::IntfId> {
   std::size_t operator()(Ipkit::IntfId const& id) const noexcept { return id.hash(); }
};
