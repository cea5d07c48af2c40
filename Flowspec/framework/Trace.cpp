#include "Flowspec/framework/Trace.h"

namespace Flowspec {

Vex::TraceHandle const& defaultTraceHandle() {
   static Vex::TraceHandle const handle("Flowspec", 0);
   return handle;
}

} // namespace Flowspec
