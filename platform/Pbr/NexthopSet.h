// Pbr/NexthopSet.h: the next-hop set a policy-routing action resolves.
//
// A next-hop set names a group of next hops in a VRF: its group id, whether
// the next hops resolve recursively, whether traffic is dropped when none
// resolves, the VRF's name, and the TTL to set on redirected packets (0: left
// alone).
//
//   Pbr::NexthopSet s(0, false, false, "default", 0);
//   s.toStrepCli();   // "group 0 vrf default"
#pragma once

#include "Vex/NboAttrLog.h"
#include "Vex/String.h"
#include "Vex/ValueText.h"

#include <cstdint>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Pbr {

class NexthopSet {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   /// Group 0 in VRF "default", nothing else set.
   NexthopSet() = default;
   NexthopSet(std::uint32_t groupId, bool recursive, bool drop, Vex::String vrfName,
              std::uint32_t ttl)
       : groupId_(groupId), recursive_(recursive), drop_(drop), vrfName_(std::move(vrfName)),
         ttl_(ttl) {}
   /// Reads the attribute-log encoding: u32 groupId, bool recursive, bool
   /// drop, string vrfName, u32 ttl.
   NexthopSet(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   std::uint32_t groupId() const noexcept { return groupId_; }
   bool recursive() const noexcept { return recursive_; }
   bool drop() const noexcept { return drop_; }
   Vex::String const& vrfName() const noexcept { return vrfName_; }
   std::uint32_t ttl() const noexcept { return ttl_; }
   void groupIdIs(std::uint32_t v) noexcept { groupId_ = v; }
   void recursiveIs(bool v) noexcept { recursive_ = v; }
   void dropIs(bool v) noexcept { drop_ = v; }
   void vrfNameIs(Vex::String v) { vrfName_ = std::move(v); }
   void ttlIs(std::uint32_t v) noexcept { ttl_ = v; }

   /// The command-line text: "group <id> vrf <name>", then " recursive",
   /// " drop" and " ttl <n>" for what is set.
   Vex::String toStrepCli() const;
   std::uint32_t hash() const noexcept;

   friend bool operator==(NexthopSet const&, NexthopSet const&) = default;

 private:
   std::uint32_t groupId_ = 0;
   bool recursive_ = false;
   bool drop_ = false;
   Vex::String vrfName_ = "default";
   std::uint32_t ttl_ = 0;
};

/// Writes toStrepCli().
std::ostream& operator<<(std::ostream& os, NexthopSet const& s);
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 NexthopSet const& s);
/// Value('Pbr::NexthopSet', ** {'groupId': 0, 'recursive': False, 'drop': False,
///                              'vrfName': 'default', 'ttl': 0})
Vex::String valueToStrep(NexthopSet const& s);
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, NexthopSet& s);

} // namespace Pbr
