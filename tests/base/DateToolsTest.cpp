#include "base/TDateTools.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {
DateTime at(const char* text) {
    return *DateTime::parse(text);
}
} // namespace

TEST(DateTools, DaysAreCalendarDaysWhateverTheTimeOfDay) {
    EXPECT_EQ(TDateTools::difference(TDateTools::Days, at("2010-01-12 23:59:00"), at("2010-01-12 00:01:00")),
              0);
    EXPECT_EQ(TDateTools::difference(TDateTools::Days, at("2010-01-13 00:01:00"), at("2010-01-12 23:59:00")),
              1);
    EXPECT_EQ(TDateTools::difference(TDateTools::Days, at("2010-01-01 12:00:00"), at("2010-03-01 00:00:00")),
              -59);
    EXPECT_EQ(TDateTools::difference(TDateTools::Days, at("2012-03-01"), at("2012-02-28")), 2); // leap year
}

TEST(DateTools, WeeksTruncateTowardZero) {
    EXPECT_EQ(TDateTools::difference(TDateTools::Weeks, at("2010-01-14"), at("2010-01-01")), 1);
    EXPECT_EQ(TDateTools::difference(TDateTools::Weeks, at("2010-01-01"), at("2010-01-14")), -1);
    EXPECT_EQ(TDateTools::difference(TDateTools::Weeks, at("2010-01-07"), at("2010-01-01")), 0);
}

TEST(DateTools, MonthsAndYearsCompareCalendarFields) {
    EXPECT_EQ(TDateTools::difference(TDateTools::Months, at("2010-03-01"), at("2009-12-31")), 3);
    EXPECT_EQ(TDateTools::difference(TDateTools::Months, at("2010-01-31"), at("2010-01-01")), 0);
    EXPECT_EQ(TDateTools::difference(TDateTools::Years, at("2010-01-01"), at("2009-12-31 23:59:59")), 1);
    EXPECT_EQ(TDateTools::difference(TDateTools::Years, at("2005-06-01"), at("2010-01-01")), -5);
}

TEST(DateTools, ClockUnitsCorrectTheDaysByTheClockFields) {
    const DateTime a = at("2010-01-02 00:00:10");
    const DateTime b = at("2010-01-01 23:59:50");
    EXPECT_EQ(TDateTools::difference(TDateTools::Seconds, a, b), 20);
    EXPECT_EQ(TDateTools::difference(TDateTools::Minutes, a, b), 1); // 00:00 against 23:59
    EXPECT_EQ(TDateTools::difference(TDateTools::Hours, a, b), 1);   // hour 0 against hour 23
    EXPECT_EQ(TDateTools::difference(TDateTools::Hours, at("2010-01-03 05:00:00"), a), 29);
    EXPECT_EQ(TDateTools::difference(TDateTools::Seconds, b, a), -20);
}

TEST(DateTools, OtherUnitsGiveZero) {
    for (int unit : {0, 8, -1})
        EXPECT_EQ(TDateTools::difference(unit, at("2011-05-06 07:08:09"), at("2010-01-01")), 0) << unit;
}
