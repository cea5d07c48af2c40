#include "Pbr/NexthopSet.h"

#include "Vex/Hash.h"

#include <ostream>
#include <string>

namespace Pbr {

NexthopSet::NexthopSet(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : groupId_(in->nextU32()), recursive_(in->nextbool()), drop_(in->nextbool()),
      vrfName_(in->nextString()), ttl_(in->nextU32()) {}

Vex::String NexthopSet::toStrepCli() const {
   std::string s = "group " + std::to_string(groupId_) + " vrf " + vrfName_.str();
   if (recursive_) s += " recursive";
   if (drop_) s += " drop";
   if (ttl_) s += " ttl " + std::to_string(ttl_);
   return Vex::String(std::move(s));
}

std::uint32_t NexthopSet::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixU32(groupId_);
   h.mixBool(recursive_);
   h.mixBool(drop_);
   h.mixU32(vrfName_.hash());
   h.mixU32(ttl_);
   return h.result();
}

std::ostream& operator<<(std::ostream& os, NexthopSet const& s) {
   return os << s.toStrepCli();
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 NexthopSet const& s) {
   out << s.groupId() << s.recursive() << s.drop() << s.vrfName() << s.ttl();
   return out;
}

Vex::String valueToStrep(NexthopSet const& s) {
   return "Value('Pbr::NexthopSet', ** {'groupId': " + Vex::valueToStrep(s.groupId()) +
          ", 'recursive': " + Vex::valueToStrep(s.recursive()) +
          ", 'drop': " + Vex::valueToStrep(s.drop()) +
          ", 'vrfName': " + Vex::valueToStrep(s.vrfName()) +
          ", 'ttl': " + Vex::valueToStrep(s.ttl()) + "})";
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, NexthopSet& s) {
   std::uint32_t groupId = 0, ttl = 0;
   bool recursive = false, drop = false;
   Vex::String vrfName;
   Vex::expectLiteral(pos, end, "Value('Pbr::NexthopSet', ** {'groupId': ");
   Vex::readField(pos, end, "groupId", groupId);
   Vex::expectLiteral(pos, end, ", 'recursive': ");
   Vex::readField(pos, end, "recursive", recursive);
   Vex::expectLiteral(pos, end, ", 'drop': ");
   Vex::readField(pos, end, "drop", drop);
   Vex::expectLiteral(pos, end, ", 'vrfName': ");
   Vex::readField(pos, end, "vrfName", vrfName);
   Vex::expectLiteral(pos, end, ", 'ttl': ");
   Vex::readField(pos, end, "ttl", ttl);
   Vex::expectLiteral(pos, end, "})");
   s = NexthopSet(groupId, recursive, drop, std::move(vrfName), ttl);
}

} // namespace Pbr
