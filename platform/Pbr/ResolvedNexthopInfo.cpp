#include "Pbr/ResolvedNexthopInfo.h"

#include <ostream>
#include <string>

namespace Pbr {

namespace {
using ViaNode = Vex::SetNode<Via, Vex::HashLink>;
}

ResolvedNexthopInfo::Body const& ResolvedNexthopInfo::defaultBody() noexcept {
   static Body const none;
   return none;
}

ResolvedNexthopInfo::ResolvedNexthopInfo(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : ResolvedNexthopInfo(NexthopSet(in, Vex::StreamBogon())) {
   std::uint32_t count = in->nextU32();
   // Each via takes bytes, so a count beyond the record ends in the
   // past-the-end error of the reader rather than a long loop.
   for (std::uint32_t i = 0; i < count; ++i) {
      if (!own().viaActive.insert(new ViaNode(Via(in, Vex::StreamBogon()))).second) {
         throw Vex::Exception("ResolvedNexthopInfo: via " + std::to_string(i) +
                              " repeats an earlier via");
      }
   }
}

void ResolvedNexthopInfo::viaActiveIs(Via const& via) {
   if (!viaActiveHas(via)) own().viaActive.insert(new ViaNode(via));
}

bool ResolvedNexthopInfo::viaActiveDel(Via const& via) {
   return body_ && static_cast<bool>(body_->viaActive.erase(via));
}

std::ostream& operator<<(std::ostream& os, ResolvedNexthopInfo const& r) {
   os << r.nexthopSet() << " vias [";
   char const* sep = "";
   for (auto i = r.viaActiveIteratorConst(); i; ++i) {
      os << sep << i.key();
      sep = "; ";
   }
   return os << ']';
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 ResolvedNexthopInfo const& r) {
   out << r.nexthopSet() << static_cast<std::uint32_t>(r.viaActiveSize());
   for (auto i = r.viaActiveIteratorConst(); i; ++i)
      out << i.key();
   return out;
}

Vex::String valueToStrep(ResolvedNexthopInfo const& r) {
   std::string s = "Value('Pbr::ResolvedNexthopInfo', ** {'nexthopSet': ";
   s += valueToStrep(r.nexthopSet()).str();
   s += ", 'viaActive': [";
   char const* sep = "";
   for (auto i = r.viaActiveIteratorConst(); i; ++i) {
      s += sep;
      s += valueToStrep(i.key()).str();
      sep = ", ";
   }
   s += "]})";
   return Vex::String(std::move(s));
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, ResolvedNexthopInfo& r) {
   Vex::expectLiteral(pos, end, "Value('Pbr::ResolvedNexthopInfo', ** {'nexthopSet': ");
   NexthopSet set;
   Vex::readField(pos, end, "nexthopSet", set);
   ResolvedNexthopInfo tmp(std::move(set));
   Vex::expectLiteral(pos, end, ", 'viaActive': [");
   if (!Vex::tryLiteral(pos, end, "]")) {
      do {
         Via via;
         Vex::readField(pos, end, "viaActive", via);
         if (tmp.viaActiveHas(via)) Vex::parseError("a via not listed before", pos, end);
         tmp.viaActiveIs(via);
      } while (Vex::tryLiteral(pos, end, ", "));
      Vex::expectLiteral(pos, end, "]");
   }
   Vex::expectLiteral(pos, end, "})");
   r = std::move(tmp);
}

} // namespace Pbr
