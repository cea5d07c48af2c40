// The command-line form of a rule key, read by one scanner under two
// policies: strict (parseKeyCli, errors as values) and lenient
// (FlowspecKey::copyInStrCli, its documented contract and trace lines).
#include "Flowspec/values/FlowspecKeyParse.h"

#include "Flowspec/framework/Trace.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/NumericalRange.h"
#include "Flowspec/values/TcpBitMask.h"
#include "Ipkit/IpAddr.h"
#include "Ipkit/IpGenPrefix.h"
#include "Vex/Assert.h"
#include "Vex/Exception.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>

namespace Flowspec {

FlowspecKey const& KeyParseResult::key() const {
   VEX_ASSERT_TEXT(ok(), "ok()");
   return std::get<FlowspecKey>(value_);
}

FlowspecKey& KeyParseResult::key() {
   VEX_ASSERT_TEXT(ok(), "ok()");
   return std::get<FlowspecKey>(value_);
}

KeyParseError const& KeyParseResult::error() const {
   VEX_ASSERT_TEXT(!ok(), "!ok()");
   return std::get<KeyParseError>(value_);
}

std::string printableText(std::string_view text) {
   std::string out;
   for (char c : text) {
      auto const u = static_cast<unsigned char>(c);
      if (u >= 0x20 && u < 0x7f) {
         out += c;
      } else {
         char hex[8];
         std::snprintf(hex, sizeof hex, "\\x%02x", u);
         out += hex;
      }
   }
   return out;
}

namespace {

enum class Policy { strict, lenient };

// The common prefix, a dotted-quad IPv4 address (no leading zeros) with a
// length and no bits set past it, read in place: a rule file holds two a
// line. Anything else, every malformed text included, gives nothing and goes
// to Ipkit's reader, so that the values and messages stay its own.
std::optional<Ipkit::IpGenPrefix> plainIpv4Prefix(std::string_view text) {
   auto number = [&text](std::size_t maxDigits, unsigned& n) {
      std::size_t digits = 0;
      n = 0;
      while (digits < text.size() && text[digits] >= '0' && text[digits] <= '9')
         n = n * 10 + unsigned(text[digits++] - '0');
      bool const ok = digits > 0 && digits <= maxDigits && (digits == 1 || text[0] != '0');
      text.remove_prefix(digits);
      return ok;
   };
   std::uint32_t address = 0;
   for (int octet = 0; octet < 4; ++octet) {
      unsigned n = 0;
      if (!number(3, n) || n > 255) return std::nullopt;
      address = address << 8 | n;
      char const after = octet < 3 ? '.' : '/';
      if (text.empty() || text[0] != after) return std::nullopt;
      text.remove_prefix(1);
   }
   unsigned len = 0;
   if (!number(2, len) || len > 32 || !text.empty()) return std::nullopt;
   if (len < 32 && (address & ~std::uint32_t(0) >> len) != 0) return std::nullopt;
   return Ipkit::IpGenPrefix(Ipkit::IpGenAddr(Ipkit::IpAddr(address)), len);
}

std::string quoted(std::string_view text) {
   return "'" + printableText(text) + "'";
}

char const* familyName(Ipkit::AddressFamily af) {
   return af == Ipkit::ipv4 ? "ipv4" : "ipv6";
}

// The largest value a pair of `kind` can test.
std::uint32_t largestValue(MatchCompType kind) {
   if (kind == MatchCompType::tcpFlags) return TcpBitMask::maskForAllBits;
   if (kind == MatchCompType::fragment) return IpBitMask::maskForAllBits;
   return NumericalRange::matchCompTypeMax(kind);
}

// "IP, P, DP, ..., FRAG and FL": the labels in type order.
std::string labelList() {
   FlowspecUtil const util;
   std::string list;
   for (std::uint32_t t = std::uint32_t(MatchCompType::ipProto); t < numComponentTypes; ++t) {
      if (!list.empty()) list += t + 1 == numComponentTypes ? " and " : ", ";
      list += util.compTypeToLabel(MatchCompType(t)).view();
   }
   return list;
}

// The kind whose label is exactly `label`, or invalid.
MatchCompType kindOfLabel(std::string_view label) {
   FlowspecUtil const util;
   for (std::uint32_t t = std::uint32_t(MatchCompType::ipProto); t < numComponentTypes; ++t) {
      if (util.compTypeToLabel(MatchCompType(t)).view() == label) return MatchCompType(t);
   }
   return MatchCompType::invalid;
}

// "DP (Destination Port)".
std::string kindName(MatchCompType kind) {
   FlowspecUtil const util;
   return util.compTypeToLabel(kind).str() + " (" + util.compTypeToDetailLabel(kind).str() + ")";
}

// Reads one key. Each check says under which policy it applies; a failure
// carries the strict message and column, or the lenient trace text.
class Scanner {
 public:
   Scanner(std::string_view text, FlowspecKey& key, Policy policy, Ipkit::AddressFamily af)
       : text_(text), key_(key), policy_(policy), af_(af) {}

   std::optional<KeyParseError> run();

 private:
   struct Failure {
      KeyParseError error;
   };
   bool strict() const { return policy_ == Policy::strict; }
   // Stops the scan: in the strict policy with `message` at the 0-based
   // offset `at`, in the lenient one with the trace text `legacy`.
   [[noreturn]] void fail(std::size_t at, std::string message, std::string legacy = {}) {
      if (strict()) throw Failure{{at + 1, std::move(message)}};
      throw Failure{{0, std::move(legacy)}};
   }
   // Yields the next field up to ';' or the end, like std::getline; false
   // only when nothing is left.
   bool nextField(std::string_view& field, std::size_t& start);
   void prefix(bool source);
   void component(std::string_view field, std::size_t start);
   std::uint64_t number(std::string const& field, std::size_t& i, std::size_t start,
                        MatchCompType kind);

   std::string_view text_;
   FlowspecKey& key_;
   Policy policy_;
   Ipkit::AddressFamily af_;
   std::size_t next_ = 0;
   bool done_ = false;
   MatchCompType previousKind_ = MatchCompType::invalid;
   MatchOpValIndex p_{0};
};

bool Scanner::nextField(std::string_view& field, std::size_t& start) {
   if (done_ || next_ >= text_.size()) {
      done_ = true;
      return false;
   }
   start = next_;
   std::size_t const stop = text_.find(FlowspecKey::compSeparator(), next_);
   if (stop == std::string_view::npos) {
      field = text_.substr(next_);
      done_ = true;
   } else {
      field = text_.substr(next_, stop - next_);
      next_ = stop + 1;
   }
   return true;
}

void Scanner::prefix(bool source) {
   char const* const which = source ? "source" : "destination";
   std::string_view field;
   std::size_t start = 0;
   if (!nextField(field, start)) {
      fail(text_.size(),
           source ? "the source prefix (or *) is missing after the destination's ';'"
                  : "the key is empty: it starts with the destination prefix or *",
           (source ? "Did not find a source prefix " : "Did not find a destination prefix ") +
               std::string(text_));
   }
   if (field == "*") return;
   Ipkit::IpGenPrefix value;
   std::optional<Ipkit::IpGenPrefix> const plain = plainIpv4Prefix(field);
   if (plain) {
      value = *plain;
   } else {
      try {
         value = Ipkit::IpGenPrefix(Vex::String(std::string(field)));
      } catch (Vex::Exception const& e) {
         fail(start,
              std::string("the ") + which + " prefix " + quoted(field) +
                  " is not a prefix: " + e.what(),
              (source ? "Could not parse source prefix " : "Could not parse dest prefix ") +
                  std::string(field) + " : " + e.what());
      }
   }
   if (strict()) {
      std::string_view const address = field.substr(0, field.find('/'));
      if (!plain && Ipkit::IpGenAddr(Vex::String(std::string(address))) != value.addr()) {
         fail(start, std::string("the ") + which + " prefix " + quoted(field) +
                         " has bits set past its length: " + value.stringValue().str() + "?");
      }
      Ipkit::AddressFamily const other = source ? key_.destPrefix().af() : Ipkit::ipunknown;
      if (af_ != Ipkit::ipunknown && value.af() != af_) {
         fail(start, std::string("the ") + which + " prefix " + quoted(field) + " is not " +
                         familyName(af_));
      }
      if (other != Ipkit::ipunknown && value.af() != other) {
         fail(start, "the source prefix " + quoted(field) + " is " + familyName(value.af()) +
                         ", the destination prefix " + familyName(other));
      }
   }
   if (source) {
      key_.srcPrefixIs(value);
   } else {
      key_.destPrefixIs(value);
   }
}

std::optional<KeyParseError> Scanner::run() {
   try {
      prefix(false);
      prefix(true);
      std::string_view field;
      std::size_t start = 0;
      while (nextField(field, start))
         component(field, start);
      return std::nullopt;
   } catch (Failure& f) {
      return std::move(f.error);
   }
}

void Scanner::component(std::string_view fieldView, std::size_t start) {
   // strtol needs a terminated string.
   std::string const field(fieldView);
   std::size_t const colon = field.find(':');
   if (colon == std::string::npos) {
      fail(start,
           field.empty() ? std::string("an empty component: two ';' in a row")
                         : "the component " + quoted(field) + " has no ':' (LABEL:OPERATORS)",
           "Did not find a match component in " + field);
   }
   MatchCompType kind = MatchCompType::invalid;
   if (strict()) {
      kind = kindOfLabel(std::string_view(field).substr(0, colon));
      if (kind == MatchCompType::invalid) {
         fail(start,
              quoted(field.substr(0, colon)) + " is not a label; the labels are " + labelList());
      }
      if (kind == previousKind_) {
         fail(start, kindName(kind) + " is given twice; join its values in one component");
      }
      if (kind < previousKind_) {
         fail(start, kindName(kind) + " must come before " + kindName(previousKind_) +
                         ": components go in the order " + labelList());
      }
      Ipkit::AddressFamily const af = af_ != Ipkit::ipunknown        ? af_
                                      : !key_.destPrefix().isEmpty() ? key_.destPrefix().af()
                                                                     : key_.srcPrefix().af();
      if (kind == MatchCompType::flowLabel && af == Ipkit::ipv4) {
         fail(start, "a flow label is an IPv6 match (RFC 8956); this key is ipv4");
      }
      previousKind_ = kind;
   } else {
      kind = getCompType(field.c_str());
      if (kind == MatchCompType::invalid)
         fail(start, {}, "Did not find a valid component label in " + field);
   }
   bool const bitfield = isBitfieldType(kind);

   // One pair at a time: its connector, its operators in order, its number.
   std::uint8_t op = 0;
   bool waiting = false;   // an operator waits for its value
   bool connector = false; // '&' or '|' seen for this pair
   int rank = 0;           // the last operator's place in "<>=" or "!="
   bool anyPair = false;   // a number of this component was stored
   std::size_t last = 0;   // where the last operator or connector stood
   auto at = [&](std::size_t i) { return start + i; };
   // The strict rules for the operator or number at i.
   auto pairElement = [&](std::size_t i) {
      if (strict() && anyPair && !connector) {
         fail(at(i), "'&' (and) or '|' (or) must join two values of " + kindName(kind));
      }
   };
   auto operatorRank = [&](std::size_t i, int r) {
      pairElement(i);
      if (strict() && r <= rank) {
         fail(at(i),
              bitfield ? std::string("write a bit mask's operators once each, ! before =")
                       : std::string("write a number's operators once each, in the order <, >, ="));
      }
      rank = r;
      waiting = true;
      last = i;
   };
   for (std::size_t i = colon + 1; i < field.size();) {
      char const c = field[i];
      switch (c) {
      case '<':
      case '>':
         if (bitfield) {
            fail(at(i),
                 quoted(std::string(1, c)) + " compares numbers, but " + kindName(kind) +
                     " is a bit mask (use ! and =)",
                 "Received value operator for a bitfield component " + field);
         }
         operatorRank(i, c == '<' ? 1 : 2);
         op |= c == '<' ? MatchOpVal::ltBit : MatchOpVal::gtBit;
         ++i;
         break;
      case '!':
         if (!bitfield) {
            fail(at(i),
                 "'!' negates a bit mask, but " + kindName(kind) + " is a number (use <, > and =)",
                 "Received bitfield operator for a value component " + field);
         }
         operatorRank(i, 1);
         op |= MatchOpVal::gtBit; // invert
         ++i;
         break;
      case '=':
         operatorRank(i, 3);
         op |= MatchOpVal::eqBit;
         ++i;
         break;
      case '&':
      case '|':
         if (strict()) {
            if (!anyPair)
               fail(at(i), quoted(std::string(1, c)) + " joins two values; none stands before it");
            if (waiting)
               fail(at(i), quoted(std::string(1, c)) + " goes before the operators of a value");
            if (connector) fail(at(i), "two of '&' and '|' in a row");
         }
         if (c == '&') op |= MatchOpVal::andPreviousBit;
         connector = true;
         last = i;
         ++i;
         break;
      default: {
         if (c < '0' || c > '9') {
            fail(at(i), "unexpected character " + quoted(std::string(1, c)),
                 "Unexpected character " + std::string(1, c));
         }
         pairElement(i);
         if (strict() && !bitfield &&
             (op & (MatchOpVal::ltBit | MatchOpVal::gtBit | MatchOpVal::eqBit)) == 0) {
            fail(at(i), "the value " + quoted(field.substr(i, field.find_first_of("&|", i) - i)) +
                            " has no operator: write =, <, > or a combination before it");
         }
         // The length follows the number as read, before it is cut to 32
         // bits (only the lenient policy reads numbers that need cutting).
         std::uint64_t const value = number(field, i, start, kind);
         if (value > 65535) {
            op |= MatchOpVal::lenBits(2);
         } else if (value > 255) {
            op |= MatchOpVal::lenBits(1);
         }
         if (i == field.size()) op |= MatchOpVal::endOfListBit;
         try {
            p_ = key_.setOpVal(p_, kind, op, static_cast<std::uint32_t>(value));
         } catch (Vex::RangeException const&) {
            fail(at(i), "more values than a key holds (2047 operator-value pairs)",
                 "Too many match values in " + field);
         }
         op = 0;
         waiting = false;
         connector = false;
         rank = 0;
         anyPair = true;
      }
      }
   }
   if (waiting || (strict() && (connector || !anyPair))) {
      std::string const what = !anyPair && !waiting && !connector
                                   ? kindName(kind) + " has no value"
                                   : quoted(field.substr(last, 1)) + " needs a number after it";
      fail(at(field.size()), what, " Missing value in " + field);
   }
}

// Reads the number at field[i] and moves i past it.
std::uint64_t Scanner::number(std::string const& field, std::size_t& i, std::size_t start,
                              MatchCompType kind) {
   if (!strict()) {
      // strtol, base 0, and the low 32 bits of what it read: the contract of
      // copyInStrCli.
      char* after = nullptr;
      long const value = std::strtol(field.c_str() + i, &after, 0);
      i = static_cast<std::size_t>(after - field.c_str());
      return static_cast<std::uint64_t>(value);
   }
   std::size_t const begin = i;
   bool const hex =
       field[i] == '0' && i + 1 < field.size() && (field[i + 1] == 'x' || field[i + 1] == 'X');
   auto digit = [hex](char c) -> int {
      if (c >= '0' && c <= '9') return c - '0';
      if (hex && c >= 'a' && c <= 'f') return c - 'a' + 10;
      if (hex && c >= 'A' && c <= 'F') return c - 'A' + 10;
      return -1;
   };
   if (hex) i += 2;
   std::uint64_t value = 0;
   std::size_t const digits = i;
   for (; i < field.size() && digit(field[i]) >= 0; ++i) {
      value = value * (hex ? 16 : 10) + std::uint64_t(digit(field[i]));
      if (value > 0xffffffffULL) value = 0x100000000ULL; // too large, whatever follows
   }
   std::string const typed = field.substr(begin, i - begin);
   if (hex && i == digits) fail(start + begin, "'0x' needs hexadecimal digits after it");
   if (!hex && typed.size() > 1 && typed[0] == '0') {
      fail(start + begin, "the number " + quoted(typed) + " has a leading zero: write " +
                              std::to_string(value) +
                              ", or 0x... for hexadecimal (octal is not read)");
   }
   std::uint32_t const max = largestValue(kind);
   if (value > max) {
      char range[64];
      if (isBitfieldType(kind) || kind == MatchCompType::flowLabel) {
         std::snprintf(range, sizeof range, "0 to %u (0x%x)", max, max);
      } else {
         std::snprintf(range, sizeof range, "0 to %u", max);
      }
      fail(start + begin,
           "the number " + typed + " is out of range for " + kindName(kind) + ": " + range);
   }
   return value;
}

void traceFailure(std::string const& message) {
   Vex::TraceHandle const& th = defaultTraceHandle();
   if (th.enabled(2)) th.trace(2, "copyInStrCli", Vex::String(message));
}

} // namespace

KeyParseResult parseKeyCli(std::string_view text, Ipkit::AddressFamily af) {
   FlowspecKey key;
   if (auto error = Scanner(text, key, Policy::strict, af).run())
      return KeyParseResult(std::move(*error));
   key.addressFamilyIs(af);
   return KeyParseResult(std::move(key));
}

bool FlowspecKey::copyInStrCli(Vex::String const& text) {
   Vex::TraceHandle const& th = defaultTraceHandle();
   if (th.enabled(8)) {
      th.trace(8, "copyInStrCli",
               "copyInStrCli" + Vex::String(" constructing match components from ") + text);
   }
   auto error = Scanner(text.view(), *this, Policy::lenient, Ipkit::ipunknown).run();
   if (error) traceFailure(error->message);
   return !error;
}

} // namespace Flowspec
