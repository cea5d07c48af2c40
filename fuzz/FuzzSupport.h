// fuzz/FuzzSupport.h: what the fuzz targets share: a check that stops the run
// with a message, the log and text round trips of one value, and the rule
// that picks a reader from the first byte of an input.
//
// A target may end an input in three ways only: it returns (the input was
// refused with Vex::Exception, or accepted and every property held), a
// sanitizer reports, or FUZZ_CHECK aborts. Any other exception escaping
// LLVMFuzzerTestOneInput is reported by libFuzzer as a crash too.
#pragma once

#include "Vex/Exception.h"
#include "Vex/NboAttrLog.h"
#include "Vex/String.h"
#include "Vex/ValueText.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace Fuzz {

using Bytes = std::vector<unsigned char>;

[[noreturn]] inline void fail(char const* condition, char const* file, int line,
                              std::string const& detail) {
   std::fprintf(stderr, "%s:%d: property broken: %s\n  %s\n", file, line, condition,
                detail.c_str());
   std::abort();
}

/// Aborts with `condition` and `detail` (anything std::string can be made
/// from) when `condition` is false.
#define FUZZ_CHECK(condition, detail)                                                              \
   ((condition) ? static_cast<void>(0)                                                             \
                : ::Fuzz::fail(#condition, __FILE__, __LINE__, std::string(detail)))

/// `text` with every byte outside printable ASCII as \xHH, for messages.
inline std::string printable(std::string_view text) {
   std::string out;
   Vex::appendQuoted(out, text);
   return out;
}

// ---- the attribute log -------------------------------------------------------

template <class T>
Bytes logOf(T const& v) {
   auto out = Vex::NboAttrLog::Out::OutIs();
   Vex::nboWrite(out, v);
   return out->bytes();
}

/// The property every log reader must have once it has accepted a value:
/// writing the value gives bytes that read back, whole, to an equal value,
/// and writing that again gives the same bytes.
template <class T>
void checkLogRoundTrip(T const& v) {
   Bytes const bytes = logOf(v);
   Vex::NboAttrLog::In in(bytes.data(), bytes.size());
   T again = [&] {
      try {
         return Vex::nboRead<T>(in);
      } catch (Vex::Exception const& e) {
         fail("the reader takes what the writer wrote", __FILE__, __LINE__, e.what());
      }
   }();
   FUZZ_CHECK(in.atEnd(), std::to_string(in.remaining()) + " bytes left");
   FUZZ_CHECK(again == v, "the value read back differs");
   FUZZ_CHECK(logOf(again) == bytes, "writing it again gives other bytes");
}

// ---- the value text ----------------------------------------------------------

template <class T>
Vex::String textOf(T const& v) {
   using Vex::valueToStrep;
   return valueToStrep(v);
}

/// Reads one T from exactly [pos, end), as Vex::strepToValue does, but on the
/// caller's buffer so that AddressSanitizer sees a read past its end (a
/// Vex::String would hide one behind its terminator and spare capacity).
/// Raises what the reader raises.
template <class T>
T readWholeText(char const* pos, char const* end) {
   using Vex::sequenceToValue;
   T v{};
   sequenceToValue(pos, end, v);
   Vex::expectEnd(pos, end);
   return v;
}

/// The property of a value text reader that has accepted `v`: its text reads
/// back to an equal value with the same text. `equal` is false for values
/// that never equal themselves (a NaN), whose texts are still compared.
template <class T>
void checkTextRoundTrip(T const& v, bool equal = true) {
   Vex::String const text = textOf(v);
   T again{};
   try {
      Vex::strepToValue(text, again);
   } catch (Vex::Exception const& e) {
      fail("the reader takes what the printer wrote", __FILE__, __LINE__,
           printable(text.view()) + ": " + e.what());
   }
   FUZZ_CHECK(!equal || again == v,
              "the value read back from " + printable(text.view()) + " differs");
   FUZZ_CHECK(textOf(again) == text, "printing it again gives " + printable(textOf(again).view()) +
                                         ", not " + printable(text.view()));
}

// ---- choosing a reader ---------------------------------------------------------

/// The reader an input is for: its first byte, modulo the number of readers.
/// Tables of readers only grow at their end, so that a seed keeps its reader.
inline std::size_t choose(std::uint8_t const* data, std::size_t count) {
   return data[0] % count;
}

} // namespace Fuzz
