// Flowspec/values/UnsupportedQual.h: for one address family, the match kinds
// the hardware cannot program, with a reason text for each.
//
// `af` is fixed at construction (it is the value's key in the status
// collection); `qual` maps a MatchCompType to its reason, with qual(kind)
// (the text, "" when absent), qualHas, qualSize, qualIs(kind, text) (insert
// or replace), qualDel(kind) (the removed text, "" when absent), qualDelAll
// and qualIteratorConst (key() the kind, value() the text). Its iteration
// order depends only on its members.
//
//   UnsupportedQual q(Ipkit::ipv6);
//   q.qualIs(MatchCompType::flowLabel, "no TCAM field");
#pragma once

#include "Flowspec/values/MatchCompType.h"
#include "Ipkit/AddressFamily.h"
#include "Kiln/DumpContext.h"
#include "Vex/String.h"
#include "Vex/ValueMap.h"

namespace Vex {
class VexType;
}

namespace Flowspec {

class UnsupportedQual {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;
   static constexpr char vexTypeName[] = "Flowspec::UnsupportedQual";

   explicit UnsupportedQual(Ipkit::AddressFamily af = Ipkit::ipunknown) noexcept : af_(af) {}
   /// The value text cannot be read back (it prints "None" for `qual`): this
   /// constructor aborts with
   /// "!\"No String constructor for UnsupportedQual - has collection\"".
   UnsupportedQual(Vex::TextIter& pos, Vex::TextIter end);
   /// Reads the log: s32 af, then per entry the s32 kind and the text, closed
   /// by the kind 0. A repeated kind raises Vex::Exception.
   UnsupportedQual(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   Ipkit::AddressFamily af() const noexcept { return af_; }
   VEX_VALUE_MAP_ACCESSORS(qual, MatchCompType, Vex::String, qual_)

   /// af, then the entries walked side by side in iteration order: kinds and
   /// texts equal at each position.
   friend bool operator==(UnsupportedQual const& a, UnsupportedQual const& b) {
      return a.af_ == b.af_ && (&a == &b || a.qual_ == b.qual_);
   }
   /// True for af 0 with no entries.
   bool operator!() const { return *this == UnsupportedQual(); }

   /// "AF <family>", then one line per entry at indent + 2:
   /// "<short label> --> <text>" (the prefix kinds have an empty label).
   void dumpState(Kiln::DumpContext const& ctx, unsigned indent) const;

 private:
   friend Vex::Ptr<Vex::NboAttrLog::Out> const&
   operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out, UnsupportedQual const& q);

   Ipkit::AddressFamily af_;
   Vex::HashValueMap<MatchCompType, Vex::String> qual_;
};

/// Value('Flowspec::UnsupportedQual', ** {'af': <family>, 'qual': None})
Vex::String valueToStrep(UnsupportedQual const& q);
/// Aborts like the text constructor.
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, UnsupportedQual& q);
/// Writes valueToStrep(q).
std::ostream& operator<<(std::ostream& os, UnsupportedQual const& q);
/// Writes the log encoding; an entry under the kind 0 (`invalid`) aborts
/// (see Flowspec/framework/LogSequence.h).
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 UnsupportedQual const& q);

} // namespace Flowspec
