#include "bgp/Message.h"

#include "Flowspec/wire/ByteOrder.h"

#include <algorithm>

namespace Bgp {
namespace {

using Bytes = std::vector<std::uint8_t>;

// A header with room for the length, filled in by finish().
Bytes start(MessageType type) {
   Bytes b(16, 0xff);
   Flowspec::putBe16(b, 0);
   b.push_back(std::uint8_t(type));
   return b;
}

Bytes finish(Bytes b) {
   b[16] = std::uint8_t(b.size() >> 8);
   b[17] = std::uint8_t(b.size());
   return b;
}

struct CodeName {
   std::uint8_t code;
   std::uint8_t subcode; // 0: the code's own name
   char const* name;
};

// RFC 4271 section 4.5, RFC 4486, RFC 6608, RFC 7313.
constexpr CodeName codeNames[] = {
    {1, 0, "Message Header Error"},
    {1, 1, "Connection Not Synchronized"},
    {1, 2, "Bad Message Length"},
    {1, 3, "Bad Message Type"},
    {2, 0, "OPEN Message Error"},
    {2, 1, "Unsupported Version Number"},
    {2, 2, "Bad Peer AS"},
    {2, 3, "Bad BGP Identifier"},
    {2, 4, "Unsupported Optional Parameter"},
    {2, 6, "Unacceptable Hold Time"},
    {2, 7, "Unsupported Capability"},
    {3, 0, "UPDATE Message Error"},
    {3, 1, "Malformed Attribute List"},
    {3, 2, "Unrecognized Well-known Attribute"},
    {3, 3, "Missing Well-known Attribute"},
    {3, 4, "Attribute Flags Error"},
    {3, 5, "Attribute Length Error"},
    {3, 6, "Invalid ORIGIN Attribute"},
    {3, 8, "Invalid NEXT_HOP Attribute"},
    {3, 9, "Optional Attribute Error"},
    {3, 10, "Invalid Network Field"},
    {3, 11, "Malformed AS_PATH"},
    {4, 0, "Hold Timer Expired"},
    {5, 0, "Finite State Machine Error"},
    {5, 1, "Unexpected Message in OpenSent"},
    {5, 2, "Unexpected Message in OpenConfirm"},
    {5, 3, "Unexpected Message in Established"},
    {6, 0, "Cease"},
    {6, 1, "Maximum Number of Prefixes Reached"},
    {6, 2, "Administrative Shutdown"},
    {6, 3, "Peer De-configured"},
    {6, 4, "Administrative Reset"},
    {6, 5, "Connection Rejected"},
    {6, 6, "Other Configuration Change"},
    {6, 7, "Connection Collision Resolution"},
    {6, 8, "Out of Resources"},
    {7, 0, "ROUTE-REFRESH Message Error"},
    {7, 1, "Invalid Message Length"},
};

char const* nameOf(std::uint8_t code, std::uint8_t subcode) {
   for (CodeName const& c : codeNames)
      if (c.code == code && c.subcode == subcode) return c.name;
   return nullptr;
}

// The least length of each message type (RFC 4271 section 6.1).
std::size_t minimumLength(MessageType type) {
   switch (type) {
   case MessageType::open:
      return 29;
   case MessageType::update:
      return 23;
   case MessageType::notification:
      return 21;
   case MessageType::keepalive:
      return 19;
   case MessageType::routeRefresh:
      return 23;
   }
   return 19;
}

Notification openError(std::uint8_t subcode, Bytes data = {}) {
   return {std::uint8_t(ErrorCode::openMessage), subcode, std::move(data)};
}

} // namespace

std::string notificationText(std::uint8_t code, std::uint8_t subcode) {
   char const* codeName = nameOf(code, 0);
   std::string text = codeName ? codeName : "error code " + std::to_string(code);
   text += " (" + std::to_string(code) + "/" + std::to_string(subcode);
   if (subcode != 0) {
      char const* subName = nameOf(code, subcode);
      text += std::string(", ") + (subName ? subName : "unknown subcode");
   }
   return text + ")";
}

std::string afiSafiText(AfiSafi family) {
   std::string afi = family.first == 1   ? "IPv4"
                     : family.first == 2 ? "IPv6"
                                         : "AFI " + std::to_string(family.first);
   switch (family.second) {
   case 1:
      return afi + " unicast";
   case 133:
      return afi + " flowspec";
   case 134:
      return afi + " VPN flowspec";
   default:
      return afi + " SAFI " + std::to_string(family.second);
   }
}

std::vector<std::uint8_t> buildOpen(Open const& open) {
   // Capabilities (RFC 5492 section 4), one optional parameter of type 2.
   Bytes caps;
   for (AfiSafi const& f : open.multiprotocol) {
      caps.insert(caps.end(), {1, 4});
      Flowspec::putBe16(caps, f.first);
      caps.insert(caps.end(), {0, f.second});
   }
   if (open.routeRefresh) caps.insert(caps.end(), {2, 0});
   if (open.fourOctetAs) {
      caps.insert(caps.end(), {65, 4});
      Flowspec::putBe32(caps, open.as);
   }
   Bytes b = start(MessageType::open);
   b.push_back(open.version);
   Flowspec::putBe16(b, open.as > 0xffff ? asTrans : open.as);
   Flowspec::putBe16(b, open.holdTime);
   Flowspec::putBe32(b, open.bgpIdentifier);
   if (caps.empty()) {
      b.push_back(0);
   } else {
      b.push_back(std::uint8_t(caps.size() + 2));
      b.push_back(2);
      b.push_back(std::uint8_t(caps.size()));
      b.insert(b.end(), caps.begin(), caps.end());
   }
   return finish(std::move(b));
}

std::vector<std::uint8_t> buildKeepalive() {
   return finish(start(MessageType::keepalive));
}

std::vector<std::uint8_t> buildNotification(Notification const& n) {
   Bytes b = start(MessageType::notification);
   b.push_back(n.code);
   b.push_back(n.subcode);
   std::size_t const room = maxMessageSize - b.size();
   b.insert(b.end(), n.data.begin(), n.data.begin() + std::min(room, n.data.size()));
   return finish(std::move(b));
}

std::vector<std::uint8_t> buildRouteRefresh(AfiSafi family) {
   Bytes b = start(MessageType::routeRefresh);
   Flowspec::putBe16(b, family.first);
   b.push_back(0);
   b.push_back(family.second);
   return finish(std::move(b));
}

std::vector<std::uint8_t> buildEndOfRib(AfiSafi family) {
   Bytes b = start(MessageType::update);
   Flowspec::putBe16(b, 0);
   if (family == AfiSafi{1, 1}) {
      Flowspec::putBe16(b, 0);
   } else {
      Flowspec::putBe16(b, 6);
      b.insert(b.end(), {0x80, 15, 3});
      Flowspec::putBe16(b, family.first);
      b.push_back(family.second);
   }
   return finish(std::move(b));
}

std::variant<Header, Notification> readHeader(std::span<std::uint8_t const> h) {
   if (h.size() < headerSize ||
       !std::all_of(h.begin(), h.begin() + 16, [](std::uint8_t b) { return b == 0xff; })) {
      return Notification{
          std::uint8_t(ErrorCode::messageHeader), Subcode::connectionNotSynchronized, {}};
   }
   std::size_t const length = Flowspec::getBe16(h, 16);
   std::uint8_t const type = h[18];
   if (type < 1 || type > 5) {
      return Notification{std::uint8_t(ErrorCode::messageHeader), Subcode::badMessageType, {type}};
   }
   auto const t = MessageType(type);
   bool const exact = t == MessageType::keepalive || t == MessageType::routeRefresh;
   if (length < minimumLength(t) || length > maxMessageSize ||
       (exact && length != minimumLength(t))) {
      return Notification{
          std::uint8_t(ErrorCode::messageHeader), Subcode::badMessageLength, {h[16], h[17]}};
   }
   return Header{length, t};
}

std::variant<Open, Notification> readOpen(std::span<std::uint8_t const> m) {
   if (m.size() < 29) return openError(0);
   Open o;
   o.version = m[19];
   if (o.version != 4) return openError(Subcode::unsupportedVersion, {0, 4});
   o.as = Flowspec::getBe16(m, 20);
   o.holdTime = std::uint16_t(Flowspec::getBe16(m, 22));
   if (o.holdTime == 1 || o.holdTime == 2) return openError(Subcode::unacceptableHoldTime);
   o.bgpIdentifier = Flowspec::getBe32(m, 24);
   if (o.bgpIdentifier == 0) return openError(Subcode::badBgpIdentifier);
   std::size_t const paramsLength = m[28];
   if (29 + paramsLength != m.size()) return openError(0);
   // Optional parameters: type, length, value (RFC 4271 section 4.2).
   for (std::size_t at = 29; at < m.size();) {
      if (at + 2 > m.size() || at + 2 + m[at + 1] > m.size()) return openError(0);
      std::uint8_t const type = m[at];
      std::size_t const end = at + 2 + m[at + 1];
      if (type != 2) return openError(Subcode::unsupportedOptionalParameter);
      // Capabilities: code, length, value (RFC 5492 section 4).
      for (std::size_t c = at + 2; c < end;) {
         if (c + 2 > end || c + 2 + m[c + 1] > end) return openError(0);
         std::uint8_t const code = m[c];
         std::size_t const length = m[c + 1];
         if (code == 1 && length == 4) {
            o.multiprotocol.emplace_back(std::uint16_t(Flowspec::getBe16(m, c + 2)), m[c + 5]);
         } else if (code == 2) {
            o.routeRefresh = true;
         } else if (code == 65 && length == 4) {
            o.fourOctetAs = true;
            o.as = Flowspec::getBe32(m, c + 2);
         }
         c += 2 + length;
      }
      at = end;
   }
   return o;
}

std::optional<Notification> readNotification(std::span<std::uint8_t const> m) {
   if (m.size() < 21) return std::nullopt;
   Notification n{m[19], m[20], Bytes(m.begin() + 21, m.end())};
   return n;
}

std::optional<AfiSafi> endOfRib(std::span<std::uint8_t const> m) {
   if (m.size() == 23 && Flowspec::getBe16(m, 19) == 0 && Flowspec::getBe16(m, 21) == 0)
      return AfiSafi{1, 1};
   // An empty MP_UNREACH_NLRI, with a one- or two-byte length.
   if (m.size() < 23 || Flowspec::getBe16(m, 19) != 0) return std::nullopt;
   std::size_t const attrs = Flowspec::getBe16(m, 21);
   if (attrs + 23 != m.size() || (attrs != 6 && attrs != 7)) return std::nullopt;
   bool const extended = m[23] & 0x10;
   if (m[24] != 15 || extended != (attrs == 7)) return std::nullopt;
   std::size_t const length = extended ? Flowspec::getBe16(m, 25) : m[25];
   std::size_t const at = extended ? 27 : 26;
   if (length != 3) return std::nullopt;
   return AfiSafi{std::uint16_t(Flowspec::getBe16(m, at)), m[at + 2]};
}

} // namespace Bgp
