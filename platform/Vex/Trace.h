// Vex/Trace.h: named trace handles with levels 0 to 9.
//
// A library makes one handle with its name and writes lines through it:
//
//   static Vex::TraceHandle th("Flowspec", 0);
//   VEX_TRACE_LINE(th, 8, "copyInStrCli constructing match components from " << text);
//
// Levels are off until enabled, by name, with Vex::traceLevelsIs (bit n of the
// mask enables level n) or through the environment variable VEX_TRACE, read
// once when the first handle is made or levels are first set:
//
//   VEX_TRACE="Flowspec/2,8;Other/0-9"   (handles separated by ';' or blanks;
//                                          levels by ',', a-b ranges, * all)
//
// VEX_TRACE_LINE tests `enabled` first, so no text is built for a level that
// is off. Lines go to the sink: by default one line on standard error,
//   <handle>/<level> <function>: <message>
// and anywhere else after Vex::traceSinkIs.
#pragma once

#include "Vex/String.h"

#include <atomic>
#include <functional>
#include <sstream>

namespace Vex {

/// One trace line, as handed to the sink.
struct TraceLine {
   String handle;
   unsigned level;
   String function;
   String message;
};

using TraceSink = std::function<void(TraceLine const&)>;

/// Replaces where trace lines go; nullptr restores the default sink (standard
/// error). The sink is called under a lock, one line at a time.
void traceSinkIs(TraceSink sink);

/// Enables exactly the levels in `levelMask` (bit n = level n, levels 0 to 9)
/// for every handle named `handleName`, made before or after this call.
void traceLevelsIs(String const& handleName, unsigned levelMask);
/// The enabled levels of the handles named `handleName`.
unsigned traceLevels(String const& handleName);

class TraceHandle {
 public:
   /// A handle named `name`. `flags` is reserved and must be 0. Handles with the
   /// same name share their enabled levels.
   TraceHandle(String const& name, unsigned flags);
   TraceHandle(TraceHandle const&) = delete;
   TraceHandle& operator=(TraceHandle const&) = delete;

   String const& name() const noexcept { return name_; }
   /// Whether `level` is enabled: one atomic load.
   bool enabled(unsigned level) const noexcept {
      return level < 10 && (levels_->load(std::memory_order_relaxed) >> level & 1U);
   }
   /// Hands one line to the sink when `level` is enabled.
   void trace(unsigned level, String const& function, String const& message) const;

 private:
   String name_;
   std::atomic<unsigned> const* levels_;
};

} // namespace Vex

/// Writes `streamed` (anything that can follow `std::ostream <<`) as a trace
/// line of `handle` at `level`, attributed to the enclosing function; builds
/// nothing when the level is off.
#define VEX_TRACE_LINE(handle, level, streamed)                                                    \
   do {                                                                                            \
      if ((handle).enabled(level)) {                                                               \
         std::ostringstream vexTraceOs_;                                                           \
         vexTraceOs_ << streamed;                                                                  \
         (handle).trace(level, __func__, ::Vex::String(vexTraceOs_.str()));                        \
      }                                                                                            \
   } while (0)
