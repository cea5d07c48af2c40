#include "Flowspec/values/MatchOpVal.h"

#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/TcpBitMask.h"

#include <charconv>
#include <ostream>
#include <sstream>

namespace Flowspec {

namespace {
// The flags both toStrep texts share, from "<matchType=" to ";match=<bit>".
template <class Pair>
void writeFlags(std::ostream& os, Pair const& p) {
   os << "<matchType=" << p.matchType() << ";andPrevious=" << p.andPrevious()
      << ";lt=" << p.lt() << ";gt=" << p.gt() << ";eq=" << p.eq()
      << ";invert=" << p.invert() << ";match=" << p.match();
}
} // namespace

Vex::String MatchOpVal::toStrep() const {
   std::ostringstream os;
   writeFlags(os, *this);
   os << ";byteLength=" << byteLength() << ";val=0x" << std::hex << val() << '>';
   return Vex::String(os.str());
}

Vex::String MatchOpValResult::toStrep() const {
   std::ostringstream os;
   writeFlags(os, *this);
   os << ";nextIndex=" << nextIndex_ << ";val32=0x" << std::hex << val32_ << '>';
   return Vex::String(os.str());
}

void MatchOpValResult::appendCliOperators(std::string& out, bool first) const {
   if (first) {
      out += ';';
      out += Internal::compTypeLabelText(matchType_);
      out += ':';
   } else {
      out += andPrevious() ? '&' : '|';
   }
   if (!isBitfieldType(matchType_)) {
      if (lt()) out += '<';
      if (gt()) out += '>';
   } else if (invert()) {
      out += '!';
   }
   if (eq()) out += '=';
}

void MatchOpValResult::formatForCli(std::ostream& out, bool first) const {
   std::string operators;
   appendCliOperators(operators, first);
   out << operators << val32_;
}

void MatchOpValResult::appendForCli(std::string& out, bool first) const {
   appendCliOperators(out, first);
   char digits[10];
   auto r = std::to_chars(digits, digits + sizeof digits, val32_);
   out.append(digits, r.ptr);
}

void MatchOpValResult::formatForCliDetail(std::ostream& out, bool first) const {
   if (first) {
      out << ';' << FlowspecUtil().compTypeToDetailLabel(matchType_) << " : ";
   } else {
      out << (andPrevious() ? " & " : " | ");
   }
   if (isBitfieldType(matchType_)) {
      out << (match() ? "ALL" : "ANY");
   } else {
      if (lt()) out << '<';
      if (gt()) out << '>';
      if (eq()) out << '=';
   }
   auto maskVal = static_cast<std::uint16_t>(invert() ? 0 : val32_);
   auto mask = static_cast<std::uint16_t>(val32_);
   if (matchType_ == MatchCompType::tcpFlags) {
      out << '(' << TcpBitMask(maskVal, mask).toStrepCli() << ')';
   } else if (matchType_ == MatchCompType::fragment) {
      out << '(' << IpBitMask(maskVal, mask).toStrepCli() << ')';
   } else {
      out << val32_;
   }
}

} // namespace Flowspec
