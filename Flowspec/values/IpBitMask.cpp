#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/BitMaskDescriptor.h"

namespace Flowspec {

bool IpBitMask::isValid() const noexcept {
   if (mask() == 0) return false;
   auto requiredSet = [this](IpBit b) {
      unsigned bit = static_cast<unsigned>(b);
      return (mask() >> bit & 1U) && (val() >> bit & 1U);
   };
   auto requiredClear = [this](IpBit b) {
      unsigned bit = static_cast<unsigned>(b);
      return (mask() >> bit & 1U) && !(val() >> bit & 1U);
   };
   if (requiredClear(IpBit::isFragment)) {
      return !requiredSet(IpBit::firstFragment) && !requiredSet(IpBit::lastFragment);
   }
   return !(requiredSet(IpBit::firstFragment) && requiredSet(IpBit::lastFragment));
}

VEX_ENUM_DEFINITION(IpBitMask::IpBit, IpBitMask::_vexType_IpBit, IpBitMask::vexTypeName_IpBit,
                    IpBitMask::bitTable)

IpBitMask::IpBit IpBitMask::IpBitInstance(unsigned int value) {
   return Vex::enumInstance<IpBit>(value);
}

IpBitMask::IpBit IpBitMask::IpBitInstance(Vex::String const& name) {
   return Vex::enumInstance<IpBit>(name.view());
}

Vex::String stringValue(IpBitMask::IpBit b) {
   return Vex::enumName(b);
}

// --- Reflection ----------------------------------------------------------------

namespace {
constexpr char supportedName[] = "supportedIpBits";
} // namespace

constinit Vex::VexType const IpBitMask::_vexType =
    Internal::bitMaskDescriptor<IpBitMask, &IpBitMask::supportedIpBits, supportedName>();

} // namespace Flowspec
