// Flowspec/values/KeyMatchSet.h: the match set a rule key accepts.
//
// A configuration agent reads a rule's key from its command-line text and
// fills the rule's match set (RuleConfig::matchSetIs) from it. The key keeps
// every numeric and bit-mask match as a list of operator-value pairs (RFC
// 8955 section 4.2.1); the match set keeps what those lists accept, as
// numerical ranges and bit masks, one MatchComponent per kind.
//
//   FlowspecKey key;
//   key.copyInStrCli("10.0.0.0/8;*;DP:>=1000&<=2000|=80|=81;TCP:=2;");
//   for (auto const& c : matchSetFromKey(key)) rule->matchSetIs(c);
//   // destPrefix 10.0.0.0/8, destPort {[ 80, 81 ], [ 1000, 2000 ]},
//   // tcpFlags {TcpBitMask(0x2, 0x2)}
#pragma once

#include <vector>

#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/MatchComponent.h"

namespace Flowspec {

/// The match components that `key` accepts, one per component kind present
/// in the key, in ascending MatchCompType order. The VRF and the address
/// family are not part of the match set.
///
/// Prefixes. The destination and the source prefix each give a destPrefix or
/// srcPrefix component holding that prefix, unless the prefix is empty ("*",
/// any address), which gives no component.
///
/// Operator lists. The pairs of one kind that stand next to each other in the
/// key form one list, as the key's text forms print them. A pair whose
/// andPrevious bit is set is ANDed with the pair before it, any other pair
/// opens a new AND-group (the first pair of a list always does), and the
/// list accepts what any of its AND-groups accepts: AND binds tighter than
/// OR, "=1|>5&<9" is 1 or 6 to 8. A kind whose pairs stand in several places
/// of the key (the text "DP:=80;IP:=6;DP:=443;" gives two destPort lists)
/// accepts what all its lists accept, as the components of a rule do.
///
/// Numeric kinds (ipProto, the ports, icmpType, icmpCode, packetLength,
/// dscp, flowLabel). A pair accepts the values v of 0 to
/// NumericalRange::matchCompTypeMax(kind) (255; 65535 for the ports and
/// packetLength; 63 for dscp; 1048575 for flowLabel) for which v < operand
/// (lt bit), v > operand (gt bit) or v == operand (eq bit) holds: no bit
/// accepts nothing, all three accept every value, lt and gt together accept
/// every value but the operand. An operand above the maximum is compared as
/// it is, so "DSCP:<100" accepts 0 to 63 and "DSCP:=100" nothing. The
/// component holds what the lists accept as the fewest ranges: none
/// overlaps or touches another ([1, 5] and [6, 9] are held as [1, 9]), each
/// mapped to true. When the lists accept nothing the component is present
/// with no range at all: it matches no packet. An ipProto component of that
/// kind makes RuleConfig::infeasibleMatchInMatchSet blame the rule's ports,
/// TCP flags or ICMP type or code, as it blames any protocol set that rules
/// them out; a numeric component without ranges is otherwise not one the
/// feasibility test looks at (it tests only how ports, TCP flags, ICMP and
/// the IP protocol fit together), so callers that must refuse rules that
/// match nothing test numericalRangeSize() == 0 themselves.
///
///   "DP:>=1000&<=2000|=80|=81;"  destPort {[ 80, 81 ], [ 1000, 2000 ]}
///   "DSCP:<5|>60;"               dscp {[ 0, 4 ], [ 61, 63 ]}
///   "LEN:<10&>20;"               packetLength {}, no range: matches nothing
///
/// Bit-mask kinds (tcpFlags: TcpBitMask, the bits FIN to NS; fragment:
/// IpBitMask, the bits DF to last-fragment). A pair tests the bits of its
/// operand; bits outside the kind's vocabulary are taken to be never set in
/// a packet. Without the not bit, a pair with the match bit accepts packets
/// with all those bits set, without it packets with any of them set; the not
/// bit negates that test. A pair alone in its AND-group gives one mask, with
/// the operand as `mask` and, as the detailed text form prints it, `val` 0
/// for a negated pair and the operand otherwise:
///
///   | pair     | accepts           | mask                       | detailed text     |
///   |----------|-------------------|----------------------------|-------------------|
///   | "=0x12"  | SYN and ACK set   | val 0x12, mask 0x12, all   | ALL (SYN:1,ACK:1) |
///   | "0x12"   | SYN or ACK set    | val 0x12, mask 0x12, any   | ANY (SYN:1,ACK:1) |
///   | "!0x12"  | SYN and ACK clear | val 0,    mask 0x12, all   | ANY (SYN:0,ACK:0) |
///   | "!=0x12" | SYN or ACK clear  | val 0,    mask 0x12, any   | ALL (SYN:0,ACK:0) |
///   | "!=2"    | SYN clear         | val 0,    mask 0x2,  all   | ALL (SYN:0)       |
///   | "!2"     | SYN clear         | val 0,    mask 0x2,  any   | ANY (SYN:0)       |
///
/// `matchAll` is the match bit, except for a negated pair of two or more
/// bits, where the negation turns "all set" into "any clear" and "any set"
/// into "all clear" (the detailed text prints the match bit there). An
/// AND-group of several pairs, and a kind with several lists, give the
/// largest all-masks that accept only what the group or the kind accepts,
/// which together accept all of it ("TCP:=2&!=16;" gives val 0x2, mask
/// 0x12). Fragment masks are judged on the fragment states a packet can be
/// in, as IpBitMask::isValid judges them: a mask that no packet can match
/// ("FRAG:=0xc;", first and last fragment) is dropped, and an any-mask that
/// isValid refuses although a packet can match it ("FRAG:0xc;", first or
/// last fragment) is held as its one-bit all-masks. A mask that accepts no
/// more than another mask of the component is dropped. Every mask held is
/// valid and mapped to true. A component that accepts no packet has no mask
/// (like a numeric one without ranges, the feasibility test does not see
/// it); one that accepts every packet holds the two masks bit 0 set and bit
/// 0 clear (FIN, or DF), since the mask of no bits is no valid mask.
///
/// Malformed keys. A pair of kind invalid, destPrefix, srcPrefix or above
/// flowLabel, an 8-byte pair, or a 4-byte pair whose low half is missing
/// raises Vex::Exception naming the pair's index; copyInStrCli never writes
/// such pairs.
///
/// Cost: a sort of each numeric kind's ranges; for a bit-mask kind, a pass
/// over its 512 (TCP) or 16 (fragment) flag words per pair, a comparison of
/// every two candidate masks, and, where an AND of several pairs is to be
/// expressed, one pass over the 3^9 (TCP) or 3^4 (fragment) masks of the
/// kind's bits (2.5 KiB of flags on the stack). The masks of the last 256
/// bit-mask lists met on the calling thread are remembered, so a repeated
/// list costs a lookup. Nothing large is allocated.
std::vector<MatchComponent> matchSetFromKey(FlowspecKey const& key);

} // namespace Flowspec
