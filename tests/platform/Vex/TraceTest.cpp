#include "Vex/Trace.h"

#include <gtest/gtest.h>

#include <vector>

namespace {
struct SinkCapture {
   std::vector<Vex::TraceLine> lines;
   SinkCapture() {
      Vex::traceSinkIs([this](Vex::TraceLine const& l) { lines.push_back(l); });
   }
   ~SinkCapture() { Vex::traceSinkIs(nullptr); }
};

int evaluations = 0;
int costly() {
   ++evaluations;
   return 42;
}
} // namespace

TEST(Trace, LevelsAreOffUntilEnabledByName) {
   SinkCapture capture;
   Vex::TraceHandle th("TraceTestA", 0);
   EXPECT_FALSE(th.enabled(2));
   VEX_TRACE_LINE(th, 2, "value " << costly());
   EXPECT_EQ(evaluations, 0) << "a disabled line must not be formatted";
   EXPECT_TRUE(capture.lines.empty());

   Vex::traceLevelsIs("TraceTestA", 1u << 2 | 1u << 8);
   EXPECT_TRUE(th.enabled(2));
   EXPECT_TRUE(th.enabled(8));
   EXPECT_FALSE(th.enabled(3));
   EXPECT_FALSE(th.enabled(10));
   VEX_TRACE_LINE(th, 2, "value " << costly());
   VEX_TRACE_LINE(th, 3, "hidden");
   th.trace(8, "fn", "direct");
   ASSERT_EQ(capture.lines.size(), 2u);
   EXPECT_EQ(capture.lines[0].handle, "TraceTestA");
   EXPECT_EQ(capture.lines[0].level, 2u);
   EXPECT_EQ(capture.lines[0].function, "TestBody");
   EXPECT_EQ(capture.lines[0].message, "value 42");
   EXPECT_EQ(capture.lines[1].function, "fn");
   EXPECT_EQ(capture.lines[1].message, "direct");
   EXPECT_EQ(Vex::traceLevels("TraceTestA"), 0x104u);
}

TEST(Trace, LevelsSetBeforeAHandleExistsApplyToIt) {
   SinkCapture capture;
   Vex::traceLevelsIs("TraceTestB", 0x3ff);
   Vex::TraceHandle late("TraceTestB", 0);
   Vex::TraceHandle twin("TraceTestB", 0);
   EXPECT_TRUE(late.enabled(0));
   EXPECT_TRUE(late.enabled(9));
   Vex::traceLevelsIs("TraceTestB", 0);
   EXPECT_FALSE(twin.enabled(9));
}

TEST(TraceDeathTest, DefaultSinkWritesOneLineToStandardError) {
   Vex::traceSinkIs(nullptr);
   Vex::traceLevelsIs("TraceTestC", 1u << 2);
   Vex::TraceHandle th("TraceTestC", 0);
   EXPECT_EXIT(
       {
          th.trace(2, "isBitfieldType", "Found invalid type in routeKey");
          std::exit(0);
       },
       ::testing::ExitedWithCode(0),
       "TraceTestC/2 isBitfieldType: Found invalid type in routeKey\n");
}
