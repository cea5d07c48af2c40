// Flowspec/values/IpBitMask.h: the match value of a fragment component.
//
// The bits are those of the RFC 8955 fragment component, named by
// IpBitMask::IpBit (registered as "Flowspec::IpBitMask::IpBit"):
//
//   | bit | IpBit         | command-line name |
//   |-----|---------------|-------------------|
//   | 0   | dontFragment  | DF                |
//   | 1   | isFragment    | is-fragment       |
//   | 2   | firstFragment | first-fragment    |
//   | 3   | lastFragment  | last-fragment     |
//
//   IpBitMask m(0x2, 0x2);     // is a fragment
//   m.toStrepCli();            // "is-fragment:1"
//   m.isValid();               // true
#pragma once

#include "Flowspec/values/BitMask.h"
#include "Vex/Enum.h"

#include <cstdint>
#include <iosfwd>
#include <iterator>

namespace Vex {
class VexType;
}

namespace Flowspec {

class IpBitMask : public BitMask<IpBitMask> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   /// The descriptor "Flowspec::IpBitMask::IpBit".
   static Vex::VexType const _vexType_IpBit;

   enum class IpBit : std::uint32_t {
      dontFragment = 0,
      isFragment = 1,
      firstFragment = 2,
      lastFragment = 3,
   };

   /// Every bit, indexed by its number, with its command-line name.
   static constexpr BitMaskBit<IpBit> bitTable[] = {
       // clang-format off
      {.name = "dontFragment",  .value = IpBit::dontFragment,  .cliName = "DF"},
      {.name = "isFragment",    .value = IpBit::isFragment,    .cliName = "is-fragment"},
      {.name = "firstFragment", .value = IpBit::firstFragment, .cliName = "first-fragment"},
      {.name = "lastFragment",  .value = IpBit::lastFragment,  .cliName = "last-fragment"},
       // clang-format on
   };
   static constexpr std::uint32_t lastBit = std::size(bitTable) - 1;
   static constexpr std::uint16_t maskForAllBits = (1u << std::size(bitTable)) - 1;
   /// The bits supported for matching: only isFragment. Offered to users; no
   /// operation of the library tests a mask against it.
   static constexpr std::uint16_t supportedIpBits = 0x2;

   static constexpr char vexTypeName[] = "Flowspec::IpBitMask";
   static constexpr char vexTypeName_IpBit[] = "Flowspec::IpBitMask::IpBit";

   using BitMask::BitMask;
   /// Read the value text (matchAll, val, mask) or the log (bool, u16, u16).
   IpBitMask(Vex::TextIter& pos, Vex::TextIter end)
       : IpBitMask(Vex::fieldsFromStrep<IpBitMask>(pos, end)) {}
   IpBitMask(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : IpBitMask(Vex::fieldsFromLog<IpBitMask>(*in)) {}

   /// Whether a packet can match: the mask examines some bit; a packet that
   /// must not be a fragment (isFragment required clear) cannot be a first
   /// or last fragment; and no fragment is both first and last. dontFragment
   /// and bits above lastFragment play no part.
   bool isValid() const noexcept;

   /// The bit numbered `value`, or named `name`; raises Vex::Exception for
   /// anything else.
   static IpBit IpBitInstance(unsigned int value);
   static IpBit IpBitInstance(Vex::String const& name);
};

/// The registered enumeration "Flowspec::IpBitMask::IpBit".
Vex::EnumType const& vexEnumType(IpBitMask::IpBit);
Vex::VexType const& vexTypeOf(IpBitMask::IpBit const*);
/// The enumerator name ("isFragment"); the number for another value.
Vex::String stringValue(IpBitMask::IpBit b);
inline std::ostream& operator<<(std::ostream& os, IpBitMask::IpBit b) {
   return Vex::writeEnum(os, b);
}

} // namespace Flowspec
