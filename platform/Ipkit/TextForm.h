// Ipkit/TextForm.h: the text adapters every Ipkit value shares, written once.
//
// A value whose plain text is its stringValue() ("10.0.0.0/8", "Ethernet1")
// and which constructs from that text opts in with
//
//   static constexpr bool ipkitTextForm = true;
//   static constexpr bool emptyTextIsDefault = ...;   // optional, false by default
//
// and gets, found by argument-dependent and by qualified lookup:
//   - stream output of stringValue();
//   - valueToStrep: stringValue() as a quoted string value text ('10.0.0.1');
//   - sequenceToValue: reads a quoted string value text and constructs the
//     value from it (raising what the constructor raises); when
//     emptyTextIsDefault, the empty text reads as the default value.
// Each type keeps its own attribute-log writer: the encodings differ.
#pragma once

#include "Vex/String.h"
#include "Vex/ValueText.h"

#include <ostream>

namespace Ipkit {

/// A value that opted in to the shared text adapters.
template <class T>
concept TextFormValue = T::ipkitTextForm;

template <TextFormValue T>
std::ostream& operator<<(std::ostream& os, T const& v) {
   return os << v.stringValue();
}

template <TextFormValue T>
Vex::String valueToStrep(T const& v) {
   return Vex::valueToStrep(v.stringValue());
}

template <TextFormValue T>
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, T& v) {
   Vex::String text;
   Vex::sequenceToValue(pos, end, text);
   if constexpr (requires { requires T::emptyTextIsDefault; }) {
      if (text.empty()) {
         v = T();
         return;
      }
   }
   v = T(text);
}

} // namespace Ipkit
