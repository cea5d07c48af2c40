// Vex/ValueText.h: the value text of the framework's primitives and the text
// reader that every value's text form is parsed with.
//
// Every value `v` of every library has a value text, `valueToStrep(v)`, and is
// read back from one by `strepToValue(text, v)`; both are found by argument-
// dependent lookup for library types and live here for the primitives:
//
//   | type                       | value text                    |
//   |----------------------------|-------------------------------|
//   | bool                       | True, False                   |
//   | unsigned and signed ints   | decimal: 42, -7               |
//   | float, double              | shortest round-trip: 0.5, inf |
//   | Vex::String, Vex::Name     | single-quoted: 'it\'s'        |
//
// Strings escape backslash and the quote with a backslash, tab, newline and
// carriage return as \t \n \r, and other bytes below 0x20 and 0x7f as \xHH.
//
// Parsers work on a position in a text (Vex::TextIter, a `const char*`) that
// they advance past what they read. Anything unexpected raises Vex::Exception
// saying what was expected and where, for example
//   field 'rangeMin': expected an unsigned number at 'abc})'
#pragma once

#include "Vex/Exception.h"
#include "Vex/String.h"

#include <concepts>
#include <cstdint>
#include <limits>
#include <string_view>
#include <type_traits>

namespace Vex {

using TextIter = char const*;

// ---- writing ---------------------------------------------------------------

String valueToStrep(bool v);
String valueToStrep(std::uint64_t v);
String valueToStrep(std::int64_t v);
String valueToStrep(double v);
String valueToStrep(float v);
String valueToStrep(String const& v);
inline String valueToStrep(char const* v) {
   return valueToStrep(String(v));
}
template <class T>
requires(std::is_integral_v<T> && !std::is_same_v<T, bool>) String valueToStrep(T v) {
   if constexpr (std::is_signed_v<T>) {
      return valueToStrep(static_cast<std::int64_t>(v));
   } else {
      return valueToStrep(static_cast<std::uint64_t>(v));
   }
}

/// Appends the quoted, escaped form of `s` to `out`.
void appendQuoted(std::string& out, std::string_view s);

// ---- reading ---------------------------------------------------------------

/// Raises the parse error "expected <what> at <where>" for the text at `pos`.
[[noreturn]] void parseError(std::string_view what, TextIter pos, TextIter end);
/// `at '<up to 24 characters, quoted and escaped as a string>'` (and "..." when
/// more follows), or `at the end of the text`.
String describePosition(TextIter pos, TextIter end);

/// Consumes `literal` at `pos`, or raises "expected "<literal>" at ...".
void expectLiteral(TextIter& pos, TextIter end, std::string_view literal);
/// Consumes `literal` at `pos` when it is there; says whether it was.
bool tryLiteral(TextIter& pos, TextIter end, std::string_view literal) noexcept;
/// Raises "expected the end of the text at ..." unless `pos` is `end`.
void expectEnd(TextIter pos, TextIter end);

/// Reads True or False (also true and false).
void sequenceToValue(TextIter& pos, TextIter end, bool& v);
/// Reads a decimal number that fits `max`: digits only (no sign, no blanks).
std::uint64_t readUnsigned(TextIter& pos, TextIter end, std::uint64_t max);
/// Reads an optionally negative decimal number within [min, max].
std::int64_t readSigned(TextIter& pos, TextIter end, std::int64_t min, std::int64_t max);
void sequenceToValue(TextIter& pos, TextIter end, double& v);
void sequenceToValue(TextIter& pos, TextIter end, float& v);
/// Reads a single-quoted string with the escapes above.
void sequenceToValue(TextIter& pos, TextIter end, String& v);
inline void sequenceToValue(TextIter& pos, TextIter end, Name& v) {
   String s;
   sequenceToValue(pos, end, s);
   v = Name(std::move(s));
}

template <class T>
requires(std::is_integral_v<T> &&
         !std::is_same_v<T, bool>) void sequenceToValue(TextIter& pos, TextIter end, T& v) {
   if constexpr (std::is_signed_v<T>) {
      v = static_cast<T>(
          readSigned(pos, end, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
   } else {
      v = static_cast<T>(readUnsigned(pos, end, std::numeric_limits<T>::max()));
   }
}

/// Reads one field value with sequenceToValue; an error names the field:
/// "field '<name>': expected ...", a range error keeping its type.
template <class T>
void readField(TextIter& pos, TextIter end, char const* fieldName, T& v);

/// Reads the whole `text` as one value of T into `v`. Raises when the text is
/// not exactly one value, and then leaves `v` unchanged.
template <class T>
void strepToValue(String const& text, T& v) {
   TextIter pos = text.begin();
   T tmp{v};
   sequenceToValue(pos, text.end(), tmp);
   expectEnd(pos, text.end());
   v = std::move(tmp);
}

// ---- inline implementation details -----------------------------------------

namespace Internal {
[[noreturn]] void rethrowForField(char const* fieldName);
}

template <class T>
void readField(TextIter& pos, TextIter end, char const* fieldName, T& v) {
   try {
      sequenceToValue(pos, end, v);
   } catch (Exception const&) {
      Internal::rethrowForField(fieldName);
   }
}

} // namespace Vex
