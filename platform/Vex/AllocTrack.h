// Vex/AllocTrack.h: per-type allocation tracking.
//
// Each tracked class owns one pointer-sized slot, initially empty, named
// `vexAllocTrackTypeInfo_`. Every allocation and release of the class is
// recorded against that slot; the first allocation creates the type's record
// (name, size, counts) and keeps it for the life of the process. The counts
// are atomic, so tracked objects may be made and released on any thread.
//
// Deriving from Vex::AllocTracked<T> gives T the class-specific operator new
// and operator delete that record through T::vexAllocTrackTypeInfo_. A
// constructor that throws has its memory released by the matching operator
// delete, so the record is released again too.
//
//   class Rule : public Vex::PtrInterface, public Vex::AllocTracked<Rule> {
//    public:
//      static Vex::AllocTrackSlot vexAllocTrackTypeInfo_;
//      static constexpr char vexTypeName[] = "Rule";
//   };
//   Vex::AllocTrackCounts c = Vex::allocTrackCounts(Rule::vexAllocTrackTypeInfo_);
#pragma once

#include "Vex/String.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <vector>

namespace Vex {

struct AllocTrackTypeInfo;
using AllocTrackSlot = std::atomic<AllocTrackTypeInfo*>;

/// Records one allocation of `size` bytes of the type `typeName`.
void allocTrackAllocated(AllocTrackSlot& slot, char const* typeName, std::size_t size) noexcept;
/// Records one release.
void allocTrackReleased(AllocTrackSlot& slot) noexcept;

struct AllocTrackCounts {
   String typeName;
   std::size_t size = 0;
   std::uint64_t allocations = 0;
   std::uint64_t releases = 0;
   std::uint64_t live() const noexcept { return allocations - releases; }
};

/// The counts of one slot (all zero before its first allocation).
AllocTrackCounts allocTrackCounts(AllocTrackSlot const& slot);
/// The counts of every type tracked so far, in order of first allocation.
std::vector<AllocTrackCounts> allocTrackCountsAll();

template <class T>
class AllocTracked {
 public:
   static void* operator new(std::size_t size) {
      void* p = ::operator new(size);
      allocTrackAllocated(T::vexAllocTrackTypeInfo_, T::vexTypeName, size);
      return p;
   }
   static void operator delete(void* p) noexcept {
      allocTrackReleased(T::vexAllocTrackTypeInfo_);
      ::operator delete(p);
   }
};

} // namespace Vex
