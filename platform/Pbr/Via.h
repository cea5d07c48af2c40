// Pbr/Via.h: one resolved next hop of a policy-routing action.
//
// A via is where traffic leaves: the next-hop address, the interface, and an
// unsigned 32-bit weight (its share of the traffic among equal vias).
//
//   Pbr::Via v(Ipkit::IpGenAddr(Vex::String("10.0.0.2")), Ipkit::IntfId("Ethernet1"), 1);
//   v.toStrep();      // "10.0.0.2, Ethernet1, 1"
#pragma once

#include "Ipkit/IntfId.h"
#include "Ipkit/IpGenAddr.h"
#include "Vex/NboAttrLog.h"
#include "Vex/ValueText.h"

#include <compare>
#include <cstdint>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Pbr {

class Via {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   Via() = default;
   Via(Ipkit::IpGenAddr addr, Ipkit::IntfId intf, std::uint32_t weight)
       : addr_(std::move(addr)), intf_(std::move(intf)), weight_(weight) {}
   /// Reads the attribute-log encoding: addr, intf, then weight as u32.
   Via(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   Ipkit::IpGenAddr const& addr() const noexcept { return addr_; }
   Ipkit::IntfId const& intf() const noexcept { return intf_; }
   std::uint32_t weight() const noexcept { return weight_; }
   void addrIs(Ipkit::IpGenAddr a) { addr_ = std::move(a); }
   void intfIs(Ipkit::IntfId i) { intf_ = std::move(i); }
   void weightIs(std::uint32_t w) noexcept { weight_ = w; }

   /// "<addr>, <intf>, <weight>", the address and interface in their plain text.
   Vex::String toStrep() const;
   /// Mixes the address's hash, the interface's hash and the weight.
   std::uint32_t hash() const noexcept;

   friend bool operator==(Via const&, Via const&) = default;
   /// By address, then interface, then weight.
   friend std::strong_ordering operator<=>(Via const&, Via const&) = default;

 private:
   Ipkit::IpGenAddr addr_;
   Ipkit::IntfId intf_;
   std::uint32_t weight_ = 0;
};

/// Writes toStrep().
std::ostream& operator<<(std::ostream& os, Via const& v);
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 Via const& v);
/// Value('Pbr::Via', ** {'addr': '10.0.0.2', 'intf': 'Ethernet1', 'weight': 1})
Vex::String valueToStrep(Via const& v);
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, Via& v);

} // namespace Pbr
