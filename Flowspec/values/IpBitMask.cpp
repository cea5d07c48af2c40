#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/framework/TypeNames.h"
#include "Vex/ReflectTable.h"

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

namespace {

constexpr Vex::EnumType::Enumerator enumerators[] = {
   {"dontFragment", 0},
   {"isFragment", 1},
   {"firstFragment", 2},
   {"lastFragment", 3},
};
constexpr auto enumeratorRows = Vex::enumRows(enumerators);

} // namespace

Vex::EnumType const& vexEnumType(IpBitMask::IpBit) {
   static Vex::EnumType const type(Internal::typeNames.ipBit, enumerators);
   return type;
}

constinit Vex::VexType const IpBitMask::_vexType_IpBit =
   Vex::enumDescriptor<IpBitMask::IpBit>(Internal::typeNames.ipBit, enumeratorRows);

Vex::VexType const& vexTypeOf(IpBitMask::IpBit const*) { return IpBitMask::_vexType_IpBit; }

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
