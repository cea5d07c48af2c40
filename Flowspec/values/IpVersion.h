// Flowspec/values/IpVersion.h: for which address families something is
// enabled (flowspec on an interface, for example). Highest value 0x3.
#pragma once

#include "Flowspec/values/FlagSet.h"

#include <array>

namespace Vex {
class VexType;
}

namespace Flowspec {

class IpVersion : public FlagSet<IpVersion> {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr std::uint32_t maxValue = 0x3;
   static constexpr char const* rangeMessage = "IpVersion::value > 0x3 not allowed";
   static constexpr std::array<char const*, 2> flagNames = {"ipv4", "ipv6"};

   static constexpr char vexTypeName[] = "Flowspec::IpVersion";

   constexpr IpVersion() noexcept = default;
   /// Read the value text (every flag) or the log (the word).
   IpVersion(Vex::TextIter& pos, Vex::TextIter end) : IpVersion(fromStrep(pos, end)) {}
   IpVersion(Vex::NboAttrLog::In* in, Vex::StreamBogon) : IpVersion(fromLog(*in)) {}

   constexpr bool ipv4() const noexcept { return flag(0); }
   constexpr void ipv4Is(bool on) noexcept { flagIs(0, on); }
   constexpr bool ipv6() const noexcept { return flag(1); }
   constexpr void ipv6Is(bool on) noexcept { flagIs(1, on); }

   static IpVersion const ipv4_;
   static IpVersion const ipv6_;

};

inline constexpr IpVersion IpVersion::ipv4_ = withValue(1);
inline constexpr IpVersion IpVersion::ipv6_ = withValue(2);

} // namespace Flowspec
