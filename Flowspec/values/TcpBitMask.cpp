#include "Flowspec/values/TcpBitMask.h"
#include "Flowspec/values/BitMaskDescriptor.h"

namespace Flowspec {

VEX_ENUM_DEFINITION(TcpBitMask::TcpBit, TcpBitMask::_vexType_TcpBit, TcpBitMask::vexTypeName_TcpBit,
                    TcpBitMask::bitTable)

TcpBitMask::TcpBit TcpBitMask::TcpBitInstance(unsigned int value) {
   return Vex::enumInstance<TcpBit>(value);
}

TcpBitMask::TcpBit TcpBitMask::TcpBitInstance(Vex::String const& name) {
   return Vex::enumInstance<TcpBit>(name.view());
}

Vex::String stringValue(TcpBitMask::TcpBit b) {
   return Vex::enumName(b);
}

// --- Reflection ----------------------------------------------------------------

namespace {
constexpr char supportedName[] = "supportedTcpBits";
} // namespace

constinit Vex::VexType const TcpBitMask::_vexType =
    Internal::bitMaskDescriptor<TcpBitMask, &TcpBitMask::supportedTcpBits, supportedName>();

} // namespace Flowspec
