// Flowspec/wire/Mrt.h: the flowspec UPDATEs of an MRT file (RFC 6396).
//
// An MRT file is a sequence of records, each a 12-byte header (timestamp,
// type, subtype, length) and its message. walkMrt reads the BGP4MP (16) and
// BGP4MP_ET (17) records of the subtypes that hold one BGP message,
// BGP4MP_MESSAGE (1), BGP4MP_MESSAGE_AS4 (4) and their _LOCAL forms (6, 7),
// and hands each UPDATE, read by readUpdate, to the caller; every other
// record is skipped and counted.
//
//   MrtSummary s = walkMrt(fileBytes, {}, [](MrtUpdate const& u) {
//      for (FlowspecRoute const& r : u.contents.announced) { ... }
//   });
//   for (MrtError const& e : s.errors) { /* "offset N: reason" */ }
//
// Offsets are from the start of the file: an UPDATE's problems point into
// the file, not into the message. The BGP4MP_MESSAGE subtypes carry 2-byte
// AS numbers and their UPDATEs are read so (UpdateOptions::fourOctetAs
// false); the _AS4 ones 4-byte. A record whose own fields are malformed is
// reported and skipped; a record header cut short, or a length past the end
// of the file, ends the walk. Never reads outside the span, never aborts,
// lets no exception out (the callback's own exceptions pass through).
#pragma once

#include "Flowspec/wire/Update.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

namespace Flowspec {

/// One recorded BGP UPDATE.
struct MrtUpdate {
   /// Offset of the record's header in the file.
   std::size_t offset = 0;
   std::uint32_t timestamp = 0;
   /// The microseconds of a BGP4MP_ET record, 0 otherwise.
   std::uint32_t microseconds = 0;
   std::uint16_t type = 0;
   std::uint16_t subtype = 0;
   std::uint32_t peerAs = 0;
   std::uint32_t localAs = 0;
   Ipkit::IpGenAddr peerAddress;
   Ipkit::IpGenAddr localAddress;
   /// Offset of the BGP message (its marker) in the file.
   std::size_t messageOffset = 0;
   UpdateContents contents;
};

/// A record that could not be read: where and why.
struct MrtError {
   std::size_t offset = 0;
   std::string reason;
   friend bool operator==(MrtError const&, MrtError const&) = default;
};

/// What a walk saw.
struct MrtSummary {
   std::size_t records = 0;        ///< records whose header was read
   std::size_t updates = 0;        ///< UPDATEs handed to the callback
   std::size_t otherMessages = 0;  ///< OPEN, NOTIFICATION, KEEPALIVE, ...
   std::size_t skippedRecords = 0; ///< other types and subtypes
   std::vector<MrtError> errors;   ///< malformed records, in file order
};

/// Walks `file`, calling `onUpdate` for each UPDATE in file order. `options`
/// apply to every UPDATE except fourOctetAs and baseOffset, which come from
/// each record.
MrtSummary walkMrt(std::span<std::uint8_t const> file, UpdateOptions const& options,
                   std::function<void(MrtUpdate const&)> const& onUpdate);

/// One BGP4MP_MESSAGE_AS4 record (type 16, subtype 4) holding `message`,
/// between 192.0.2.1 (AS `peerAs`) and 192.0.2.2 (AS `localAs`) over IPv4:
/// for writing MRT files of UPDATEs made by buildUpdates.
std::vector<std::uint8_t> mrtRecord(std::span<std::uint8_t const> message, std::uint32_t timestamp,
                                    std::uint32_t peerAs, std::uint32_t localAs);

} // namespace Flowspec
