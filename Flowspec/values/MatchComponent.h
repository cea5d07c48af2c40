// Flowspec/values/MatchComponent.h: one match criterion of a flowspec rule,
// its kind and the values it accepts.
//
// A prefix kind (destPrefix, srcPrefix) carries one IP prefix; a numeric kind
// carries a set of numerical ranges; a bit-field kind (tcpFlags, fragment) a
// set of bit masks. Each set maps its values to a boolean. The component does
// not refuse a value of the wrong family (a range in a tcpFlags component):
// the parsers and the rule's sanitising keep the families apart.
//
//   | field          | type                          | default          |
//   |----------------|-------------------------------|------------------|
//   | compType       | MatchCompType (fixed)         | given            |
//   | prefix         | Ipkit::IpGenPrefix            | the empty prefix |
//   | numericalRange | set of NumericalRange -> bool | empty            |
//   | ipBitMask      | set of IpBitMask -> bool      | empty            |
//   | tcpBitMask     | set of TcpBitMask -> bool     | empty            |
//
// The sets are Vex::HashValueMaps: their iteration order, and so the order of
// dump lines and the side-by-side comparison of equality, depends only on
// their members. Each set x has x(value) (its boolean, false when absent),
// xHas, xSize, xIs(value, bool), xDel(value) (the removed boolean, false when
// absent), xDelAll and xIteratorConst (key() the value, value() its boolean).
//
//   MatchComponent c(MatchCompType::destPort);
//   c.numericalRangeIs(NumericalRange(80, 80), true);
//   c.toStrep();  // "<compType=destPort;prefix=;numericalRanges=1;ipBitMasks=0;tcpBitMasks=0>"
#pragma once

#include "Flowspec/values/IpBitMask.h"
#include "Flowspec/values/MatchCompType.h"
#include "Flowspec/values/NumericalRange.h"
#include "Flowspec/values/TcpBitMask.h"
#include "Ipkit/IpGenPrefix.h"
#include "Kiln/DumpContext.h"
#include "Vex/ValueMap.h"

namespace Vex {
class VexType;
}

namespace Flowspec {

class MatchComponent {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   static constexpr char vexTypeName[] = "Flowspec::MatchComponent";

   /// A component of kind `compType` with the empty prefix and empty sets.
   explicit MatchComponent(MatchCompType compType) noexcept : compType_(compType) {}
   /// The value text cannot be read back (it prints "None" for the sets):
   /// this constructor aborts with
   /// "!\"No String constructor for MatchComponent - has collection\"".
   MatchComponent(Vex::TextIter& pos, Vex::TextIter end);
   /// Reads the log: s32 compType, the prefix, then each set as its members
   /// (the value, then its boolean) closed by a terminator member (the
   /// default range or mask). A repeated member raises Vex::Exception.
   MatchComponent(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   /// By reference: the match set looks its members up by this key.
   MatchCompType const& compType() const noexcept { return compType_; }
   Ipkit::IpGenPrefix const& prefix() const noexcept { return prefix_; }
   void prefixIs(Ipkit::IpGenPrefix const& prefix) { prefix_ = prefix; }

   VEX_VALUE_MAP_ACCESSORS(numericalRange, NumericalRange, bool, numericalRange_)
   VEX_VALUE_MAP_ACCESSORS(ipBitMask, IpBitMask, bool, ipBitMask_)
   VEX_VALUE_MAP_ACCESSORS(tcpBitMask, TcpBitMask, bool, tcpBitMask_)

   /// destPrefix or srcPrefix.
   bool matchTypePrefix() const noexcept;
   /// ipProto, the ports, icmpType, icmpCode, packetLength, dscp, flowLabel.
   bool matchTypeNumericalRange() const noexcept;
   /// tcpFlags or fragment. `invalid` and values above flowLabel belong to no
   /// family.
   bool matchTypeBitMask() const noexcept;

   /// Kind, then prefix, then the three sets, each walked side by side in
   /// their content-fixed order (so insertion order never matters).
   friend bool operator==(MatchComponent const& a, MatchComponent const& b);
   /// True exactly when equal to MatchComponent(invalid); a component of any
   /// other kind is never empty in this sense, even with no values.
   bool operator!() const { return *this == MatchComponent(MatchCompType::invalid); }

   /// "<compType=<kind name>;prefix=<prefix>;numericalRanges=<n>;
   /// ipBitMasks=<n>;tcpBitMasks=<n>>": counts only, not the values.
   Vex::String toStrep() const;
   /// The kind as a number and the prefix, then each set's count followed by
   /// its members' toStrep at indent + 2, in iteration order.
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const;

 private:
   friend Vex::Ptr<Vex::NboAttrLog::Out> const&
   operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out, MatchComponent const& c);

   MatchCompType compType_;
   Ipkit::IpGenPrefix prefix_;
   Vex::HashValueMap<NumericalRange, bool> numericalRange_;
   Vex::HashValueMap<IpBitMask, bool> ipBitMask_;
   Vex::HashValueMap<TcpBitMask, bool> tcpBitMask_;
};

/// Value('Flowspec::MatchComponent', ** {'compType': <kind>, 'prefix': <prefix>,
/// 'numericalRange': None, 'ipBitMask': None, 'tcpBitMask': None})
Vex::String valueToStrep(MatchComponent const& c);
/// Aborts like the text constructor.
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, MatchComponent& c);
/// Writes valueToStrep(c).
std::ostream& operator<<(std::ostream& os, MatchComponent const& c);
/// Writes the log encoding; a member equal to its set's terminator aborts
/// (see Flowspec/framework/LogSequence.h).
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 MatchComponent const& c);

} // namespace Flowspec
