// Kiln/UniqueId.h: identifiers of versions, unique across the processes that
// make them.
//
// A UniqueId names one version of something (a configuration, a table) so
// that a reader can tell whether what it holds is still current. An id is the
// origin of the process that made it and a sequence number within that
// process; two ids made by fresh() are never equal, in one process or in two.
//
//   Kiln::UniqueId v = Kiln::UniqueId::fresh();
//   std::cout << v;                  // 3f2a9c0d11e8b702.42
//   Vex::String t = valueToStrep(v); // '3f2a9c0d11e8b702.42'
#pragma once

#include "Vex/NboAttrLog.h"
#include "Vex/String.h"
#include "Vex/ValueText.h"

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>

namespace Vex {
class VexType;
}

namespace Kiln {

class UniqueId {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   /// The unset id: origin 0, sequence 0. No id made by fresh() equals it.
   constexpr UniqueId() noexcept = default;
   /// An id with exactly these fields, for readers and tests.
   constexpr UniqueId(std::uint64_t origin, std::uint64_t sequence) noexcept
       : origin_(origin), sequence_(sequence) {}
   /// Reads an id from the attribute log: the origin, then the sequence, each
   /// a u64. Raises Vex::Exception when fewer than 16 bytes are left.
   UniqueId(Vex::NboAttrLog::In* in, Vex::StreamBogon);

   /// A new id, different from every other id made in this process and, with
   /// overwhelming probability, from every id made in any other process.
   /// Thread-safe and lock-free: one atomic increment.
   static UniqueId fresh();
   /// The origin of the ids this process makes: a random, non-zero value
   /// drawn on first use and the same for the life of the process.
   static std::uint64_t processOrigin();

   /// Who made the id; 0 for the unset id.
   constexpr std::uint64_t origin() const noexcept { return origin_; }
   /// The id's position in its maker's count, from 1; 0 for the unset id.
   constexpr std::uint64_t sequence() const noexcept { return sequence_; }

   /// Whether both fields are 0.
   constexpr bool isUnset() const noexcept { return origin_ == 0 && sequence_ == 0; }
   constexpr bool operator!() const noexcept { return isUnset(); }

   /// Ordered by origin, then by sequence: ids of one process sort in the
   /// order they were made.
   friend constexpr bool operator==(UniqueId const&, UniqueId const&) noexcept = default;
   friend constexpr std::strong_ordering operator<=>(UniqueId const&,
                                                     UniqueId const&) noexcept = default;

   /// Vex::HashAccumulator over the origin and the sequence, as u64 each.
   std::uint32_t hash() const noexcept;

   /// The origin as 16 lower-case hexadecimal digits, a dot, and the sequence
   /// in decimal: "3f2a9c0d11e8b702.42". The unset id is "0000000000000000.0".
   Vex::String toStrep() const;

 private:
   // Declaration order is the order the log reader takes the fields in.
   std::uint64_t origin_ = 0;
   std::uint64_t sequence_ = 0;
};

/// Writes toStrep().
std::ostream& operator<<(std::ostream& os, UniqueId const& id);

/// The value text: toStrep() in single quotes, '3f2a9c0d11e8b702.42'.
Vex::String valueToStrep(UniqueId const& id);
/// Reads the value text at `pos` and advances past it. The hexadecimal digits
/// may be of either case but there must be exactly 16; the sequence is a
/// decimal number of at most 2^64 - 1. Raises Vex::Exception saying what was
/// expected where, and then leaves `id` and `pos` unchanged.
void sequenceToValue(Vex::TextIter& pos, Vex::TextIter end, UniqueId& id);

/// Writes the origin, then the sequence, each a u64 (16 bytes in all).
Vex::Ptr<Vex::NboAttrLog::Out> const& operator<<(Vex::Ptr<Vex::NboAttrLog::Out> const& out,
                                                 UniqueId const& id);

} // namespace Kiln

template <>
struct std::hash<Kiln::UniqueId> {
   std::size_t operator()(Kiln::UniqueId const& id) const noexcept { return id.hash(); }
};
