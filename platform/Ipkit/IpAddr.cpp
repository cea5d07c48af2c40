#include "Ipkit/IpAddr.h"

#include "Vex/Hash.h"

#include <charconv>
#include <ostream>
#include <string>
#include <string_view>

namespace Ipkit {

namespace {

// The readers below return false and say why in `why` instead of raising, so
// that the IPv6 reader can report a bad dotted-quad tail in its own terms.

std::string quoted(std::string_view text) {
   std::string out;
   Vex::appendQuoted(out, text);
   return out;
}

bool isDigit(char c) noexcept {
   return c >= '0' && c <= '9';
}

int hexDigit(char c) noexcept {
   if (c >= '0' && c <= '9') return c - '0';
   if (c >= 'a' && c <= 'f') return c - 'a' + 10;
   if (c >= 'A' && c <= 'F') return c - 'A' + 10;
   return -1;
}

/// One octet of a dotted quad: 1 to 3 decimal digits, no leading zero, <= 255.
bool readOctet(std::string_view part, int number, std::uint32_t& v, std::string& why) {
   std::string const which = "octet " + std::to_string(number);
   if (part.empty()) {
      why = which + " is empty";
      return false;
   }
   for (char c : part) {
      if (!isDigit(c)) {
         why = which + " (" + quoted(part) + ") is not a decimal number";
         return false;
      }
   }
   if (part.size() > 1 && part[0] == '0') {
      why = which + " (" + quoted(part) + ") has a leading zero, which is ambiguous " +
            "(octal or decimal)";
      return false;
   }
   unsigned n = 0;
   if (part.size() <= 3) std::from_chars(part.data(), part.data() + part.size(), n);
   if (part.size() > 3 || n > 255) {
      why = which + " (" + quoted(part) + ") is greater than 255";
      return false;
   }
   v = v << 8 | n;
   return true;
}

bool readDottedQuad(std::string_view text, std::uint32_t& v, std::string& why) {
   if (text.empty()) {
      why = "the text is empty";
      return false;
   }
   std::size_t parts = 1;
   for (char c : text)
      parts += c == '.';
   if (parts != 4) {
      why = "expected 4 decimal parts separated by '.', found " + std::to_string(parts);
      return false;
   }
   std::uint32_t result = 0;
   for (int number = 1; number <= 4; ++number) {
      std::size_t dot = text.find('.');
      if (!readOctet(text.substr(0, dot), number, result, why)) return false;
      text.remove_prefix(dot == std::string_view::npos ? text.size() : dot + 1);
   }
   v = result;
   return true;
}

/// Where a run of groups sits in the text, for the messages about lone colons.
struct GroupRun {
   bool startsText; // the run begins the text
   bool endsText;   // the run ends the text (a dotted-quad tail is allowed)
};

/// Reads the ':'-separated groups of `text` (a whole address without "::", or
/// the side of one) into `groups`, a dotted-quad tail counting as two. Stops
/// at more than eight.
bool readGroups(std::string_view text, GroupRun run, std::uint16_t (&groups)[8], int& count,
                std::string& why) {
   count = 0;
   if (text.empty()) return true;
   while (true) {
      std::size_t colon = text.find(':');
      bool last = colon == std::string_view::npos;
      std::string_view group = text.substr(0, colon);
      if (group.empty()) {
         why = count == 0 && run.startsText ? "a single ':' may not begin the address"
               : last && run.endsText       ? "a single ':' may not end the address"
                                            : "empty group";
         return false;
      }
      if (group.find('.') != std::string_view::npos) {
         if (!last || !run.endsText) {
            why = "the dotted-quad part " + quoted(group) + " may only end the address";
            return false;
         }
         std::uint32_t v4 = 0;
         if (!readDottedQuad(group, v4, why)) {
            why = "dotted-quad part " + quoted(group) + ": " + why;
            return false;
         }
         if (count + 2 > 8) {
            why = "more than 8 groups";
            return false;
         }
         groups[count++] = static_cast<std::uint16_t>(v4 >> 16);
         groups[count++] = static_cast<std::uint16_t>(v4);
         return true;
      }
      if (group.size() > 4) {
         why = "group " + quoted(group) + " has more than 4 hexadecimal digits";
         return false;
      }
      unsigned v = 0;
      for (char c : group) {
         int d = hexDigit(c);
         if (d < 0) {
            why = "group " + quoted(group) + " is not hexadecimal";
            return false;
         }
         v = v << 4 | static_cast<unsigned>(d);
      }
      if (count == 8) {
         why = "more than 8 groups";
         return false;
      }
      groups[count++] = static_cast<std::uint16_t>(v);
      if (last) return true;
      text.remove_prefix(colon + 1);
   }
}

bool readIp6(std::string_view text, Ip6Addr::Bytes& bytes, std::string& why) {
   if (text.empty()) {
      why = "the text is empty";
      return false;
   }
   if (std::size_t zone = text.find('%'); zone != std::string_view::npos) {
      why = "zone ids (" + quoted(text.substr(zone)) + ") are not accepted";
      return false;
   }
   if (text.find(":::") != std::string_view::npos) {
      why = "':::' is not allowed";
      return false;
   }
   std::size_t gap = text.find("::");
   if (gap != std::string_view::npos && text.find("::", gap + 2) != std::string_view::npos) {
      why = "'::' may appear only once";
      return false;
   }
   bool const compressed = gap != std::string_view::npos;
   std::uint16_t head[8] = {}, tail[8] = {};
   int headCount = 0, tailCount = 0;
   if (!readGroups(text.substr(0, gap), {true, !compressed}, head, headCount, why)) {
      return false;
   }
   if (compressed && !readGroups(text.substr(gap + 2), {false, true}, tail, tailCount, why)) {
      return false;
   }
   if (!compressed && headCount != 8) {
      why = "expected 8 groups, found " + std::to_string(headCount);
      return false;
   }
   if (compressed && headCount + tailCount > 7) {
      why = "more than 7 groups besides '::', which stands for at least one";
      return false;
   }
   std::uint16_t groups[8] = {};
   for (int i = 0; i < headCount; ++i)
      groups[i] = head[i];
   for (int i = 0; i < tailCount; ++i)
      groups[8 - tailCount + i] = tail[i];
   for (int i = 0; i < 8; ++i) {
      bytes[2 * i] = static_cast<std::uint8_t>(groups[i] >> 8);
      bytes[2 * i + 1] = static_cast<std::uint8_t>(groups[i]);
   }
   return true;
}

// Formats into a buffer and appends once, rather than a string per part:
// every rule key prints its prefixes, on the command line's hot path.
void appendDottedQuad(std::string& out, std::uint32_t v) {
   char buf[15]; // "255.255.255.255"
   char* p = buf;
   for (int shift = 24; shift >= 0; shift -= 8) {
      p = std::to_chars(p, buf + sizeof buf, v >> shift & 0xff).ptr;
      if (shift) *p++ = '.';
   }
   out.append(buf, p);
}

void appendHex(std::string& out, unsigned v) {
   char buf[8];
   auto r = std::to_chars(buf, buf + sizeof buf, v, 16);
   out.append(buf, r.ptr);
}

} // namespace

// ---- IpAddr ------------------------------------------------------------------

IpAddr::IpAddr(Vex::String const& text) {
   std::string why;
   if (!readDottedQuad(text.view(), value_, why)) {
      throw Vex::Exception("invalid IPv4 address " + quoted(text.view()) + ": " + why);
   }
}

IpAddr::IpAddr(Vex::NboAttrLog::In* in, Vex::StreamBogon) : value_(in->nextU32()) {}

Vex::String IpAddr::stringValue() const {
   std::string out;
   appendDottedQuad(out, value_);
   return out;
}

std::uint32_t IpAddr::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixU32(value_);
   return h.result();
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 IpAddr const& a) {
   out->writeU32(a.value());
   return out;
}

// ---- Ip6Addr -----------------------------------------------------------------

Ip6Addr::Ip6Addr(Vex::String const& text) {
   std::string why;
   if (!readIp6(text.view(), bytes_, why)) {
      throw Vex::Exception("invalid IPv6 address " + quoted(text.view()) + ": " + why);
   }
}

Ip6Addr::Ip6Addr(Vex::NboAttrLog::In* in, Vex::StreamBogon) {
   in->nextBytes(bytes_.data(), bytes_.size());
}

Vex::String Ip6Addr::stringValue() const {
   unsigned groups[8];
   for (int i = 0; i < 8; ++i)
      groups[i] = unsigned(bytes_[2 * i]) << 8 | bytes_[2 * i + 1];

   std::string out;
   // ::ffff:0:0/96, the IPv4-mapped addresses: 80 zero bits, then 16 one bits.
   if (groups[0] == 0 && groups[1] == 0 && groups[2] == 0 && groups[3] == 0 && groups[4] == 0 &&
       groups[5] == 0xffff) {
      out = "::ffff:";
      appendDottedQuad(out, std::uint32_t(groups[6]) << 16 | groups[7]);
      return out;
   }

   // The longest run of zero groups, the first if several are as long; a
   // single zero group stays as "0".
   int runStart = -1, runLength = 1;
   for (int i = 0; i < 8;) {
      if (groups[i] != 0) {
         ++i;
         continue;
      }
      int j = i;
      while (j < 8 && groups[j] == 0)
         ++j;
      if (j - i > runLength) {
         runStart = i;
         runLength = j - i;
      }
      i = j;
   }

   for (int i = 0; i < 8; ++i) {
      if (i == runStart) {
         out += "::";
         i += runLength - 1;
         continue;
      }
      if (i > 0 && i != runStart + runLength) out += ':';
      appendHex(out, groups[i]);
   }
   return out;
}

std::uint32_t Ip6Addr::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixBytes(bytes_.data(), bytes_.size());
   return h.result();
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 Ip6Addr const& a) {
   out->writeBytes(a.bytes().data(), a.bytes().size());
   return out;
}

} // namespace Ipkit
