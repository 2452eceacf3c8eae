#include "base/TextNumbers.h"

#include <gtest/gtest.h>

using namespace vantor;

TEST(TextNumbers, BooleanTextsAreExactlyTheFourTheSettingsUse) {
    EXPECT_EQ(parseBool("true"), true);
    EXPECT_EQ(parseBool("True"), true);
    EXPECT_EQ(parseBool("-1"), true);
    EXPECT_EQ(parseBool("false"), false);
    EXPECT_EQ(parseBool("FALSE"), false);
    EXPECT_EQ(parseBool("0"), false);
    for (const char* bad : {"", "1", "yes", "no", "t", "-2", " true", "true ", "00", "tru"})
        EXPECT_FALSE(parseBool(bad)) << bad;
}

TEST(TextNumbers, IntegersAreDecimalAndRangeChecked) {
    EXPECT_EQ(parseInt32("8080"), 8080);
    EXPECT_EQ(parseInt32("-15"), -15);
    EXPECT_EQ(parseInt32("+7"), 7);
    EXPECT_EQ(parseInt32("  42"), 42);
    EXPECT_EQ(parseInt32("2147483647"), 2147483647);
    EXPECT_FALSE(parseInt32("2147483648"));
    EXPECT_EQ(parseInt64("2147483648"), 2147483648LL);
    for (const char* bad : {"", " ", "80a", "a80", "8 0", "80 ", "0x10", "1.5", "+", "-", "+-1", "++1"})
        EXPECT_FALSE(parseInt64(bad)) << bad;
}
