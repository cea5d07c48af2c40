#include "Vex/AllocTrack.h"

#include <mutex>

namespace Vex {

struct AllocTrackTypeInfo {
   char const* typeName;
   std::size_t size;
   std::atomic<std::uint64_t> allocations{0};
   std::atomic<std::uint64_t> releases{0};
   AllocTrackTypeInfo* next = nullptr;
};

namespace {
std::mutex registryMutex;
AllocTrackTypeInfo* registryHead = nullptr;
AllocTrackTypeInfo* registryTail = nullptr;

AllocTrackTypeInfo* infoOf(AllocTrackSlot& slot, char const* typeName, std::size_t size) {
   AllocTrackTypeInfo* info = slot.load(std::memory_order_acquire);
   if (info) return info;
   std::lock_guard lock(registryMutex);
   info = slot.load(std::memory_order_acquire);
   if (info) return info;
   // Records live for the whole process: objects may be released during exit.
   info = new AllocTrackTypeInfo{typeName, size};
   (registryTail ? registryTail->next : registryHead) = info;
   registryTail = info;
   slot.store(info, std::memory_order_release);
   return info;
}
} // namespace

void allocTrackAllocated(AllocTrackSlot& slot, char const* typeName, std::size_t size) noexcept {
   infoOf(slot, typeName, size)->allocations.fetch_add(1, std::memory_order_relaxed);
}

void allocTrackReleased(AllocTrackSlot& slot) noexcept {
   AllocTrackTypeInfo* info = slot.load(std::memory_order_acquire);
   if (info) info->releases.fetch_add(1, std::memory_order_relaxed);
}

namespace {
AllocTrackCounts countsOf(AllocTrackTypeInfo const* info) {
   AllocTrackCounts c;
   if (!info) return c;
   c.typeName = info->typeName;
   c.size = info->size;
   c.allocations = info->allocations.load(std::memory_order_relaxed);
   c.releases = info->releases.load(std::memory_order_relaxed);
   return c;
}
} // namespace

AllocTrackCounts allocTrackCounts(AllocTrackSlot const& slot) {
   return countsOf(slot.load(std::memory_order_acquire));
}

std::vector<AllocTrackCounts> allocTrackCountsAll() {
   std::lock_guard lock(registryMutex);
   std::vector<AllocTrackCounts> all;
   for (AllocTrackTypeInfo* i = registryHead; i; i = i->next)
      all.push_back(countsOf(i));
   return all;
}

} // namespace Vex
