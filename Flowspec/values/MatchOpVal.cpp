#include "Flowspec/values/MatchOpVal.h"

#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/TcpBitMask.h"
#include "Vex/ReflectTable.h"

#include <charconv>
#include <cstddef>
#include <ostream>
#include <sstream>
#include <string_view>

namespace Flowspec {

namespace {
// The flags both toStrep texts share, from "<matchType=" to ";match=<bit>".
template <class Pair>
void writeFlags(std::ostream& os, Pair const& p) {
   os << "<matchType=" << p.matchType() << ";andPrevious=" << p.andPrevious() << ";lt=" << p.lt()
      << ";gt=" << p.gt() << ";eq=" << p.eq() << ";invert=" << p.invert() << ";match=" << p.match();
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

namespace {
// The longest text before an operand: ";", a short label, ":" and "<>=".
constexpr std::size_t cliOperatorsMax = 1 + Internal::compTypeLabelMax + 1 + 3;
} // namespace

char* MatchOpValResult::writeCliOperators(char* p, bool first) const {
   if (first) {
      *p++ = ';';
      char const* label = Internal::compTypeLabelText(matchType_);
      while (*label)
         *p++ = *label++;
      *p++ = ':';
   } else {
      *p++ = andPrevious() ? '&' : '|';
   }
   if (!isBitfieldType(matchType_)) {
      if (lt()) *p++ = '<';
      if (gt()) *p++ = '>';
   } else if (invert()) {
      *p++ = '!';
   }
   if (eq()) *p++ = '=';
   return p;
}

void MatchOpValResult::formatForCli(std::ostream& out, bool first) const {
   char operators[cliOperatorsMax];
   char const* const end = writeCliOperators(operators, first);
   out << std::string_view(operators, static_cast<std::size_t>(end - operators)) << val32_;
}

void MatchOpValResult::appendForCli(std::string& out, bool first) const {
   // One append per pair: the key printer calls this for every pair.
   char text[cliOperatorsMax + 10];
   char* const operand = writeCliOperators(text, first);
   out.append(text, std::to_chars(operand, text + sizeof text, val32_).ptr);
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

// --- Reflection ----------------------------------------------------------------

namespace {

using PairBits = OperatorBits<MatchOpVal>;
using ResultBits = OperatorBits<MatchOpValResult>;

constexpr auto matchOpValRows = Vex::valueRows(
    Vex::fieldRows<MatchOpVal>(),
    Vex::field<&MatchOpVal::matchType, &MatchOpVal::matchTypeIs>("matchType"),
    Vex::field<&MatchOpVal::op, &MatchOpVal::opIs>("op"),
    Vex::field<&MatchOpVal::val, &MatchOpVal::valIs>("val"),
    Vex::field<&PairBits::endOfList, &PairBits::endOfListIs>("endOfList"),
    Vex::field<&PairBits::andPrevious, &PairBits::andPreviousIs>("andPrevious"),
    Vex::field<&PairBits::len, &PairBits::lenIs>("len"),
    Vex::field<&PairBits::lt, &PairBits::ltIs>("lt"),
    Vex::field<&PairBits::gt, &PairBits::gtIs>("gt"),
    Vex::field<&PairBits::eq, &PairBits::eqIs>("eq"),
    Vex::field<&PairBits::invert, &PairBits::invertIs>("invert"),
    Vex::field<&PairBits::match, &PairBits::matchIs>("match"),
    Vex::field<&PairBits::byteLength>("byteLength"), Vex::method<&MatchOpVal::toStrep>("toStrep"));

constexpr auto matchOpValResultRows =
    Vex::valueRows(Vex::fieldRows<MatchOpValResult, 0, 1, 2>(), // matchType, op, val32
                   Vex::field<&ResultBits::endOfList, &ResultBits::endOfListIs>("endOfList"),
                   Vex::field<&ResultBits::andPrevious, &ResultBits::andPreviousIs>("andPrevious"),
                   Vex::field<&ResultBits::len, &ResultBits::lenIs>("len"),
                   Vex::field<&ResultBits::lt, &ResultBits::ltIs>("lt"),
                   Vex::field<&ResultBits::gt, &ResultBits::gtIs>("gt"),
                   Vex::field<&ResultBits::eq, &ResultBits::eqIs>("eq"),
                   Vex::field<&ResultBits::invert, &ResultBits::invertIs>("invert"),
                   Vex::field<&ResultBits::match, &ResultBits::matchIs>("match"),
                   Vex::fieldRows<MatchOpValResult, 3>(), // nextIndex
                   Vex::at(16, Vex::method<&MatchOpValResult::toStrep>("toStrep")));

} // namespace

constinit Vex::VexType const MatchOpVal::_vexType =
    Vex::valueDescriptor<MatchOpVal>(matchOpValRows);
constinit Vex::VexType const MatchOpValResult::_vexType =
    Vex::valueDescriptor<MatchOpValResult>(matchOpValResultRows);

} // namespace Flowspec
