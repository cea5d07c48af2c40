#include "Vex/Assert.h"

#include <cstdio>
#include <cstdlib>

namespace Vex {

void assertionFailed(char const* condition, char const* file, int line,
                     char const* function) noexcept {
   std::fprintf(stderr, "Assertion failed: %s (%s:%d, %s)\n", condition, file, line, function);
   std::fflush(stderr);
   std::abort();
}

} // namespace Vex
