#include "base/DateTime.h"
#include "base/TDateTools.h"

#include <gtest/gtest.h>

using vantor::DateTime;
using vantor::TDateTools;

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

TEST(DateTools, DifferencesInEveryUnit) {
    struct Case {
        int unit;
        const char* a;
        const char* b;
        std::int64_t expected;
    };
    const Case cases[] = {
        // Days are calendar days whatever the time of day.
        {TDateTools::Days, "2010-01-12 23:59:00", "2010-01-12 00:01:00", 0},
        {TDateTools::Days, "2010-01-13 00:01:00", "2010-01-12 23:59:00", 1},
        {TDateTools::Days, "2010-01-01 12:00:00", "2010-03-01 00:00:00", -59},
        {TDateTools::Days, "2012-03-01", "2012-02-28", 2}, // leap year
        // Weeks truncate toward zero.
        {TDateTools::Weeks, "2010-01-14", "2010-01-01", 1},
        {TDateTools::Weeks, "2010-01-01", "2010-01-14", -1},
        {TDateTools::Weeks, "2010-01-07", "2010-01-01", 0},
        // Months and years compare calendar fields.
        {TDateTools::Months, "2010-03-01", "2009-12-31", 3},
        {TDateTools::Months, "2010-01-31", "2010-01-01", 0},
        {TDateTools::Years, "2010-01-01", "2009-12-31 23:59:59", 1},
        {TDateTools::Years, "2005-06-01", "2010-01-01", -5},
        // Clock units correct the days by the clock fields: 00:00 against 23:59, hour 0 against hour 23.
        {TDateTools::Seconds, "2010-01-02 00:00:10", "2010-01-01 23:59:50", 20},
        {TDateTools::Seconds, "2010-01-01 23:59:50", "2010-01-02 00:00:10", -20},
        {TDateTools::Minutes, "2010-01-02 00:00:10", "2010-01-01 23:59:50", 1},
        {TDateTools::Hours, "2010-01-02 00:00:10", "2010-01-01 23:59:50", 1},
        {TDateTools::Hours, "2010-01-03 05:00:00", "2010-01-02 00:00:10", 29},
        // Other units give zero.
        {0, "2011-05-06 07:08:09", "2010-01-01", 0},
        {8, "2011-05-06 07:08:09", "2010-01-01", 0},
        {-1, "2011-05-06 07:08:09", "2010-01-01", 0},
    };
    for (const auto& c : cases)
        EXPECT_EQ(TDateTools::difference(c.unit, *DateTime::parse(c.a), *DateTime::parse(c.b)), c.expected)
            << c.unit << " " << c.a << " " << c.b;
}
