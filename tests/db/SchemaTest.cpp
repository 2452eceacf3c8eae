#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <set>

using namespace vantor::db;
using vantor::test::TempDir;

namespace {

std::vector<std::string> columnsOf(Database& db, const std::string& sql) {
    auto st = db.prepare(sql);
    std::vector<std::string> names;
    for (int i = 0; i < st.columnCount(); ++i)
        names.push_back(st.columnName(i));
    return names;
}

// A query's rows held for checking.
struct Rows {
    std::vector<std::string> names;
    std::vector<std::vector<Value>> rows;

    int rowCount() const { return int(rows.size()); }
    Value value(int row, int column) const { return rows.at(size_t(row)).at(size_t(column)); }
    int columnIndex(const std::string& name) const {
        for (size_t c = 0; c < names.size(); ++c)
            if (names[c] == name) return int(c);
        return -1;
    }
};

Rows load(Statement& st) {
    Rows rows;
    for (int c = 0; c < st.columnCount(); ++c)
        rows.names.push_back(st.columnName(c));
    while (st.step()) {
        rows.rows.emplace_back();
        for (int c = 0; c < st.columnCount(); ++c)
            rows.rows.back().push_back(st.value(c));
    }
    return rows;
}

Rows run(Database& db, const std::string& sql) {
    auto st = db.prepare(sql);
    return load(st);
}

// Two shops: "alice" with two items, sales and ratings; "bob" with one item, no sales, no ratings.
void fillSmallShop(Database& db) {
    db.exec(R"(
        insert into dianbase(id,dianzhu,dianming,webaddr,updateDate,createDate,salerGoodRate,salerCredit,salelevel,
                             loc,commodityNum,salerGood1,salerBad1,salerNotBad1,salerGood2,salerBad2,salerNotBad2,
                             salerGood3,salerBad3,salerNotBad3,salerGood4,salerBad4,salerNotBad4)
            values(1,'alice','爱丽丝小店','http://shop1','2012-01-05 10:00:00','2008-03-01 00:00:00',99.5,1200,8,
                   '女装',40,10,1,2,20,2,3,30,3,4,40,4,5);
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

} // namespace

TEST(Schema, AMissingFileIsCreatedWithEveryTableAndView) {
    TempDir dir;
    TDM dm(dir / "lmd_pin.db");
    dm.open();
    auto objects = run(dm.cn1(), "select name from sqlite_master where type in ('table','view')");
    std::set<std::string> names;
    for (int r = 0; r < objects.rowCount(); ++r)
        names.insert(valueToText(objects.value(r, 0)));
    for (const char* expected : {"dianbase", "itemInfo", "saleInfo", "pjinfo", "itemTop", "dianbase_rate_v",
                                 "itemInfoV", "itemInfoV_", "saleBeginDateV"})
        EXPECT_TRUE(names.count(expected)) << expected;
    EXPECT_TRUE(std::filesystem::exists(dir / "lmd_pin.db"));
}

TEST(Schema, OpeningTwiceKeepsTheRows) {
    TempDir dir;
    {
        TDM dm(dir / "lmd_pin.db");
        fillSmallShop(dm.cn1());
    }
    TDM again(dir / "lmd_pin.db");
    again.open();
    EXPECT_EQ(valueToText(run(again.cn1(), "select count(*) from saleInfo").value(0, 0)), "4");
}

TEST(Schema, AFileThatIsNotADatabaseFailsToOpen) {
    TempDir dir;
    vantor::test::writeFile(dir / "lmd_pin.db", std::string(4096, 'x'));
    TDM dm(dir / "lmd_pin.db");
    EXPECT_THROW(dm.open(), DbError);
    EXPECT_EQ(vantor::test::readFile(dir / "lmd_pin.db"), std::string(4096, 'x'));
}

TEST(Schema, GatherStatementDefaultsLeaveFlagsAtZero) {
    Database db(":memory:", Database::Mode::CreateIfMissing);
    ensureSchema(db);
    db.exec("insert into dianbase(dianzhu) values('x'); insert into itemInfo(itemId) values('y');");
    EXPECT_EQ(valueToText(run(db, "select isSend||flag from dianbase").value(0, 0)), "00");
    EXPECT_EQ(valueToText(run(db, "select isSend||flag from itemInfo").value(0, 0)), "00");
}

class Views : public ::testing::Test {
protected:
    void SetUp() override {
        ensureSchema(db);
        fillSmallShop(db);
    }
    Database db{":memory:", Database::Mode::CreateIfMissing};
};

TEST_F(Views, ItemViewCarriesShopColumnsTotalsAndBothBeginDates) {
    auto columns = columnsOf(db, "select * from itemInfoV");
    for (const char* expected : {"id",
                                 "dian_id",
                                 "itemId",
                                 "itemTitle",
                                 "itemAutionUrl",
                                 "updateDate",
                                 "curPrice",
                                 "curSale",
                                 "monthSale",
                                 "favorite",
                                 "addr",
                                 "analyseGoal",
                                 "isSend",
                                 "flag",
                                 "dianming",
                                 "dianzhu",
                                 "dianUpdateDate",
                                 "createDate",
                                 "webaddr",
                                 "salerGoodRate",
                                 "salerCredit",
                                 "salelevel",
                                 "loc",
                                 "commodityNum",
                                 "totalNums",
                                 "totalAmount",
                                 "itemInfoV_.beginDate",
                                 "saleBeginDateV.beginDate"})
        EXPECT_NE(std::find(columns.begin(), columns.end(), expected), columns.end()) << expected;

    auto items =
        run(db, "select itemId,totalNums,totalAmount,\"itemInfoV_.beginDate\",\"saleBeginDateV.beginDate\","
                "dianzhu,dianUpdateDate from itemInfoV order by itemId");
    ASSERT_EQ(items.rowCount(), 3);
    EXPECT_EQ(valueToText(items.value(0, 1)), "3");   // 1 + 2 + 0 counted
    EXPECT_EQ(valueToText(items.value(0, 2)), "277"); // 99 + 2*89
    EXPECT_EQ(valueToText(items.value(0, 3)), "2011-12-30 09:00:00");
    EXPECT_EQ(valueToText(items.value(0, 4)), "2011-12-31 23:00:00"); // the uncounted sale does not begin it
    EXPECT_EQ(valueToText(items.value(0, 5)), "alice");
    EXPECT_EQ(valueToText(items.value(0, 6)), "2012-01-05 10:00:00");
    EXPECT_EQ(items.value(2, 1).index(), 0u); // no sales: no total
    EXPECT_EQ(items.value(2, 3).index(), 0u);
}

TEST_F(Views, BeginDateViewsGiveOneDatePerItem) {
    auto first = run(db, "select itemId,beginDate from itemInfoV_ order by itemId");
    ASSERT_EQ(first.rowCount(), 2);
    EXPECT_EQ(valueToText(first.value(0, 1)), "2011-12-30 09:00:00");
    auto counted = run(db, "select itemId,beginDate from saleBeginDateV order by itemId");
    ASSERT_EQ(counted.rowCount(), 2);
    EXPECT_EQ(valueToText(counted.value(0, 1)), "2011-12-31 23:00:00");
}

TEST_F(Views, ShopRatingViewListsOnlyShopsWithRatings) {
    auto rates = run(db, "select dian_id,rateNums from dianbase_rate_v");
    ASSERT_EQ(rates.rowCount(), 1);
    EXPECT_EQ(valueToText(rates.value(0, 0)), "1");
    EXPECT_EQ(valueToText(rates.value(0, 1)), "2");

    auto shops = run(db, std::string(TDM::standingQuery("dianBase_v").sql));
    ASSERT_EQ(shops.rowCount(), 1);
    EXPECT_EQ(valueToText(shops.value(0, shops.columnIndex("dianzhu"))), "alice");
    EXPECT_EQ(valueToText(shops.value(0, shops.columnIndex("salerWeekRate"))), "13");
    EXPECT_EQ(valueToText(shops.value(0, shops.columnIndex("salerMonthRate"))), "25");
    EXPECT_EQ(valueToText(shops.value(0, shops.columnIndex("salerYearRate"))), "37");
    EXPECT_EQ(valueToText(shops.value(0, shops.columnIndex("salerLastYearRate"))), "49");
    // The shop without ratings is still in the history.
    EXPECT_EQ(run(db, std::string(TDM::standingQuery("histtoryShop").sql)).rowCount(), 2);
}

TEST_F(Views, EveryStandingQueryRunsAsWritten) {
    for (const auto& query : TDM::standingQueries()) {
        auto st = db.prepare(query.sql);
        for (const auto& name : st.parameterNames())
            st.bind(name, name == ":item_Id" ? Value(std::string("i1")) : Value(std::int64_t(1)));
        EXPECT_GT(load(st).rowCount(), 0) << query.name;
    }
}

TEST_F(Views, ItemQueryOrdersByMonthSale) {
    auto st = db.prepare(TDM::standingQuery("itemInfo_v").sql);
    st.bind("dianid", 1);
    auto items = load(st);
    ASSERT_EQ(items.rowCount(), 2);
    EXPECT_EQ(valueToText(items.value(0, items.columnIndex("itemId"))), "i2");
    EXPECT_EQ(valueToText(items.value(1, items.columnIndex("itemId"))), "i1");
}

TEST_F(Views, SalesSummaryStatementRunsWithTheRegisteredFormat) {
    auto st =
        db.prepare("select sum(getNum) as getNums,format$(avg(getNum),'Standard') as avgNum,"
                   "format$(sum(getNum*amount),'Standard') as totalAmount,format$(avg(amount),'Standard') as "
                   "avgAmount  from saleInfo where itemId=:item_Id group by itemId");
    st.bind("item_Id", "i1");
    ASSERT_TRUE(st.step());
    EXPECT_EQ(st.real(0), 3.0);
    EXPECT_EQ(st.text(1), "1.00");
    EXPECT_EQ(st.text(2), "277.00");
    EXPECT_EQ(st.text(3), "92.33");
}

TEST_F(Views, TheTimeDistributionStatementsRunAsWritten) {
    auto st = db.prepare(
        "select count(*) as num,weekday(sj) as hour1 from itemInfoV as a left join saleInfo as b on "
        "a.itemId=b.itemId where dian_id=:id and sj>=:sj1 and sj<=:sj2 group by weekday(sj) order by "
        "weekday(sj) desc");
    st.bind("id", 1).bind("sj1", "2011-12-01 00:00:00").bind("sj2", "2012-01-31 23:59:59");
    std::vector<std::pair<std::int64_t, std::int64_t>> rows;
    while (st.step())
        rows.emplace_back(st.integer(1), st.integer(0));
    // Fri 30 Dec, Sat 31 Dec, Mon 2 Jan, Tue 3 Jan.
    using P = std::pair<std::int64_t, std::int64_t>;
    EXPECT_EQ(rows, (std::vector<P>{{7, 1}, {6, 1}, {3, 1}, {2, 1}}));
}

TEST_F(Views, BindingAnUnknownParameterIsAnError) {
    auto st = db.prepare("select * from saleInfo where itemId=:item_Id");
    EXPECT_THROW(st.bind("itemid_typo", "x"), DbError);
    EXPECT_NO_THROW(st.bind("ITEM_ID", "x"));
}
