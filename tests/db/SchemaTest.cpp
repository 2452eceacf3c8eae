#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

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

class Views : public ::testing::Test {
protected:
    void SetUp() override {
        ensureSchema(db);
        fillSmallShop(db);
    }
    Database db{":memory:", Database::Mode::CreateIfMissing};
};

TEST_F(Views, ItemViewCarriesShopColumnsTotalsAndBothBeginDates) {
    auto items =
        run(db, "select itemId,totalNums,totalAmount,\"itemInfoV_.beginDate\",\"saleBeginDateV.beginDate\","
                "dianzhu,dianUpdateDate from itemInfoV order by itemId");
    ASSERT_EQ(items.size(), 3u);
    // 1 + 2 + 0 counted for 99 + 2*89; the uncounted sale begins the list but not the counted sales.
    EXPECT_EQ(line(items[0]), "i1|3|277|2011-12-30 09:00:00|2011-12-31 23:00:00|alice|2012-01-05 10:00:00");
    EXPECT_EQ(items[2][1].index(), 0u); // no sales: no total
    EXPECT_EQ(items[2][3].index(), 0u);
}

TEST_F(Views, EveryStandingQueryRunsAsWritten) {
    for (const auto& query : TDM::standingQueries()) {
        auto st = db.prepare(query.sql);
        for (const auto& name : st.parameterNames())
            st.bind(name, name == ":item_Id" ? Value(std::string("i1")) : Value(std::int64_t(1)));
        EXPECT_GT(load(st).size(), 0u) << query.name;
    }
}

TEST_F(Views, BindingAnUnknownParameterIsAnError) {
    auto st = db.prepare("select * from saleInfo where itemId=:item_Id");
    EXPECT_THROW(st.bind("itemid_typo", "x"), DbError);
    EXPECT_NO_THROW(st.bind("ITEM_ID", "x"));
}
