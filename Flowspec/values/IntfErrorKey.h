// Flowspec/values/IntfErrorKey.h: the key of a per-interface error in a
// VRF's status: an interface and an address family.
//
//   IntfErrorKey k(Ipkit::IntfId(Vex::String("Ethernet1")), Ipkit::ipv4);
//   k.toStrep();   // "Ethernet1,ipv4"
#pragma once

#include "Flowspec/framework/ValueCodec.h"
#include "Ipkit/AddressFamily.h"
#include "Ipkit/IntfId.h"

#include <cstdint>
#include <tuple>

namespace Vex {
class VexType;
}

namespace Flowspec {

class IntfErrorKey {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   static constexpr char vexTypeName[] = "Flowspec::IntfErrorKey";
   static constexpr auto vexFields() {
      using K = IntfErrorKey;
      return std::tuple{Vex::valueField("intfId", &K::intfId, &K::intfIdIs),
                        Vex::valueField("addressFamily", &K::addressFamily, &K::addressFamilyIs)};
   }

   IntfErrorKey() = default;
   IntfErrorKey(Ipkit::IntfId const& intfId, Ipkit::AddressFamily addressFamily)
       : intfId_(intfId), addressFamily_(addressFamily) {}
   /// Read the value text or the log (intfId, u32 address family).
   IntfErrorKey(Vex::TextIter& pos, Vex::TextIter end)
       : IntfErrorKey(Vex::fieldsFromStrep<IntfErrorKey>(pos, end)) {}
   IntfErrorKey(Vex::NboAttrLog::In* in, Vex::StreamBogon)
       : IntfErrorKey(Vex::fieldsFromLog<IntfErrorKey>(*in)) {}

   Ipkit::IntfId const& intfId() const noexcept { return intfId_; }
   Ipkit::AddressFamily addressFamily() const noexcept { return addressFamily_; }
   void intfIdIs(Ipkit::IntfId const& i) { intfId_ = i; }
   void addressFamilyIs(Ipkit::AddressFamily af) noexcept { addressFamily_ = af; }

   /// Mixes the interface id's hash, then the address family.
   std::uint32_t hash() const noexcept;
   /// "<interface>,<address family>", each in its text form.
   Vex::String toStrep() const;

   friend bool operator==(IntfErrorKey const&, IntfErrorKey const&) = default;
   /// By interface id; on the same interface by address family (signed).
   friend bool operator<(IntfErrorKey const& a, IntfErrorKey const& b) noexcept {
      if (a.intfId_ == b.intfId_) return a.addressFamily_ < b.addressFamily_;
      return a.intfId_ < b.intfId_;
   }
   /// True for the empty interface id with address family 0.
   bool operator!() const noexcept { return *this == IntfErrorKey(); }

 private:
   Ipkit::IntfId intfId_;
   Ipkit::AddressFamily addressFamily_ = Ipkit::ipunknown;
};

} // namespace Flowspec
