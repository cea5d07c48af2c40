// Statedb/Frame.h: the frames of the attribute-log stream and journal.
//
// Everything a publisher sends, and everything its journal holds, is a
// sequence of frames:
//
//   | field    | bytes | meaning                                            |
//   |----------|-------|----------------------------------------------------|
//   | length   | 4     | the bytes that follow this field (kind to crc)     |
//   | kind     | 1     | 1 hello, 2 snapshot, 3 batch                       |
//   | sequence | 8     | the sequence number of the batch (of the last      |
//   |          |       | batch a snapshot includes)                         |
//   | body     | ...   | the kind's body (Statedb/TreeCodec.h)              |
//   | crc      | 4     | CRC-32C of kind, sequence and body                 |
//
// All numbers are in network byte order. A reader checks the length against
// its bound before it buffers anything, and the CRC before it hands the
// frame on; a frame that fails either is refused whole (FrameError), so
// nothing of it is ever applied.
#pragma once

#include "Vex/Exception.h"
#include "Vex/String.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace Statedb {

enum class FrameKind : std::uint8_t { hello = 1, snapshot = 2, batch = 3 };

/// The bytes of the fixed fields: length, kind and sequence before the body,
/// the CRC after it.
inline constexpr std::size_t frameHeaderSize = 13;
inline constexpr std::size_t frameTrailerSize = 4;
/// The default bound on a frame's length field (a snapshot of a large tree
/// is one frame).
inline constexpr std::uint32_t defaultMaxFrameLength = 1u << 30;

/// A frame refused: bad length, bad CRC, unknown kind, cut short.
class FrameError : public Vex::Exception {
 public:
   using Vex::Exception::Exception;
};

/// One whole, checked frame; `body` points into the parser's buffer and is
/// valid until the parser is used again.
struct Frame {
   FrameKind kind = FrameKind::batch;
   std::uint64_t sequence = 0;
   std::span<unsigned char const> body;
};

/// Encoded frames are shared by every reader they go to.
using FrameBytes = std::shared_ptr<std::vector<unsigned char> const>;

/// The frame of `kind` and `sequence` around `body`.
FrameBytes encodeFrame(FrameKind kind, std::uint64_t sequence, std::span<unsigned char const> body);

/// Cuts a byte stream into frames.
///
///   parser.append(buf, n);
///   Frame f;
///   while (parser.next(f)) apply(f);
class FrameParser {
 public:
   explicit FrameParser(std::uint32_t maxLength = defaultMaxFrameLength) : maxLength_(maxLength) {}

   void append(void const* data, std::size_t size);
   /// The next whole frame, when one is buffered; raises FrameError for a
   /// length out of bounds, a CRC mismatch or an unknown kind (the parser is
   /// then unusable: drop the connection).
   bool next(Frame& frame);
   /// Bytes buffered but not yet returned as a frame: at the end of a stream,
   /// anything here is a frame cut short.
   std::size_t pending() const noexcept { return buffer_.size() - start_; }
   /// The offset in the stream of the first pending byte.
   std::uint64_t offset() const noexcept { return consumed_ + start_; }
   /// Raises FrameError "truncated frame ..." when bytes are pending.
   void checkEnd() const;

 private:
   std::uint32_t maxLength_;
   std::vector<unsigned char> buffer_;
   std::size_t start_ = 0;
   std::uint64_t consumed_ = 0;
};

} // namespace Statedb
