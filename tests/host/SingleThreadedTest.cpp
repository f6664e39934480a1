#include <gtest/gtest.h>

extern "C" const char kProcessIsSingleThreaded;

// The other answer would let two threads of the host change one count of owners at once.
TEST(SingleThreadedTest, TheDriverNeverTakesItsProcessForSingleThreaded)
{
    EXPECT_EQ(kProcessIsSingleThreaded, 0);
}
