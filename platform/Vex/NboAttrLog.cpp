#include "Vex/NboAttrLog.h"

#include <bit>
#include <cstring>
#include <string>

namespace Vex::NboAttrLog {

void Out::writeFloat(float v) {
   writeU32(std::bit_cast<std::uint32_t>(v));
}
void Out::writeDouble(double v) {
   writeU64(std::bit_cast<std::uint64_t>(v));
}

void Out::writeString(String const& v) {
   writeU32(static_cast<std::uint32_t>(v.size()));
   writeBytes(v.data(), v.size());
}

void Out::writeBytes(void const* data, std::size_t size) {
   auto p = static_cast<unsigned char const*>(data);
   bytes_.insert(bytes_.end(), p, p + size);
}

bool In::nextbool() {
   std::uint8_t b = *take(1);
   if (b > 1) {
      throw Exception("NboAttrLog::In: bool byte " + std::to_string(b) + " at offset " +
                      std::to_string(offset() - 1) + " is neither 0 nor 1");
   }
   return b == 1;
}

float In::nextFloat() {
   return std::bit_cast<float>(nextU32());
}
double In::nextDouble() {
   return std::bit_cast<double>(nextU64());
}

String In::nextString() {
   std::uint32_t n = nextU32();
   auto p = take(n);
   return String(reinterpret_cast<char const*>(p), n);
}

void In::nextBytes(void* to, std::size_t size) {
   auto p = take(size);
   if (size) std::memcpy(to, p, size);
}

void In::pastEnd(std::size_t n) const {
   throw Exception("NboAttrLog::In: reading " + std::to_string(n) + " bytes at offset " +
                   std::to_string(offset()) + " runs past the end of the " +
                   std::to_string(end_ - begin_) + "-byte record");
}

} // namespace Vex::NboAttrLog
