#include "Pbr/Via.h"

#include "Vex/Hash.h"

#include <ostream>
#include <string>

namespace Pbr {

Via::Via(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : addr_(in, Vex::StreamBogon()), intf_(in, Vex::StreamBogon()), weight_(in->nextU32()) {}

Vex::String Via::toStrep() const {
   std::string s = addr_.stringValue().str();
   s += ", ";
   s += intf_.stringValue().str();
   s += ", ";
   s += std::to_string(weight_);
   return Vex::String(std::move(s));
}

std::uint32_t Via::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixU32(addr_.hash());
   h.mixU32(intf_.hash());
   h.mixU32(weight_);
   return h.result();
}

std::ostream& operator<<(std::ostream& os, Via const& v) {
   return os << v.toStrep();
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 Via const& v) {
   out << v.addr() << v.intf() << v.weight();
   return out;
}

Vex::String valueToStrep(Via const& v) {
   return "Value('Pbr::Via', ** {'addr': " + valueToStrep(v.addr()) +
          ", 'intf': " + valueToStrep(v.intf()) + ", 'weight': " + Vex::valueToStrep(v.weight()) +
          "})";
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, Via& v) {
   Ipkit::IpGenAddr addr;
   Ipkit::IntfId intf;
   std::uint32_t weight = 0;
   Vex::expectLiteral(pos, end, "Value('Pbr::Via', ** {'addr': ");
   Vex::readField(pos, end, "addr", addr);
   Vex::expectLiteral(pos, end, ", 'intf': ");
   Vex::readField(pos, end, "intf", intf);
   Vex::expectLiteral(pos, end, ", 'weight': ");
   Vex::readField(pos, end, "weight", weight);
   Vex::expectLiteral(pos, end, "})");
   v = Via(std::move(addr), std::move(intf), weight);
}

} // namespace Pbr
