// Runs with VEX_TRACE="TraceEnv/2,8 Other/0-3 All/*" (set by the build).
#include "Vex/Trace.h"

#include <gtest/gtest.h>

TEST(TraceEnvironment, VexTraceEnablesLevelsByName) {
   Vex::TraceHandle env("TraceEnv", 0);
   EXPECT_TRUE(env.enabled(2));
   EXPECT_TRUE(env.enabled(8));
   EXPECT_FALSE(env.enabled(3));
   EXPECT_EQ(Vex::traceLevels("Other"), 0xfu);
   EXPECT_EQ(Vex::traceLevels("All"), 0x3ffu);
   EXPECT_EQ(Vex::traceLevels("Unnamed"), 0u);
}
