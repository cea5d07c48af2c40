#include "Flowspec/wire/Mrt.h"

#include <exception>

namespace Flowspec {

namespace {

// The common header (RFC 6396 section 2):
//
//   0                   1                   2                   3
//   0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1 2 3 4 5 6 7 8 9 0 1
//   +-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+
//   |                           Timestamp                           |
//   +-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+
//   |             Type              |            Subtype            |
//   +-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+
//   |                             Length                            |
//   +-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+-+
//   |                      Message... (variable)
//
// BGP4MP_MESSAGE (section 4.4.2); the _AS4 subtype (4.4.3) has 4-byte AS
// numbers; a BGP4MP_ET record (section 3) puts 4 bytes of microseconds first:
//
//   | Peer AS Number (2 or 4)       | Local AS Number (2 or 4)      |
//   | Interface Index (2)           | Address Family (2)            |
//   | Peer IP Address (4 or 16)     | Local IP Address (4 or 16)    |
//   | BGP Message... (variable, from its marker)

constexpr std::size_t headerSize = 12;
constexpr std::uint16_t typeBgp4mp = 16;
constexpr std::uint16_t typeBgp4mpEt = 17;

using Bytes = std::span<std::uint8_t const>;

std::uint32_t get(Bytes b, std::size_t at, unsigned size) {
   std::uint32_t v = 0;
   for (unsigned i = 0; i < size; ++i)
      v = v << 8 | b[at + i];
   return v;
}

Ipkit::IpGenAddr address(Bytes b, std::size_t at, bool v6) {
   if (!v6) return Ipkit::IpGenAddr(Ipkit::IpAddr(get(b, at, 4)));
   Ipkit::Ip6Addr::Bytes a{};
   for (unsigned i = 0; i < 16; ++i)
      a[i] = b[at + i];
   return Ipkit::IpGenAddr(Ipkit::Ip6Addr(a));
}

void put(std::vector<std::uint8_t>& out, std::uint32_t v, unsigned size) {
   for (unsigned i = size; i-- > 0;)
      out.push_back(std::uint8_t(v >> (8 * i)));
}

} // namespace

MrtSummary walkMrt(std::span<std::uint8_t const> file, UpdateOptions const& options,
                   std::function<void(MrtUpdate const&)> const& onUpdate) {
   MrtSummary summary;
   std::size_t at = 0;
   while (at < file.size()) {
      if (file.size() - at < headerSize) {
         summary.errors.push_back({at, "the file ends " + std::to_string(file.size() - at) +
                                           " bytes into a 12-byte record header"});
         break;
      }
      std::uint32_t const length = get(file, at + 8, 4);
      if (length > file.size() - at - headerSize) {
         summary.errors.push_back({at + 8, "the record length " + std::to_string(length) +
                                               " runs past the end of the file (" +
                                               std::to_string(file.size() - at - headerSize) +
                                               " bytes left)"});
         break;
      }
      ++summary.records;
      MrtUpdate u;
      u.offset = at;
      u.timestamp = get(file, at, 4);
      u.type = std::uint16_t(get(file, at + 4, 2));
      u.subtype = std::uint16_t(get(file, at + 6, 2));
      std::size_t const body = at + headerSize;
      std::size_t const end = body + length;
      at = end;

      bool const bgp4mp = u.type == typeBgp4mp || u.type == typeBgp4mpEt;
      bool const as4 = u.subtype == 4 || u.subtype == 7;
      if (!bgp4mp || !(as4 || u.subtype == 1 || u.subtype == 6)) {
         ++summary.skippedRecords;
         continue;
      }
      std::size_t p = body;
      auto const fail = [&](std::size_t where, std::string why) {
         summary.errors.push_back({where, std::move(why)});
      };
      if (u.type == typeBgp4mpEt) {
         if (end - p < 4) {
            fail(p, "the BGP4MP_ET record ends inside its microseconds");
            continue;
         }
         u.microseconds = get(file, p, 4);
         p += 4;
      }
      unsigned const asSize = as4 ? 4 : 2;
      if (end - p < 2 * asSize + 4) {
         fail(p, "the record ends inside its AS numbers, interface and family");
         continue;
      }
      u.peerAs = get(file, p, asSize);
      u.localAs = get(file, p + asSize, asSize);
      p += 2 * asSize + 2;
      std::uint16_t const afi = std::uint16_t(get(file, p, 2));
      if (afi != 1 && afi != 2) {
         fail(p, "the address family " + std::to_string(afi) + " is neither 1 nor 2");
         continue;
      }
      p += 2;
      std::size_t const addrLen = afi == 1 ? 4 : 16;
      if (end - p < 2 * addrLen) {
         fail(p, "the record ends inside its peer and local addresses");
         continue;
      }
      u.peerAddress = address(file, p, afi == 2);
      u.localAddress = address(file, p + addrLen, afi == 2);
      p += 2 * addrLen;
      u.messageOffset = p;
      Bytes const message = file.subspan(p, end - p);
      // The type of the message, when its header is whole; otherwise
      // readUpdate says what is wrong with it.
      if (message.size() >= 19 && message[18] != 2) {
         ++summary.otherMessages;
         continue;
      }
      UpdateOptions o = options;
      o.fourOctetAs = as4;
      o.baseOffset = p;
      u.contents = readUpdate(message, o);
      ++summary.updates;
      if (onUpdate) onUpdate(u);
   }
   return summary;
}

std::vector<std::uint8_t> mrtRecord(std::span<std::uint8_t const> message, std::uint32_t timestamp,
                                    std::uint32_t peerAs, std::uint32_t localAs) {
   std::vector<std::uint8_t> out;
   out.reserve(headerSize + 20 + message.size());
   put(out, timestamp, 4);
   put(out, typeBgp4mp, 2);
   put(out, 4, 2); // BGP4MP_MESSAGE_AS4
   put(out, std::uint32_t(4 + 4 + 2 + 2 + 4 + 4 + message.size()), 4);
   put(out, peerAs, 4);
   put(out, localAs, 4);
   put(out, 0, 2);          // interface index
   put(out, 1, 2);          // IPv4
   put(out, 0xc0000201, 4); // 192.0.2.1
   put(out, 0xc0000202, 4); // 192.0.2.2
   out.insert(out.end(), message.begin(), message.end());
   return out;
}

} // namespace Flowspec
