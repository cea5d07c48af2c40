// Flowspec/values/IpVersion.h: for which address families something is
// enabled (flowspec on an interface, for example). Highest value 0x3.
#pragma once

#include "Flowspec/values/FlagSet.h"

#include <array>

namespace Vex {
class VexType;
}

namespace Flowspec {

/// The flags of IpVersion, in bit order.
#define FLOWSPEC_IP_VERSION_FLAGS(FLAG)                                                            \
   FLAG(IpVersion, ipv4, 0)                                                                        \
   FLAG(IpVersion, ipv6, 1)

class IpVersion : public FlagSet<IpVersion> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr std::uint32_t maxValue = 0x3;
   static constexpr char rangeMessage[] = "IpVersion::value > 0x3 not allowed";
   static constexpr std::array flagNames = {FLOWSPEC_IP_VERSION_FLAGS(FLOWSPEC_FLAG_NAME)};

   static constexpr char vexTypeName[] = "Flowspec::IpVersion";

   constexpr IpVersion() noexcept = default;
   using FlagSet::FlagSet;

   FLOWSPEC_IP_VERSION_FLAGS(FLOWSPEC_FLAG_ACCESSORS)
};

FLOWSPEC_IP_VERSION_FLAGS(FLOWSPEC_FLAG_CONSTANT)

} // namespace Flowspec
