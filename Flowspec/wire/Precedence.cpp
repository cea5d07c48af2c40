#include "Flowspec/wire/Precedence.h"

#include "Flowspec/wire/KeyComponents.h"

#include <algorithm>
#include <cstdint>
#include <span>

namespace Flowspec {

namespace {

int sign(int v) noexcept {
   return (v > 0) - (v < 0);
}

// Compares bits [from, to) of two addresses (bit 0 the most significant of
// the first byte), a byte at a time under a mask: among the bits a mask
// keeps, the first that differs decides the unsigned order of the bytes.
int compareBits(std::span<std::uint8_t const> x, std::span<std::uint8_t const> y, unsigned from,
                unsigned to) noexcept {
   for (unsigned bit = from; bit < to;) {
      unsigned const start = bit % 8;
      unsigned const end = std::min(8U, start + (to - bit));
      auto const mask = static_cast<std::uint8_t>((0xffU >> start) & (0xffU << (8 - end)));
      std::uint8_t const a = x[bit / 8] & mask, b = y[bit / 8] & mask;
      if (a != b) return a < b ? -1 : 1;
      bit += end - start;
   }
   return 0;
}

// The bytes of one operator list as the wire carries them, one at a time:
// each pair's operator byte, then its value in 1 << len bytes, most
// significant first.
class WireBytes {
 public:
   explicit WireBytes(std::span<WirePair const> pairs) noexcept : pairs_(pairs) {}
   bool done() const noexcept { return pair_ == pairs_.size(); }
   std::uint8_t next() noexcept {
      WirePair const& p = pairs_[pair_];
      unsigned length = 1U << (p.op >> 4 & 3);
      std::uint8_t b;
      if (byte_ == 0) {
         b = p.op;
      } else {
         unsigned shift = 8 * (length - byte_);
         b = shift >= 32 ? 0 : static_cast<std::uint8_t>(p.value >> shift);
      }
      if (++byte_ > length) {
         byte_ = 0;
         ++pair_;
      }
      return b;
   }

 private:
   std::span<WirePair const> pairs_;
   std::size_t pair_ = 0;
   unsigned byte_ = 0;
};

// RFC 8955 section 5.1 for the operator lists of one type: memcmp over the
// common length, then the longer list first.
int compareOperatorLists(std::span<WirePair const> a, std::span<WirePair const> b) noexcept {
   WireBytes x(a), y(b);
   while (!x.done() && !y.done()) {
      std::uint8_t bx = x.next(), by = y.next();
      if (bx != by) return bx < by ? -1 : 1;
   }
   if (x.done() == y.done()) return 0;
   return x.done() ? 1 : -1;
}

// A prefix component that one key has and the other lacks comes first.
int comparePresentPrefix(Ipkit::IpGenPrefix const& a, Ipkit::IpGenPrefix const& b) noexcept {
   if (a.isEmpty() != b.isEmpty()) return a.isEmpty() ? 1 : -1;
   if (a.isEmpty()) return 0;
   return comparePrefixPrecedence(a, b);
}

} // namespace

int comparePrefixPrecedence(Ipkit::IpGenPrefix const& a, Ipkit::IpGenPrefix const& b,
                            unsigned offsetA, unsigned offsetB) noexcept {
   if (a.af() != b.af()) return a.af() < b.af() ? -1 : 1;
   if (offsetA != offsetB) return offsetA < offsetB ? -1 : 1;
   unsigned common = std::min(a.len(), b.len());
   if (a.af() == Ipkit::ipv4 && offsetA == 0 && common > 0) {
      // The common bits of two IPv4 addresses as one number each, as
      // compareBits would compare them bit by bit.
      auto number = [](Ipkit::IpGenPrefix const& p) {
         std::span<std::uint8_t const> const x = p.addr().bytes();
         return std::uint32_t(x[0]) << 24 | std::uint32_t(x[1]) << 16 | std::uint32_t(x[2]) << 8 |
                x[3];
      };
      std::uint32_t const mask = ~std::uint32_t(0) << (32 - common);
      std::uint32_t const x = number(a) & mask, y = number(b) & mask;
      if (x != y) return x < y ? -1 : 1;
      return sign(static_cast<int>(b.len()) - static_cast<int>(a.len()));
   }
   if (int c = compareBits(a.addr().bytes(), b.addr().bytes(), offsetA, common)) return c;
   // One is a prefix of the other (or they are equal): the longer first.
   return sign(static_cast<int>(b.len()) - static_cast<int>(a.len()));
}

int comparePrecedence(FlowspecKey const& a, FlowspecKey const& b) {
   if (a.addressFamily() != b.addressFamily())
      return a.addressFamily() < b.addressFamily() ? -1 : 1;
   if (int c = comparePresentPrefix(a.destPrefix(), b.destPrefix())) return c;
   if (int c = comparePresentPrefix(a.srcPrefix(), b.srcPrefix())) return c;

   KeyComponents x(a), y(b);
   auto cx = x.components();
   auto cy = y.components();
   std::size_t i = 0;
   for (; i < cx.size() && i < cy.size(); ++i) {
      if (cx[i].type != cy[i].type) return cx[i].type < cy[i].type ? -1 : 1;
      if (int c = compareOperatorLists(x.pairs(cx[i]), y.pairs(cy[i]))) return c;
   }
   // The key with components left has one of a lower type than the other's
   // end, which counts as above every type.
   if (cx.size() == cy.size()) return 0;
   return i < cx.size() ? -1 : 1;
}

} // namespace Flowspec
