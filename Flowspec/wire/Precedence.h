// Flowspec/wire/Precedence.h: which of two flowspec rules a router applies
// first, by RFC 8955 section 5.1 (and RFC 8956 section 4 for IPv6).
//
// More than one rule may match a packet; the RFCs order rules by their match
// alone, so that every router applies them in the same order whatever order
// they arrived in. Two keys are compared component by component in ascending
// type order (destination prefix, source prefix, then the operator lists 3 to
// 13):
//
// - A key that has a component of a lower type than the other key's next one
//   comes first (a key that has run out of components counts as having a type
//   above every other).
// - Two prefixes of one type: if one is a more specific prefix of the other,
//   the more specific comes first; otherwise the lower address does. With
//   IPv6 offsets (RFC 8956), the lower offset comes first, and equal offsets
//   compare the bits from the offset on.
// - Two operator lists of one type are compared as the bytes the wire
//   carries for them (operator bytes and values, without the type byte), as
//   memcmp does over their common length: the lower bytes come first, and
//   when one list is the start of the other, the longer one comes first.
// - Keys equal in every component have the same precedence.
//
// The VRF is not looked at: rules compete within one VRF. Keys of different
// address families never compete; they are ordered by family number (IPv4
// first) so that one sort can hold both. Components are taken as
// KeyComponents groups them (Flowspec/wire/KeyComponents.h): in type order
// whatever order the key stores them in, with the end-of-list bit as the wire
// sets it.
//
//   std::sort(keys.begin(), keys.end(), Flowspec::PrecedenceLess());
//
// Cost: one walk of each key's pairs per comparison; nothing is allocated for
// keys of up to 48 pairs.
#pragma once

#include "Flowspec/values/FlowspecKey.h"
#include "Ipkit/IpGenPrefix.h"

namespace Flowspec {

/// Negative when `a` takes precedence over `b` (a router applies `a` first),
/// positive when `b` does, 0 when neither does. Antisymmetric and transitive:
/// a strict weak order through `< 0`. Never aborts, whatever the keys hold.
int comparePrecedence(FlowspecKey const& a, FlowspecKey const& b);

/// comparePrecedence(a, b) < 0, for sorting in the order rules are applied.
struct PrecedenceLess {
   bool operator()(FlowspecKey const& a, FlowspecKey const& b) const {
      return comparePrecedence(a, b) < 0;
   }
};

/// The order of two prefix components of one type: negative when `a` comes
/// first. The lower offset comes first (RFC 8956: it matches the more
/// significant bits); at equal offsets the bits from the offset up to the
/// shorter length are compared, the lower value comes first, and when they
/// are equal the longer prefix comes first. A key always has offset 0 (it
/// holds whole prefixes); the offsets are for callers that compare RFC 8956
/// prefix components themselves. Prefixes of different families order by
/// family number; the empty prefix counts as family 0.
int comparePrefixPrecedence(Ipkit::IpGenPrefix const& a, Ipkit::IpGenPrefix const& b,
                            unsigned offsetA = 0, unsigned offsetB = 0) noexcept;

} // namespace Flowspec
