#include "Flowspec/values/MatchComponent.h"

#include "Flowspec/framework/Dump.h"
#include "Flowspec/framework/LogSequence.h"
#include "Vex/ReflectTable.h"

#include <ostream>
#include <string>

namespace Flowspec {

bool MatchComponent::matchTypePrefix() const noexcept {
   return isPrefixType(compType_);
}

bool MatchComponent::matchTypeNumericalRange() const noexcept {
   return isNumericalRangeType(compType_);
}

bool MatchComponent::matchTypeBitMask() const noexcept {
   return compType_ == MatchCompType::tcpFlags || compType_ == MatchCompType::fragment;
}

bool operator==(MatchComponent const& a, MatchComponent const& b) {
   if (a.compType_ != b.compType_) return false;
   if (!(a.prefix_ == b.prefix_)) return false;
   if (&a == &b) return true;
   return a.numericalRange_ == b.numericalRange_ && a.ipBitMask_ == b.ipBitMask_ &&
          a.tcpBitMask_ == b.tcpBitMask_;
}

namespace {

template <class Value>
void writeSet(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
              Vex::HashValueMap<Value, bool> const& set) {
   Value const terminator;
   for (auto i = set.iterator(); i; ++i) {
      refuseTerminator(i.key(), terminator);
      out << i.key() << i.value();
   }
   out << terminator;
}

template <class Value>
void readSet(Vex::NboAttrLog::In* in, Vex::HashValueMap<Value, bool>& set, char const* name) {
   Value const terminator;
   while (true) {
      Value member(in, Vex::StreamBogon());
      if (member == terminator) return;
      bool flag = in->nextbool();
      if (set.has(member)) {
         throw Vex::Exception(Vex::String("MatchComponent: a member repeats in the ") + name +
                              " set");
      }
      set.is(member, flag);
   }
}

} // namespace

MatchComponent::MatchComponent(Vex::TextIter&, Vex::TextIter) : compType_() {
   VEX_ASSERT_TEXT(false, "!\"No String constructor for MatchComponent - has collection\"");
}

MatchComponent::MatchComponent(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : compType_(Vex::nboRead<MatchCompType>(*in)), prefix_(in, Vex::StreamBogon()) {
   readSet(in, numericalRange_, "numericalRange");
   readSet(in, ipBitMask_, "ipBitMask");
   readSet(in, tcpBitMask_, "tcpBitMask");
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 MatchComponent const& c) {
   Vex::nboWrite(out, c.compType_);
   out << c.prefix_;
   writeSet(out, c.numericalRange_);
   writeSet(out, c.ipBitMask_);
   writeSet(out, c.tcpBitMask_);
   return out;
}

Vex::String valueToStrep(MatchComponent const& c) {
   return "Value('Flowspec::MatchComponent', ** {'compType': " + valueToStrep(c.compType()) +
          ", 'prefix': " + valueToStrep(c.prefix()) +
          ", 'numericalRange': None, 'ipBitMask': None, 'tcpBitMask': None})";
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, MatchComponent& c) {
   c = MatchComponent(pos, end);
}

std::ostream& operator<<(std::ostream& os, MatchComponent const& c) {
   return os << valueToStrep(c);
}

Vex::String MatchComponent::toStrep() const {
   std::string s = "<compType=" + stringValue(compType_).str();
   s += ";prefix=" + prefix_.stringValue().str();
   s += ";numericalRanges=" + std::to_string(numericalRange_.size());
   s += ";ipBitMasks=" + std::to_string(ipBitMask_.size());
   s += ";tcpBitMasks=" + std::to_string(tcpBitMask_.size());
   s += ">";
   return Vex::String(std::move(s));
}

namespace {
template <class Set>
void dumpSet(Kiln::DumpContext const& ctx, unsigned indent, char const* header, Set const& set) {
   dumpLine(ctx, indent, header, static_cast<unsigned>(set.size()));
   for (auto i = set.iterator(); i; ++i)
      dumpLine(ctx, indent + 2, "%*c%s\n", i.key().toStrep().c_str());
}
} // namespace

void MatchComponent::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*ccompType is %d, prefix is %s\n", static_cast<int>(compType_),
            prefix_.stringValue().c_str());
   dumpSet(ctx, indent, "%*cnumericalRanges #%u\n", numericalRange_);
   dumpSet(ctx, indent, "%*cipBitMasks #%u\n", ipBitMask_);
   dumpSet(ctx, indent, "%*ctcpBitMasks #%u\n", tcpBitMask_);
}

// --- Reflection ----------------------------------------------------------------

namespace {

constexpr auto matchComponentRows = Vex::valueRows({
    Vex::identity<&MatchComponent::compType>("compType"),
    Vex::field<&MatchComponent::prefix, &MatchComponent::prefixIs>("prefix"),
    VEX_COLLECTION_ROW(MatchComponent, numericalRange, "key"),
    VEX_COLLECTION_ROW(MatchComponent, ipBitMask, "key"),
    VEX_COLLECTION_ROW(MatchComponent, tcpBitMask, "key"),
    Vex::method<&MatchComponent::matchTypePrefix>("matchTypePrefix"),
    Vex::method<&MatchComponent::matchTypeNumericalRange>("matchTypeNumericalRange"),
    Vex::method<&MatchComponent::matchTypeBitMask>("matchTypeBitMask"),
    Vex::method<&MatchComponent::toStrep>("toStrep"),
    Vex::method<&MatchComponent::dumpState, "dumpCtx", "indentCount">("dumpState"),
});

constexpr Vex::Param matchComponentArgs[] = {{"compType", &Vex::Reflection::typeFn<MatchCompType>}};

} // namespace

constinit Vex::VexType const MatchComponent::_vexType = Vex::valueDescriptor<MatchComponent>({
    .name = vexTypeName,
    .rows = matchComponentRows,
    .ctorArgs = matchComponentArgs,
    .construct = &Vex::Reflection::constructValue<MatchComponent, MatchCompType>,
});

} // namespace Flowspec
