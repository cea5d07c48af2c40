#include "Kiln/DumpContext.h"

#include "Vex/Assert.h"

#include <cstdarg>
#include <mutex>
#include <string>

namespace Kiln {

struct DumpContext::Sink {
   explicit Sink(std::FILE* f) noexcept : file(f) {}

   std::mutex mutex;
   std::FILE* const file; // nullptr: collect into `text`
   std::string text;
};

DumpContext::DumpContext() : sink_(std::make_shared<Sink>(nullptr)) {}

DumpContext::DumpContext(std::FILE* file) : sink_(std::make_shared<Sink>(file)) {
   VEX_ASSERT(file != nullptr);
}

Vex::String DumpContext::text() const {
   std::lock_guard lock(sink_->mutex);
   return Vex::String(sink_->text);
}

void DumpContext::clear() const {
   std::lock_guard lock(sink_->mutex);
   sink_->text.clear();
}

bool DumpContext::inMemory() const noexcept {
   return sink_->file == nullptr;
}

std::FILE* DumpContext::file() const noexcept {
   return sink_->file;
}

void DumpContext::write(std::string_view text) const {
   std::lock_guard lock(sink_->mutex);
   if (sink_->file) {
      std::fwrite(text.data(), 1, text.size(), sink_->file);
   } else {
      sink_->text += text;
   }
}

void objDumpPrintf(DumpContext const& ctx, char const* format, ...) {
   // Most dump lines are short: format onto the stack, and only when the text
   // does not fit, format again into a buffer of the size the first pass gave.
   char small[512];
   va_list args;
   va_start(args, format);
   va_list again;
   va_copy(again, args);
   int n = std::vsnprintf(small, sizeof small, format, args);
   va_end(args);
   if (n < 0) {
      va_end(again);
      return;
   }
   auto size = static_cast<std::size_t>(n);
   if (size < sizeof small) {
      va_end(again);
      ctx.write(std::string_view(small, size));
      return;
   }
   std::string big(size, '\0');
   std::vsnprintf(big.data(), size + 1, format, again);
   va_end(again);
   ctx.write(big);
}

} // namespace Kiln
