// Linked into every test program when FLOWSPEC_TEST_THREAD_SAFE_PTRS is on
// (the tsan preset): reference counts are atomic from before main, as in an
// agent that shares entities between threads, so that ThreadSanitizer checks
// the tests in that mode. Tests that switch the mode themselves still can.
#include "Vex/Ptr.h"

namespace {
[[maybe_unused]] bool const threadSafe = (Vex::ptrThreadSafeIs(true), true);
} // namespace
