#include "support/Truncate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace
{

using Double = std::numeric_limits<double>;

TEST(TruncateTest, TruncatesTowardZero)
{
    EXPECT_EQ(truncToInt(0.9), 0);
    EXPECT_EQ(truncToInt(-0.9), 0);
    EXPECT_EQ(truncToInt(2.9), 2);
    EXPECT_EQ(truncToInt(-2.9), -2);
    EXPECT_EQ(truncToInt(-0.0), 0);
    EXPECT_EQ(truncToInt(std::numeric_limits<double>::denorm_min()), 0);
    EXPECT_EQ(truncToUnsigned(2.9), 2U);
}

TEST(TruncateTest, SaturatesAtTheEndsOfTheTarget)
{
    EXPECT_EQ(truncToInt(2147483646.9), 2147483646);
    EXPECT_EQ(truncToInt(2147483647.0), INT32_MAX);
    EXPECT_EQ(truncToInt(2147483647.5), INT32_MAX);
    EXPECT_EQ(truncToInt(2147483648.0), INT32_MAX);
    EXPECT_EQ(truncToInt(1e308), INT32_MAX);
    EXPECT_EQ(truncToInt(Double::infinity()), INT32_MAX);
    EXPECT_EQ(truncToInt(-2147483647.9), -2147483647);
    EXPECT_EQ(truncToInt(-2147483648.0), INT32_MIN);
    EXPECT_EQ(truncToInt(-2147483648.9), INT32_MIN);
    EXPECT_EQ(truncToInt(-1e308), INT32_MIN);
    EXPECT_EQ(truncToInt(-Double::infinity()), INT32_MIN);

    EXPECT_EQ(truncToUnsigned(4294967294.9), 4294967294U);
    EXPECT_EQ(truncToUnsigned(4294967295.0), UINT32_MAX);
    EXPECT_EQ(truncToUnsigned(4294967296.0), UINT32_MAX);
    EXPECT_EQ(truncToUnsigned(Double::infinity()), UINT32_MAX);
    EXPECT_EQ(truncToUnsigned(-1.0), 0U);
    EXPECT_EQ(truncToUnsigned(-Double::infinity()), 0U);
}

TEST(TruncateTest, TakesNaNAsZero)
{
    EXPECT_EQ(truncToInt(Double::quiet_NaN()), 0);
    EXPECT_EQ(truncToInt(-Double::quiet_NaN()), 0);
    EXPECT_EQ(truncToUnsigned(Double::quiet_NaN()), 0U);
}

TEST(TruncateTest, WorksAtCompileTime)
{
    static_assert(truncToInt(-1.5) == -1);
    static_assert(truncToUnsigned(1.5) == 1);
}

}  // namespace
