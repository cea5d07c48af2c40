#include "Vex/Trace.h"

#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace Vex {

namespace {

// The levels of every handle name ever mentioned. Entries are never removed,
// so a handle may keep a pointer to its name's levels for its whole life.
struct Registry {
   std::mutex mutex;
   std::map<std::string, std::unique_ptr<std::atomic<unsigned>>> levels;
   TraceSink sink;
   std::mutex sinkMutex;

   Registry() { readEnvironment(); }

   std::atomic<unsigned>* levelsOf(std::string const& name) {
      auto& slot = levels[name];
      if (!slot) slot = std::make_unique<std::atomic<unsigned>>(0U);
      return slot.get();
   }

   // VEX_TRACE="Name/2,8;Other/0-9 Third/*": entries separated by ';' or blanks.
   void readEnvironment() {
      char const* env = std::getenv("VEX_TRACE");
      if (!env) return;
      std::string text = env;
      std::size_t start = 0;
      while (start <= text.size()) {
         std::size_t stop = text.find_first_of("; ", start);
         if (stop == std::string::npos) stop = text.size();
         std::string entry = text.substr(start, stop - start);
         start = stop + 1;
         std::size_t slash = entry.find('/');
         if (slash == std::string::npos || slash == 0) continue;
         levelsOf(entry.substr(0, slash))->store(parseLevels(entry.substr(slash + 1)));
      }
   }

   static unsigned parseLevels(std::string const& levels) {
      unsigned mask = 0;
      std::size_t i = 0;
      while (i < levels.size()) {
         char c = levels[i];
         if (c == '*') {
            mask = 0x3ff;
            ++i;
         } else if (c >= '0' && c <= '9') {
            unsigned lo = static_cast<unsigned>(c - '0');
            unsigned hi = lo;
            if (i + 2 < levels.size() && levels[i + 1] == '-' && levels[i + 2] >= '0' &&
                levels[i + 2] <= '9') {
               hi = static_cast<unsigned>(levels[i + 2] - '0');
               i += 2;
            }
            for (unsigned l = lo; l <= hi; ++l)
               mask |= 1U << l;
            ++i;
         } else {
            ++i; // separators and anything unknown
         }
      }
      return mask;
   }
};

Registry& registry() {
   // Never destroyed: handles in static objects may trace during exit.
   static Registry* r = new Registry;
   return *r;
}

void defaultSink(TraceLine const& line) {
   std::fprintf(stderr, "%s/%u %s: %s\n", line.handle.c_str(), line.level, line.function.c_str(),
                line.message.c_str());
}

} // namespace

void traceSinkIs(TraceSink sink) {
   Registry& r = registry();
   std::lock_guard lock(r.sinkMutex);
   r.sink = std::move(sink);
}

void traceLevelsIs(String const& handleName, unsigned levelMask) {
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   r.levelsOf(handleName.str())->store(levelMask & 0x3ffU, std::memory_order_relaxed);
}

unsigned traceLevels(String const& handleName) {
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   return r.levelsOf(handleName.str())->load(std::memory_order_relaxed);
}

TraceHandle::TraceHandle(String const& name, unsigned) : name_(name) {
   Registry& r = registry();
   std::lock_guard lock(r.mutex);
   levels_ = r.levelsOf(name.str());
}

void TraceHandle::trace(unsigned level, String const& function, String const& message) const {
   if (!enabled(level)) return;
   TraceLine line{name_, level, function, message};
   Registry& r = registry();
   std::lock_guard lock(r.sinkMutex);
   if (r.sink) {
      r.sink(line);
   } else {
      defaultSink(line);
   }
}

} // namespace Vex
