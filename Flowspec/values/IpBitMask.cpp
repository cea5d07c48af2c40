#include "Flowspec/values/IpBitMask.h"

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

Vex::EnumType const& vexEnumType(IpBitMask::IpBit) {
   static Vex::EnumType const type("Flowspec::IpBitMask::IpBit", {{"dontFragment", 0},
                                                                  {"isFragment", 1},
                                                                  {"firstFragment", 2},
                                                                  {"lastFragment", 3}});
   return type;
}

namespace {
// Registers the enumeration when the library is loaded.
[[maybe_unused]] Vex::EnumType const& registered = vexEnumType(IpBitMask::IpBit{});
} // namespace

IpBitMask::IpBit IpBitMask::IpBitInstance(unsigned int value) {
   return Vex::enumInstance<IpBit>(value);
}

IpBitMask::IpBit IpBitMask::IpBitInstance(Vex::String const& name) {
   return Vex::enumInstance<IpBit>(name.view());
}

Vex::String stringValue(IpBitMask::IpBit b) { return Vex::enumName(b); }

} // namespace Flowspec
