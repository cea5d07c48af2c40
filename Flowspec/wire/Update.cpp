#include "Flowspec/wire/Update.h"

#include "Flowspec/wire/ByteOrder.h"
#include "Flowspec/wire/NlriCodec.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <map>
#include <tuple>

namespace Flowspec {

char const* updateActionText(UpdateAction action) noexcept {
   switch (action) {
   case UpdateAction::accept:
      return "accept";
   case UpdateAction::attributeDiscard:
      return "attribute discard";
   case UpdateAction::treatAsWithdraw:
      return "treat-as-withdraw";
   case UpdateAction::afiSafiDisable:
      return "AFI/SAFI disable";
   case UpdateAction::sessionReset:
      return "session reset";
   }
   return "unknown";
}

namespace {

using Bytes = std::span<std::uint8_t const>;

// ---- the message, RFC 4271 section 4 ------------------------------------------
//
//   0                   1                   2                   3
//   +---------------------------------------------------------------+
//   |                  Marker (16 bytes of 0xff)                    |
//   +-------------------------------+---------------+---------------+
//   |          Length               |  Type (2)     |
//   +-------------------------------+---------------+
//   | Withdrawn Routes Length (2) | Withdrawn Routes (IPv4 prefixes) |
//   | Total Path Attribute Length (2) | Path Attributes             |
//   | Network Layer Reachability Information (IPv4 prefixes)       |
//
// Each path attribute (section 4.3):
//
//   +--------+--------+----------------------------+----------------+
//   | flags  |  type  | length: 1 byte, or 2 bytes | value          |
//   |        |        | with the extended length   | (length bytes) |
//   +--------+--------+----------------------------+----------------+
//   flags: 0x80 optional, 0x40 transitive, 0x20 partial, 0x10 extended length

constexpr std::size_t headerSize = 19;
constexpr std::size_t maxMessage = 4096;
constexpr std::uint8_t typeUpdate = 2;

constexpr std::uint8_t flagOptional = 0x80;
constexpr std::uint8_t flagTransitive = 0x40;
constexpr std::uint8_t flagExtendedLength = 0x10;

enum AttrType : std::uint8_t {
   attrOrigin = 1,
   attrAsPath = 2,
   attrNextHop = 3,
   attrMed = 4,
   attrLocalPref = 5,
   attrAtomicAggregate = 6,
   attrAggregator = 7,
   attrCommunities = 8,
   attrOriginatorId = 9,
   attrClusterList = 10,
   attrMpReach = 14,
   attrMpUnreach = 15,
   attrExtCommunities = 16,
   attrAs4Path = 17,
   attrAs4Aggregator = 18,
   attrIpv6ExtCommunities = 25,
   attrLargeCommunities = 32,
};

// What the receiver knows of each attribute type it recognises: its name, its
// optional and transitive flags (RFC 4271 section 5, RFC 4760, RFC 4360,
// RFC 6793, RFC 5701, RFC 8092) and what a malformed one leads to.
struct AttrRule {
   char const* name = nullptr;
   std::uint8_t flags = 0; // optional and transitive bits only
   UpdateAction malformed = UpdateAction::treatAsWithdraw;
};

constexpr std::array<AttrRule, 256> attrRules = [] {
   std::array<AttrRule, 256> r{};
   auto const wellKnown = flagTransitive;
   auto const optTrans = std::uint8_t(flagOptional | flagTransitive);
   auto const optNonTrans = flagOptional;
   using A = UpdateAction;
   r[attrOrigin] = {"ORIGIN", wellKnown, A::treatAsWithdraw};
   r[attrAsPath] = {"AS_PATH", wellKnown, A::treatAsWithdraw};
   r[attrNextHop] = {"NEXT_HOP", wellKnown, A::treatAsWithdraw};
   r[attrMed] = {"MULTI_EXIT_DISC", optNonTrans, A::treatAsWithdraw};
   r[attrLocalPref] = {"LOCAL_PREF", wellKnown, A::treatAsWithdraw};
   r[attrAtomicAggregate] = {"ATOMIC_AGGREGATE", wellKnown, A::attributeDiscard};
   r[attrAggregator] = {"AGGREGATOR", optTrans, A::attributeDiscard};
   r[attrCommunities] = {"COMMUNITIES", optTrans, A::treatAsWithdraw};
   r[attrOriginatorId] = {"ORIGINATOR_ID", optNonTrans, A::treatAsWithdraw};
   r[attrClusterList] = {"CLUSTER_LIST", optNonTrans, A::treatAsWithdraw};
   r[attrMpReach] = {"MP_REACH_NLRI", optNonTrans, A::treatAsWithdraw};
   r[attrMpUnreach] = {"MP_UNREACH_NLRI", optNonTrans, A::treatAsWithdraw};
   r[attrExtCommunities] = {"EXTENDED_COMMUNITIES", optTrans, A::treatAsWithdraw};
   r[attrAs4Path] = {"AS4_PATH", optTrans, A::attributeDiscard};
   r[attrAs4Aggregator] = {"AS4_AGGREGATOR", optTrans, A::attributeDiscard};
   r[attrIpv6ExtCommunities] = {"IPv6_EXTENDED_COMMUNITIES", optTrans, A::treatAsWithdraw};
   r[attrLargeCommunities] = {"LARGE_COMMUNITY", optTrans, A::treatAsWithdraw};
   return r;
}();

std::string attrName(std::uint8_t type) {
   if (attrRules[type].name) return attrRules[type].name;
   return "attribute " + std::to_string(type);
}

// A codec's message without its leading "offset N: ", which counts from a
// start of its own: the reader reports offsets into the message instead.
std::string withoutOffset(std::string message) {
   if (message.rfind("offset ", 0) == 0 || message.rfind("IPv6 attribute offset ", 0) == 0) {
      std::size_t const colon = message.find(": ");
      if (colon != std::string::npos) message.erase(0, colon + 2);
   }
   return message;
}

std::string hexByte(std::uint8_t v) {
   char text[8];
   std::snprintf(text, sizeof text, "0x%02x", v);
   return text;
}

// The state of one reading.
class Reader {
 public:
   Reader(Bytes message, UpdateOptions const& options) : m_(message), options_(options) {}

   UpdateContents read();

 private:
   void problem(UpdateAction action, std::size_t at, std::string reason,
                std::vector<std::uint8_t> nlri = {}) {
      out_.problems.push_back(
          {action, options_.baseOffset + at, std::move(reason), std::move(nlri)});
      out_.action = std::max(out_.action, action);
   }
   bool header();
   // Walks IPv4 prefixes (RFC 4271 section 4.3) in [at, end); false after a
   // session reset.
   bool ipv4Prefixes(std::size_t at, std::size_t end, char const* field);
   void attributes(std::size_t at, std::size_t end);
   void attribute(std::uint8_t flags, std::uint8_t type, std::size_t at, std::size_t len);
   void asPath(std::uint8_t type, std::size_t at, std::size_t len, unsigned asSize);
   void mpReach(std::size_t at, std::size_t len);
   void mpUnreach(std::size_t at, std::size_t len);
   // The flowspec NLRIs of [at, end), into `routes`; false when their framing
   // broke (the AFI/SAFI is disabled).
   bool flowspecNlris(std::uint16_t afi, std::uint8_t safi, std::size_t at, std::size_t end,
                      std::vector<FlowspecRoute>& routes, char const* attr);
   void finish();

   Bytes m_;
   UpdateOptions const& options_;
   UpdateContents out_;
   std::array<bool, 256> seen_{};
   bool mpParsed_ = false;
   bool nlriField_ = false;
   // The values of EXTENDED_COMMUNITIES and of the IPv6 address specific
   // extended communities, when present and whole.
   struct Value {
      std::size_t at = 0;
      std::size_t len = 0;
      bool present = false;
   };
   Value ext_, ext6_;
};

bool Reader::header() {
   if (m_.size() < headerSize) {
      problem(UpdateAction::sessionReset, m_.size(),
              "the message ends after " + std::to_string(m_.size()) +
                  " bytes, inside the 19-byte header");
      return false;
   }
   for (std::size_t i = 0; i < 16; ++i) {
      if (m_[i] != 0xff) {
         problem(UpdateAction::sessionReset, i,
                 "the marker holds " + hexByte(m_[i]) + ", not 16 bytes of 0xff");
         return false;
      }
   }
   std::size_t const length = getBe16(m_, 16);
   if (length < headerSize || length > maxMessage) {
      problem(UpdateAction::sessionReset, 16,
              "the message length " + std::to_string(length) + " is outside 19 to 4096");
      return false;
   }
   if (length != m_.size()) {
      problem(UpdateAction::sessionReset, 16,
              "the message length says " + std::to_string(length) + " bytes, there are " +
                  std::to_string(m_.size()));
      return false;
   }
   if (m_[18] != typeUpdate) {
      problem(UpdateAction::sessionReset, 18,
              "message type " + std::to_string(m_[18]) + " is not UPDATE (2)");
      return false;
   }
   return true;
}

bool Reader::ipv4Prefixes(std::size_t at, std::size_t end, char const* field) {
   while (at < end) {
      unsigned const bits = m_[at];
      if (bits > 32) {
         problem(UpdateAction::sessionReset, at,
                 std::string(field) + ": prefix length " + std::to_string(bits) + " is above 32");
         return false;
      }
      std::size_t const next = at + 1 + (bits + 7) / 8;
      if (next > end) {
         problem(UpdateAction::sessionReset, at,
                 std::string(field) + ": a /" + std::to_string(bits) +
                     " prefix runs past the end of the field");
         return false;
      }
      ++out_.otherRoutes;
      at = next;
   }
   return true;
}

UpdateContents Reader::read() {
   if (!header()) return std::move(out_);
   std::size_t const end = m_.size();
   std::size_t at = headerSize;
   if (end - at < 2) {
      problem(UpdateAction::sessionReset, at,
              "the message ends inside the withdrawn routes length");
      return std::move(out_);
   }
   std::size_t const withdrawnLen = getBe16(m_, at);
   at += 2;
   if (withdrawnLen > end - at || end - at - withdrawnLen < 2) {
      problem(UpdateAction::sessionReset, at - 2,
              "the withdrawn routes length " + std::to_string(withdrawnLen) +
                  " leaves no room for the total path attribute length");
      return std::move(out_);
   }
   if (!ipv4Prefixes(at, at + withdrawnLen, "withdrawn routes")) return std::move(out_);
   at += withdrawnLen;
   std::size_t const attrLen = getBe16(m_, at);
   at += 2;
   if (attrLen > end - at) {
      problem(UpdateAction::sessionReset, at - 2,
              "the total path attribute length " + std::to_string(attrLen) +
                  " runs past the message (" + std::to_string(end - at) + " bytes left)");
      return std::move(out_);
   }
   std::size_t const nlriAt = at + attrLen;
   nlriField_ = nlriAt < end;
   if (!ipv4Prefixes(nlriAt, end, "NLRI")) return std::move(out_);
   attributes(at, nlriAt);
   finish();
   return std::move(out_);
}

void Reader::attributes(std::size_t at, std::size_t end) {
   while (at < end) {
      std::uint8_t const flags = m_[at];
      std::size_t const headerLen = flags & flagExtendedLength ? 4 : 3;
      std::string broken;
      std::size_t len = 0;
      if (end - at < headerLen) {
         broken = std::to_string(end - at) + " bytes are left, too few for an "
                                             "attribute header";
      } else {
         len = headerLen == 4 ? getBe16(m_, at + 2) : m_[at + 2];
         if (len > end - at - headerLen) {
            broken = attrName(m_[at + 1]) + " of length " + std::to_string(len) +
                     " runs past the path attributes (" + std::to_string(end - at - headerLen) +
                     " bytes left)";
         }
      }
      if (!broken.empty()) {
         // RFC 7606 section 4: the total attribute length still locates the
         // NLRI field, so the routes can be withdrawn; but only routes of an
         // MP attribute already read can be named (section 5.1).
         if (mpParsed_ || nlriField_) {
            problem(UpdateAction::treatAsWithdraw, at, broken);
         } else {
            problem(UpdateAction::sessionReset, at,
                    broken + "; no MP_REACH_NLRI or MP_UNREACH_NLRI came before it");
         }
         return;
      }
      attribute(flags, m_[at + 1], at, len);
      at += headerLen + len;
   }
}

void Reader::attribute(std::uint8_t flags, std::uint8_t type, std::size_t at, std::size_t len) {
   std::size_t const value = at + (flags & flagExtendedLength ? 4 : 3);
   AttrRule const& rule = attrRules[type];
   if (seen_[type]) {
      if (type == attrMpReach || type == attrMpUnreach) {
         problem(UpdateAction::sessionReset, at, attrName(type) + " appears a second time");
      } else {
         problem(UpdateAction::attributeDiscard, at,
                 attrName(type) + " appears a second time; this copy is discarded");
      }
      return;
   }
   seen_[type] = true;
   if (!rule.name) {
      if (!(flags & flagOptional)) {
         problem(UpdateAction::sessionReset, at,
                 "attribute " + std::to_string(type) + " is flagged well-known but is not one");
      }
      return; // an optional attribute this reader does not know: passed over
   }
   std::uint8_t const kind = flags & (flagOptional | flagTransitive);
   if (kind != rule.flags) {
      problem(UpdateAction::treatAsWithdraw, at,
              attrName(type) + " has flags " + hexByte(flags) +
                  "; its optional and "
                  "transitive bits must be " +
                  hexByte(rule.flags));
      // The attribute is still read: an MP attribute names its routes.
   }
   auto const malformed = [&](std::string why, UpdateAction action = UpdateAction::accept) {
      if (action == UpdateAction::accept) action = rule.malformed;
      problem(action, at, attrName(type) + " " + why);
   };
   auto const exact = [&](std::size_t want) {
      if (len != want) {
         malformed("has length " + std::to_string(len) + ", not " + std::to_string(want));
      }
   };
   auto const multiple = [&](std::size_t unit) {
      if (len == 0 || len % unit) {
         malformed("has length " + std::to_string(len) + ", not a non-zero multiple of " +
                   std::to_string(unit));
      }
   };
   unsigned const asSize = options_.fourOctetAs ? 4 : 2;
   switch (type) {
   case attrOrigin:
      if (len != 1) {
         exact(1);
      } else if (m_[value] > 2) {
         malformed("has the undefined value " + std::to_string(m_[value]));
      }
      break;
   case attrAsPath:
      asPath(type, value, len, asSize);
      break;
   case attrAs4Path:
      asPath(type, value, len, 4);
      break;
   case attrNextHop:
   case attrMed:
   case attrOriginatorId:
      exact(4);
      break;
   case attrLocalPref:
      if (len != 4) {
         malformed("has length " + std::to_string(len) + ", not 4",
                   options_.internalPeer ? UpdateAction::treatAsWithdraw
                                         : UpdateAction::attributeDiscard);
      }
      break;
   case attrAtomicAggregate:
      exact(0);
      break;
   case attrAggregator:
      exact(asSize + 4);
      break; // the AS and an IPv4 address
   case attrAs4Aggregator:
      exact(8);
      break;
   case attrCommunities:
   case attrClusterList:
      multiple(4);
      break;
   case attrExtCommunities:
      multiple(8);
      if (len && len % 8 == 0) ext_ = {value, len, true};
      break;
   case attrIpv6ExtCommunities:
      multiple(20);
      if (len && len % 20 == 0) ext6_ = {value, len, true};
      break;
   case attrLargeCommunities:
      multiple(12);
      break;
   case attrMpReach:
      mpReach(value, len);
      break;
   case attrMpUnreach:
      mpUnreach(value, len);
      break;
   default:
      break;
   }
}

// AS_PATH (RFC 4271 section 4.3, RFC 7606 section 7.2): segments of a type
// (1 AS_SET, 2 AS_SEQUENCE, 3 and 4 the confederation ones of RFC 5065), a
// count of at least 1 and that many AS numbers, filling the value exactly.
void Reader::asPath(std::uint8_t type, std::size_t at, std::size_t len, unsigned asSize) {
   std::size_t const end = at + len;
   std::size_t const start = at;
   auto const bad = [&](std::string why) {
      problem(attrRules[type].malformed, start - 3, attrName(type) + " " + why);
   };
   while (at < end) {
      if (end - at < 2) return bad("ends inside a segment header");
      std::uint8_t const segType = m_[at];
      std::size_t const count = m_[at + 1];
      if (segType < 1 || segType > 4) {
         return bad("has a segment of the undefined type " + std::to_string(segType));
      }
      if (count == 0) return bad("has an empty segment");
      if (count * asSize > end - at - 2) {
         return bad("has a segment of " + std::to_string(count) + " " + std::to_string(asSize) +
                    "-byte AS numbers that runs past it");
      }
      at += 2 + count * asSize;
   }
}

// MP_REACH_NLRI (RFC 4760 section 3):
//
//   +---------------------------------------------------------+
//   | Address Family Identifier (2 octets)                    |
//   | Subsequent Address Family Identifier (1 octet)          |
//   | Length of Next Hop Network Address (1 octet)            |
//   | Network Address of Next Hop (variable)                  |
//   | Reserved (1 octet)                                      |
//   | Network Layer Reachability Information (variable)       |
//   +---------------------------------------------------------+
void Reader::mpReach(std::size_t at, std::size_t len) {
   std::size_t const end = at + len;
   if (len < 3) {
      problem(UpdateAction::sessionReset, at,
              "MP_REACH_NLRI of length " + std::to_string(len) +
                  " is too short to name its AFI and SAFI");
      return;
   }
   std::uint16_t const afi = getBe16(m_, at);
   std::uint8_t const safi = m_[at + 2];
   bool const flowspec =
       (afi == 1 || afi == 2) && (safi == safiFlowspec || safi == safiFlowspecVpn);
   std::string const family = "AFI " + std::to_string(afi) + " SAFI " + std::to_string(safi);
   if (len < 5 || std::size_t(m_[at + 3]) + 5 > len) {
      problem(UpdateAction::afiSafiDisable, at + 3,
              "MP_REACH_NLRI (" + family + ") is too short for its next hop length " +
                  (len < 5 ? std::string("and reserved byte") : std::to_string(m_[at + 3])));
      return;
   }
   mpParsed_ = true;
   if (!flowspec) {
      ++out_.otherFamilyAttributes;
      return;
   }
   std::size_t const nhLen = m_[at + 3];
   // Flowspec routes carry no next hop (length 0); some speakers send the
   // family's address all the same, with the route distinguisher of RFC 4364
   // in front for SAFI 134 and an IPv6 link-local address after the global.
   static constexpr std::array<std::size_t, 3> v4{0, 4, 12};
   static constexpr std::array<std::size_t, 5> v6{0, 16, 24, 32, 48};
   bool const nhOk = afi == 1 ? std::find(v4.begin(), v4.end(), nhLen) != v4.end()
                              : std::find(v6.begin(), v6.end(), nhLen) != v6.end();
   if (!nhOk) {
      problem(UpdateAction::afiSafiDisable, at + 3,
              "MP_REACH_NLRI (" + family + ") has a next hop length of " + std::to_string(nhLen) +
                  " bytes, not one this family allows");
      return;
   }
   std::size_t const nh = at + 4;
   std::size_t const rd = nhLen == 12 || nhLen == 24 || nhLen == 48 ? 8 : 0;
   if (nhLen > 0) {
      Bytes const addr = m_.subspan(nh + rd, afi == 1 ? 4 : 16);
      if (afi == 1) {
         out_.nextHop = Ipkit::IpGenAddr(Ipkit::IpAddr(getBe32(addr, 0)));
      } else {
         Ipkit::Ip6Addr::Bytes a{};
         std::copy(addr.begin(), addr.end(), a.begin());
         out_.nextHop = Ipkit::IpGenAddr(Ipkit::Ip6Addr(a));
      }
   }
   std::size_t const nlri = nh + nhLen + 1;
   flowspecNlris(afi, safi, nlri, end, out_.announced, "MP_REACH_NLRI");
}

// MP_UNREACH_NLRI (RFC 4760 section 4): AFI (2), SAFI (1), withdrawn routes.
void Reader::mpUnreach(std::size_t at, std::size_t len) {
   if (len < 3) {
      problem(UpdateAction::sessionReset, at,
              "MP_UNREACH_NLRI of length " + std::to_string(len) +
                  " is too short to name its AFI and SAFI");
      return;
   }
   mpParsed_ = true;
   std::uint16_t const afi = getBe16(m_, at);
   std::uint8_t const safi = m_[at + 2];
   if (!((afi == 1 || afi == 2) && (safi == safiFlowspec || safi == safiFlowspecVpn))) {
      ++out_.otherFamilyAttributes;
      return;
   }
   flowspecNlris(afi, safi, at + 3, at + len, out_.withdrawn, "MP_UNREACH_NLRI");
}

// Flowspec NLRIs (RFC 8955 section 4.1): a length of 1 byte below 240, or of
// 2 bytes whose high nibble is 0xf (up to 4095), then that many bytes; for
// SAFI 134 (section 8) the bytes start with an 8-byte route distinguisher.
// The lengths are walked here, so that an NLRI whose content the codec
// refuses is passed over (treat-as-withdraw) while a length that loses the
// thread disables the family.
bool Reader::flowspecNlris(std::uint16_t afi, std::uint8_t safi, std::size_t at, std::size_t end,
                           std::vector<FlowspecRoute>& routes, char const* attr) {
   std::string const family =
       std::string(attr) + " (AFI " + std::to_string(afi) + " SAFI " + std::to_string(safi) + ")";
   auto const disable = [&](std::size_t where, std::string why) {
      problem(UpdateAction::afiSafiDisable, where,
              family + ": " + why + "; the NLRIs after it cannot be found");
      return false;
   };
   while (at < end) {
      std::size_t len = m_[at];
      std::size_t lenBytes = 1;
      if (len >= 0xf0) {
         if (end - at < 2) return disable(at, "the NLRI length is cut short");
         len = (len & 0x0f) << 8 | m_[at + 1];
         lenBytes = 2;
      }
      if (len == 0) return disable(at, "an NLRI has length 0");
      if (len > end - at - lenBytes) {
         return disable(at, "an NLRI of length " + std::to_string(len) +
                                " runs past the attribute (" + std::to_string(end - at - lenBytes) +
                                " bytes left)");
      }
      Bytes const whole = m_.subspan(at, lenBytes + len);
      FlowspecRoute route;
      route.safi = safi;
      std::size_t offset = 0;
      std::optional<NlriError> const error =
          decodeOneNlri(whole, offset, afi == 1 ? Ipkit::ipv4 : Ipkit::ipv6, route.key,
                        safi == safiFlowspecVpn ? NlriSafi::flowspecVpn : NlriSafi::flowspec,
                        &route.routeDistinguisher);
      if (!error) {
         Vrf::VrfIdMap::VrfId vrf = options_.vrfId;
         if (safi == safiFlowspecVpn && options_.vrfOfRd) {
            if (auto v = options_.vrfOfRd(route.routeDistinguisher)) vrf = *v;
         }
         route.key.vrfIdIs(vrf);
         routes.push_back(std::move(route));
      } else {
         problem(UpdateAction::treatAsWithdraw, at + error->offset,
                 family + ": an NLRI does not decode: " + withoutOffset(nlriErrorMessage(*error)),
                 std::vector<std::uint8_t>(whole.begin(), whole.end()));
      }
      at += lenBytes + len;
   }
   return true;
}

void Reader::finish() {
   bool const announces = !out_.announced.empty() || nlriField_;
   if (announces) {
      // RFC 7606 section 3: a missing well-known mandatory attribute. RFC
      // 4760 makes NEXT_HOP needed only by the NLRI field.
      for (std::uint8_t type : {attrOrigin, attrAsPath}) {
         if (!seen_[type]) {
            problem(UpdateAction::treatAsWithdraw, headerSize,
                    "the UPDATE announces routes without " + attrName(type));
         }
      }
      if (nlriField_ && !seen_[attrNextHop]) {
         problem(UpdateAction::treatAsWithdraw, headerSize,
                 "the UPDATE announces IPv4 routes without NEXT_HOP");
      }
   }
   if (!out_.announced.empty() && out_.action < UpdateAction::treatAsWithdraw) {
      auto const bytesOf = [&](Value const& v) {
         return v.present ? m_.subspan(v.at, v.len) : Bytes();
      };
      ActionDecodeResult const decoded =
          decodeActions(bytesOf(ext_), options_.routeTargets, out_.nextHop, bytesOf(ext6_));
      for (ActionIssue const& issue : decoded.issues) {
         Value const& attribute = issue.ipv6Attribute ? ext6_ : ext_;
         std::size_t const at =
             (attribute.present ? attribute.at : headerSize) + issue.offset.value_or(0);
         std::string const why =
             attrName(issue.ipv6Attribute ? attrIpv6ExtCommunities : attrExtCommunities) + ": " +
             withoutOffset(actionIssueMessage(issue));
         switch (issue.reason) {
         case ActionIssueReason::attributeLength:
         case ActionIssueReason::reservedBits:
         case ActionIssueReason::badRate:
         case ActionIssueReason::conflict:
            // RFC 8955 section 10: a traffic filtering action community that
            // cannot be decoded is malformed as RFC 7606 section 7.14 says.
            problem(UpdateAction::treatAsWithdraw, at, why);
            break;
         default:
            out_.notes.push_back({UpdateAction::accept, options_.baseOffset + at, why, {}});
         }
      }
      for (FlowspecRoute& r : out_.announced)
         r.actions = decoded.actions;
   }
   switch (out_.action) {
   case UpdateAction::accept:
   case UpdateAction::attributeDiscard:
      break;
   case UpdateAction::treatAsWithdraw:
      for (FlowspecRoute& r : out_.announced) {
         r.actions = RuleActions();
         out_.withdrawn.push_back(std::move(r));
      }
      out_.announced.clear();
      break;
   case UpdateAction::afiSafiDisable:
   case UpdateAction::sessionReset:
      out_.announced.clear();
      out_.withdrawn.clear();
      break;
   }
}

} // namespace

UpdateContents readUpdate(std::span<std::uint8_t const> message, UpdateOptions const& options) {
   try {
      return Reader(message, options).read();
   } catch (std::exception const& e) {
      // Only memory exhaustion can come here; say so rather than throw.
      UpdateContents out;
      out.action = UpdateAction::sessionReset;
      out.problems.push_back({UpdateAction::sessionReset,
                              options.baseOffset,
                              std::string("the message could not be read: ") + e.what(),
                              {}});
      return out;
   }
}

} // namespace Flowspec
