// tools/flowspec/Json.h: a small writer of indented JSON.
//
// Objects and arrays put each member on a line of its own, indented by two
// blanks per level; empty ones print as {} and [], arrays of numbers written
// with numbers() as one line. Strings are escaped as
// RFC 8259 requires: '"', '\\' and the control characters, with bytes that
// are not UTF-8 replaced by U+FFFD, so any bytes give valid JSON.
//
//   JsonWriter j(std::cout);
//   j.beginObject();
//   j.member("rule", "*;*;IP:=17;");
//   j.member("line", 12);
//   j.endObject();   // {\n  "rule": "*;*;IP:=17;",\n  "line": 12\n}
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace FlowspecTool {

/// `text` as a JSON string literal, quotes included.
std::string jsonString(std::string_view text);

class JsonWriter {
 public:
   explicit JsonWriter(std::ostream& out) : out_(out) {}

   void beginObject() { open('{'); }
   void endObject() { close('}'); }
   void beginArray() { open('['); }
   void endArray() { close(']'); }
   /// The name of the next member of the current object.
   void key(std::string_view name);

   void value(std::string_view text);
   void value(char const* text) { value(std::string_view(text)); }
   void value(std::uint64_t number);
   void value(bool b);
   void null();
   /// A member of the current object: key(name), then value(v).
   template <class V>
   void member(std::string_view name, V const& v) {
      key(name);
      if constexpr (std::is_integral_v<V> && !std::is_same_v<V, bool>) {
         value(std::uint64_t(v));
      } else {
         value(v);
      }
   }
   /// An array of numbers on one line: [1, 2].
   void numbers(std::vector<std::uint64_t> const& values);
   /// Ends the document with a newline.
   void end() { out_ << '\n'; }

 private:
   void open(char bracket);
   void close(char bracket);
   // Before a value: a separator and indentation inside an array; nothing
   // right after a key.
   void beforeValue();
   void newline();

   std::ostream& out_;
   std::vector<unsigned> counts_; // members so far, per open level
   bool afterKey_ = false;
};

} // namespace FlowspecTool
