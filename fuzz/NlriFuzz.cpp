// Fuzz target: the flowspec NLRI decoder (Flowspec/wire/NlriCodec.h) on any
// bytes. The first byte picks the family (bit 0: IPv4 or IPv6) and the SAFI
// (bit 1: 133 or 134, with a route distinguisher); the rest is the NLRI
// field.
//
// The decoder must return, never throw or abort, and never read outside the
// bytes (the sanitizers watch). What it reads must hold:
//
//   - every key it decodes has the family asked for and no VRF, and the key
//     it decodes into again and again reads what a fresh key reads;
//   - decoding stops either at the end of the bytes or at its error, whose
//     offsets lie within the bytes;
//   - each key encodes, with the same route distinguisher, to an NLRI of the
//     same length as the one it came from, and to the very same bytes but
//     for the padding bits after a prefix, which the decoder drops;
//     decoding that gives the key back, and encoding again the same bytes;
//   - precedence is reflexive and antisymmetric between consecutive keys.
#include "FuzzSupport.h"

#include "Flowspec/wire/NlriCodec.h"
#include "Flowspec/wire/Precedence.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace {

using namespace Flowspec;

std::string hex(std::span<std::uint8_t const> bytes) {
   std::string s;
   char b[4];
   for (std::uint8_t v : bytes) {
      std::snprintf(b, sizeof b, "%02x", v);
      s += b;
   }
   return s;
}

void checkKey(FlowspecKey const& key, std::span<std::uint8_t const> nlri, NlriSafi safi,
              std::uint64_t rd, Ipkit::AddressFamily af) {
   std::string const where = "NLRI " + hex(nlri) + " as " + key.toStrepCli().str();
   FUZZ_CHECK(key.addressFamily() == af && key.vrfId() == Vrf::VrfIdMap::noVrfId, where);
   std::vector<std::uint8_t> out;
   auto error = encodeNlri(key, out, safi, rd);
   FUZZ_CHECK(!error, where + ": " + nlriEncodeErrorMessage(*error));
   FUZZ_CHECK(out.size() == nlri.size(), where + " encodes as " + hex(out));

   std::size_t offset = 0;
   FlowspecKey again;
   std::uint64_t rd2 = 0;
   auto refused = decodeOneNlri(out, offset, af, again, safi, &rd2);
   FUZZ_CHECK(!refused,
              where + ": its encoding " + hex(out) + " is refused: " + nlriErrorMessage(*refused));
   FUZZ_CHECK(offset == out.size() && again == key && rd2 == rd,
              where + ": its encoding " + hex(out) + " decodes as " + again.toStrepCli().str());
   std::vector<std::uint8_t> out2;
   FUZZ_CHECK(!encodeNlri(again, out2, safi, rd) && out2 == out, where);
   FUZZ_CHECK(comparePrecedence(key, again) == 0, where);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
   if (size == 0) return 0;
   Ipkit::AddressFamily const af = data[0] & 1 ? Ipkit::ipv6 : Ipkit::ipv4;
   NlriSafi const safi = data[0] & 2 ? NlriSafi::flowspecVpn : NlriSafi::flowspec;
   std::span<std::uint8_t const> const bytes(data + 1, size - 1);

   // The one-NLRI loop, with the span of each key.
   FlowspecKey previous;
   bool havePrevious = false;
   std::size_t offset = 0;
   FlowspecKey key; // decoded into again and again, as a receiver does
   while (offset < bytes.size()) {
      std::uint64_t rd = 0;
      std::size_t const start = offset;
      auto error = decodeOneNlri(bytes, offset, af, key, safi, &rd);
      // A fresh key reads the same, and is refused alike.
      FlowspecKey fresh;
      std::size_t freshOffset = start;
      auto freshError = decodeOneNlri(bytes, freshOffset, af, fresh, safi);
      FUZZ_CHECK(fresh == key && freshOffset == offset && freshError == error, hex(bytes));
      if (error) {
         FUZZ_CHECK(offset == start && error->nlriOffset == start &&
                        error->offset <= bytes.size() && error->offset >= start,
                    nlriErrorMessage(*error));
         break;
      }
      FUZZ_CHECK(offset > start && offset <= bytes.size(), hex(bytes));
      checkKey(key, bytes.subspan(start, offset - start), safi, rd, af);
      if (havePrevious) {
         int const ab = comparePrecedence(previous, key);
         FUZZ_CHECK(ab == -comparePrecedence(key, previous), hex(bytes));
      }
      previous = key;
      havePrevious = true;
   }

   // The whole-buffer call agrees with the loop.
   NlriDecodeResult r = decodeNlri(bytes, af, safi);
   if (safi == NlriSafi::flowspecVpn)
      FUZZ_CHECK(r.routeDistinguishers.size() == r.keys.size(), hex(bytes));
   return 0;
}
