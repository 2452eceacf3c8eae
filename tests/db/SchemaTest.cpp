#include "db/Database.h"
#include "db/SqlFunctions.h"
#include "db/TDM.h"
#include "support/Stores.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <strings.h>
#include <thread>

using namespace vantor::db;
using vantor::test::TempDir;

namespace {

using Row = std::vector<Value>;

std::vector<Row> load(Statement& st) {
    std::vector<Row> rows;
    while (st.step())
        for (int c = 0; c < st.columnCount(); ++c)
            (c ? rows.back() : rows.emplace_back()).push_back(st.value(c));
    return rows;
}

std::vector<Row> run(Database& db, const std::string& sql) {
    auto st = db.prepare(sql);
    return load(st);
}

// A row's values as text, joined with '|'.
std::string line(const Row& row) {
    std::string joined;
    for (const auto& value : row) {
        if (!joined.empty()) joined += '|';
        joined += valueToText(value);
    }
    return joined;
}

std::string firstCell(Database& db, const std::string& sql) {
    return valueToText(run(db, sql).at(0).at(0));
}

// Two shops: "alice" with two items, sales and ratings; "bob" with one item, no sales, no ratings.
void fillSmallShop(Database& db) {
    db.exec(R"(
        insert into dianbase(id,dianzhu,dianming,webaddr,updateDate,createDate,salerCredit,loc)
            values(1,'alice','爱丽丝小店','http://shop1','2012-01-05 10:00:00','2008-03-01 00:00:00',1200,'女装');
        insert into dianbase(id,dianzhu,dianming,updateDate) values(2,'bob','鲍勃','2012-01-06 10:00:00');
        insert into itemInfo(id,dian_id,itemId,itemTitle,updateDate,curPrice,monthSale,favorite)
            values(1,1,'i1','连衣裙','2012-01-05 10:00:00',99.00,5,7),
                  (2,1,'i2','围巾','2012-01-05 10:00:00',20.00,9,1),
                  (3,2,'i3','帽子','2012-01-06 10:00:00',15.00,0,0);
        insert into saleInfo(itemId,trade_id,amount,buyerName,sj,buyNum,getNum)
            values('i1','t1',99.0,'甲','2011-12-31 23:00:00',1,1),
                  ('i1','t2',89.0,'乙','2012-01-02 09:00:00',2,2),
                  ('i1','t3',89.0,'丙','2011-12-30 09:00:00',1,0),
                  ('i2','t4',20.0,'丁','2012-01-03 12:00:00',3,3);
        insert into pjinfo(dian_id,pj,pjsj,trade_id) values(1,'好评','2012-01-01 00:00:00','t1'),
                                                            (1,'中评','2012-01-02 00:00:00','t2');
    )");
}

Value scalar(Database& db, const std::string& sql) {
    auto st = db.prepare(sql);
    EXPECT_TRUE(st.step()) << sql;
    return st.value(0);
}

Database& opened(TDM& dm) {
    dm.open();
    return dm.cn1();
}

// A new store of the engine with the schema and the program's SQL functions.
class OnBothEngines : public ::testing::TestWithParam<vantor::test::Engine> {
protected:
    TempDir dir;
    TDM dm{vantor::test::storeOn(GetParam(), dir / "lmd_pin.db")};
    Database& db = opened(dm);
};

using SqlFunctions = OnBothEngines;
INSTANTIATE_TEST_SUITE_P(BothEngines, SqlFunctions, vantor::test::kBothEngines, vantor::test::engineName);

} // namespace

TEST(Schema, AMissingFileIsCreatedAndKeepsItsRowsWhenOpenedAgain) {
    TempDir dir;
    {
        TDM dm(dir / "lmd_pin.db");
        dm.open();
        fillSmallShop(dm.cn1()); // needs every table
        // Gathering leaves the flags to the column defaults.
        dm.cn1().exec("insert into dianbase(dianzhu) values('x'); insert into itemInfo(itemId) values('y');");
        EXPECT_EQ(firstCell(dm.cn1(), "select isSend||flag from dianbase where dianzhu='x'"), "00");
        EXPECT_EQ(firstCell(dm.cn1(), "select isSend||flag from itemInfo where itemId='y'"), "00");
    }
    TDM again(dir / "lmd_pin.db");
    again.open();
    EXPECT_EQ(firstCell(again.cn1(), "select count(*) from saleInfo"), "4");
}

TEST(Schema, AFileThatIsNotADatabaseFailsToOpen) {
    TempDir dir;
    vantor::test::writeFile(dir / "lmd_pin.db", std::string(4096, 'x'));
    TDM dm(dir / "lmd_pin.db");
    EXPECT_THROW(dm.open(), DbError);
    EXPECT_EQ(vantor::test::readFile(dir / "lmd_pin.db"), std::string(4096, 'x'));
}

class Views : public OnBothEngines {
protected:
    void SetUp() override { fillSmallShop(db); }
};
INSTANTIATE_TEST_SUITE_P(BothEngines, Views, vantor::test::kBothEngines, vantor::test::engineName);

TEST_P(Views, ItemViewCarriesShopColumnsTotalsAndBothBeginDates) {
    auto items =
        run(db, "select itemId,totalNums,totalAmount,\"itemInfoV_.beginDate\",\"saleBeginDateV.beginDate\","
                "dianzhu,dianUpdateDate from itemInfoV order by itemId");
    ASSERT_EQ(items.size(), 3u);
    // 1 + 2 + 0 counted for 99 + 2*89; the uncounted sale begins the list but not the counted sales.
    EXPECT_EQ(line(items[0]), "i1|3|277|2011-12-30 09:00:00|2011-12-31 23:00:00|alice|2012-01-05 10:00:00");
    EXPECT_EQ(items[2][1].index(), 0u); // no sales: no total
    EXPECT_EQ(items[2][3].index(), 0u);
}

TEST_P(Views, EveryStandingQueryRunsAsWritten) {
    for (const auto& query : TDM::standingQueries()) {
        auto st = db.prepare(query.sql);
        for (const auto& name : st.parameterNames())
            st.bind(name, strcasecmp(name.c_str(), ":item_Id") == 0 ? Value(std::string("i1"))
                                                                    : Value(std::int64_t(1)));
        EXPECT_GT(load(st).size(), 0u) << query.name;
    }
}

TEST_P(Views, BindingAnUnknownParameterIsAnError) {
    auto st = db.prepare("select * from saleInfo where itemId=:item_Id");
    EXPECT_THROW(st.bind("itemid_typo", "x"), DbError);
    EXPECT_NO_THROW(st.bind("ITEM_ID", "x"));
}

TEST_P(SqlFunctions, DatePartsWeekdaysAndWeeks) {
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
        {"datepart('q','2011-02-28 13:05:09')", 1},
        {"datepart('y','2011-02-28 13:05:09')", 59},
        {"datepart('n','2011-02-28 13:05:09')", 5},
        {"second('2011-02-28 13:05:09')", 9},
        // Slashes and figures without their leading zero are dates too.
        {"hour('2010/3/7 8:09')", 8},
        {"minute('2010/3/7 8:09')", 9},
        {"weekday('2010/3/7 8:09')", 1},
    };
    for (const auto& [sql, expected] : cases)
        EXPECT_EQ(scalar(db, std::string("select ") + sql), Value(expected)) << sql;
    // 2005 began on a Saturday and is no leap year: 31 December, a Saturday, is in week 53.
    EXPECT_EQ(weekOfYear(2005, 12, 31), 53);
    EXPECT_EQ(weekOfYear(2005, 12, 24), 52);
}

TEST_P(SqlFunctions, GroupingByWeekAcrossTwoYearsKeepsTheYearsApart) {
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

TEST_P(SqlFunctions, StandardFormatHasTwoDecimalsAndThousandsSeparators) {
    const std::pair<const char*, const char*> cases[] = {
        {"1234.5,'Standard'", "1,234.50"},
        {"1234567.891,'Standard'", "1,234,567.89"},
        {"0,'Standard'", "0.00"},
        {"999.999,'Standard'", "1,000.00"},
        {"-1234.5,'Standard'", "-1,234.50"},
        {"100,'standard'", "100.00"},
        {"-42.5,'Standard'", "-42.50"},
        {"-0.001,'Standard'", "0.00"}, // no sign on a value that rounds to nothing
        {"1e9,'Fixed'", "1000000000.00"},
        {"1234.5,'Fixed'", "1234.50"},
        {"0.004,'Percent'", "0.40%"},
        {"-0.5,'percent'", "-50.00%"},
    };
    for (const auto& [arguments, expected] : cases)
        EXPECT_EQ(scalar(db, std::string("select format$(") + arguments + ")"), Value(std::string(expected)))
            << arguments;
}

TEST_P(SqlFunctions, NullsAndUnreadableDatesGiveNull) {
    for (const char* sql :
         {"select year(null)", "select month('not a date')", "select datepart('ww', null)",
          "select format$(null,'Standard')", "select month('2010-13-01')", "select hour('next tuesday')",
          "select day('')", "select datepart('d','2010-02-30')"})
        EXPECT_EQ(scalar(db, sql).index(), 0u) << sql;
    EXPECT_THROW(db.prepare("select datepart('zz','2012-01-01')").step(), DbError);
    EXPECT_THROW(db.prepare("select format$(1,'Currency')").step(), DbError);
}

TEST(LockWait, AWriterWaitsForAnotherVisiblyAndGivesUpInChineseOrWhenStopped) {
    TempDir dir;
    TDM dm(dir / "lock.db");
    dm.open();
    Database holder = dm.openConnection(), waiter = dm.openConnection();
    int notices = 0;
    bool stopped = false;
    LockWait wait;
    wait.limit = std::chrono::milliseconds(400);
    wait.notice = [&] { ++notices; };
    wait.keepWaiting = [&] { return !stopped; };
    waiter.setLockWait(wait);

    holder.beginTransaction();
    try {
        waiter.beginTransaction();
        ADD_FAILURE() << "a held lock was taken";
    } catch (const DbError& e) {
        EXPECT_EQ(std::string(e.what()), "数据文件一直被其他程序占用，等待后仍无法保存，请稍后重试。");
        EXPECT_NE(e.detail().find("locked"), std::string::npos) << e.detail();
    }
    EXPECT_EQ(notices, 1);

    // The holder commits while the other waits: the wait ends in the lock.
    wait.limit = std::chrono::seconds(30);
    waiter.setLockWait(wait);
    std::thread release([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(300));
        holder.commit();
    });
    waiter.beginTransaction();
    release.join();
    EXPECT_TRUE(waiter.inTransaction());
    EXPECT_EQ(notices, 2);
    waiter.commit();

    // A stop ends the wait without waiting out the limit.
    holder.beginTransaction();
    stopped = true;
    EXPECT_THROW(waiter.beginTransaction(), DbError);
    holder.rollback();
}
