// Flowspec/framework/ValueCodec.h: the value text and attribute-log operators
// of the library's values, derived from their descriptions.
//
// Found by argument-dependent lookup for every type of the namespace:
//   - a registered enumeration (MatchCompType, HwRuleProgrammingStatus,
//     IpBitMask::IpBit, TcpBitMask::TcpBit) prints and parses as its
//     enumerator name through the registered Vex::EnumType (a value without a
//     name as its number), and travels in the log as a 32-bit word;
//   - a field-described value (Vex/ValueFields.h) gets valueToStrep,
//     sequenceToValue, stream output of its value text, and the log writer.
// Each described type adds the two reading constructors, which delegate to
// Vex::fieldsFromStrep and Vex::fieldsFromLog.
#pragma once

#include "Vex/Enum.h"
#include "Vex/NboAttrLog.h"
#include "Vex/ValueFields.h"
#include "Vex/ValueText.h"

#include <ostream>

namespace Flowspec {

template <Vex::RegisteredEnum E>
Vex::String valueToStrep(E e) {
   return Vex::enumName(e);
}
template <Vex::RegisteredEnum E>
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, E& e) {
   e = static_cast<E>(vexEnumType(E{}).readText(pos, end));
}

template <Vex::FieldDescribed T>
Vex::String valueToStrep(T const& v) {
   return Vex::fieldsToStrep(v);
}
template <Vex::FieldDescribed T>
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, T& v) {
   v = Vex::fieldsFromStrep<T>(pos, end);
}
template <Vex::FieldDescribed T>
std::ostream& operator<<(std::ostream& os, T const& v) {
   return os << Vex::fieldsToStrep(v);
}
template <Vex::FieldDescribed T>
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 T const& v) {
   Vex::fieldsToLog(out, v);
   return out;
}

} // namespace Flowspec
