#include "Flowspec/values/MatchComponent.h"

#include "Flowspec/framework/Dump.h"

#include <string>

namespace Flowspec {

bool MatchComponent::matchTypePrefix() const noexcept { return isPrefixType(compType_); }

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
   for (auto i = set.iterator(); i; ++i) dumpLine(ctx, indent + 2, "%*c%s\n", i.key().toStrep().c_str());
}
} // namespace

void MatchComponent::dumpState(Kiln::DumpContext const& ctx, unsigned indent) const {
   dumpLine(ctx, indent, "%*ccompType is %d, prefix is %s\n", static_cast<int>(compType_),
            prefix_.stringValue().c_str());
   dumpSet(ctx, indent, "%*cnumericalRanges #%u\n", numericalRange_);
   dumpSet(ctx, indent, "%*cipBitMasks #%u\n", ipBitMask_);
   dumpSet(ctx, indent, "%*ctcpBitMasks #%u\n", tcpBitMask_);
}

} // namespace Flowspec
