// Flowspec/wire/Update.h: BGP UPDATE messages that carry flowspec rules.
//
// readUpdate takes one whole BGP message (RFC 4271 section 4.1: the marker,
// the length and the type, then the UPDATE of section 4.3) and says which
// flowspec rules it announces (MP_REACH_NLRI of RFC 4760 with AFI 1 or 2 and
// SAFI 133 or 134, the actions from EXTENDED_COMMUNITIES, RFC 8955 section 7)
// and which keys it withdraws (MP_UNREACH_NLRI). buildUpdates is the reverse.
//
//   UpdateContents u = readUpdate(bytes);
//   if (u.action == UpdateAction::sessionReset) { /* reset; u.problems say why */ }
//   for (FlowspecRoute const& r : u.withdrawn) { /* remove r.key */ }
//   for (FlowspecRoute const& r : u.announced) { /* install r.key, r.actions */ }
//
// Untrusted bytes: readUpdate never reads outside the span it is given,
// never aborts and lets no exception out. Everything malformed becomes an
// UpdateProblem with the byte offset, the handling RFC 7606 prescribes and a
// reason a person can read; UpdateContents::action is the strongest handling
// of all problems (RFC 7606 section 3: session reset, AFI/SAFI disable,
// treat-as-withdraw, attribute discard, in that order).
//
// What each malformation leads to (RFC 7606 sections, unless said):
//
// clang-format off
//   | malformation                                        | handling          | section  |
//   |-----------------------------------------------------|-------------------|----------|
//   | header short, marker, length or type wrong; the     | session reset     | RFC 4271 |
//   |   withdrawn or attribute length past the message;   |                   | 6.1, 6.3;|
//   |   an IPv4 prefix of the NLRI fields malformed       |                   | 5.3      |
//   | MP_REACH_NLRI or MP_UNREACH_NLRI twice              | session reset     | 3        |
//   | an MP attribute too short for its AFI and SAFI      | session reset     | 5.3      |
//   | an unrecognised well-known attribute                | session reset     | RFC 4271 |
//   | MP_REACH next hop length wrong for the family; a    | AFI/SAFI disable  | 7.11,    |
//   |   flowspec NLRI length 0 or past its attribute      |                   | 5.3      |
//   | the attribute list overruns (or leaves a stub)      | treat-as-withdraw | 4, 5.1   |
//   |   after an MP attribute or beside an NLRI field,    |                   |          |
//   |   with neither read before the fault                | session reset     | 5.1      |
//   | optional/transitive flags of a known attribute      | treat-as-withdraw | 3        |
//   | ORIGIN, AS_PATH, NEXT_HOP, MED, COMMUNITIES,        | treat-as-withdraw | 7.1-7.4, |
//   |   ORIGINATOR_ID, CLUSTER_LIST, the extended, IPv6   |                   | 7.8-7.10,|
//   |   extended and large communities malformed          |                   | 7.14,7.15|
//   | LOCAL_PREF malformed: internal / external peer      | t-a-w / discard   | 7.5      |
//   | ORIGIN or AS_PATH missing where routes are          | treat-as-withdraw | 3        |
//   |   announced; NEXT_HOP missing for the NLRI field    |                   |          |
//   | a flowspec NLRI that does not decode (its length    | treat-as-withdraw | RFC 8955 |
//   |   intact); an action community that does not       |                   | 10       |
//   | ATOMIC_AGGREGATE, AGGREGATOR, AS4_PATH or           | attribute discard | 7.6, 7.7,|
//   |   AS4_AGGREGATOR malformed; a repeated attribute    |                   | 3; RFC   |
//   |   (its later copies)                                |                   | 6793 6   |
// clang-format on
//
// Treat-as-withdraw moves every announced rule to `withdrawn`; AFI/SAFI
// disable and session reset leave both lists empty (the caller drops every
// route of the family, or of the session). A flowspec NLRI that does not
// decode cannot be named by a key: its problem carries its offset and bytes.
// Routes of other families (the IPv4 NLRI and withdrawn-routes fields, MP
// attributes of other AFI/SAFI) are checked where RFC 7606 asks it and
// counted in otherFamilyAttributes / otherRoutes, not decoded.
#pragma once

#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/wire/ActionCodec.h"
#include "Ipkit/IpGenAddr.h"
#include "Vrf/VrfIdMap.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Flowspec {

/// How a receiver handles a malformed UPDATE (RFC 7606 section 2), weakest
/// first: the order in which RFC 7606 section 3 ranks them.
enum class UpdateAction : std::uint8_t {
   accept = 0,       ///< nothing malformed
   attributeDiscard, ///< a malformed attribute was dropped; the rest stands
   treatAsWithdraw,  ///< the routes the message announces are withdrawn
   afiSafiDisable,   ///< every route of the family from this peer goes
   sessionReset,     ///< the session is reset with a NOTIFICATION
};

/// "accept", "attribute discard", "treat-as-withdraw", "AFI/SAFI disable",
/// "session reset".
char const* updateActionText(UpdateAction action) noexcept;

/// One malformation, where it was and what it leads to.
struct UpdateProblem {
   UpdateAction action = UpdateAction::accept;
   /// Byte offset of the fault from the start of the buffer handed in (plus
   /// the caller's base offset).
   std::size_t offset = 0;
   std::string reason;
   /// The bytes of a flowspec NLRI that did not decode (length field
   /// included), so that a caller can still name what it withdraws.
   std::vector<std::uint8_t> nlri;

   friend bool operator==(UpdateProblem const&, UpdateProblem const&) = default;
};

/// The flowspec SAFIs: RFC 8955 section 4 (133) and section 8 (134, VPN).
inline constexpr std::uint8_t safiFlowspec = 133;
inline constexpr std::uint8_t safiFlowspecVpn = 134;

/// One flowspec route: the rule key (its addressFamily from the AFI, its
/// vrfId from UpdateOptions), the route distinguisher of SAFI 134 and, when
/// announced, the actions (decodeActions of the EXTENDED_COMMUNITIES; an
/// UPDATE without flowspec actions announces trafficPermit, RFC 8955 section
/// 7's default).
struct FlowspecRoute {
   FlowspecKey key;
   std::uint8_t safi = safiFlowspec;
   /// The 8 bytes of the route distinguisher as a big-endian number (SAFI
   /// 134 only; 0 otherwise).
   std::uint64_t routeDistinguisher = 0;
   RuleActions actions;

   friend bool operator==(FlowspecRoute const&, FlowspecRoute const&) = default;
};

/// What readUpdate needs to know about the session the message came on.
struct UpdateOptions {
   /// AS numbers in AS_PATH and AGGREGATOR are 4 bytes (RFC 6793, both
   /// speakers 4-octet capable) rather than 2.
   bool fourOctetAs = true;
   /// The peer is internal (IBGP): a malformed LOCAL_PREF withdraws rather
   /// than being discarded (RFC 7606 section 7.5).
   bool internalPeer = false;
   /// The VRF of the keys of SAFI 133 routes.
   Vrf::VrfIdMap::VrfId vrfId = Vrf::VrfIdMap::noVrfId;
   /// The VRF of the keys of SAFI 134 routes, from their route distinguisher;
   /// when empty (or when it answers nothing) they get `vrfId`.
   std::function<std::optional<Vrf::VrfIdMap::VrfId>(std::uint64_t)> vrfOfRd;
   /// The VRFs of the redirect route targets (Flowspec/wire/ActionCodec.h).
   RouteTargetVrfs routeTargets;
   /// Added to every offset reported (where the message sits in a file).
   std::size_t baseOffset = 0;
};

/// What one UPDATE says.
struct UpdateContents {
   /// The strongest handling among `problems`; accept when there are none.
   UpdateAction action = UpdateAction::accept;
   std::vector<UpdateProblem> problems;
   /// What was passed over without being malformed (action accept): extended
   /// communities that carry no flowspec action, redirect route targets
   /// missing from UpdateOptions::routeTargets, a redirect to a next hop the
   /// UPDATE does not carry. The actions they stand for are not taken.
   std::vector<UpdateProblem> notes;
   /// Flowspec routes announced, in the order of the message.
   std::vector<FlowspecRoute> announced;
   /// Flowspec routes withdrawn (no actions), in the order of the message;
   /// after a treat-as-withdraw, the announced ones follow.
   std::vector<FlowspecRoute> withdrawn;
   /// The next hop of the flowspec MP_REACH_NLRI (unspecified when its
   /// length is 0, as flowspec speakers usually send it); the address of a
   /// redirect to the next hop (community 08 00).
   Ipkit::IpGenAddr nextHop;
   /// MP attributes of other AFI/SAFI, passed over.
   std::size_t otherFamilyAttributes = 0;
   /// IPv4 prefixes of the withdrawn-routes and NLRI fields, passed over.
   std::size_t otherRoutes = 0;
};

/// Reads one BGP message. See the table above for what is refused and how.
UpdateContents readUpdate(std::span<std::uint8_t const> message, UpdateOptions const& options = {});

/// What buildUpdates needs to know.
struct UpdateBuildOptions {
   /// 0: an empty AS_PATH (as towards an internal peer); otherwise an
   /// AS_SEQUENCE of this one AS.
   std::uint32_t localAs = 0;
   /// AS numbers are written in 4 bytes (else 2; an AS above 65535 is then
   /// written as AS_TRANS, 23456).
   bool fourOctetAs = true;
   /// The route targets of redirect VRFs (Flowspec/wire/ActionCodec.h).
   RouteTargetVrfs routeTargets;
   /// How actions with more than one form are written.
   ActionEncodeOptions actions;
   /// The largest message written (RFC 4271: 4096).
   std::size_t maxMessageSize = 4096;
};

/// The messages that announce `announce` and withdraw `withdraw`, or why not.
struct UpdateBuild {
   std::vector<std::vector<std::uint8_t>> messages;
   /// Empty when every route was written; otherwise the reason the first
   /// route that could not be was refused, and nothing is written.
   std::string error;
};

/// Builds UPDATE messages: withdrawals first, one MP_UNREACH_NLRI per message
/// and family; then announcements, grouped by family, SAFI and actions into
/// as few messages as fit in maxMessageSize, each with MP_REACH_NLRI first
/// (next hop length 0, or the address of a redirect to the next hop), ORIGIN
/// IGP, AS_PATH and, when there are actions, EXTENDED_COMMUNITIES (and the
/// IPv6 address specific extended communities of a redirect to IPv6, RFC
/// 5701). Routes keep their order within a group. A message
/// carries no more than one of MP_REACH_NLRI and MP_UNREACH_NLRI (RFC 7606
/// section 5.1). A route whose key's address family is neither ipv4 nor
/// ipv6, whose key or actions do not encode, or whose NLRI alone does not
/// fit, is refused.
UpdateBuild buildUpdates(std::span<FlowspecRoute const> announce,
                         std::span<FlowspecRoute const> withdraw,
                         UpdateBuildOptions const& options = {});

} // namespace Flowspec
