#include "base/TextNumbers.h"

#include <gtest/gtest.h>

using namespace vantor;

TEST(TextNumbers, BooleanTextsAreExactlyTheFourTheSettingsUse) {
    for (const char* yes : {"true", "True", "-1"})
        EXPECT_EQ(parseBool(yes), true) << yes;
    for (const char* no : {"false", "FALSE", "0"})
        EXPECT_EQ(parseBool(no), false) << no;
    for (const char* bad : {"", "1", "yes", "no", "t", "-2", " true", "true ", "00", "tru"})
        EXPECT_FALSE(parseBool(bad)) << bad;
}

TEST(TextNumbers, IntegersAreDecimalAndRangeChecked) {
    for (auto [text, value] :
         {std::pair{"8080", 8080}, {"-15", -15}, {"+7", 7}, {"  42", 42}, {"2147483647", 2147483647}})
        EXPECT_EQ(parseInt32(text), value) << text;
    EXPECT_FALSE(parseInt32("2147483648"));
    EXPECT_EQ(parseInt64("2147483648"), 2147483648LL);
    for (const char* bad : {"", " ", "80a", "a80", "8 0", "80 ", "0x10", "1.5", "+", "-", "+-1", "++1"})
        EXPECT_FALSE(parseInt64(bad)) << bad;
}
