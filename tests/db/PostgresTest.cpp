#include "db/Database.h"
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

TEST_F(PostgresStore, TheProgramsSqlFunctionsGiveSQLitesResults) {
    const char* dates[] = {"2010-01-01 00:00:00", "2009-12-31 23:59:59", "2011-02-28 13:05:09", "2012-02-29",
                           "2010/3/7 8:09",       "2010-13-01",          "next tuesday",        ""};
    for (const char* date : dates) {
        const std::string sql =
            "select year(:d),month(:d),day(:d),hour(:d),minute(:d),second(:d),weekday(:d),"
            "datepart('yyyy',:d),datepart('q',:d),datepart('m',:d),datepart('y',:d),"
            "datepart('d',:d),datepart('w',:d),datepart('ww',:d),datepart('h',:d),"
            "datepart('n',:d),datepart('s',:d)";
        auto onLite = lite.cn1().prepare(sql);
        auto onPg = pg->cn1().prepare(sql);
        onLite.bind("d", date);
        onPg.bind("d", date);
        EXPECT_EQ(rows(std::move(onPg)), rows(std::move(onLite))) << date;
    }
    for (double value : {0.0, 1234567.891, -42.5, 0.004, -0.001, 99.999, 1e9}) {
        const std::string sql = "select format$(:v,'Standard'),format$(:v,'Fixed'),format$(:v,'Percent')";
        auto onLite = lite.cn1().prepare(sql);
        auto onPg = pg->cn1().prepare(sql);
        onLite.bind("v", value);
        onPg.bind("v", value);
        EXPECT_EQ(rows(std::move(onPg)), rows(std::move(onLite))) << value;
    }
    EXPECT_THROW(rows(pg->cn1().prepare("select datepart('fortnight','2010-01-01')")), DbError);
}

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

TEST_F(PostgresStore, TheSavedViewsAndEveryStandingQueryGiveTheRowsSQLiteGives) {
    for (Database* db : {&lite.cn1(), &pg->cn1()}) {
        db->exec("insert into dianbase "
                 "(dianzhu,dianming,updateDate,salerCredit,salerGood1,salerBad1,salerNotBad1) "
                 "values ('掌柜','小店','2011-05-01 10:00:00',120,5,1,2)");
        db->exec("insert into itemInfo (dian_id,itemId,itemTitle,curPrice,monthSale,favorite,updateDate) "
                 "values (1,'i1','连衣裙',74.5,3,9,'2011-05-01 10:00:00')");
        db->exec("insert into saleInfo (itemId,trade_id,amount,getNum,buyNum,sj) values "
                 "('i1','t1',74.5,2,2,'2011-04-30 09:00:00'),('i1','t2',70,1,1,'2011-04-02 09:00:00')");
        db->exec("insert into pjinfo (dian_id,trade_id,pjsj) values (1,'t1','2011-04-30 12:00:00')");
    }
    for (const auto& query : TDM::standingQueries()) {
        auto onLite = lite.cn1().prepare(query.sql);
        auto onPg = pg->cn1().prepare(query.sql);
        for (Statement* st : {&onLite, &onPg})
            for (const auto& name : st->parameterNames())
                st->bind(name, name.size() == 8 && name.substr(0, 5) == ":item" ? Value(std::string("i1"))
                                                                                : Value(std::int64_t(1)));
        const std::string expected = rows(std::move(onLite));
        EXPECT_FALSE(expected.empty()) << query.name;
        EXPECT_EQ(rows(std::move(onPg)), expected) << query.name;
    }
}
