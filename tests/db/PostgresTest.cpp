#include "db/Database.h"
#include "db/StoreCopy.h"
#include "db/TDM.h"
#include "support/PgServer.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <memory>

using namespace vantor::db;
using vantor::test::PgServer;
using vantor::test::TempDir;

namespace {

// One server for the suite; each test has a database of its own on it and a SQLite file beside it.
class PostgresStore : public ::testing::Test {
protected:
    static void SetUpTestSuite() { server = std::make_unique<PgServer>(); }
    static void TearDownTestSuite() { server.reset(); }

    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        std::string name = info->name();
        for (char& c : name)
            c = char(std::tolower((unsigned char)c));
        pg = std::make_unique<TDM>(Store::postgres(server->url(name)));
        pg->open();
        lite.open();
    }

    // The rows a statement gives, each cell as text, cells joined with '|' and rows with '\n'.
    static std::string rows(Statement st) {
        std::string out;
        while (st.step()) {
            for (int c = 0; c < st.columnCount(); ++c) {
                if (c) out += '|';
                out += st.isNull(c) ? std::string("NULL") : st.text(c);
            }
            out += '\n';
        }
        return out;
    }

    static inline std::unique_ptr<PgServer> server;
    TempDir dir;
    TDM lite{dir / "lmd_pin.db"};
    std::unique_ptr<TDM> pg;
};

} // namespace

TEST_F(PostgresStore, StatementsBindByNameAndReadBackTheTextsSQLiteGives) {
    for (Database* db : {&lite.cn1(), &pg->cn1()}) {
        db->beginTransaction();
        auto insert = db->prepare("insert into itemInfo (itemId,itemTitle,curPrice,monthSale,dian_id) "
                                  "values (:id,:title,:price,:sold,:shop)");
        for (auto [id, price, sold] : {std::tuple{"11", 74.5, 3}, {"12", 2.0, 4}, {"13", 0.1, 5}}) {
            insert.bind("id", id).bind("title", std::string("连衣裙 ") + id).bind("price", price);
            insert.bind("sold", sold).bind("SHOP", 7); // names are matched without regard to case
            insert.execute();
        }
        db->commit();
        db->beginTransaction();
        db->exec("delete from itemInfo");
        db->rollback();
        for (int twice = 0; twice < 2; ++twice)
            db->prepare("insert or ignore into pjNoEffect(dian_id,trade_id) values(:shop,:trade)")
                .bind("shop", 7)
                .bind("trade", "t1")
                .execute();
    }
    const std::string sql =
        "select itemId,itemTitle,curPrice,monthSale,monthSale*curPrice,avg(monthSale) over (),curPrice>1,"
        "(select count(*) from pjNoEffect) from itemInfo where dian_id=:shop and monthSale>=:least order by "
        "itemId";
    auto onLite = lite.cn1().prepare(sql);
    auto onPg = pg->cn1().prepare(sql);
    onLite.bind("shop", 7).bind("least", 3);
    onPg.bind("shop", 7).bind("least", 3);
    const std::string expected = rows(std::move(onLite));
    // A whole price reads back whole: the column has numeric affinity.
    EXPECT_EQ(expected, "11|连衣裙 11|74.5|3|223.5|4.0|1|1\n12|连衣裙 12|2|4|8|4.0|1|1\n"
                        "13|连衣裙 13|0.1|5|0.5|4.0|0|1\n");
    EXPECT_EQ(rows(std::move(onPg)), expected);
}

// Prices that take all seventeen digits arrive on the server as the very same doubles, whether bound to
// a statement or sent in a save's COPY.
TEST_F(PostgresStore, RealsArriveExactlyBoundOrCopied) {
    Database& db = pg->cn1();
    const std::vector<double> reals = {0.1 + 0.2, 1234567.8912345678, 1e-7 / 3, 2.5e15 + 0.5, -0.0};
    auto bound = db.prepare("insert into saleInfo(itemId,trade_id,amount) values('bound',:trade,:amount)");
    std::vector<std::vector<Value>> copied;
    for (size_t i = 0; i < reals.size(); ++i) {
        bound.bind("trade", std::to_string(i)).bind("amount", reals[i]).execute();
        copied.push_back({std::string("copied"), std::to_string(i), reals[i]});
    }
    size_t next = 0;
    db.bulkInsert(
        "saleInfo", {"itemId", "trade_id", "amount"},
        [&](std::vector<Value>& row) { return next < copied.size() && (row = copied[next++], true); },
        Conflicts::Fail);
    for (const char* item : {"bound", "copied"}) {
        auto back = db.prepare("select amount from saleInfo where itemId=:item order by id");
        back.bind("item", std::string(item));
        for (double real : reals) {
            ASSERT_TRUE(back.step()) << item;
            EXPECT_EQ(back.real(0), real) << item;
        }
    }
}

TEST_F(PostgresStore, AWrongAddressOrAStoppedServerGivesAClearMessage) {
    try {
        Database::connect("postgresql://postgres@127.0.0.1:1/vantor");
        FAIL() << "connected to a closed port";
    } catch (const DbError& e) {
        EXPECT_NE(std::string(e.what()).find("无法连接数据库服务器"), std::string::npos) << e.what();
    }
    auto spare = std::make_unique<PgServer>();
    TDM store(Store::postgres(spare->url()));
    store.open();
    spare->stop();
    EXPECT_THROW(rows(store.cn1().prepare("select count(*) from dianbase")), DbError);
}

TEST_F(PostgresStore, TheDateFunctionsAreInlinedIntoTheStatement) {
    // A function the planner cannot inline is called once per row; these read the stored form where
    // its figures stand, inside the statement's own plan.
    auto plan =
        pg->cn1().prepare("explain (verbose) select year(sj), hour(sj), weekday(sj), datepart('ww',sj) "
                          "from saleInfo");
    std::string text;
    while (plan.step())
        text += plan.text(0) + "\n";
    EXPECT_NE(text.find("substr"), std::string::npos) << text;
    for (const char* call : {"year(", "hour(", "weekday(", "datepart(", "vantor_stored("})
        EXPECT_EQ(text.find(call), std::string::npos) << call << "\n" << text;
}

TEST_F(PostgresStore, TheItemViewSumsAnItemsSalesOnlyWhereATotalIsAsked) {
    auto planOf = [&](const std::string& sql) {
        auto plan = pg->cn1().prepare("explain " + sql);
        for (const auto& name : plan.parameterNames())
            plan.bind(name, 1);
        std::string text;
        while (plan.step())
            text += plan.text(0) + "\n";
        return text;
    };
    // The shop list names no total: the sales are not read at all.
    EXPECT_EQ(planOf(std::string(TDM::standingQuery("saleShopList").sql)).find("saleinfo"),
              std::string::npos);
    // The items grid reads both sums of an item in one pass over its sales.
    const std::string items = planOf(std::string(TDM::standingQuery("itemInfo_v").sql));
    EXPECT_NE(items.find("Aggregate"), std::string::npos) << items;
    EXPECT_NE(items.find("saleinfo"), std::string::npos) << items;
    EXPECT_EQ(items.find("SubPlan 3"), std::string::npos) << items; // the two begin dates, no more
}

TEST_F(PostgresStore, ABulkInsertPassesOverHeldKeysAndKeepsTheRestOfItsTransaction) {
    Database& db = pg->cn1();
    db.exec("insert into saleInfo(itemId,trade_id,sj) values('i1','held','2011-01-01 00:00:00')");
    // Rows of one item: `held` and `fresh` twice among them.
    auto sales = [](std::vector<std::string> trades) {
        return [trades, at = size_t(0)](std::vector<Value>& row) mutable {
            if (at == trades.size()) return false;
            row = {std::string("i1"), trades[at++], std::string("2011-01-02 00:00:00")};
            return true;
        };
    };
    const std::vector<std::string> columns = {"itemId", "trade_id", "sj"};

    db.beginTransaction();
    db.exec("insert into dianbase(dianzhu,webaddr) values('kept','http://kept')");
    db.bulkInsert("saleInfo", columns, sales({"a", "b"}), Conflicts::Skip);
    db.bulkInsert("saleInfo", columns, sales({"c", "held", "d"}), Conflicts::Skip);
    db.commit();
    db.bulkInsert("saleInfo", columns, sales({"e", "a"}), Conflicts::Skip); // outside a transaction
    EXPECT_EQ(rows(db.prepare("select trade_id from saleInfo order by id")), "held\na\nb\nc\nd\ne\n");
    EXPECT_EQ(rows(db.prepare("select dianzhu from dianbase")), "kept\n");

    // Any other failure is the caller's, and a held key is not passed over where it must fail.
    db.beginTransaction();
    EXPECT_THROW(db.bulkInsert("saleInfo", columns, sales({"f", "held"}), Conflicts::Fail), DbError);
    db.rollback();
    db.beginTransaction();
    EXPECT_THROW(db.bulkInsert(
                     "saleInfo", {"itemId", "trade_id", "getNum"},
                     [done = false](std::vector<Value>& row) mutable {
                         row = {std::string("i1"), std::string("g"), std::string("many")};
                         return !std::exchange(done, true);
                     },
                     Conflicts::Skip),
                 DbError);
    db.rollback();
    EXPECT_EQ(rows(db.prepare("select count(*) from saleInfo")), "6\n");
}

// More sales than are grouped at a time, of three items in mixed order: every row arrives with its id,
// each item's sales lie together on the server, and the way back gives the file again.
TEST_F(PostgresStore, ACopyGroupsAnItemsSalesOnTheServerAndKeepsEveryRowBothWays) {
    lite.cn1().exec("with recursive n(k) as (select 1 union all select k + 1 from n where k < 120000) "
                    "insert into saleInfo(id,itemId,trade_id,sj,amount,getNum) "
                    "select k, 'item' || (k * 7 % 3), 't' || k, "
                    "'2011-01-01 00:00:' || printf('%02d', k % 60), k % 97 + 0.5, k % 3 + 1 from n");
    const auto everything = [](TDM& store) {
        return rows(
            store.cn1().prepare("select id,itemId,trade_id,sj,amount,getNum from saleInfo order by id"));
    };
    const std::string original = everything(lite);
    copyStore(lite.store(), pg->store(), [](const std::string&, std::int64_t, std::int64_t) {});
    EXPECT_EQ(everything(*pg), original);
    // A third of the rows: laid down in the file's order they would be on nearly every page.
    const auto pages = [&](const std::string& where) {
        return std::stoll(
            rows(pg->cn1().prepare("select count(distinct (ctid::text::point)[0]) from saleInfo" + where)));
    };
    EXPECT_LT(pages(" where itemId = 'item1'"), pages("") / 2);

    TDM back{dir / "back.db"};
    copyStore(pg->store(), back.store(), [](const std::string&, std::int64_t, std::int64_t) {});
    EXPECT_EQ(everything(back), original);
}
