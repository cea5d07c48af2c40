// Flowspec/values/TcpBitMask.h: the match value of a TCP-flags component.
//
// The bits are the TCP header flags counted from the least significant bit,
// named by TcpBitMask::TcpBit (registered as "Flowspec::TcpBitMask::TcpBit"):
//
//   | bit | TcpBit | name |   | bit | TcpBit | name |
//   |-----|--------|------|---|-----|--------|------|
//   | 0   | tcpFin | FIN  |   | 5   | tcpUrg | URG  |
//   | 1   | tcpSyn | SYN  |   | 6   | tcpEce | ECE  |
//   | 2   | tcpRst | RST  |   | 7   | tcpCwr | CWR  |
//   | 3   | tcpPsh | PSH  |   | 8   | tcpNs  | NS   |
//   | 4   | tcpAck | ACK  |
//
// A TCP mask is valid exactly when its mask is non-zero: no combination of
// flags is refused. `isValid()` answers with the mask word itself, read as
// true when non-zero.
//
//   TcpBitMask m(0x02, 0x12);  // SYN set, ACK clear
//   m.toStrepCli();            // "SYN:1,ACK:0"
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

class TcpBitMask : public BitMask<TcpBitMask> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   /// The descriptor "Flowspec::TcpBitMask::TcpBit".
   static Vex::VexType const _vexType_TcpBit;

   enum class TcpBit : std::uint32_t {
      tcpFin = 0,
      tcpSyn = 1,
      tcpRst = 2,
      tcpPsh = 3,
      tcpAck = 4,
      tcpUrg = 5,
      tcpEce = 6,
      tcpCwr = 7,
      tcpNs = 8,
   };

   /// Every bit, indexed by its number, with its command-line name.
   static constexpr BitMaskBit<TcpBit> bitTable[] = {
       // clang-format off
      {.name = "tcpFin", .value = TcpBit::tcpFin, .cliName = "FIN"},
      {.name = "tcpSyn", .value = TcpBit::tcpSyn, .cliName = "SYN"},
      {.name = "tcpRst", .value = TcpBit::tcpRst, .cliName = "RST"},
      {.name = "tcpPsh", .value = TcpBit::tcpPsh, .cliName = "PSH"},
      {.name = "tcpAck", .value = TcpBit::tcpAck, .cliName = "ACK"},
      {.name = "tcpUrg", .value = TcpBit::tcpUrg, .cliName = "URG"},
      {.name = "tcpEce", .value = TcpBit::tcpEce, .cliName = "ECE"},
      {.name = "tcpCwr", .value = TcpBit::tcpCwr, .cliName = "CWR"},
      {.name = "tcpNs",  .value = TcpBit::tcpNs,  .cliName = "NS"},
       // clang-format on
   };
   static constexpr std::uint32_t lastBit = std::size(bitTable) - 1;
   static constexpr std::uint16_t maskForAllBits = (1u << std::size(bitTable)) - 1;
   /// The bits supported for matching: tcpFin to tcpUrg. Offered to users; no
   /// operation of the library tests a mask against it.
   static constexpr std::uint16_t supportedTcpBits = 0x3f;

   static constexpr char vexTypeName[] = "Flowspec::TcpBitMask";
   static constexpr char vexTypeName_TcpBit[] = "Flowspec::TcpBitMask::TcpBit";

   using BitMask::BitMask;
   /// Read the value text (matchAll, val, mask) or the log (bool, u16, u16).
   TcpBitMask(Vex::TextIter& pos, Vex::TextIter end)
       : TcpBitMask(Vex::fieldsFromStrep<TcpBitMask>(pos, end)) {}
   TcpBitMask(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : TcpBitMask(Vex::fieldsFromLog<TcpBitMask>(*in)) {}

   /// The mask word: non-zero exactly when the mask is valid.
   constexpr std::uint16_t isValid() const noexcept { return mask(); }

   static TcpBit TcpBitInstance(unsigned int value);
   static TcpBit TcpBitInstance(Vex::String const& name);
};

/// The registered enumeration "Flowspec::TcpBitMask::TcpBit".
Vex::EnumType const& vexEnumType(TcpBitMask::TcpBit);
Vex::VexType const& vexTypeOf(TcpBitMask::TcpBit const*);
/// The enumerator name ("tcpSyn"); the number for another value.
Vex::String stringValue(TcpBitMask::TcpBit b);
inline std::ostream& operator<<(std::ostream& os, TcpBitMask::TcpBit b) {
   return Vex::writeEnum(os, b);
}

} // namespace Flowspec
