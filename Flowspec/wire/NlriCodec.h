// Flowspec/wire/NlriCodec.h: flowspec NLRI bytes to FlowspecKeys and back
// (RFC 8955 section 4 for IPv4, RFC 8956 for IPv6; SAFI 133, and SAFI 134
// with its route distinguisher, RFC 8955 section 8).
//
// A key holds what the wire holds: its destination and source prefixes, and
// every other component as operator-value pairs that keep the wire's operator
// byte, flags and value length (Flowspec/values/MatchOpVal.h). So decoding a
// well-formed NLRI and encoding the keys gives back the very same bytes; the
// one exception is a prefix whose padding bits after its length are not zero,
// which RFC 8955 section 4.2.2.1 calls irrelevant: the key keeps the prefix
// and the encoder writes the padding as zeros.
//
// One NLRI on the wire:
//
//   +-------------------------------+----------------------+------------+
//   | length: 1 byte (1 to 239), or | [route distinguisher | components |
//   | 2 bytes 0xfnnn (240 to 4095)  |  8 bytes, SAFI 134]  | by type    |
//   +-------------------------------+----------------------+------------+
//
// The length counts the bytes after the length field. Each component starts
// with its type byte; the types must come in strictly ascending order, each
// at most once (RFC 8955 section 4.2).
//
//   prefix components (types 1, 2):
//     IPv4: type, length in bits, the prefix in ceil(length / 8) bytes
//     IPv6: type, length in bits, offset in bits, the pattern: bits offset to
//           length - 1 in ceil((length - offset) / 8) bytes (RFC 8956 3.1)
//   operator-list components (types 3 to 13): type, then pairs of an
//     operator byte and a value of 1 << len bytes, the last operator with the
//     end-of-list bit:
//
//        0   1   2   3   4   5   6   7    numeric operator (RFC 8955 4.2.1.1)
//      +---+---+---+---+---+---+---+---+
//      | e | a |  len  | 0 |lt |gt |eq |
//      +---+---+---+---+---+---+---+---+
//      | e | a |  len  | 0 | 0 |not| m |  bitmask operator (RFC 8955 4.2.1.2)
//      +---+---+---+---+---+---+---+---+
//
// The component types and the key's kinds are the same numbers:
//
//   | type | component               | key                     | operator | IPv4 |
//   |------|-------------------------|-------------------------|----------|------|
//   |    1 | destination prefix      | destPrefix              | prefix   | yes  |
//   |    2 | source prefix           | srcPrefix               | prefix   | yes  |
//   |    3 | IP protocol (IPv6: upper| pairs of MatchCompType  | numeric  | yes  |
//   |      |   layer protocol)       |   ipProto (3)           |          |      |
//   |    4 | port                    | pairs of port (4)       | numeric  | yes  |
//   |    5 | destination port        | pairs of destPort (5)   | numeric  | yes  |
//   |    6 | source port             | pairs of srcPort (6)    | numeric  | yes  |
//   |    7 | ICMP type (IPv6: ICMPv6)| pairs of icmpType (7)   | numeric  | yes  |
//   |    8 | ICMP code (IPv6: ICMPv6)| pairs of icmpCode (8)   | numeric  | yes  |
//   |    9 | TCP flags               | pairs of tcpFlags (9)   | bitmask  | yes  |
//   |   10 | packet length           | pairs of packetLength   | numeric  | yes  |
//   |   11 | DSCP                    | pairs of dscp (11)      | numeric  | yes  |
//   |   12 | fragment                | pairs of fragment (12)  | bitmask  | yes  |
//   |   13 | flow label (RFC 8956)   | pairs of flowLabel (13) | numeric  | no   |
//
// Every type is allowed in IPv6 (RFC 8956 section 3); componentTypes holds
// this table for code.
//
// A key holds whole prefixes, so an IPv6 prefix component decodes only with
// offset 0; a non-zero offset is refused (ipv6OffsetUnsupported), never
// dropped. A key stores a 1- or 2-byte value in one pair and a 4-byte value in
// two (Flowspec/values/FlowspecKey.h); an 8-byte value cannot be held and is
// refused.
//
// Untrusted bytes: the decoder checks everything above and refuses the first
// fault with an NlriError (where, in which component, why). It never aborts,
// never throws and never reads outside the span it is given. What a BGP
// speaker does with a refused NLRI is for the caller: RFC 8955 section 10
// and RFC 7606 make a malformed flowspec NLRI a treat-as-withdraw (the
// UPDATE's routes are handled as withdrawn and the session stays up), not a
// session reset.
#pragma once

#include "Flowspec/values/FlowspecKey.h"
#include "Flowspec/values/MatchCompType.h"
#include "Ipkit/AddressFamily.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Flowspec {

// ---- the component types -----------------------------------------------------

/// How a component type carries its match.
enum class ComponentEncoding : std::uint8_t { none, prefix, numeric, bitmask };

/// One row of the component table above.
struct ComponentTypeInfo {
   /// The type byte, and the key's MatchCompType of the same number.
   MatchCompType kind = MatchCompType::invalid;
   /// The RFC's name, lower case: "destination prefix", "flow label".
   char const* name = "";
   ComponentEncoding encoding = ComponentEncoding::none;
   bool ipv4 = false;
   bool ipv6 = false;
};

/// The component table, indexed by type (0 and the types above 13 are not
/// components).
extern std::array<ComponentTypeInfo, 14> const componentTypes;

/// The row of `type`, or the row of type 0 (encoding none, in no family) for
/// any type that is not a component type.
ComponentTypeInfo const& componentTypeInfo(unsigned type) noexcept;

// ---- what is refused ---------------------------------------------------------

/// Why an NLRI was refused (decode) or a key cannot be encoded (encode).
/// nlriReasonText() gives each a sentence.
enum class NlriReason : std::uint8_t {
   none,
   // the length field
   lengthZero,                 ///< the length field says 0
   lengthCutShort,             ///< the buffer ends inside the length field
   lengthNotMinimal,           ///< the 2-byte form holds a length below 240
   lengthBeyondBuffer,         ///< the length runs past the end of the buffer
   routeDistinguisherCutShort, ///< SAFI 134: fewer than 8 bytes for the RD
   // component types
   typeUnknown,     ///< a type that is no component type (0, above 13)
   typeOutOfOrder,  ///< a type not above the one before it
   typeRepeated,    ///< a type present twice
   typeNotInFamily, ///< type 13 (flow label) in IPv4
   // prefixes
   prefixCutShort,         ///< the prefix length, offset or bytes run past the NLRI
   prefixTooLong,          ///< a prefix length above 32 (IPv4) or 128 (IPv6)
   ipv6OffsetBeyondLength, ///< an IPv6 offset above the prefix length
   ipv6OffsetUnsupported,  ///< a non-zero IPv6 offset: the key holds whole prefixes
   prefixFamily,           ///< encode: a prefix of another family than the key's
   // operator lists
   operatorCutShort,         ///< the NLRI ends where an operator byte is due
   operatorReservedBit,      ///< bit 3 set, or bit 2 (lt) in a bitmask operator
   valueEightBytes,          ///< an 8-byte value, which the key cannot hold
   valueCutShort,            ///< the value runs past the NLRI
   operatorListUnterminated, ///< the NLRI ends before an end-of-list bit
   tooManyPairs,             ///< more than 2047 key pairs
   // a family or key that has no NLRI; keys the wire cannot carry
   // (Flowspec/wire/KeyComponents.h)
   familyUnset,   ///< the key's family is neither ipv4 nor ipv6
   emptyKey,      ///< no component at all (an NLRI needs one)
   sparseIndices, ///< pair indices not 0 to count - 1
   halfValue,     ///< a 4-byte value without its low half
   valueTooWide,  ///< a 1-byte pair holding a value above 255
   nlriTooLong,   ///< more than 4095 bytes
   // either
   outOfMemory, ///< a key could not grow
};

/// A sentence for `reason`, lower case, no final period:
/// "operator with a reserved bit set".
char const* nlriReasonText(NlriReason reason) noexcept;

/// Where and why decoding stopped.
struct NlriError {
   NlriReason reason = NlriReason::none;
   /// The offset in the decoded span of the byte at fault.
   std::size_t offset = 0;
   /// The component type being read, 0 when none (the length field).
   std::uint8_t component = 0;
   /// The offset of the refused NLRI's length field.
   std::size_t nlriOffset = 0;

   friend bool operator==(NlriError const&, NlriError const&) = default;
};

/// "offset 7: type 3 (IP protocol): operator with a reserved bit set", or
/// without the type part when `component` is 0: "offset 0: length 0".
std::string nlriErrorMessage(NlriError const& error);

// ---- decode ----------------------------------------------------------------

/// The NLRI flavour: plain (SAFI 133) or VPN (SAFI 134, an 8-byte route
/// distinguisher after the length field).
enum class NlriSafi : std::uint8_t { flowspec = 133, flowspecVpn = 134 };

/// What decodeNlri() found.
struct NlriDecodeResult {
   /// One key per NLRI read, in wire order: addressFamily the decoded
   /// family, vrfId left at its default (no VRF) for the caller to set.
   std::vector<FlowspecKey> keys;
   /// SAFI 134: the route distinguisher of each key (8 bytes, big-endian, as
   /// one number); empty for SAFI 133.
   std::vector<std::uint64_t> routeDistinguishers;
   /// The first fault; the keys before it are kept.
   std::optional<NlriError> error;
};

/// Decodes every NLRI of `bytes` (each with its length field) of family
/// `af` (Ipkit::ipv4 or Ipkit::ipv6; any other family is refused at offset 0
/// as familyUnset). Stops at the first fault. Never throws, never aborts.
NlriDecodeResult decodeNlri(std::span<std::uint8_t const> bytes, Ipkit::AddressFamily af,
                            NlriSafi safi = NlriSafi::flowspec) noexcept;

/// Decodes the one NLRI that starts at `offset` of `bytes` into `key`, and
/// moves `offset` past it. `key` is reset first (prefixes empty, no pairs,
/// vrfId no VRF, addressFamily `af`); on a fault it holds what was read
/// before it and `offset` is unchanged. `routeDistinguisher` receives the RD
/// for SAFI 134. Never throws, never aborts. The loop of decodeNlri(), for
/// callers that walk NLRI themselves.
///
/// Cost: the key's pair nodes are overwritten in place, so decoding NLRI
/// after NLRI into one key allocates only when a rule has more pairs than
/// the key held; a fresh key allocates one node per pair.
std::optional<NlriError> decodeOneNlri(std::span<std::uint8_t const> bytes, std::size_t& offset,
                                       Ipkit::AddressFamily af, FlowspecKey& key,
                                       NlriSafi safi = NlriSafi::flowspec,
                                       std::uint64_t* routeDistinguisher = nullptr) noexcept;

// ---- encode ----------------------------------------------------------------

/// Why a key cannot be encoded.
struct NlriEncodeError {
   NlriReason reason = NlriReason::none;
   /// The key index of the pair at fault (0 when the fault is not a pair's).
   std::uint16_t pair = 0;
   /// The component type at fault, 0 when none.
   std::uint8_t component = 0;

   friend bool operator==(NlriEncodeError const&, NlriEncodeError const&) = default;
};

/// Appends the NLRI of `key` to `out`: the length field (1 byte below 240,
/// else 0xfnnn), the route distinguisher for SAFI 134, the prefixes (IPv6
/// with offset 0), then the key's components in ascending type order, each
/// with the operator bytes the key stores and the end-of-list bit on its last
/// pair (as Flowspec/wire/KeyComponents.h groups them). The family is the
/// key's addressFamily; the VRF is not encoded. On a fault `out` is
/// unchanged. Never aborts.
std::optional<NlriEncodeError> encodeNlri(FlowspecKey const& key, std::vector<std::uint8_t>& out,
                                          NlriSafi safi = NlriSafi::flowspec,
                                          std::uint64_t routeDistinguisher = 0);

/// "pair 2: type 5 (destination port): two components of one type", or
/// without the parts that are 0.
std::string nlriEncodeErrorMessage(NlriEncodeError const& error);

} // namespace Flowspec
