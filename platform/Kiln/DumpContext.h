// Kiln/DumpContext.h: where a debug dump goes.
//
// Objects dump their state for debugging through a DumpContext, with
// objDumpPrintf. A context either collects the text in memory, for tests and
// for callers that pass it on, or writes it to an open FILE*.
//
//   Kiln::DumpContext ctx;                          // in memory
//   Kiln::objDumpPrintf(ctx, "rules: %d\n", 2);
//   Kiln::objDumpPrintf(ctx, "%*cname: %s\n", 3, ' ', "r1");
//   assert(ctx.text() == "rules: 2\n   name: r1\n");
//
// Indentation is written with "%*c" and the arguments (width, ' '). "%*c"
// always writes its character, padded to at least `width`: a width of 0 still
// writes one blank. Dumps therefore use a format without "%*c" for text at
// indentation 0.
#pragma once

#include "Vex/String.h"

#include <cstdio>
#include <memory>
#include <string_view>

namespace Vex {
class VexType;
}

namespace Kiln {

class DumpContext {
 public:
   /// The type's descriptor, registered when the library is loaded.
   static Vex::VexType const _vexType;

   /// A context that collects what is written into memory, starting empty.
   DumpContext();
   /// A context that writes to `file`, which must be open for writing and stay
   /// open while any copy of the context is used. The context never closes it.
   explicit DumpContext(std::FILE* file);

   /// Copies share one sink: what is written through any of them is written
   /// to the same memory or file, in the order of the writes. Writes through
   /// copies in different threads are safe; each write arrives whole.
   DumpContext(DumpContext const&) = default;
   DumpContext& operator=(DumpContext const&) = default;

   /// Everything written so far to an in-memory context (since the last
   /// clear()); the empty string for a context that writes to a file.
   Vex::String text() const;
   /// Forgets the text collected in memory, for this context and its copies.
   /// Does nothing to a context that writes to a file.
   void clear() const;

   /// Whether the context collects into memory.
   bool inMemory() const noexcept;
   /// The file written to, or nullptr for an in-memory context.
   std::FILE* file() const noexcept;

   /// Writes `text` unchanged.
   void write(std::string_view text) const;

 private:
   struct Sink;
   std::shared_ptr<Sink> sink_;
};

/// Formats the arguments as std::printf would and writes the result, of any
/// length, to `ctx`. A format the C library rejects writes nothing.
void objDumpPrintf(DumpContext const& ctx, char const* format, ...)
    __attribute__((format(printf, 2, 3)));

} // namespace Kiln
