// Flowspec/framework/Dump.h: one line of a debug dump.
//
// Every dump format of the library begins with "%*c", which takes the
// indentation width and a blank. dumpLine passes them when `indent` is
// greater than 0; at indentation 0 it passes the same format without its
// first three characters, so nothing precedes the text.
//
//   dumpLine(ctx, indent, "%*ccompType is %d, prefix is %s\n", type, prefix);
#pragma once

#include "Kiln/DumpContext.h"
#include "Vex/Assert.h"

#include <cstring>

namespace Flowspec {

template <class... Args>
void dumpLine(Kiln::DumpContext const& ctx, unsigned indent, char const* format, Args... args) {
   VEX_ASSERT(std::strncmp(format, "%*c", 3) == 0);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
   if (indent > 0) {
      Kiln::objDumpPrintf(ctx, format, static_cast<int>(indent), ' ', args...);
   } else {
      Kiln::objDumpPrintf(ctx, format + 3, args...);
   }
#pragma GCC diagnostic pop
}

} // namespace Flowspec
