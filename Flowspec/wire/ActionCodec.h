// Flowspec/wire/ActionCodec.h: the actions of a flowspec rule as BGP
// extended communities (RFC 8955 section 7) and back, mapped onto the action
// attributes of a RuleConfig.
//
// Every community is 8 bytes (RFC 4360), type and subtype first; values are
// big-endian:
//
//   | type | action                  | value (6 bytes)       | RuleConfig           |
//   |------|-------------------------|-----------------------|----------------------|
//   | 8006 | traffic-rate-bytes      | AS (2), bytes/s as an | trafficRate and      |
//   |      |                         |   IEEE float (4)      |   trafficRateLimit;  |
//   | 800c | traffic-rate-packets    | AS (2), packets/s as  |   rate 0: trafficDrop|
//   |      |   (RFC 8955 7.1)        |   an IEEE float (4)   |   instead            |
//   | 8007 | traffic-action          | 5 zero bytes, then    | trafficAction:       |
//   |      |                         |   000000ST: S sample, |   S sampleAndLog,    |
//   |      |                         |   T terminal action   |   T continueMatch    |
//   | 8008 | redirect to the VRF of  | AS (2), number (4)    | trafficRedirect.vrfId|
//   | 8108 |   a route target, by    | IPv4 (4), number (2)  |   from the caller's  |
//   | 8208 |   the caller's table    | AS (4), number (2)    |   route-target table |
//   | 8009 | traffic-marking         | 5 zero bytes, 00DSCP  | trafficMarking and   |
//   |      |                         |                       |   trafficMarkingDscp |
//   | 0800 | redirect to IP, the     | 5 zero bytes, then    | trafficRedirect.addr |
//   |      |   UPDATE's next hop     |   0000000C: C copy    |   (the next hop the  |
//   |      |   (draft-ietf-idr-      |                       |   caller gives), and |
//   |      |   flowspec-redirect-ip) |                       |   .copy              |
//   | 010c | redirect to IPv4 (draft-| IPv4 (4), then 00 and | trafficRedirect.addr |
//   |      |   ietf-idr-flowspec-    |   0000000C: C copy    |   and .copy          |
//   |      |   redirect)             |                       |                      |
//
// (8108 and 8208 are the RFC 7674 forms, 800c is RFC 8955's.) Every
// redirect sets trafficRedirect in actionFieldSet.
//
// GoBGP sends and reads the rate, action, marking and the three redirect
// forms; it has no redirect-to-IP community. ExaBGP reads and sends 08 00
// (the next hop of the UPDATE) and 01 0c (the address in the community), and
// not the IPv4 route-target redirect 81 08.
//
// Decoding never guesses: a community that carries no flowspec action
// (a route target, a colour, ...) is passed over and listed; an action that
// appears twice with different values, two redirects, or a rate in bytes and
// one in packets are conflicts, listed, and none of the conflicting values is
// taken; a route target missing from the caller's table is listed and not
// taken. A rule with no action community at all is accepted traffic
// (RFC 8955 section 7: the default is to accept): trafficPermit.
#pragma once

#include "Flowspec/values/ActionFieldSet.h"
#include "Flowspec/values/TrafficAction.h"
#include "Flowspec/values/TrafficRedirect.h"
#include "Ipkit/IpGenAddr.h"
#include "Ipkit/IpTos.h"
#include "Vrf/VrfIdMap.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Flowspec {

class RuleConfig;

/// The route target of a redirect community, in one of its three forms.
struct RouteTarget {
   enum class Form : std::uint8_t {
      as2 = 0x80,  ///< 2-byte AS : 4-byte number
      ipv4 = 0x81, ///< IPv4 address : 2-byte number
      as4 = 0x82,  ///< 4-byte AS : 2-byte number
   };
   Form form = Form::as2;
   /// The AS, or the IPv4 address in host order.
   std::uint32_t global = 0;
   std::uint32_t local = 0;

   friend auto operator<=>(RouteTarget const&, RouteTarget const&) = default;
};

/// "65000:100", "192.0.2.1:100", "4200000000:100" (as4 also for small AS
/// numbers: "65000:100" then reads as as2; the form tells them apart).
std::string routeTargetText(RouteTarget const& rt);

/// The caller's table from route targets to the VRFs they name. Encoding
/// looks a VRF up by value and takes the least route target that names it
/// and whose numbers fit its form (the 2-byte field of each form).
using RouteTargetVrfs = std::map<RouteTarget, Vrf::VrfIdMap::VrfId>;

/// The unit of a rate limit: RuleConfig holds the number, not the unit.
enum class RateUnit : std::uint8_t { bytes, packets };

/// The action attributes of a RuleConfig, with the rate's unit beside them.
struct RuleActions {
   ActionFieldSet actionFieldSet;
   float trafficRateLimit = 0.0f;
   TrafficAction trafficAction;
   TrafficRedirect trafficRedirect;
   Ipkit::IpTos trafficMarkingDscp;
   RateUnit rateUnit = RateUnit::bytes;

   friend bool operator==(RuleActions const&, RuleActions const&) = default;
};

/// The five action attributes of `rule` (rateUnit bytes).
RuleActions ruleActions(RuleConfig const& rule);
/// Sets the five action attributes of `rule` through its setters, so its
/// observers hear each one that changes.
void ruleActionsIs(RuleConfig& rule, RuleActions const& actions);

/// What decoding passed over, or encoding could not write.
enum class ActionIssueReason : std::uint8_t {
   /// A community that carries no flowspec action.
   notAnAction,
   /// The attribute is not a whole number of communities.
   attributeLength,
   /// Bits that must be zero are not; the community is not taken.
   reservedBits,
   /// A negative, infinite or NaN rate; not taken.
   badRate,
   /// A second, different value for one action, or actions that exclude each
   /// other (two redirects, a rate in bytes and one in packets, drop and a
   /// rate); none of them is taken.
   conflict,
   /// A redirect route target missing from the caller's table; not taken.
   routeTargetUnknown,
   /// Redirect to the next hop (0800) while the caller gave none.
   nextHopMissing,
   /// Encode: actionFieldSet.invalid, which has no community.
   invalidFlag,
   /// Encode: a redirect VRF that no route target of the table names.
   vrfWithoutRouteTarget,
   /// Encode: trafficMarkingDscp above 63.
   dscpTooLarge,
   /// Encode: trafficRedirect flagged with neither a VRF nor an address.
   redirectAddressMissing,
   /// Encode: a copy flag on a redirect to a VRF, which no community carries.
   copyWithoutAddress,
};

/// A sentence for `reason`, lower case, no final period.
char const* actionIssueText(ActionIssueReason reason) noexcept;

struct ActionIssue {
   ActionIssueReason reason = ActionIssueReason::notAnAction;
   /// Decode: the offset of the community in the attribute. Encode: none.
   std::optional<std::size_t> offset;
   /// The community's type and subtype (0x8006, ...), 0 when none.
   std::uint16_t typeSubtype = 0;
   /// Decode: the community is one of the IPv6 attribute (20 bytes each).
   bool ipv6Attribute = false;

   friend bool operator==(ActionIssue const&, ActionIssue const&) = default;
};

/// "offset 8: community 8008: route target not in the table" ("IPv6
/// attribute offset 20: ..." for the IPv6 attribute), without the offset for
/// encode issues and without the community where there is none.
std::string actionIssueMessage(ActionIssue const& issue);

struct ActionDecodeResult {
   RuleActions actions;
   /// In the order met; empty when every community was a flowspec action
   /// that was taken.
   std::vector<ActionIssue> issues;
};

/// Decodes the value of an EXTENDED_COMMUNITIES attribute (8 bytes a
/// community) and of an IPV6_ADDRESS_SPECIFIC_EXTENDED_COMMUNITY attribute
/// (RFC 5701, 20 bytes a community), whose one flowspec action is the
/// redirect to IPv6 of draft-ietf-idr-flowspec-redirect:
///
///   | type sub | value (18 bytes)                        | RuleConfig          |
///   | 000c     | IPv6 (16), then 00 and 0000000C: C copy | trafficRedirect.addr|
///   |          |                                         |   and .copy         |
///
/// (ExaBGP's redirect-to-nexthop-ietf for IPv6.) `routeTargets` maps
/// redirect targets to VRFs; `nextHop` is the UPDATE's next hop, the address
/// of a redirect-to-IP community 08 00. The redirects of both attributes are
/// one action: two that differ conflict. Never throws but for memory, never
/// aborts.
ActionDecodeResult decodeActions(std::span<std::uint8_t const> extendedCommunities,
                                 RouteTargetVrfs const& routeTargets,
                                 Ipkit::IpGenAddr const& nextHop = {},
                                 std::span<std::uint8_t const> ipv6ExtendedCommunities = {});

/// How to encode what has more than one form.
struct ActionEncodeOptions {
   /// The AS field of the rate communities (informational, RFC 8955 7.1).
   std::uint16_t rateAs = 0;
   /// Redirect to an address: false writes it in a community (01 0c for
   /// IPv4, 000c in the IPv6 attribute for IPv6); true writes 08 00 and
   /// hands the address back as nextHop, for the caller to put in the
   /// UPDATE.
   bool redirectIpAsNextHop = false;
};

struct ActionEncodeResult {
   /// The communities, 8 bytes each, in the order of the table above
   /// (rate, action, redirect, marking, redirect to IP).
   std::vector<std::uint8_t> extendedCommunities;
   /// The IPv6 attribute's communities, 20 bytes each (a redirect to IPv6),
   /// or none.
   std::vector<std::uint8_t> ipv6ExtendedCommunities;
   /// The next hop the UPDATE must carry for a 08 00 community, else empty.
   Ipkit::IpGenAddr nextHop;
   /// What could not be written; the rest was.
   std::vector<ActionIssue> issues;
};

/// Encodes `actions`; decodeActions of the result (with the same table and
/// nextHop) gives `actions` back whenever issues is empty, but for a
/// trafficPermit flag alongside other actions (permit is the absence of a
/// drop) and a RuleActions without any flag (decoded as trafficPermit).
ActionEncodeResult encodeActions(RuleActions const& actions, RouteTargetVrfs const& routeTargets,
                                 ActionEncodeOptions const& options = {});

} // namespace Flowspec
