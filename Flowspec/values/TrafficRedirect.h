// Flowspec/values/TrafficRedirect.h: the redirect action of a rule.
//
//   | field | type                  | default                    |
//   |-------|-----------------------|----------------------------|
//   | vrfId | Vrf::VrfIdMap::VrfId  | 0xffffff (no VRF)          |
//   | addr  | Ipkit::IpGenAddr      | the unspecified address    |
//   | copy  | bool                  | false                      |
//
// `copy` redirects a copy of the packet while the packet itself is forwarded
// as usual.
#pragma once

#include "Flowspec/framework/ValueCodec.h"
#include "Ipkit/IpGenAddr.h"
#include "Vrf/VrfIdMap.h"

#include <tuple>

namespace Vex {
class VexType;
}

namespace Flowspec {

class TrafficRedirect {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr char vexTypeName[] = "Flowspec::TrafficRedirect";
   static constexpr auto vexFields() {
      using R = TrafficRedirect;
      return std::tuple{Vex::valueField("vrfId", &R::vrfId, &R::vrfIdIs, &Vrf::VrfIdMap::vrfIdType),
                        Vex::valueField("addr", &R::addr, &R::addrIs),
                        Vex::valueField("copy", &R::copy, &R::copyIs)};
   }

   TrafficRedirect() = default;
   TrafficRedirect(Vrf::VrfIdMap::VrfId vrfId, Ipkit::IpGenAddr const& addr, bool copy)
       : vrfId_(vrfId), addr_(addr), copy_(copy) {}
   /// Read the value text or the log (u32 vrfId, addr, bool copy).
   TrafficRedirect(Vex::TextIter& pos, Vex::TextIter end)
       : TrafficRedirect(Vex::fieldsFromStrep<TrafficRedirect>(pos, end)) {}
   TrafficRedirect(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : TrafficRedirect(Vex::fieldsFromLog<TrafficRedirect>(*in)) {}

   Vrf::VrfIdMap::VrfId vrfId() const noexcept { return vrfId_; }
   Ipkit::IpGenAddr const& addr() const noexcept { return addr_; }
   bool copy() const noexcept { return copy_; }
   void vrfIdIs(Vrf::VrfIdMap::VrfId v) noexcept { vrfId_ = v; }
   void addrIs(Ipkit::IpGenAddr const& a) noexcept { addr_ = a; }
   void copyIs(bool c) noexcept { copy_ = c; }

   /// All three fields equal.
   friend bool operator==(TrafficRedirect const&, TrafficRedirect const&) = default;
   /// True for the default redirect.
   bool operator!() const noexcept { return *this == TrafficRedirect(); }

 private:
   Vrf::VrfIdMap::VrfId vrfId_ = Vrf::VrfIdMap::noVrfId;
   Ipkit::IpGenAddr addr_;
   bool copy_ = false;
};

} // namespace Flowspec
