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

std::int64_t number(Database& db, const std::string& sql) {
    auto v = scalar(db, sql);
    EXPECT_EQ(v.index(), 1u) << sql;
    return v.index() == 1 ? std::get<std::int64_t>(v) : -1;
}

class SqlFunctions : public ::testing::Test {
protected:
    Database db{":memory:", Database::Mode::CreateIfMissing};
};

} // namespace

TEST_F(SqlFunctions, DatePartsOfTheStoredForm) {
    EXPECT_EQ(number(db, "select year('2011-12-31 23:59:58')"), 2011);
    EXPECT_EQ(number(db, "select month('2011-12-31 23:59:58')"), 12);
    EXPECT_EQ(number(db, "select day('2011-12-31 23:59:58')"), 31);
    EXPECT_EQ(number(db, "select hour('2011-12-31 23:59:58')"), 23);
    EXPECT_EQ(number(db, "select hour('2012-01-01')"), 0);
    EXPECT_EQ(number(db, "select datePart('m','2012-02-29 10:00:00')"), 2);
    EXPECT_EQ(number(db, "select DATEPART('yyyy','2012-02-29 10:00:00')"), 2012);
}

TEST_F(SqlFunctions, WeekdayCountsFromSunday) {
    // 2011-12-31 Saturday, 2012-01-01 Sunday, 2012-01-02 Monday.
    EXPECT_EQ(number(db, "select weekday('2011-12-31 12:00:00')"), 7);
    EXPECT_EQ(number(db, "select weekday('2012-01-01 00:00:00')"), 1);
    EXPECT_EQ(number(db, "select weekday('2012-01-02 00:00:00')"), 2);
}

TEST_F(SqlFunctions, WeekNumbersStartOnSundayWithWeekOneHoldingFirstJanuary) {
    // 2011: 1 January is a Saturday, so week 2 starts on Sunday 2 January.
    EXPECT_EQ(number(db, "select datepart('ww','2011-01-01 10:00:00')"), 1);
    EXPECT_EQ(number(db, "select datepart('ww','2011-01-02 10:00:00')"), 2);
    EXPECT_EQ(number(db, "select datepart('ww','2011-12-31 10:00:00')"), 53);
    // 2012: 1 January is a Sunday; 31 December a Monday in week 53.
    EXPECT_EQ(number(db, "select datepart('ww','2012-01-01 00:00:00')"), 1);
    EXPECT_EQ(number(db, "select datepart('ww','2012-01-07 23:59:59')"), 1);
    EXPECT_EQ(number(db, "select datepart('ww','2012-01-08 00:00:00')"), 2);
    EXPECT_EQ(number(db, "select datepart('ww','2012-12-31 00:00:00')"), 53);
    // 2005: 1 January a Saturday and not a leap year: 31 December, a Saturday, is in week 53.
    EXPECT_EQ(vantor::db::weekOfYear(2005, 12, 31), 53);
    EXPECT_EQ(vantor::db::weekOfYear(2005, 12, 24), 52);
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
    EXPECT_EQ(std::get<std::string>(scalar(db, "select format$(1234.5,'Standard')")), "1,234.50");
    EXPECT_EQ(std::get<std::string>(scalar(db, "select format$(1234567.891,'Standard')")), "1,234,567.89");
    EXPECT_EQ(std::get<std::string>(scalar(db, "select format$(0,'Standard')")), "0.00");
    EXPECT_EQ(std::get<std::string>(scalar(db, "select format$(999.999,'Standard')")), "1,000.00");
    EXPECT_EQ(std::get<std::string>(scalar(db, "select format$(-1234.5,'Standard')")), "-1,234.50");
    EXPECT_EQ(std::get<std::string>(scalar(db, "select format$(100,'standard')")), "100.00");
    EXPECT_EQ(scalar(db, "select format$(null,'Standard')").index(), 0u);
}

TEST_F(SqlFunctions, NullsAndUnreadableDatesGiveNull) {
    EXPECT_EQ(scalar(db, "select year(null)").index(), 0u);
    EXPECT_EQ(scalar(db, "select month('not a date')").index(), 0u);
    EXPECT_EQ(scalar(db, "select datepart('ww', null)").index(), 0u);
    EXPECT_THROW(db.prepare("select datepart('zz','2012-01-01')").step(), DbError);
    EXPECT_THROW(db.prepare("select format$(1,'Currency')").step(), DbError);
}
