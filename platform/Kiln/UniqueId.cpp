#include "Kiln/UniqueId.h"

#include "Vex/Hash.h"

#include <atomic>
#include <chrono>
#include <ostream>
#include <random>
#include <string>

namespace Kiln {

namespace {

// SplitMix64's finaliser: every input bit reaches every output bit, so the
// entropy of the sources below ends up spread over the whole origin.
std::uint64_t mix64(std::uint64_t z) noexcept {
   z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
   z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
   return z ^ (z >> 31);
}

std::uint64_t drawOrigin() {
   std::uint64_t seed = 0;
   try {
      std::random_device rd;
      seed = std::uint64_t(rd()) << 32 | rd();
   } catch (...) {
      // No entropy source: the clocks and the address below still differ
      // between processes started at different times.
   }
   auto wall = std::chrono::system_clock::now().time_since_epoch().count();
   auto mono = std::chrono::steady_clock::now().time_since_epoch().count();
   static int const anchor = 0; // its address varies with address-space layout
   std::uint64_t origin =
       mix64(seed ^ mix64(static_cast<std::uint64_t>(wall)) ^
             mix64(static_cast<std::uint64_t>(mono) + reinterpret_cast<std::uintptr_t>(&anchor)));
   // Zero is the origin of the unset id and must never be handed out.
   return origin != 0 ? origin : 1;
}

// The sequence of the next fresh id. 64 bits do not wrap in the life of any
// process, so a plain increment is enough.
std::atomic<std::uint64_t> nextSequence{1};

bool isHexDigit(char c) noexcept {
   return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

unsigned hexValue(char c) noexcept {
   if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
   if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
   return static_cast<unsigned>(c - 'A' + 10);
}

} // namespace

UniqueId::UniqueId(Vex::NboAttrLog::In* in, Vex::StreamBogon)
    : origin_(in->nextU64()), sequence_(in->nextU64()) {}

std::uint64_t UniqueId::processOrigin() {
   static std::uint64_t const origin = drawOrigin();
   return origin;
}

UniqueId UniqueId::fresh() {
   return UniqueId(processOrigin(), nextSequence.fetch_add(1, std::memory_order_relaxed));
}

std::uint32_t UniqueId::hash() const noexcept {
   Vex::HashAccumulator h;
   h.mixU64(origin_);
   h.mixU64(sequence_);
   return h.result();
}

Vex::String UniqueId::toStrep() const {
   static char const hex[] = "0123456789abcdef";
   std::string out(16, '0');
   for (std::size_t i = 0; i < 16; ++i)
      out[15 - i] = hex[(origin_ >> (4 * i)) & 0xf];
   out += '.';
   out += std::to_string(sequence_);
   return Vex::String(std::move(out));
}

std::ostream& operator<<(std::ostream& os, UniqueId const& id) {
   return os << id.toStrep();
}

Vex::String valueToStrep(UniqueId const& id) {
   return Vex::valueToStrep(id.toStrep());
}

void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, UniqueId& id) {
   Vex::TextIter p = pos;
   if (!Vex::tryLiteral(p, end, "'")) {
      Vex::parseError("a quoted UniqueId such as '3f2a9c0d11e8b702.42'", p, end);
   }
   std::uint64_t origin = 0;
   Vex::TextIter digits = p;
   for (int i = 0; i < 16; ++i, ++p) {
      if (p == end || !isHexDigit(*p)) {
         Vex::parseError("16 hexadecimal digits for the UniqueId origin", digits, end);
      }
      origin = origin << 4 | hexValue(*p);
   }
   if (!Vex::tryLiteral(p, end, ".")) {
      Vex::parseError("\".\" after the 16 digits of the UniqueId origin", p, end);
   }
   if (p == end || *p < '0' || *p > '9') {
      Vex::parseError("the decimal sequence of the UniqueId", p, end);
   }
   std::uint64_t sequence = Vex::readUnsigned(p, end, UINT64_MAX);
   if (!Vex::tryLiteral(p, end, "'")) {
      Vex::parseError("the closing quote of the UniqueId", p, end);
   }
   id = UniqueId(origin, sequence);
   pos = p;
}

Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 UniqueId const& id) {
   out->writeU64(id.origin());
   out->writeU64(id.sequence());
   return out;
}

} // namespace Kiln
