// FlowspecKey's text forms and their parsers.
#include "Flowspec/values/FlowspecKey.h"

#include "Flowspec/framework/Trace.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Vex/Assert.h"

#include <cstdlib>
#include <ostream>
#include <sstream>
#include <string>

namespace Flowspec {

namespace {

std::string prefixOrStar(Ipkit::IpGenPrefix const& p) {
   return p.isEmpty() ? std::string("*") : p.stringValue().str();
}

// Walks the pairs from index 0 along nextIndex, calling write(result, first)
// with `first` true where the component type changes.
template <class Write>
void walkComponents(FlowspecKey const& key, Write write) {
   MatchOpValResult const end;
   MatchOpValResult r = key.getOptVal(MatchOpValIndex(0));
   MatchCompType previous = MatchCompType::invalid;
   while (!(r == end)) {
      write(r, r.matchType() != previous);
      previous = r.matchType();
      r = key.getOptVal(r.nextIndex());
   }
}

// Yields the text up to the next ';' or the end, like std::getline; fails
// only when nothing is left.
class FieldReader {
 public:
   explicit FieldReader(std::string_view text) : rest_(text), done_(text.empty()) {}
   bool next(std::string& field) {
      if (done_) return false;
      std::size_t stop = rest_.find(FlowspecKey::compSeparator());
      if (stop == std::string_view::npos) {
         field.assign(rest_);
         done_ = true;
      } else {
         field.assign(rest_.substr(0, stop));
         rest_.remove_prefix(stop + 1);
         done_ = rest_.empty();
      }
      return true;
   }

 private:
   std::string_view rest_;
   bool done_;
};

void appendPrefixOrStar(std::string& text, Ipkit::IpGenPrefix const& p) {
   if (p.isEmpty()) {
      text += '*';
   } else {
      text += p.stringValue().view();
   }
}

void traceFailure(std::string const& message) {
   Vex::TraceHandle const& th = defaultTraceHandle();
   if (th.enabled(2)) th.trace(2, "copyInStrCli", Vex::String(message));
}

} // namespace

Vex::String FlowspecKey::toStrep() const {
   std::ostringstream os;
   if (vrfId_ != Vrf::VrfIdMap::noVrfId) os << vrfId_;
   os << ';';
   if (addressFamily_ != Ipkit::ipunknown) os << addressFamily_;
   os << ';';
   if (!destPrefix_.isEmpty()) os << destPrefix_;
   os << ';';
   if (!srcPrefix_.isEmpty()) os << srcPrefix_;
   os << ';';
   for (std::size_t i = 0; i < matchOpVals(); ++i) {
      if (i > MatchOpValIndex::max) throw Vex::RangeException(MatchOpValIndex::rangeMessage);
      os << matchOpVal(MatchOpValIndex(static_cast<std::uint16_t>(i))).storage() << ';';
   }
   return Vex::String(os.str());
}

Vex::String FlowspecKey::toStrepCli() const {
   std::string text;
   text.reserve(128);
   appendPrefixOrStar(text, destPrefix_);
   text += ';';
   appendPrefixOrStar(text, srcPrefix_);
   walkComponents(*this,
                  [&](MatchOpValResult const& r, bool first) { r.appendForCli(text, first); });
   text += ';';
   return Vex::String(std::move(text));
}

Vex::String FlowspecKey::stringValue() const {
   std::ostringstream os;
   os << vrfId_ << ';' << addressFamily_ << ';' << toStrepCli();
   return Vex::String(os.str());
}

Vex::String FlowspecKey::toStrepCliDetail() const {
   FlowspecUtil const util;
   std::ostringstream os;
   os << util.compTypeToDetailLabel(MatchCompType::destPrefix) << " : " << prefixOrStar(destPrefix_)
      << ';' << util.compTypeToDetailLabel(MatchCompType::srcPrefix) << " : "
      << prefixOrStar(srcPrefix_);
   walkComponents(*this,
                  [&](MatchOpValResult const& r, bool first) { r.formatForCliDetail(os, first); });
   os << ';';
   return Vex::String(os.str());
}

std::ostream& operator<<(std::ostream& os, FlowspecKey const& key) {
   return os << key.stringValue();
}

bool FlowspecKey::copyInStrCli(Vex::String const& text) {
   Vex::TraceHandle const& th = defaultTraceHandle();
   if (th.enabled(8)) {
      th.trace(8, "copyInStrCli",
               "copyInStrCli" + Vex::String(" constructing match components from ") + text);
   }
   FieldReader fields(text.view());
   std::string field;

   // The two prefixes, by position; "*" leaves a prefix as it is.
   struct {
      char const* missing;
      char const* unparsable;
      Ipkit::IpGenPrefix FlowspecKey::*member;
   } const prefixes[] = {
      {"Did not find a destination prefix ", "Could not parse dest prefix ",
       &FlowspecKey::destPrefix_},
      {"Did not find a source prefix ", "Could not parse source prefix ",
       &FlowspecKey::srcPrefix_},
   };
   for (auto const& p : prefixes) {
      if (!fields.next(field)) {
         traceFailure(p.missing + text.str());
         return false;
      }
      if (field == "*") continue;
      try {
         this->*p.member = Ipkit::IpGenPrefix(Vex::String(field));
      } catch (Vex::Exception const& e) {
         traceFailure(p.unparsable + field + " : " + e.what());
         return false;
      }
   }

   MatchOpValIndex p(0);
   while (fields.next(field)) {
      std::size_t colon = field.find(':');
      if (colon == std::string::npos) {
         traceFailure("Did not find a match component in " + field);
         return false;
      }
      MatchCompType type = getCompType(field.c_str());
      if (type == MatchCompType::invalid) {
         traceFailure("Did not find a valid component label in " + field);
         return false;
      }
      bool const bitfield = isBitfieldType(type);
      std::uint8_t op = 0;
      bool waiting = false; // an operator waits for its value
      char const* const end = field.c_str() + field.size();
      for (char const* c = field.c_str() + colon + 1; c < end;) {
         switch (*c) {
         case '<':
         case '>':
            if (bitfield) {
               traceFailure("Received value operator for a bitfield component " + field);
               return false;
            }
            op |= *c == '<' ? MatchOpVal::ltBit : MatchOpVal::gtBit;
            waiting = true;
            ++c;
            break;
         case '!':
            if (!bitfield) {
               traceFailure("Received bitfield operator for a value component " + field);
               return false;
            }
            op |= MatchOpVal::gtBit; // invert
            waiting = true;
            ++c;
            break;
         case '=':
            op |= MatchOpVal::eqBit;
            waiting = true;
            ++c;
            break;
         case '&':
            op |= MatchOpVal::andPreviousBit;
            ++c;
            break;
         case '|': ++c; break;
         default: {
            if (*c < '0' || *c > '9') {
               traceFailure("Unexpected character " + std::string(1, *c));
               return false;
            }
            char* after = nullptr;
            long value = std::strtol(c, &after, 0);
            if (value > 65535) {
               op |= 2 << 4;
            } else if (value > 255) {
               op |= 1 << 4;
            }
            if (after == end) op |= MatchOpVal::endOfListBit;
            try {
               p = setOpVal(p, type, op, static_cast<std::uint32_t>(value));
            } catch (Vex::RangeException const&) {
               traceFailure("Too many match values in " + field);
               return false;
            }
            c = after;
            op = 0;
            waiting = false;
         }
         }
      }
      if (waiting) {
         traceFailure(" Missing value in " + field);
         return false;
      }
   }
   return true;
}

void FlowspecKey::copyInStringValue(Vex::String const& text) {
   Vex::TraceHandle const& th = defaultTraceHandle();
   if (th.enabled(8)) {
      th.trace(8, "copyInStringValue", "copyInStringValue" + Vex::String("Parsing arg ") + text);
   }
   std::istringstream istr(text.str());
   std::string compString;
   VEX_ASSERT_TEXT(std::getline(istr, compString, compSeparator()) && !compString.empty(),
                   "std::getline( istr, compString, compSeparator() ) && !compString.empty()");
   vrfId_ = static_cast<Vrf::VrfIdMap::VrfId>(std::stol(compString));
   VEX_ASSERT_TEXT(std::getline(istr, compString, compSeparator()) && !compString.empty(),
                   "std::getline( istr, compString, compSeparator() ) && !compString.empty()");
   if (compString == "ipv4") {
      addressFamily_ = Ipkit::ipv4;
   } else if (compString == "ipv6") {
      addressFamily_ = Ipkit::ipv6;
   } else {
      VEX_ASSERT_TEXT(false, "false && \"invalid address-family\"");
   }
   VEX_ASSERT_TEXT(std::getline(istr, compString) && !compString.empty(),
                   "std::getline( istr, compString ) && !compString.empty()");
   VEX_ASSERT_TEXT(copyInStrCli(Vex::String(compString)), "copyInStrCli( compString )");
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, FlowspecKey& key) {
   FlowspecKey k;
   std::string field;
   std::uint32_t fieldNumber = 0;
   auto take = [&] {
      std::uint32_t n = fieldNumber++;
      if (field.empty()) return;
      switch (n) {
      case 0: k.vrfIdIs(static_cast<Vrf::VrfIdMap::VrfId>(std::strtol(field.c_str(), nullptr, 10))); break;
      case 1:
         if (field == "ipv4") {
            k.addressFamilyIs(Ipkit::ipv4);
         } else if (field == "ipv6") {
            k.addressFamilyIs(Ipkit::ipv6);
         } else {
            VEX_ASSERT_TEXT(false, "false && \"invalid address-family\"");
         }
         break;
      case 2: k.destPrefixIs(Ipkit::IpGenPrefix(Vex::String(field))); break;
      case 3: k.srcPrefixIs(Ipkit::IpGenPrefix(Vex::String(field))); break;
      default: {
         std::uint32_t index = n - 4;
         // The 2048th pair would sit at the null index, where no walk can read it.
         if (index >= MatchOpValIndex::max) throw Vex::RangeException(MatchOpValIndex::rangeMessage);
         k.matchOpValIs(MatchOpValIndex(static_cast<std::uint16_t>(index)),
                        MatchOpVal(static_cast<std::uint32_t>(std::strtol(field.c_str(), nullptr, 10))));
      }
      }
      field.clear();
   };
   bool ended = false;
   while (pos != end && !ended) {
      char c = *pos++;
      if (c == FlowspecKey::compSeparator()) {
         take();
      } else if (c == FlowspecKey::compEnd()) {
         take();
         ended = true;
      } else {
         field += c;
      }
   }
   if (!ended && !field.empty()) take();
   key = std::move(k);
}

Vex::String valueToStrep(FlowspecKey const& key) {
   return key.toStrep() + Vex::String(std::string(1, FlowspecKey::compEnd()));
}

FlowspecKey::FlowspecKey(Vex::TextIter& pos, Vex::TextIter end) { sequenceToValue(pos, end, *this); }

void FlowspecKey::copyInStr(Vex::String const& text) {
   FlowspecKey k;
   Vex::TextIter pos = text.begin();
   sequenceToValue(pos, text.end(), k);
   copyIn(k);
}

} // namespace Flowspec
