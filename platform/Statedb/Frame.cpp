#include "Statedb/Frame.h"

#include "Statedb/Crc32c.h"

#include <cstring>
#include <string>

namespace Statedb {

namespace {

std::uint32_t readU32(unsigned char const* p) {
   return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 |
          std::uint32_t(p[3]);
}
void writeU32(unsigned char* p, std::uint32_t v) {
   p[0] = static_cast<unsigned char>(v >> 24);
   p[1] = static_cast<unsigned char>(v >> 16);
   p[2] = static_cast<unsigned char>(v >> 8);
   p[3] = static_cast<unsigned char>(v);
}
Vex::String str(std::uint64_t v) {
   return Vex::String(std::to_string(v));
}

} // namespace

FrameBytes encodeFrame(FrameKind kind, std::uint64_t sequence,
                       std::span<unsigned char const> body) {
   auto bytes = std::make_shared<std::vector<unsigned char>>(frameHeaderSize + body.size() +
                                                             frameTrailerSize);
   unsigned char* p = bytes->data();
   writeU32(p, static_cast<std::uint32_t>(bytes->size() - 4));
   p[4] = static_cast<unsigned char>(kind);
   writeU32(p + 5, static_cast<std::uint32_t>(sequence >> 32));
   writeU32(p + 9, static_cast<std::uint32_t>(sequence));
   if (!body.empty()) std::memcpy(p + frameHeaderSize, body.data(), body.size());
   std::size_t const covered = bytes->size() - 4 - frameTrailerSize;
   writeU32(p + 4 + covered, crc32c(p + 4, covered));
   return bytes;
}

void FrameParser::append(void const* data, std::size_t size) {
   if (start_ > 0 && start_ >= buffer_.size() / 2) {
      buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(start_));
      consumed_ += start_;
      start_ = 0;
   }
   auto p = static_cast<unsigned char const*>(data);
   buffer_.insert(buffer_.end(), p, p + size);
}

bool FrameParser::next(Frame& frame) {
   std::size_t const avail = buffer_.size() - start_;
   if (avail < 4) return false;
   unsigned char const* p = buffer_.data() + start_;
   std::uint32_t const length = readU32(p);
   if (length < frameHeaderSize - 4 + frameTrailerSize || length > maxLength_) {
      throw FrameError("Statedb: frame at offset " + str(offset()) + " has length " + str(length) +
                       ", outside [" + str(frameHeaderSize - 4 + frameTrailerSize) + ", " +
                       str(maxLength_) + "]");
   }
   if (avail < 4 + std::size_t(length)) return false;
   std::size_t const covered = length - frameTrailerSize;
   std::uint32_t const want = readU32(p + 4 + covered);
   std::uint32_t const got = crc32c(p + 4, covered);
   if (want != got) {
      throw FrameError("Statedb: frame at offset " + str(offset()) +
                       " fails its CRC-32C check; refused");
   }
   unsigned const kind = p[4];
   if (kind < 1 || kind > 3) {
      throw FrameError("Statedb: frame at offset " + str(offset()) + " has unknown kind " +
                       str(kind));
   }
   frame.kind = static_cast<FrameKind>(kind);
   frame.sequence = std::uint64_t(readU32(p + 5)) << 32 | readU32(p + 9);
   frame.body = {p + frameHeaderSize, covered - (frameHeaderSize - 4)};
   start_ += 4 + length;
   return true;
}

void FrameParser::checkEnd() const {
   if (pending() > 0) {
      throw FrameError("Statedb: truncated frame at offset " + str(offset()) + " (" +
                       str(pending()) + " bytes of an incomplete frame)");
   }
}

} // namespace Statedb
