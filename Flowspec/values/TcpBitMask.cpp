#include "Flowspec/values/TcpBitMask.h"
#include "Flowspec/framework/TypeNames.h"
#include "Vex/ReflectTable.h"

namespace Flowspec {

namespace {

constexpr Vex::EnumType::Enumerator enumerators[] = {
   {"tcpFin", 0},
   {"tcpSyn", 1},
   {"tcpRst", 2},
   {"tcpPsh", 3},
   {"tcpAck", 4},
   {"tcpUrg", 5},
   {"tcpEce", 6},
   {"tcpCwr", 7},
   {"tcpNs", 8},
};
constexpr auto enumeratorRows = Vex::enumRows(enumerators);

} // namespace

Vex::EnumType const& vexEnumType(TcpBitMask::TcpBit) {
   static Vex::EnumType const type(Internal::typeNames.tcpBit, enumerators);
   return type;
}

constinit Vex::VexType const TcpBitMask::_vexType_TcpBit =
   Vex::enumDescriptor<TcpBitMask::TcpBit>(Internal::typeNames.tcpBit, enumeratorRows);

Vex::VexType const& vexTypeOf(TcpBitMask::TcpBit const*) { return TcpBitMask::_vexType_TcpBit; }

namespace {
// Registers the enumeration when the library is loaded.
[[maybe_unused]] Vex::EnumType const& registered = vexEnumType(TcpBitMask::TcpBit{});
} // namespace

TcpBitMask::TcpBit TcpBitMask::TcpBitInstance(unsigned int value) {
   return Vex::enumInstance<TcpBit>(value);
}

TcpBitMask::TcpBit TcpBitMask::TcpBitInstance(Vex::String const& name) {
   return Vex::enumInstance<TcpBit>(name.view());
}

Vex::String stringValue(TcpBitMask::TcpBit b) { return Vex::enumName(b); }

} // namespace Flowspec
