// bgp/Message.h: the BGP messages a receiving speaker reads and writes, other
// than UPDATE (Flowspec/wire/Update.h reads those).
//
// Every message starts with the header of RFC 4271 section 4.1:
//
//    0                   1                   2                   3
//    0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1
//   +-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+
//   |                     Marker (16 bytes of 0xff)                 |
//   +-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+
//   |          Length (19-4096)     |      Type     |
//   +-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+
//
// Readers take untrusted bytes: they never read outside the span given,
// never throw, and answer a malformation with the NOTIFICATION RFC 4271
// section 6 prescribes for it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Bgp {

inline constexpr std::size_t headerSize = 19;
/// RFC 4271 section 4: the largest message.
inline constexpr std::size_t maxMessageSize = 4096;
/// RFC 6793 section 9: the AS a 4-octet AS is written as in 2 bytes.
inline constexpr std::uint16_t asTrans = 23456;

enum class MessageType : std::uint8_t {
   open = 1,
   update = 2,
   notification = 3,
   keepalive = 4,
   routeRefresh = 5, ///< RFC 2918
};

/// NOTIFICATION error codes (RFC 4271 section 4.5, RFC 7313 for 7).
enum class ErrorCode : std::uint8_t {
   messageHeader = 1,
   openMessage = 2,
   updateMessage = 3,
   holdTimerExpired = 4,
   finiteStateMachine = 5,
   cease = 6,
   routeRefreshMessage = 7,
};

/// The subcodes this speaker sends (RFC 4271 section 6, RFC 6608 for the
/// state machine, RFC 4486 for Cease).
namespace Subcode {
inline constexpr std::uint8_t connectionNotSynchronized = 1; // header
inline constexpr std::uint8_t badMessageLength = 2;          // header
inline constexpr std::uint8_t badMessageType = 3;            // header
inline constexpr std::uint8_t unsupportedVersion = 1;        // OPEN
inline constexpr std::uint8_t badPeerAs = 2;                 // OPEN
inline constexpr std::uint8_t badBgpIdentifier = 3;          // OPEN
inline constexpr std::uint8_t unsupportedOptionalParameter = 4;
inline constexpr std::uint8_t unacceptableHoldTime = 6;
inline constexpr std::uint8_t malformedAttributeList = 1;  // UPDATE
inline constexpr std::uint8_t invalidNetworkField = 10;    // UPDATE
inline constexpr std::uint8_t unexpectedInOpenSent = 1;    // FSM
inline constexpr std::uint8_t unexpectedInOpenConfirm = 2; // FSM
inline constexpr std::uint8_t unexpectedInEstablished = 3; // FSM
inline constexpr std::uint8_t administrativeShutdown = 2;  // Cease
inline constexpr std::uint8_t connectionRejected = 5;      // Cease
inline constexpr std::uint8_t connectionCollisionResolution = 7;
} // namespace Subcode

struct Notification {
   std::uint8_t code = 0;
   std::uint8_t subcode = 0;
   std::vector<std::uint8_t> data;

   friend bool operator==(Notification const&, Notification const&) = default;
};

/// "Cease (6/2, Administrative Shutdown)": the code and subcode by number
/// and by the name RFC 4271 gives them.
std::string notificationText(std::uint8_t code, std::uint8_t subcode);

/// An address family and subsequent address family (RFC 4760).
using AfiSafi = std::pair<std::uint16_t, std::uint8_t>;

/// "IPv4 flowspec" and the like; "AFI 3 SAFI 7" for the rest.
std::string afiSafiText(AfiSafi family);

/// The part of an OPEN a receiver cares about (RFC 4271 section 4.2 and the
/// capabilities of RFC 5492).
struct Open {
   std::uint8_t version = 4;
   /// The AS: the 4-octet AS capability's when there is one (RFC 6793),
   /// else the My Autonomous System field.
   std::uint32_t as = 0;
   std::uint16_t holdTime = 90;
   std::uint32_t bgpIdentifier = 0;
   std::vector<AfiSafi> multiprotocol; ///< capability 1
   bool routeRefresh = false;          ///< capability 2
   bool fourOctetAs = false;           ///< capability 65
};

/// The OPEN message with capabilities multiprotocol (each of `open`'s
/// families), route refresh and 4-octet AS when set in `open`.
std::vector<std::uint8_t> buildOpen(Open const& open);
std::vector<std::uint8_t> buildKeepalive();
std::vector<std::uint8_t> buildNotification(Notification const& n);
/// RFC 2918 section 3.
std::vector<std::uint8_t> buildRouteRefresh(AfiSafi family);
/// An End-of-RIB marker (RFC 4724 section 2) of `family`.
std::vector<std::uint8_t> buildEndOfRib(AfiSafi family);

/// The length and type of a message whose first 19 bytes are in `header`,
/// or the NOTIFICATION its header calls for: a marker not all ones,
/// a length out of 19..4096 or wrong for the type, an unknown type.
struct Header {
   std::size_t length = 0;
   MessageType type = MessageType::keepalive;
};
std::variant<Header, Notification> readHeader(std::span<std::uint8_t const> header);

/// Reads a whole OPEN message (header included). Refuses a version other
/// than 4 (data: 4, the version spoken), a hold time of 1 or 2 seconds, a
/// BGP identifier of 0, optional parameters other than capabilities, and
/// anything that runs past its length (OPEN Message Error, subcode 0).
std::variant<Open, Notification> readOpen(std::span<std::uint8_t const> message);

/// Reads a whole NOTIFICATION message.
std::optional<Notification> readNotification(std::span<std::uint8_t const> message);

/// The family an UPDATE marks the End-of-RIB of: no routes and no attribute
/// (IPv4 unicast), or nothing but an empty MP_UNREACH_NLRI. Nothing for any
/// other UPDATE.
std::optional<AfiSafi> endOfRib(std::span<std::uint8_t const> message);

} // namespace Bgp
