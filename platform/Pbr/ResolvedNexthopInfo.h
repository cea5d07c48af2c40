// Pbr/ResolvedNexthopInfo.h: what a next-hop set resolved to.
//
// A next-hop set and the set of its vias that are active now. Equal when both
// the next-hop set and the active vias are equal. A copy holds its own vias.
//
// Every rule's status holds one, and nearly all are the default (nothing
// resolved yet, or a rule without redirect): the default holds nothing but a
// null pointer (8 bytes instead of 80), and the next-hop set and vias live in
// a block of their own from the first change on.
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
#include <memory>

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
   ResolvedNexthopInfo() noexcept = default;
   /// Holds nothing of its own when `nexthopSet` is the default one.
   explicit ResolvedNexthopInfo(NexthopSet nexthopSet) { nexthopSetIs(std::move(nexthopSet)); }
   ResolvedNexthopInfo(ResolvedNexthopInfo const& o)
       : body_(o.body_ ? std::make_unique<Body>(*o.body_) : nullptr) {}
   ResolvedNexthopInfo(ResolvedNexthopInfo&&) noexcept = default;
   ResolvedNexthopInfo& operator=(ResolvedNexthopInfo const& o) {
      if (this != &o) body_ = o.body_ ? std::make_unique<Body>(*o.body_) : nullptr;
      return *this;
   }
   ResolvedNexthopInfo& operator=(ResolvedNexthopInfo&&) noexcept = default;
   /// Reads the attribute-log encoding: the next-hop set, a u32 count, then
   /// each via. A repeated via raises Vex::Exception.
   ResolvedNexthopInfo(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   NexthopSet const& nexthopSet() const noexcept { return body().nexthopSet; }
   void nexthopSetIs(NexthopSet s) {
      if (body_ || !(s == defaultBody().nexthopSet)) own().nexthopSet = std::move(s);
   }

   /// Adds `via` to the active vias (nothing when it is there already).
   void viaActiveIs(Via const& via);
   /// Removes `via`; says whether it was active.
   bool viaActiveDel(Via const& via);
   void viaActiveDelAll() noexcept {
      if (body_) body_->viaActive.clear();
   }
   bool viaActiveHas(Via const& via) const noexcept { return body().viaActive.has(via); }
   std::size_t viaActiveSize() const noexcept { return body().viaActive.size(); }
   /// Walks the active vias in the set's content-fixed order; `key()` is the
   /// via. Survives deletions made while walking.
   ViaSet::Iterator viaActiveIteratorConst() const noexcept { return body().viaActive.iterator(); }

   friend bool operator==(ResolvedNexthopInfo const& a, ResolvedNexthopInfo const& b) {
      return a.body().nexthopSet == b.body().nexthopSet && a.body().viaActive == b.body().viaActive;
   }

 private:
   struct Body {
      NexthopSet nexthopSet;
      ViaSet viaActive;
   };
   /// What the value holds: its block, or the shared default one.
   Body const& body() const noexcept { return body_ ? *body_ : defaultBody(); }
   static Body const& defaultBody() noexcept;
   /// The value's own block, made on the first change.
   Body& own() {
      if (!body_) body_ = std::make_unique<Body>();
      return *body_;
   }

   std::unique_ptr<Body> body_;
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
