// Flowspec/framework/Trace.h: the library's trace handle.
//
// The library traces through one Vex::TraceHandle named "Flowspec", made on
// the first call of defaultTraceHandle() (concurrent first calls make it
// once) and destroyed at process exit. Level 2 carries failures, level 8
// progress. Enable them with Vex::traceLevelsIs("Flowspec", mask) or
// VEX_TRACE="Flowspec/2,8".
#pragma once

#include "Vex/Trace.h"

namespace Flowspec {

Vex::TraceHandle const& defaultTraceHandle();

} // namespace Flowspec
