// Pbr/ResolvedNexthopInfo.h: what a next-hop set resolved to.
//
// A next-hop set and the set of its vias that are active now. Equal when both
// the next-hop set and the active vias are equal. A copy holds its own vias.
//
//   Pbr::ResolvedNexthopInfo info(Pbr::NexthopSet(0, false, false, "default", 0));
//   info.viaActiveIs(via);
//   for (auto i = info.viaActiveIteratorConst(); i; ++i) use(i.key());
#pragma once

#include "Pbr/NexthopSet.h"
#include "Pbr/Via.h"
#include "Vex/CollectionNode.h"
#include "Vex/HashMap2018.h"

#include <cstddef>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Pbr {

class ResolvedNexthopInfo {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   using ViaSet = Vex::HashMap2018<Vex::SetNode<Via, Vex::HashLink>, Via, void>;

   /// The default next-hop set, no active via.
   ResolvedNexthopInfo() = default;
   explicit ResolvedNexthopInfo(NexthopSet nexthopSet) : nexthopSet_(std::move(nexthopSet)) {}
   /// Reads the attribute-log encoding: the next-hop set, a u32 count, then
   /// each via. A repeated via raises Vex::Exception.
   ResolvedNexthopInfo(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   NexthopSet const& nexthopSet() const noexcept { return nexthopSet_; }
   void nexthopSetIs(NexthopSet s) { nexthopSet_ = std::move(s); }

   /// Adds `via` to the active vias (nothing when it is there already).
   void viaActiveIs(Via const& via);
   /// Removes `via`; says whether it was active.
   bool viaActiveDel(Via const& via);
   void viaActiveDelAll() noexcept { viaActive_.clear(); }
   bool viaActiveHas(Via const& via) const noexcept { return viaActive_.has(via); }
   std::size_t viaActiveSize() const noexcept { return viaActive_.size(); }
   /// Walks the active vias in the set's content-fixed order; `key()` is the
   /// via. Survives deletions made while walking.
   ViaSet::Iterator viaActiveIteratorConst() const noexcept { return viaActive_.iterator(); }

   friend bool operator==(ResolvedNexthopInfo const& a, ResolvedNexthopInfo const& b) {
      return a.nexthopSet_ == b.nexthopSet_ && a.viaActive_ == b.viaActive_;
   }

 private:
   NexthopSet nexthopSet_;
   ViaSet viaActive_;
};

/// "<next-hop set> vias [<via>; <via>]"
std::ostream& operator<<(std::ostream& os, ResolvedNexthopInfo const& r);
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 ResolvedNexthopInfo const& r);
/// Value('Pbr::ResolvedNexthopInfo', ** {'nexthopSet': <value text>,
///                                        'viaActive': [<via value text>, ...]})
/// with the vias in iteration order, separated by ", ".
Vex::String valueToStrep(ResolvedNexthopInfo const& r);
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, ResolvedNexthopInfo& r);

} // namespace Pbr
