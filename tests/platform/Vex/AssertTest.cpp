#include "Vex/Assert.h"

#include <gtest/gtest.h>

namespace {
int checked(int v) {
   VEX_ASSERT(v < 14);
   VEX_ASSERT_TEXT(v != 7, "false && \"Unexpected status code\"");
   return v;
}
} // namespace

TEST(AssertDeathTest, AbortsWithTheConditionTextInEveryBuild) {
   EXPECT_EQ(checked(3), 3);
   EXPECT_DEATH(checked(14), "Assertion failed: v < 14 \\(");
   EXPECT_DEATH(checked(7), "Assertion failed: false && \"Unexpected status code\"");
}
