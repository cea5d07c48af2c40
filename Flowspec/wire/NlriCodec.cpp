#include "Flowspec/wire/NlriCodec.h"

#include "Flowspec/wire/KeyComponents.h"
#include "Flowspec/wire/ReasonTable.h"
#include "Ipkit/IpAddr.h"
#include "Ipkit/IpGenPrefix.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace Flowspec {

namespace {

using C = ComponentEncoding;
using T = MatchCompType;

constexpr std::uint8_t endOfListBit = 0x80;
constexpr std::uint8_t reservedBit = 0x08;
constexpr std::uint8_t ltBit = 0x04;
constexpr std::size_t maxNlriLength = 4095;
constexpr std::size_t minTwoByteLength = 240;
constexpr std::size_t routeDistinguisherBytes = 8;
// A key's pair indices run from 0 to 2046; 2047 is the null index.
constexpr std::size_t maxKeyPairs = MatchOpValIndex::max;

struct ReasonText {
   NlriReason reason;
   char const* text;
};

// Indexed by NlriReason; the static_assert below keeps the two in step.
constexpr ReasonText reasonTexts[] = {
    {NlriReason::none, "no error"},
    {NlriReason::lengthZero, "NLRI length 0"},
    {NlriReason::lengthCutShort, "the buffer ends inside the length field"},
    {NlriReason::lengthNotMinimal, "2-byte length field holding a length below 240"},
    {NlriReason::lengthBeyondBuffer, "NLRI length beyond the end of the buffer"},
    {NlriReason::routeDistinguisherCutShort, "route distinguisher cut short"},
    {NlriReason::typeUnknown, "unknown component type"},
    {NlriReason::typeOutOfOrder, "component types out of order"},
    {NlriReason::typeRepeated, "component type repeated"},
    {NlriReason::typeNotInFamily, "component type not allowed in this address family"},
    {NlriReason::prefixCutShort, "prefix cut short"},
    {NlriReason::prefixTooLong, "prefix length above the address length"},
    {NlriReason::ipv6OffsetBeyondLength, "IPv6 prefix offset above the prefix length"},
    {NlriReason::ipv6OffsetUnsupported, "non-zero IPv6 prefix offset, which a key cannot hold"},
    {NlriReason::prefixFamily, "prefix of another address family than the key's"},
    {NlriReason::operatorCutShort, "component without an operator"},
    {NlriReason::operatorReservedBit, "operator with a reserved bit set"},
    {NlriReason::valueEightBytes, "8-byte value, which a key cannot hold"},
    {NlriReason::valueCutShort, "value cut short"},
    {NlriReason::operatorListUnterminated, "operator list without end-of-list"},
    {NlriReason::tooManyPairs, "more operator-value pairs than a key holds (2047)"},
    {NlriReason::familyUnset, "address family neither ipv4 nor ipv6"},
    {NlriReason::emptyKey, "no component"},
    {NlriReason::sparseIndices, "pair indices not dense from 0"},
    {NlriReason::halfValue, "4-byte value without its low half"},
    {NlriReason::valueTooWide, "1-byte pair holding a value above 255"},
    {NlriReason::nlriTooLong, "NLRI longer than 4095 bytes"},
    {NlriReason::outOfMemory, "out of memory"},
};
static_assert(std::size(reasonTexts) == std::size_t(NlriReason::outOfMemory) + 1);
static_assert(ReasonTable::inOrder(reasonTexts));

std::string componentPart(std::uint8_t type) {
   std::string s = "type " + std::to_string(type);
   char const* name = componentTypeInfo(type).name;
   if (*name) s += std::string(" (") + name + ")";
   return s + ": ";
}

// The decoder of one NLRI: `p` walks the bytes, `fault` records the first
// refusal.
class Decoder {
 public:
   Decoder(std::span<std::uint8_t const> bytes, std::size_t start, Ipkit::AddressFamily af,
           FlowspecKey& key) noexcept
       : bytes_(bytes), nlri_(start), af_(af), key_(key) {}

   std::optional<NlriError> run(NlriSafi safi, std::uint64_t* routeDistinguisher,
                                std::size_t& next);
   // Removes the key's pairs at the indices this decoder did not write.
   void dropSurplusPairs() noexcept {
      if (key_.matchOpVals() == pairs_) return; // it wrote 0 to pairs_ - 1
      for (auto i = key_.matchOpValIteratorConst(); i; ++i)
         if (i.key().value() >= pairs_) key_.matchOpValDel(i);
   }

 private:
   NlriError fault(NlriReason reason, std::size_t at, std::uint8_t component = 0) const {
      return {.reason = reason, .offset = at, .component = component, .nlriOffset = nlri_};
   }
   std::optional<NlriError> prefix(std::uint8_t type, std::size_t& p, std::size_t end);
   std::optional<NlriError> operators(std::uint8_t type, bool bitmask, std::size_t& p,
                                      std::size_t end);

   std::span<std::uint8_t const> bytes_;
   std::size_t nlri_;
   Ipkit::AddressFamily af_;
   FlowspecKey& key_;
   std::size_t pairs_ = 0;
};

std::optional<NlriError> Decoder::run(NlriSafi safi, std::uint64_t* routeDistinguisher,
                                      std::size_t& next) {
   std::size_t const n = bytes_.size();
   std::size_t p = nlri_;
   if (af_ != Ipkit::ipv4 && af_ != Ipkit::ipv6) return fault(NlriReason::familyUnset, p);
   if (p >= n) return fault(NlriReason::lengthCutShort, p);
   // RFC 8955 section 4.1: one byte below 240, else 0xfnnn.
   std::size_t length = bytes_[p];
   std::size_t header = 1;
   if ((length & 0xf0) == 0xf0) {
      if (p + 1 >= n) return fault(NlriReason::lengthCutShort, p);
      length = (length & 0x0f) << 8 | bytes_[p + 1];
      header = 2;
      if (length < minTwoByteLength) return fault(NlriReason::lengthNotMinimal, p);
   }
   if (length == 0) return fault(NlriReason::lengthZero, p);
   std::size_t const start = p + header;
   if (length > n - start) return fault(NlriReason::lengthBeyondBuffer, p);
   std::size_t const end = start + length;
   p = start;
   if (safi == NlriSafi::flowspecVpn) {
      if (length < routeDistinguisherBytes) return fault(NlriReason::routeDistinguisherCutShort, p);
      std::uint64_t rd = 0;
      for (std::size_t i = 0; i < routeDistinguisherBytes; ++i)
         rd = rd << 8 | bytes_[p + i];
      if (routeDistinguisher) *routeDistinguisher = rd;
      p += routeDistinguisherBytes;
      if (p == end) return fault(NlriReason::emptyKey, p);
   }

   unsigned lastType = 0;
   while (p < end) {
      std::uint8_t const type = bytes_[p];
      ComponentTypeInfo const& info = componentTypeInfo(type);
      if (info.encoding == C::none) return fault(NlriReason::typeUnknown, p, type);
      if (type == lastType) return fault(NlriReason::typeRepeated, p, type);
      if (type < lastType) return fault(NlriReason::typeOutOfOrder, p, type);
      if (!(af_ == Ipkit::ipv4 ? info.ipv4 : info.ipv6))
         return fault(NlriReason::typeNotInFamily, p, type);
      lastType = type;
      ++p;
      std::optional<NlriError> e = info.encoding == C::prefix
                                       ? prefix(type, p, end)
                                       : operators(type, info.encoding == C::bitmask, p, end);
      if (e) return e;
   }
   next = end;
   return std::nullopt;
}

// RFC 8955 section 4.2.2.1 (IPv4) and RFC 8956 section 3.1 (IPv6).
std::optional<NlriError> Decoder::prefix(std::uint8_t type, std::size_t& p, std::size_t end) {
   if (p >= end) return fault(NlriReason::prefixCutShort, p, type);
   unsigned const bits = bytes_[p];
   if (bits > Ipkit::addressBits(af_)) return fault(NlriReason::prefixTooLong, p, type);
   ++p;
   if (af_ == Ipkit::ipv6) {
      if (p >= end) return fault(NlriReason::prefixCutShort, p, type);
      unsigned const offset = bytes_[p];
      if (offset > bits) return fault(NlriReason::ipv6OffsetBeyondLength, p, type);
      if (offset != 0) return fault(NlriReason::ipv6OffsetUnsupported, p, type);
      ++p;
   }
   std::size_t const count = (bits + 7) / 8;
   if (count > end - p) return fault(NlriReason::prefixCutShort, p, type);
   Ipkit::Ip6Addr::Bytes address{};
   std::memcpy(address.data(), bytes_.data() + p, count);
   p += count;
   Ipkit::IpGenAddr addr;
   if (af_ == Ipkit::ipv4) {
      addr = Ipkit::IpAddr(std::uint32_t(address[0]) << 24 | std::uint32_t(address[1]) << 16 |
                           std::uint32_t(address[2]) << 8 | address[3]);
   } else {
      addr = Ipkit::Ip6Addr(address);
   }
   Ipkit::IpGenPrefix prefix(addr, bits);
   if (type == static_cast<std::uint8_t>(T::destPrefix)) {
      key_.destPrefixIs(prefix);
   } else {
      key_.srcPrefixIs(prefix);
   }
   return std::nullopt;
}

// RFC 8955 sections 4.2.1.1 and 4.2.1.2.
std::optional<NlriError> Decoder::operators(std::uint8_t type, bool bitmask, std::size_t& p,
                                            std::size_t end) {
   bool first = true;
   for (;;) {
      if (p >= end)
         return fault(first ? NlriReason::operatorCutShort : NlriReason::operatorListUnterminated,
                      p, type);
      std::uint8_t const op = bytes_[p];
      if ((op & reservedBit) || (bitmask && (op & ltBit)))
         return fault(NlriReason::operatorReservedBit, p, type);
      unsigned const lenCode = op >> 4 & 3;
      if (lenCode == 3) return fault(NlriReason::valueEightBytes, p, type);
      std::size_t const width = std::size_t(1) << lenCode;
      if (width > end - p - 1) return fault(NlriReason::valueCutShort, p + 1, type);
      std::size_t const pairs = lenCode == 2 ? 2 : 1;
      if (pairs_ + pairs > maxKeyPairs) return fault(NlriReason::tooManyPairs, p, type);
      std::uint32_t value = 0;
      for (std::size_t i = 1; i <= width; ++i)
         value = value << 8 | bytes_[p + i];
      key_.setOpVal(static_cast<std::uint16_t>(pairs_), static_cast<MatchCompType>(type), op,
                    value);
      pairs_ += pairs;
      p += 1 + width;
      first = false;
      if (op & endOfListBit) return std::nullopt;
   }
}

NlriReason reasonOf(KeyShapeProblem p) noexcept {
   switch (p) {
   case KeyShapeProblem::none:
      return NlriReason::none;
   case KeyShapeProblem::sparseIndices:
      return NlriReason::sparseIndices;
   case KeyShapeProblem::unknownType:
      return NlriReason::typeUnknown;
   case KeyShapeProblem::halfValue:
      return NlriReason::halfValue;
   case KeyShapeProblem::eightByteValue:
      return NlriReason::valueEightBytes;
   case KeyShapeProblem::valueTooWide:
      return NlriReason::valueTooWide;
   case KeyShapeProblem::reservedBit:
      return NlriReason::operatorReservedBit;
   case KeyShapeProblem::repeatedType:
      return NlriReason::typeRepeated;
   }
   return NlriReason::none;
}

std::uint8_t* writePrefix(std::uint8_t* w, MatchCompType type, Ipkit::IpGenPrefix const& p,
                          Ipkit::AddressFamily af) noexcept {
   if (p.isEmpty()) return w;
   *w++ = static_cast<std::uint8_t>(type);
   *w++ = static_cast<std::uint8_t>(p.len());
   if (af == Ipkit::ipv6) *w++ = 0; // the offset
   std::size_t const count = (p.len() + 7) / 8;
   std::memcpy(w, p.addr().bytes().data(), count);
   return w + count;
}

} // namespace

std::array<ComponentTypeInfo, 14> const componentTypes = {{
    {},
    {T::destPrefix, "destination prefix", C::prefix, true, true},
    {T::srcPrefix, "source prefix", C::prefix, true, true},
    {T::ipProto, "IP protocol", C::numeric, true, true},
    {T::port, "port", C::numeric, true, true},
    {T::destPort, "destination port", C::numeric, true, true},
    {T::srcPort, "source port", C::numeric, true, true},
    {T::icmpType, "ICMP type", C::numeric, true, true},
    {T::icmpCode, "ICMP code", C::numeric, true, true},
    {T::tcpFlags, "TCP flags", C::bitmask, true, true},
    {T::packetLength, "packet length", C::numeric, true, true},
    {T::dscp, "DSCP", C::numeric, true, true},
    {T::fragment, "fragment", C::bitmask, true, true},
    {T::flowLabel, "flow label", C::numeric, false, true},
}};

ComponentTypeInfo const& componentTypeInfo(unsigned type) noexcept {
   return type < componentTypes.size() ? componentTypes[type] : componentTypes[0];
}

char const* nlriReasonText(NlriReason reason) noexcept {
   return ReasonTable::text(reasonTexts, reason, "unknown reason");
}

std::string nlriErrorMessage(NlriError const& error) {
   std::string s = "offset " + std::to_string(error.offset) + ": ";
   if (error.component) s += componentPart(error.component);
   return s + nlriReasonText(error.reason);
}

std::string nlriEncodeErrorMessage(NlriEncodeError const& error) {
   std::string s;
   if (error.pair) s += "pair " + std::to_string(error.pair) + ": ";
   if (error.component) s += componentPart(error.component);
   return s + nlriReasonText(error.reason);
}

std::optional<NlriError> decodeOneNlri(std::span<std::uint8_t const> bytes, std::size_t& offset,
                                       Ipkit::AddressFamily af, FlowspecKey& key, NlriSafi safi,
                                       std::uint64_t* routeDistinguisher) noexcept {
   Decoder decoder(bytes, offset, af, key);
   try {
      // The pairs are overwritten from index 0 and the surplus dropped at the
      // end: a key decoded into again keeps its nodes, and allocates none.
      key.destPrefixIs({});
      key.srcPrefixIs({});
      key.vrfIdIs(Vrf::VrfIdMap::noVrfId);
      key.addressFamilyIs(af);
      auto error = decoder.run(safi, routeDistinguisher, offset);
      decoder.dropSurplusPairs();
      return error;
   } catch (...) {
      // Only a node allocation can throw: the pair count is checked first.
      return NlriError{.reason = NlriReason::outOfMemory, .offset = offset, .nlriOffset = offset};
   }
}

NlriDecodeResult decodeNlri(std::span<std::uint8_t const> bytes, Ipkit::AddressFamily af,
                            NlriSafi safi) noexcept {
   NlriDecodeResult result;
   try {
      std::size_t offset = 0;
      if (af != Ipkit::ipv4 && af != Ipkit::ipv6) {
         result.error = NlriError{.reason = NlriReason::familyUnset};
         return result;
      }
      while (offset < bytes.size()) {
         FlowspecKey key;
         std::uint64_t rd = 0;
         result.error = decodeOneNlri(bytes, offset, af, key, safi, &rd);
         if (result.error) break;
         result.keys.push_back(std::move(key));
         if (safi == NlriSafi::flowspecVpn) result.routeDistinguishers.push_back(rd);
      }
   } catch (...) {
      result.error = NlriError{.reason = NlriReason::outOfMemory};
   }
   return result;
}

std::optional<NlriEncodeError> encodeNlri(FlowspecKey const& key, std::vector<std::uint8_t>& out,
                                          NlriSafi safi, std::uint64_t routeDistinguisher) {
   Ipkit::AddressFamily const af = key.addressFamily();
   if (af != Ipkit::ipv4 && af != Ipkit::ipv6) return NlriEncodeError{NlriReason::familyUnset};
   for (auto [type, prefix] :
        {std::pair{T::destPrefix, &key.destPrefix()}, std::pair{T::srcPrefix, &key.srcPrefix()}}) {
      if (!prefix->isEmpty() && prefix->af() != af)
         return NlriEncodeError{.reason = NlriReason::prefixFamily,
                                .component = static_cast<std::uint8_t>(type)};
   }
   KeyComponents shape(key);
   if (shape.problem() != KeyShapeProblem::none) {
      return NlriEncodeError{
          .reason = reasonOf(shape.problem()),
          .pair = shape.problemPair(),
          .component = static_cast<std::uint8_t>(key.matchOpVal(shape.problemPair()).matchType())};
   }
   // The body is written after two bytes kept for the length field; a key
   // holds at most 2048 pairs of at most 3 bytes on the wire each (a 4-byte
   // value takes two pairs and 5 bytes), and each component one type byte.
   constexpr std::size_t maxBody = routeDistinguisherBytes + 2 * 19 + 4 * 2048;
   std::uint8_t buffer[2 + maxBody];
   std::uint8_t* const body = buffer + 2;
   std::uint8_t* w = body;
   if (safi == NlriSafi::flowspecVpn) {
      for (std::size_t i = routeDistinguisherBytes; i-- > 0;)
         *w++ = static_cast<std::uint8_t>(routeDistinguisher >> 8 * i);
   }
   std::uint8_t const* const components = w;
   w = writePrefix(w, T::destPrefix, key.destPrefix(), af);
   w = writePrefix(w, T::srcPrefix, key.srcPrefix(), af);
   for (WireComponent const& c : shape.components()) {
      if (!(af == Ipkit::ipv4 ? componentTypeInfo(unsigned(c.type)).ipv4
                              : componentTypeInfo(unsigned(c.type)).ipv6)) {
         return NlriEncodeError{.reason = NlriReason::typeNotInFamily,
                                .pair = shape.pairs(c).front().keyIndex,
                                .component = static_cast<std::uint8_t>(c.type)};
      }
      *w++ = static_cast<std::uint8_t>(c.type);
      for (WirePair const& p : shape.pairs(c)) {
         *w++ = p.op;
         switch (p.op >> 4 & 3) {
         case 2:
            *w++ = static_cast<std::uint8_t>(p.value >> 24);
            *w++ = static_cast<std::uint8_t>(p.value >> 16);
            [[fallthrough]];
         case 1:
            *w++ = static_cast<std::uint8_t>(p.value >> 8);
            [[fallthrough]];
         default:
            *w++ = static_cast<std::uint8_t>(p.value);
         }
      }
   }
   if (w == components) return NlriEncodeError{NlriReason::emptyKey};
   std::size_t const length = static_cast<std::size_t>(w - body);
   if (length > maxNlriLength) return NlriEncodeError{NlriReason::nlriTooLong};
   std::uint8_t* start = body;
   if (length < minTwoByteLength) {
      *--start = static_cast<std::uint8_t>(length);
   } else {
      *--start = static_cast<std::uint8_t>(length);
      *--start = static_cast<std::uint8_t>(0xf0 | length >> 8);
   }
   out.insert(out.end(), start, w);
   return std::nullopt;
}

} // namespace Flowspec
