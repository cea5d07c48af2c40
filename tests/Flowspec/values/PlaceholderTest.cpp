#include "Flowspec/values/MatchCompType.h"

#include <gtest/gtest.h>

TEST(MatchCompType, Placeholder) { EXPECT_EQ(Flowspec::stringValue(Flowspec::MatchCompType::port), "port"); }
