// FlowspecKey's text forms and their parsers.
#include "Flowspec/values/FlowspecKey.h"

#include "Flowspec/framework/Trace.h"
#include "Flowspec/values/FlowspecUtil.h"
#include "Vex/Assert.h"

#include <cstdlib>
#include <optional>
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

void appendPrefixOrStar(std::string& text, Ipkit::IpGenPrefix const& p) {
   if (p.isEmpty()) {
      text += '*';
   } else {
      text += p.stringValue().view();
   }
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
   std::optional<Ipkit::AddressFamily> const af = Ipkit::addressFamilyFromText(compString);
   if (!af) VEX_ASSERT_TEXT(false, "false && \"invalid address-family\"");
   addressFamily_ = *af;
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
      case 0:
         k.vrfIdIs(static_cast<Vrf::VrfIdMap::VrfId>(std::strtol(field.c_str(), nullptr, 10)));
         break;
      case 1:
         if (auto af = Ipkit::addressFamilyFromText(field)) {
            k.addressFamilyIs(*af);
         } else {
            VEX_ASSERT_TEXT(false, "false && \"invalid address-family\"");
         }
         break;
      case 2:
         k.destPrefixIs(Ipkit::IpGenPrefix(Vex::String(field)));
         break;
      case 3:
         k.srcPrefixIs(Ipkit::IpGenPrefix(Vex::String(field)));
         break;
      default: {
         std::uint32_t index = n - 4;
         // The 2048th pair would sit at the null index, where no walk can read it.
         if (index >= MatchOpValIndex::max)
            throw Vex::RangeException(MatchOpValIndex::rangeMessage);
         k.matchOpValIs(
             MatchOpValIndex(static_cast<std::uint16_t>(index)),
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

// Whole before reading (see the log constructor): a failed read releases
// the pairs read so far.
FlowspecKey::FlowspecKey(Vex::TextIter& pos, Vex::TextIter end) : FlowspecKey() {
   sequenceToValue(pos, end, *this);
}

void FlowspecKey::copyInStr(Vex::String const& text) {
   FlowspecKey k;
   Vex::TextIter pos = text.begin();
   sequenceToValue(pos, text.end(), k);
   copyIn(k);
}

} // namespace Flowspec
