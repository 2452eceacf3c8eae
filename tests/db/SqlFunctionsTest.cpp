#include "db/SqlFunctions.h"
#include "db/Database.h"

#include <gtest/gtest.h>

using namespace vantor::db;

namespace {

Value scalar(Database& db, const std::string& sql) {
    auto st = db.prepare(sql);
    EXPECT_TRUE(st.step()) << sql;
    return st.value(0);
}

class SqlFunctions : public ::testing::Test {
protected:
    Database db{":memory:", Database::Mode::CreateIfMissing};
};

} // namespace

TEST_F(SqlFunctions, DatePartsWeekdaysAndWeeks) {
    const std::pair<const char*, std::int64_t> cases[] = {
        {"year('2011-12-31 23:59:58')", 2011},
        {"month('2011-12-31 23:59:58')", 12},
        {"day('2011-12-31 23:59:58')", 31},
        {"hour('2011-12-31 23:59:58')", 23},
        {"hour('2012-01-01')", 0},
        {"datePart('m','2012-02-29 10:00:00')", 2},
        {"DATEPART('yyyy','2012-02-29 10:00:00')", 2012},
        // Weekdays count from Sunday: a Saturday, a Sunday, a Monday.
        {"weekday('2011-12-31 12:00:00')", 7},
        {"weekday('2012-01-01 00:00:00')", 1},
        {"weekday('2012-01-02 00:00:00')", 2},
        // Weeks start on Sunday, week one holds 1 January. 2011 began on a Saturday, 2012 on a Sunday.
        {"datepart('ww','2011-01-01 10:00:00')", 1},
        {"datepart('ww','2011-01-02 10:00:00')", 2},
        {"datepart('ww','2011-12-31 10:00:00')", 53},
        {"datepart('ww','2012-01-01 00:00:00')", 1},
        {"datepart('ww','2012-01-07 23:59:59')", 1},
        {"datepart('ww','2012-01-08 00:00:00')", 2},
        {"datepart('ww','2012-12-31 00:00:00')", 53},
    };
    for (const auto& [sql, expected] : cases)
        EXPECT_EQ(scalar(db, std::string("select ") + sql), Value(expected)) << sql;
    // 2005 began on a Saturday and is no leap year: 31 December, a Saturday, is in week 53.
    EXPECT_EQ(weekOfYear(2005, 12, 31), 53);
    EXPECT_EQ(weekOfYear(2005, 12, 24), 52);
}

TEST_F(SqlFunctions, GroupingByWeekAcrossTwoYearsKeepsTheYearsApart) {
    db.exec("create table s(sj text, n int);"
            "insert into s values('2011-12-30 10:00:00',1),('2011-12-31 10:00:00',2),"
            "('2012-01-01 10:00:00',4),('2012-01-09 10:00:00',8);");
    auto st = db.prepare("select year(sj) as y,datepart('ww',sj) as w,sum(n) from s group by year(sj),"
                         "datepart('ww',sj) order by year(sj),datepart('ww',sj)");
    std::vector<std::tuple<std::int64_t, std::int64_t, std::int64_t>> rows;
    while (st.step())
        rows.emplace_back(st.integer(0), st.integer(1), st.integer(2));
    using Row = std::tuple<std::int64_t, std::int64_t, std::int64_t>;
    EXPECT_EQ(rows, (std::vector<Row>{{2011, 53, 3}, {2012, 1, 4}, {2012, 2, 8}}));
}

TEST_F(SqlFunctions, StandardFormatHasTwoDecimalsAndThousandsSeparators) {
    const std::pair<const char*, const char*> cases[] = {
        {"1234.5,'Standard'", "1,234.50"},
        {"1234567.891,'Standard'", "1,234,567.89"},
        {"0,'Standard'", "0.00"},
        {"999.999,'Standard'", "1,000.00"},
        {"-1234.5,'Standard'", "-1,234.50"},
        {"100,'standard'", "100.00"},
    };
    for (const auto& [arguments, expected] : cases)
        EXPECT_EQ(scalar(db, std::string("select format$(") + arguments + ")"), Value(std::string(expected)))
            << arguments;
}

TEST_F(SqlFunctions, NullsAndUnreadableDatesGiveNull) {
    for (const char* sql : {"select year(null)", "select month('not a date')", "select datepart('ww', null)",
                            "select format$(null,'Standard')"})
        EXPECT_EQ(scalar(db, sql).index(), 0u) << sql;
    EXPECT_THROW(db.prepare("select datepart('zz','2012-01-01')").step(), DbError);
    EXPECT_THROW(db.prepare("select format$(1,'Currency')").step(), DbError);
}
