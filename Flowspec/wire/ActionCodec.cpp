#include "Flowspec/wire/ActionCodec.h"

#include "Flowspec/entities/RuleConfig.h"
#include "Flowspec/wire/ByteOrder.h"
#include "Flowspec/wire/ReasonTable.h"
#include "Ipkit/IpAddr.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdio>

namespace Flowspec {

namespace {

constexpr std::size_t communityBytes = 8;
constexpr std::size_t ipv6CommunityBytes = 20;

// Type and subtype of the communities this codec reads and writes.
enum Community : std::uint16_t {
   rateBytes = 0x8006,
   rateAction = 0x8007,
   redirectAs2 = 0x8008,
   marking = 0x8009,
   ratePackets = 0x800c,
   redirectIpv4Rt = 0x8108,
   redirectAs4 = 0x8208,
   redirectNextHop = 0x0800,
   redirectIpv4 = 0x010c,
   redirectIpv6 = 0x000c, // in the IPv6 attribute
};

constexpr std::uint8_t sampleBit = 0x02;
constexpr std::uint8_t terminalBit = 0x01;
constexpr std::uint8_t copyBit = 0x01;
constexpr std::uint8_t dscpMask = 0x3f;

struct IssueText {
   ActionIssueReason reason;
   char const* text;
};
constexpr IssueText issueTexts[] = {
    {ActionIssueReason::notAnAction, "not a flowspec action"},
    {ActionIssueReason::attributeLength, "attribute length not a whole number of communities"},
    {ActionIssueReason::reservedBits, "reserved bits set"},
    {ActionIssueReason::badRate, "rate negative, infinite or not a number"},
    {ActionIssueReason::conflict, "conflicts with another action"},
    {ActionIssueReason::routeTargetUnknown, "route target not in the table"},
    {ActionIssueReason::nextHopMissing, "redirect to the next hop without a next hop"},
    {ActionIssueReason::invalidFlag, "the invalid action flag has no community"},
    {ActionIssueReason::vrfWithoutRouteTarget, "no route target names the redirect VRF"},
    {ActionIssueReason::dscpTooLarge, "DSCP above 63"},
    {ActionIssueReason::redirectAddressMissing, "redirect without a VRF or an address"},
    {ActionIssueReason::copyWithoutAddress, "copy flag on a redirect to a VRF"},
};
static_assert(std::size(issueTexts) == std::size_t(ActionIssueReason::copyWithoutAddress) + 1);
static_assert(ReasonTable::inOrder(issueTexts));

bool zero(std::uint8_t const* p, std::size_t n) noexcept {
   for (std::size_t i = 0; i < n; ++i)
      if (p[i]) return false;
   return true;
}

// One action of a rule as the communities give it: empty, one value, or a
// conflict (then none is taken).
template <class V>
struct Slot {
   bool has = false;
   bool conflicted = false;
   V value{};

   // Whether `v` conflicts with what the slot holds; an equal value again
   // is no conflict.
   bool offer(V const& v) {
      if (conflicted) return true;
      if (has && !(value == v)) {
         has = false;
         conflicted = true;
         return true;
      }
      has = true;
      value = v;
      return false;
   }
};

struct Rate {
   RateUnit unit;
   float rate;
   friend bool operator==(Rate const&, Rate const&) = default;
};

// Appends one community: type and subtype, then the six value bytes.
class Writer {
 public:
   explicit Writer(std::vector<std::uint8_t>& out) : out_(out) {}
   Writer& community(std::uint16_t typeSubtype) { return u16(typeSubtype); }
   Writer& u8(std::uint8_t v) {
      out_.push_back(v);
      return *this;
   }
   Writer& u16(std::uint16_t v) { return u8(std::uint8_t(v >> 8)).u8(std::uint8_t(v)); }
   Writer& u32(std::uint32_t v) { return u16(std::uint16_t(v >> 16)).u16(std::uint16_t(v)); }
   Writer& zeros(std::size_t n) {
      out_.insert(out_.end(), n, 0);
      return *this;
   }

 private:
   std::vector<std::uint8_t>& out_;
};

// Whether the route target's numbers fit its form's fields.
bool fits(RouteTarget const& rt) noexcept {
   return rt.form == RouteTarget::Form::as2 ? rt.global <= 0xffff : rt.local <= 0xffff;
}

} // namespace

std::string routeTargetText(RouteTarget const& rt) {
   if (rt.form == RouteTarget::Form::ipv4)
      return std::string(Ipkit::IpAddr(rt.global).stringValue().c_str()) + ":" +
             std::to_string(rt.local);
   return std::to_string(rt.global) + ":" + std::to_string(rt.local);
}

RuleActions ruleActions(RuleConfig const& rule) {
   RuleActions a;
   a.actionFieldSet = rule.actionFieldSet();
   a.trafficRateLimit = rule.trafficRateLimit();
   a.trafficAction = rule.trafficAction();
   a.trafficRedirect = rule.trafficRedirect();
   a.trafficMarkingDscp = rule.trafficMarkingDscp();
   return a;
}

void ruleActionsIs(RuleConfig& rule, RuleActions const& actions) {
   rule.actionFieldSetIs(actions.actionFieldSet);
   rule.trafficRateLimitIs(actions.trafficRateLimit);
   rule.trafficActionIs(actions.trafficAction);
   rule.trafficRedirectIs(actions.trafficRedirect);
   rule.trafficMarkingDscpIs(actions.trafficMarkingDscp);
}

char const* actionIssueText(ActionIssueReason reason) noexcept {
   return ReasonTable::text(issueTexts, reason, "unknown issue");
}

std::string actionIssueMessage(ActionIssue const& issue) {
   std::string s;
   if (issue.offset) {
      s += issue.ipv6Attribute ? "IPv6 attribute offset " : "offset ";
      s += std::to_string(*issue.offset) + ": ";
   }
   if (issue.typeSubtype) {
      char buf[24];
      std::snprintf(buf, sizeof buf, "community %04x: ", unsigned(issue.typeSubtype));
      s += buf;
   }
   return s + actionIssueText(issue.reason);
}

ActionDecodeResult decodeActions(std::span<std::uint8_t const> ec,
                                 RouteTargetVrfs const& routeTargets,
                                 Ipkit::IpGenAddr const& nextHop,
                                 std::span<std::uint8_t const> ipv6Ec) {
   ActionDecodeResult result;
   auto issue = [&](ActionIssueReason reason, std::size_t offset, std::uint16_t ts) {
      result.issues.push_back({.reason = reason, .offset = offset, .typeSubtype = ts});
   };
   Slot<Rate> rate;
   Slot<std::uint8_t> action;
   Slot<TrafficRedirect> redirect;
   Slot<std::uint8_t> mark;
   std::size_t const whole = ec.size() - ec.size() % communityBytes;
   for (std::size_t off = 0; off < whole; off += communityBytes) {
      auto const bytes = ec.subspan(off, communityBytes);
      std::uint8_t const* c = bytes.data();
      std::uint16_t const ts = getBe16(bytes, 0);
      auto offer = [&](auto& slot, auto const& value) {
         if (slot.offer(value)) issue(ActionIssueReason::conflict, off, ts);
      };
      auto redirectToVrf = [&](RouteTarget const& rt) {
         auto found = routeTargets.find(rt);
         if (found == routeTargets.end()) {
            issue(ActionIssueReason::routeTargetUnknown, off, ts);
         } else {
            offer(redirect, TrafficRedirect(found->second, {}, false));
         }
      };
      switch (ts) {
      case rateBytes:
      case ratePackets: {
         float const r = std::bit_cast<float>(getBe32(bytes, 4));
         if (!(r >= 0.0f) || std::isinf(r)) {
            issue(ActionIssueReason::badRate, off, ts);
         } else {
            offer(rate, Rate{ts == rateBytes ? RateUnit::bytes : RateUnit::packets, r});
         }
         break;
      }
      case rateAction:
         if (!zero(c + 2, 5) || (c[7] & ~(sampleBit | terminalBit))) {
            issue(ActionIssueReason::reservedBits, off, ts);
         } else {
            offer(action, c[7]);
         }
         break;
      case redirectAs2:
         redirectToVrf({RouteTarget::Form::as2, getBe16(bytes, 2), getBe32(bytes, 4)});
         break;
      case redirectIpv4Rt:
         redirectToVrf({RouteTarget::Form::ipv4, getBe32(bytes, 2), getBe16(bytes, 6)});
         break;
      case redirectAs4:
         redirectToVrf({RouteTarget::Form::as4, getBe32(bytes, 2), getBe16(bytes, 6)});
         break;
      case marking:
         if (!zero(c + 2, 5) || (c[7] & ~dscpMask)) {
            issue(ActionIssueReason::reservedBits, off, ts);
         } else {
            offer(mark, c[7]);
         }
         break;
      case redirectNextHop:
         if (!zero(c + 2, 5) || (c[7] & ~copyBit)) {
            issue(ActionIssueReason::reservedBits, off, ts);
         } else if (nextHop.isUnspecified()) {
            issue(ActionIssueReason::nextHopMissing, off, ts);
         } else {
            offer(redirect, TrafficRedirect(Vrf::VrfIdMap::noVrfId, nextHop, c[7] & copyBit));
         }
         break;
      case redirectIpv4:
         if (c[6] || (c[7] & ~copyBit)) {
            issue(ActionIssueReason::reservedBits, off, ts);
         } else {
            offer(redirect, TrafficRedirect(Vrf::VrfIdMap::noVrfId,
                                            Ipkit::IpAddr(getBe32(bytes, 2)), c[7] & copyBit));
         }
         break;
      default:
         issue(ActionIssueReason::notAnAction, off, ts);
         break;
      }
   }
   if (whole != ec.size()) issue(ActionIssueReason::attributeLength, whole, 0);

   std::size_t const whole6 = ipv6Ec.size() - ipv6Ec.size() % ipv6CommunityBytes;
   auto issue6 = [&](ActionIssueReason reason, std::size_t offset, std::uint16_t ts) {
      result.issues.push_back(
          {.reason = reason, .offset = offset, .typeSubtype = ts, .ipv6Attribute = true});
   };
   for (std::size_t off = 0; off < whole6; off += ipv6CommunityBytes) {
      auto const bytes = ipv6Ec.subspan(off, ipv6CommunityBytes);
      std::uint8_t const* c = bytes.data();
      std::uint16_t const ts = getBe16(bytes, 0);
      if (ts != redirectIpv6) {
         issue6(ActionIssueReason::notAnAction, off, ts);
      } else if (c[18] || (c[19] & ~copyBit)) {
         issue6(ActionIssueReason::reservedBits, off, ts);
      } else {
         Ipkit::Ip6Addr::Bytes address;
         std::copy(c + 2, c + 18, address.begin());
         TrafficRedirect r(Vrf::VrfIdMap::noVrfId, Ipkit::Ip6Addr(address), c[19] & copyBit);
         if (redirect.offer(r)) issue6(ActionIssueReason::conflict, off, ts);
      }
   }
   if (whole6 != ipv6Ec.size()) issue6(ActionIssueReason::attributeLength, whole6, 0);

   RuleActions& a = result.actions;
   ActionFieldSet flags;
   if (rate.has) {
      a.rateUnit = rate.value.unit;
      a.trafficRateLimit = rate.value.rate;
      // RFC 8955 7.1: a rate of 0 discards all traffic of the flow.
      if (rate.value.rate == 0.0f) {
         flags.trafficDropIs(true);
      } else {
         flags.trafficRateIs(true);
      }
   }
   if (action.has) {
      flags.trafficActionIs(true);
      a.trafficAction.sampleAndLogIs(action.value & sampleBit);
      a.trafficAction.continueMatchIs(action.value & terminalBit);
   }
   if (redirect.has) {
      flags.trafficRedirectIs(true);
      a.trafficRedirect = redirect.value;
   }
   if (mark.has) {
      flags.trafficMarkingIs(true);
      a.trafficMarkingDscp = Ipkit::IpTos(mark.value);
   }
   if (flags.value() == 0) flags.trafficPermitIs(true);
   a.actionFieldSet = flags;
   return result;
}

ActionEncodeResult encodeActions(RuleActions const& actions, RouteTargetVrfs const& routeTargets,
                                 ActionEncodeOptions const& options) {
   ActionEncodeResult result;
   Writer w(result.extendedCommunities);
   auto issue = [&](ActionIssueReason reason, std::uint16_t ts) {
      result.issues.push_back({.reason = reason, .offset = std::nullopt, .typeSubtype = ts});
   };
   ActionFieldSet const flags = actions.actionFieldSet;
   if (flags.invalid()) issue(ActionIssueReason::invalidFlag, 0);

   std::uint16_t const rateCommunity =
       actions.rateUnit == RateUnit::bytes ? rateBytes : ratePackets;
   if (flags.trafficDrop() && flags.trafficRate()) {
      issue(ActionIssueReason::conflict, rateCommunity);
   } else if (flags.trafficDrop()) {
      w.community(rateCommunity).u16(options.rateAs).u32(0);
   } else if (flags.trafficRate()) {
      float const r = actions.trafficRateLimit;
      if (!(r >= 0.0f) || std::isinf(r)) {
         issue(ActionIssueReason::badRate, rateCommunity);
      } else {
         w.community(rateCommunity).u16(options.rateAs).u32(std::bit_cast<std::uint32_t>(r));
      }
   }

   if (flags.trafficAction()) {
      std::uint8_t bits = (actions.trafficAction.sampleAndLog() ? sampleBit : 0) |
                          (actions.trafficAction.continueMatch() ? terminalBit : 0);
      w.community(rateAction).zeros(5).u8(bits);
   }

   bool redirectIp = false;
   if (flags.trafficRedirect()) {
      TrafficRedirect const& r = actions.trafficRedirect;
      bool const toVrf = r.vrfId() != Vrf::VrfIdMap::noVrfId;
      bool const toAddress = !r.addr().isUnspecified();
      if (toVrf && toAddress) {
         issue(ActionIssueReason::conflict, redirectAs2);
      } else if (toVrf) {
         auto found = std::find_if(routeTargets.begin(), routeTargets.end(), [&](auto const& e) {
            return e.second == r.vrfId() && fits(e.first);
         });
         if (r.copy()) issue(ActionIssueReason::copyWithoutAddress, 0);
         if (found == routeTargets.end()) {
            issue(ActionIssueReason::vrfWithoutRouteTarget, 0);
         } else {
            RouteTarget const& rt = found->first;
            w.u8(static_cast<std::uint8_t>(rt.form)).u8(0x08);
            if (rt.form == RouteTarget::Form::as2) {
               w.u16(static_cast<std::uint16_t>(rt.global)).u32(rt.local);
            } else {
               w.u32(rt.global).u16(static_cast<std::uint16_t>(rt.local));
            }
         }
      } else if (toAddress) {
         redirectIp = true;
      } else {
         issue(ActionIssueReason::redirectAddressMissing, 0);
      }
   }

   if (flags.trafficMarking()) {
      std::uint8_t const dscp = actions.trafficMarkingDscp.value();
      if (dscp > dscpMask) {
         issue(ActionIssueReason::dscpTooLarge, marking);
      } else {
         w.community(marking).zeros(5).u8(dscp);
      }
   }

   if (redirectIp) {
      TrafficRedirect const& r = actions.trafficRedirect;
      std::uint8_t const copy = r.copy() ? copyBit : 0;
      if (options.redirectIpAsNextHop) {
         w.community(redirectNextHop).zeros(5).u8(copy);
         result.nextHop = r.addr();
      } else if (r.addr().af() == Ipkit::ipv4) {
         w.community(redirectIpv4).u32(r.addr().v4().value()).u8(0).u8(copy);
      } else {
         Writer w6(result.ipv6ExtendedCommunities);
         w6.community(redirectIpv6);
         for (std::uint8_t b : r.addr().bytes())
            w6.u8(b);
         w6.u8(0).u8(copy);
      }
   }
   return result;
}

} // namespace Flowspec
