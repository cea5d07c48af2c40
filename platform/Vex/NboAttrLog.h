// Vex/NboAttrLog.h: the attribute log's value encodings, in network byte order.
//
// Entities replicate their changes between processes as records of values.
// A value carries no framing of its own: its fields are written one after the
// other with the primitive writers below and read back in the same order.
//
//   | primitive            | bytes                                        |
//   |----------------------|----------------------------------------------|
//   | bool                 | 1 byte, 0 or 1                               |
//   | u8 / u16 / u32 / u64 | 1 / 2 / 4 / 8 bytes, most significant first  |
//   | s32 / s64            | two's complement, as u32 / u64               |
//   | float / double       | IEEE 754 bits, as u32 / u64                  |
//   | Vex::String          | u32 byte count, then the bytes               |
//
// Writers are `operator<<(Vex::Ptr<Out> const&, T const&)`; readers are
// constructors `T(Vex::NboAttrLog::In*, Vex::StreamBogon)` for class types and
// the `next...` functions for primitives.
//
//   auto out = Vex::NboAttrLog::Out::OutIs();
//   out << std::uint16_t(7) << Vex::String("Ethernet1");
//   Vex::NboAttrLog::In in(out->bytes().data(), out->bytes().size());
//   auto n = in.nextU16();           // 7
//   auto s = in.nextString();        // "Ethernet1"
//
// A reader never reads outside its buffer: running past the end, a bool byte
// other than 0 or 1, or a string longer than what is left raises
// Vex::Exception.
#pragma once

#include "Vex/Exception.h"
#include "Vex/Ptr.h"
#include "Vex/String.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

namespace Vex {

/// The tag that selects the attribute-log reading constructor of a type.
struct StreamBogon {};

namespace NboAttrLog {

class Out : public PtrInterface {
 public:
   static Ptr<Out> OutIs() { return Ptr<Out>(new Out); }

   /// Everything written so far.
   std::vector<unsigned char> const& bytes() const noexcept { return bytes_; }
   void clear() noexcept { bytes_.clear(); }
   void reserve(std::size_t n) { bytes_.reserve(n); }

   void writeBool(bool v) { bytes_.push_back(v ? 1 : 0); }
   void writeU8(std::uint8_t v) { bytes_.push_back(v); }
   void writeU16(std::uint16_t v) {
      unsigned char b[2] = {static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v)};
      bytes_.insert(bytes_.end(), b, b + 2);
   }
   void writeU32(std::uint32_t v) {
      unsigned char b[4] = {static_cast<unsigned char>(v >> 24),
                            static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 8),
                            static_cast<unsigned char>(v)};
      bytes_.insert(bytes_.end(), b, b + 4);
   }
   void writeU64(std::uint64_t v) {
      writeU32(static_cast<std::uint32_t>(v >> 32));
      writeU32(static_cast<std::uint32_t>(v));
   }
   void writeFloat(float v);
   void writeDouble(double v);
   void writeString(String const& v);
   void writeBytes(void const* data, std::size_t size);

 private:
   Out() = default;
   std::vector<unsigned char> bytes_;
};

class In {
 public:
   /// Reads the `size` bytes at `data`, which must outlive the reader.
   In(unsigned char const* data, std::size_t size) noexcept
       : pos_(data), begin_(data), end_(data + size) {}

   bool nextbool();
   std::uint8_t nextU8() { return *take(1); }
   std::uint16_t nextU16() {
      auto p = take(2);
      return static_cast<std::uint16_t>(p[0] << 8 | p[1]);
   }
   std::uint32_t nextU32() {
      auto p = take(4);
      return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 | std::uint32_t(p[2]) << 8 |
             std::uint32_t(p[3]);
   }
   std::uint64_t nextU64() {
      std::uint64_t hi = nextU32();
      return hi << 32 | nextU32();
   }
   std::int32_t nextS32() { return static_cast<std::int32_t>(nextU32()); }
   std::int64_t nextS64() { return static_cast<std::int64_t>(nextU64()); }
   float nextFloat();
   double nextDouble();
   String nextString();
   /// Copies the next `size` bytes to `to`.
   void nextBytes(void* to, std::size_t size);

   std::size_t offset() const noexcept { return static_cast<std::size_t>(pos_ - begin_); }
   std::size_t remaining() const noexcept { return static_cast<std::size_t>(end_ - pos_); }
   bool atEnd() const noexcept { return pos_ == end_; }

 private:
   unsigned char const* take(std::size_t n) {
      if (static_cast<std::size_t>(end_ - pos_) < n) pastEnd(n);
      auto p = pos_;
      pos_ += n;
      return p;
   }
   [[noreturn]] void pastEnd(std::size_t n) const;

   unsigned char const* pos_;
   unsigned char const* begin_;
   unsigned char const* end_;
};

// ---- primitive writers -----------------------------------------------------

inline Ptr<Out> const& operator<<(Ptr<Out> const& o, bool v) {
   o->writeBool(v);
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, std::uint8_t v) {
   o->writeU8(v);
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, std::uint16_t v) {
   o->writeU16(v);
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, std::uint32_t v) {
   o->writeU32(v);
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, std::uint64_t v) {
   o->writeU64(v);
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, std::int32_t v) {
   o->writeU32(static_cast<std::uint32_t>(v));
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, std::int64_t v) {
   o->writeU64(static_cast<std::uint64_t>(v));
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, float v) {
   o->writeFloat(v);
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, double v) {
   o->writeDouble(v);
   return o;
}
inline Ptr<Out> const& operator<<(Ptr<Out> const& o, String const& v) {
   o->writeString(v);
   return o;
}
/// A string literal would otherwise be written as a bool.
Ptr<Out> const& operator<<(Ptr<Out> const& o, char const* v) = delete;

} // namespace NboAttrLog

/// Reads one value of T: the primitive readers for scalars and strings, the
/// constructor T(In*, StreamBogon) for every other type.
template <class T>
T nboRead(NboAttrLog::In& in) {
   if constexpr (std::is_same_v<T, bool>) {
      return in.nextbool();
   } else if constexpr (std::is_enum_v<T>) {
      using U = std::underlying_type_t<T>;
      static_assert(sizeof(U) == 4, "enumerations travel as 32-bit words");
      return static_cast<T>(in.nextU32());
   } else if constexpr (std::is_same_v<T, std::uint8_t>) {
      return in.nextU8();
   } else if constexpr (std::is_same_v<T, std::uint16_t>) {
      return in.nextU16();
   } else if constexpr (std::is_same_v<T, std::uint32_t>) {
      return in.nextU32();
   } else if constexpr (std::is_same_v<T, std::uint64_t>) {
      return in.nextU64();
   } else if constexpr (std::is_same_v<T, std::int32_t>) {
      return in.nextS32();
   } else if constexpr (std::is_same_v<T, std::int64_t>) {
      return in.nextS64();
   } else if constexpr (std::is_same_v<T, float>) {
      return in.nextFloat();
   } else if constexpr (std::is_same_v<T, double>) {
      return in.nextDouble();
   } else if constexpr (std::is_same_v<T, String>) {
      return in.nextString();
   } else if constexpr (std::is_same_v<T, Name>) {
      return Name(in.nextString());
   } else {
      return T(&in, StreamBogon());
   }
}

/// Writes one value of T: enumerations as 32-bit words, everything else with
/// its operator<<.
template <class T>
void nboWrite(Ptr<NboAttrLog::Out> const& out, T const& v) {
   if constexpr (std::is_enum_v<T>) {
      static_assert(sizeof(std::underlying_type_t<T>) == 4, "enumerations travel as 32-bit words");
      out->writeU32(static_cast<std::uint32_t>(v));
   } else {
      out << v;
   }
}

} // namespace Vex
