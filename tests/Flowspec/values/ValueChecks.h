// Checks shared by the Flowspec value tests: the message of a raised error,
// and the capture of the library's trace lines.
#pragma once

#include "Vex/Exception.h"
#include "Vex/Trace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace FlowspecTest {

/// The message of every refused MatchOpValIndex, spelled out once.
inline std::string const indexRangeMessage =
    "MatchOpValIndex::value < MatchOpValIndex::min or > MatchOpValIndex::max not allowed";

/// The message of the E that `f` raises, or "(nothing raised)".
template <class E, class F>
std::string raisedMessage(F&& f) {
   try {
      f();
   } catch (E const& e) {
      return e.what();
   }
   return "(nothing raised)";
}

/// While alive, enables `levels` (bit n = level n) of the "Flowspec" handle
/// and collects every trace line; then turns the levels off and restores the
/// default sink.
struct TraceCapture {
   explicit TraceCapture(unsigned levels) {
      Vex::traceSinkIs([this](Vex::TraceLine const& l) { lines.push_back(l); });
      Vex::traceLevelsIs("Flowspec", levels);
   }
   ~TraceCapture() {
      Vex::traceLevelsIs("Flowspec", 0);
      Vex::traceSinkIs(nullptr);
   }
   std::vector<Vex::TraceLine> lines;
};

/// `lines` is exactly the one line isBitfieldType writes for `invalid`.
inline void expectInvalidKindTrace(std::vector<Vex::TraceLine> const& lines) {
   ASSERT_EQ(lines.size(), 1u);
   EXPECT_EQ(lines[0].handle, "Flowspec");
   EXPECT_EQ(lines[0].level, 2u);
   EXPECT_EQ(lines[0].function, "isBitfieldType");
   EXPECT_EQ(lines[0].message, "Found invalid type in routeKey");
}

} // namespace FlowspecTest
