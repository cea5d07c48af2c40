#include "Vex/ValueText.h"

#include <charconv>
#include <cstring>

namespace Vex {

String valueToStrep(bool v) {
   return v ? "True" : "False";
}

String valueToStrep(std::uint64_t v) {
   char buf[24];
   auto r = std::to_chars(buf, buf + sizeof buf, v);
   return String(buf, static_cast<std::size_t>(r.ptr - buf));
}

String valueToStrep(std::int64_t v) {
   char buf[24];
   auto r = std::to_chars(buf, buf + sizeof buf, v);
   return String(buf, static_cast<std::size_t>(r.ptr - buf));
}

String valueToStrep(double v) {
   char buf[40];
   auto r = std::to_chars(buf, buf + sizeof buf, v);
   return String(buf, static_cast<std::size_t>(r.ptr - buf));
}

String valueToStrep(float v) {
   char buf[40];
   auto r = std::to_chars(buf, buf + sizeof buf, v);
   return String(buf, static_cast<std::size_t>(r.ptr - buf));
}

void appendQuoted(std::string& out, std::string_view s) {
   static char const hex[] = "0123456789abcdef";
   out += '\'';
   for (char c : s) {
      auto u = static_cast<unsigned char>(c);
      switch (c) {
      case '\\':
         out += "\\\\";
         break;
      case '\'':
         out += "\\'";
         break;
      case '\t':
         out += "\\t";
         break;
      case '\n':
         out += "\\n";
         break;
      case '\r':
         out += "\\r";
         break;
      default:
         if (u < 0x20 || u == 0x7f) {
            out += "\\x";
            out += hex[u >> 4];
            out += hex[u & 0xf];
         } else {
            out += c;
         }
      }
   }
   out += '\'';
}

String valueToStrep(String const& v) {
   std::string out;
   out.reserve(v.size() + 2);
   appendQuoted(out, v.view());
   return String(std::move(out));
}

String describePosition(TextIter pos, TextIter end) {
   if (pos == end) return "at the end of the text";
   std::size_t n = static_cast<std::size_t>(end - pos);
   std::string out = "at ";
   appendQuoted(out, std::string_view(pos, n < 24 ? n : 24));
   if (n > 24) out += "...";
   return String(std::move(out));
}

void parseError(std::string_view what, TextIter pos, TextIter end) {
   std::string msg = "expected ";
   msg += what;
   msg += ' ';
   msg += describePosition(pos, end).str();
   throw Exception(String(std::move(msg)));
}

void expectLiteral(TextIter& pos, TextIter end, std::string_view literal) {
   if (!tryLiteral(pos, end, literal)) {
      std::string what = "\"";
      what += literal;
      what += '"';
      parseError(what, pos, end);
   }
}

bool tryLiteral(TextIter& pos, TextIter end, std::string_view literal) noexcept {
   if (static_cast<std::size_t>(end - pos) < literal.size()) return false;
   if (std::memcmp(pos, literal.data(), literal.size()) != 0) return false;
   pos += literal.size();
   return true;
}

void expectEnd(TextIter pos, TextIter end) {
   if (pos != end) parseError("the end of the text", pos, end);
}

void sequenceToValue(TextIter& pos, TextIter end, bool& v) {
   if (tryLiteral(pos, end, "True") || tryLiteral(pos, end, "true")) {
      v = true;
   } else if (tryLiteral(pos, end, "False") || tryLiteral(pos, end, "false")) {
      v = false;
   } else {
      parseError("True or False", pos, end);
   }
}

std::uint64_t readUnsigned(TextIter& pos, TextIter end, std::uint64_t max) {
   if (pos == end || *pos < '0' || *pos > '9') parseError("an unsigned number", pos, end);
   std::uint64_t v = 0;
   auto r = std::from_chars(pos, end, v);
   if (r.ec == std::errc::result_out_of_range || v > max) {
      parseError("a number no greater than " + std::to_string(max), pos, end);
   }
   pos = r.ptr;
   return v;
}

std::int64_t readSigned(TextIter& pos, TextIter end, std::int64_t min, std::int64_t max) {
   TextIter digits = pos != end && *pos == '-' ? pos + 1 : pos;
   if (digits == end || *digits < '0' || *digits > '9') parseError("a number", pos, end);
   std::int64_t v = 0;
   auto r = std::from_chars(pos, end, v);
   if (r.ec == std::errc::result_out_of_range || v < min || v > max) {
      parseError("a number from " + std::to_string(min) + " to " + std::to_string(max), pos, end);
   }
   pos = r.ptr;
   return v;
}

namespace {
template <class F>
void readFloating(TextIter& pos, TextIter end, F& v) {
   F tmp{};
   auto r = std::from_chars(pos, end, tmp);
   if (r.ec != std::errc()) parseError("a floating-point number", pos, end);
   pos = r.ptr;
   v = tmp;
}
} // namespace

void sequenceToValue(TextIter& pos, TextIter end, double& v) {
   readFloating(pos, end, v);
}
void sequenceToValue(TextIter& pos, TextIter end, float& v) {
   readFloating(pos, end, v);
}

void sequenceToValue(TextIter& pos, TextIter end, String& v) {
   TextIter start = pos;
   if (pos == end || *pos != '\'') parseError("a quoted string", pos, end);
   ++pos;
   std::string out;
   auto hexDigit = [](char c) -> int {
      if (c >= '0' && c <= '9') return c - '0';
      if (c >= 'a' && c <= 'f') return c - 'a' + 10;
      if (c >= 'A' && c <= 'F') return c - 'A' + 10;
      return -1;
   };
   while (true) {
      if (pos == end) parseError("the closing quote of the string", start, end);
      char c = *pos++;
      if (c == '\'') break;
      if (c != '\\') {
         out += c;
         continue;
      }
      if (pos == end) parseError("an escape after the backslash", pos, end);
      char e = *pos++;
      switch (e) {
      case '\\':
         out += '\\';
         break;
      case '\'':
         out += '\'';
         break;
      case '"':
         out += '"';
         break;
      case 't':
         out += '\t';
         break;
      case 'n':
         out += '\n';
         break;
      case 'r':
         out += '\r';
         break;
      case 'x': {
         int hi = pos != end ? hexDigit(pos[0]) : -1;
         int lo = end - pos >= 2 ? hexDigit(pos[1]) : -1;
         if (hi < 0 || lo < 0) parseError("two hexadecimal digits after \\x", pos, end);
         out += static_cast<char>(hi * 16 + lo);
         pos += 2;
         break;
      }
      default:
         parseError("one of the escapes \\\\ \\' \\\" \\t \\n \\r \\xHH", pos - 2, end);
      }
   }
   v = String(std::move(out));
}

namespace Internal {
void rethrowForField(char const* fieldName) {
   try {
      throw;
   } catch (RangeException const& e) {
      throw RangeException(String("field '") + fieldName + "': " + e.message());
   } catch (Exception const& e) {
      throw Exception(String("field '") + fieldName + "': " + e.message());
   }
}
} // namespace Internal

} // namespace Vex
