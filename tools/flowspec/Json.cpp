#include "Json.h"

#include <cstdio>

namespace FlowspecTool {

namespace {

// The length of the UTF-8 sequence at the start of `s`, or 0 when it is not
// a well-formed one (overlong forms, surrogates and values above U+10FFFF
// are not).
std::size_t utf8Length(std::string_view s) {
   auto byte = [&](std::size_t i) { return static_cast<unsigned char>(s[i]); };
   unsigned char const b = byte(0);
   std::size_t n;
   std::uint32_t cp;
   if (b < 0x80) return 1;
   if (b >= 0xc2 && b <= 0xdf) {
      n = 2;
      cp = b & 0x1f;
   } else if (b >= 0xe0 && b <= 0xef) {
      n = 3;
      cp = b & 0x0f;
   } else if (b >= 0xf0 && b <= 0xf4) {
      n = 4;
      cp = b & 0x07;
   } else {
      return 0;
   }
   if (s.size() < n) return 0;
   for (std::size_t i = 1; i < n; ++i) {
      if ((byte(i) & 0xc0) != 0x80) return 0;
      cp = cp << 6 | (byte(i) & 0x3f);
   }
   if ((n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000) || cp > 0x10ffff ||
       (cp >= 0xd800 && cp <= 0xdfff)) {
      return 0;
   }
   return n;
}

} // namespace

std::string jsonString(std::string_view text) {
   std::string out = "\"";
   while (!text.empty()) {
      unsigned char const c = static_cast<unsigned char>(text[0]);
      std::size_t n = 1;
      switch (c) {
      case '"':
         out += "\\\"";
         break;
      case '\\':
         out += "\\\\";
         break;
      case '\b':
         out += "\\b";
         break;
      case '\f':
         out += "\\f";
         break;
      case '\n':
         out += "\\n";
         break;
      case '\r':
         out += "\\r";
         break;
      case '\t':
         out += "\\t";
         break;
      default:
         if (c < 0x20) {
            char u[8];
            std::snprintf(u, sizeof u, "\\u%04x", c);
            out += u;
         } else if ((n = utf8Length(text)) == 0) {
            out += "\\ufffd";
            n = 1;
         } else {
            out.append(text.substr(0, n));
         }
      }
      text.remove_prefix(n);
   }
   out += '"';
   return out;
}

void JsonWriter::newline() {
   out_ << '\n';
   for (std::size_t i = 0; i < counts_.size(); ++i)
      out_ << "  ";
}

void JsonWriter::beforeValue() {
   if (afterKey_) {
      afterKey_ = false;
      return;
   }
   if (counts_.empty()) return;
   if (counts_.back()++ > 0) out_ << ',';
   newline();
}

void JsonWriter::key(std::string_view name) {
   if (counts_.back()++ > 0) out_ << ',';
   newline();
   out_ << jsonString(name) << ": ";
   afterKey_ = true;
}

void JsonWriter::open(char bracket) {
   beforeValue();
   out_ << bracket;
   counts_.push_back(0);
}

void JsonWriter::close(char bracket) {
   bool const empty = counts_.back() == 0;
   counts_.pop_back();
   if (!empty) newline();
   out_ << bracket;
}

void JsonWriter::value(std::string_view text) {
   beforeValue();
   out_ << jsonString(text);
}

void JsonWriter::value(std::uint64_t number) {
   beforeValue();
   out_ << number;
}

void JsonWriter::value(bool b) {
   beforeValue();
   out_ << (b ? "true" : "false");
}

void JsonWriter::numbers(std::vector<std::uint64_t> const& values) {
   beforeValue();
   out_ << '[';
   for (std::size_t i = 0; i < values.size(); ++i)
      out_ << (i ? ", " : "") << values[i];
   out_ << ']';
}

void JsonWriter::null() {
   beforeValue();
   out_ << "null";
}

} // namespace FlowspecTool
