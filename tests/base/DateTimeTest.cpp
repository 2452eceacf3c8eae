#include "base/DateTime.h"

#include <gtest/gtest.h>

using vantor::DateTime;

TEST(DateTime, ReadsTheProgramsFormsAndRefusesOthers) {
    auto full = DateTime::parse("2010-01-12 08:05:09");
    ASSERT_TRUE(full);
    EXPECT_EQ(full->toString(), "2010-01-12 08:05:09");
    EXPECT_EQ(DateTime::parse("2010-01-12")->toString(), "2010-01-12 00:00:00");
    EXPECT_EQ(DateTime::parse("2010/1/2 3:04")->toString(), "2010-01-02 03:04:00");
    EXPECT_EQ(DateTime::parse(" 2010-01-12 08:05:09 ")->toString(), "2010-01-12 08:05:09");
    for (const char* bad : {"", "2010", "2010-13-01", "2010-02-30", "2010-01-12 24:00:00", "2010-01-12 08:60",
                            "2010-01-12T08:05:09", "2010-01-12 08:05:09x", "2010-01/12", "12.01.2010"})
        EXPECT_FALSE(DateTime::parse(bad)) << bad;
}

TEST(DateTime, WeekdaysAndDaysOfYearAcrossAYearBoundary) {
    // 2011-01-01 was a Saturday, 2012-01-01 a Sunday, 2012 a leap year.
    for (auto [day, weekday] :
         {std::pair{"2010-12-31", 6}, {"2011-01-01", 7}, {"2011-01-02", 1}, {"2012-01-01", 1}})
        EXPECT_EQ(DateTime::parse(day)->dayOfWeek(), weekday) << day;
    EXPECT_EQ(DateTime::parse("2012-12-31")->dayOfYear(), 366);
    EXPECT_EQ(DateTime::parse("2011-12-31")->dayOfYear(), 365);
    EXPECT_EQ(DateTime::parse("1900-01-01")->dayOfWeek(), 2); // a Monday
}

TEST(DateTime, ArithmeticCrossesMonthsYearsAndLeapDays) {
    auto d = *DateTime::parse("2012-02-28 23:59:59");
    EXPECT_EQ(d.addSeconds(1).toString(), "2012-02-29 00:00:00");
    EXPECT_EQ(d.addDays(2).toString(), "2012-03-01 23:59:59");
    EXPECT_EQ(DateTime::parse("2011-12-31 23:00:00")->addSeconds(3600).toString(), "2012-01-01 00:00:00");
    EXPECT_EQ(DateTime::parse("1900-01-01 00:00:01")->addSeconds(-2).toString(), "1899-12-31 23:59:59");
    EXPECT_LT(*DateTime::parse("2011-12-31 23:59:59"), *DateTime::parse("2012-01-01"));
}
