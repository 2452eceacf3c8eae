#include "gather/GatherPersistence.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor;
using db::Database;
using vantor::test::TempDir;

namespace {

struct Gauge : ProgressGauge {
    int maximum = -1;
    std::vector<int> positions;
    void setMaximum(int m) override { maximum = m; }
    void setPosition(int p) override { positions.push_back(p); }
};

TDianBaseInfo shop(const std::string& dianzhu) {
    TDianBaseInfo s;
    s.dianzhu = dianzhu;
    s.dianming = "小店";
    s.webaddr = "http://shop1.taobao.com";
    s.userId = "u1";
    s.addr = "浙江 杭州";
    s.loc = "女装";
    s.salerCredit = 120;
    s.createDate = "2008-03-01";
    return s;
}

TAutionInfo sale(const std::string& sj, const std::string& trade, double num = 1) {
    TAutionInfo a;
    a.sj = sj;
    a.tradeId = trade;
    a.buyerName = "买家";
    a.itemTitle = "连衣裙";
    a.amount = 10;
    a.buyNum = num;
    a.status = "成交";
    return a;
}

// The message of the save error f raises.
template <class F> std::string saveError(F f) {
    try {
        f();
    } catch (const TSaveException& e) {
        return e.what();
    }
    return "no exception";
}

TRateInfo rating(const std::string& trade, const std::string& pjsj) {
    TRateInfo r;
    r.tradeId = trade;
    r.pjsj = pjsj;
    r.pj = "好评";
    r.pjName = "buyer";
    return r;
}

// A database holding one saved shop, s.
class Persistence : public ::testing::Test {
protected:
    void SetUp() override { saveShopBase(s, db); }
    std::string text(const std::string& sql) {
        auto st = db.prepare(sql);
        return st.step() ? st.text(0) : "<none>";
    }
    TempDir dir;
    db::TDM dm{dir / "lmd_pin.db"};
    Database& db = dm.cn1();
    TDianBaseInfo s = shop("掌柜甲");
};

} // namespace

TEST_F(Persistence, AShopIsInsertedOnceAndAnUpdateKeepsAddressUserIdAndCategory) {
    EXPECT_EQ(s.id, text("select id from dianbase where dianzhu='掌柜甲'"));
    EXPECT_EQ(
        text("select dianming||'|'||addr||'|'||loc||'|'||webaddr||'|'||userId||'|'||commodityKind||'|'||"
             "salerCredit||'|'||createDate||'|'||isSend||flag from dianbase"),
        "小店|浙江 杭州|女装|http://shop1.taobao.com|u1||120|2008-03-01 00:00:00|00");

    db.exec("update dianbase set commodityKind='kind', isSend=1, flag=1");
    auto again = shop("掌柜甲");
    again.webaddr = "http://elsewhere";
    again.userId = "u2";
    again.dianming = "新店名";
    again.salerCredit = 999;
    saveShopBase(again, db);
    EXPECT_EQ(again.id, s.id);
    EXPECT_EQ(
        text("select "
             "count(*)||'|'||webaddr||'|'||userId||'|'||commodityKind||'|'||dianming||'|'||salerCredit||"
             "'|'||isSend||flag from dianbase"),
        "1|http://shop1.taobao.com|u1|kind|新店名|999|00");
}

TEST_F(Persistence, RatesWriteCountersScoresAndLevelsWithTheBuyerAsymmetry) {
    TRateBaseInfo r;
    r.salerGood1 = 1, r.salerNotBad2 = 2, r.salerBad3 = 3, r.buyerGood4 = 4;
    r.itemGoal = "4.8";
    r.serviceGoal = "4.9";
    r.consignGoal = "5.0";
    r.salerGoodRate = 99.5;
    r.realGoal = 80;
    r.virtualGoal = 20;
    r.salerCredit = 500000;
    r.buyerCredit = 3;
    saveShopRates(r, s, db);
    EXPECT_EQ(
        text("select salerGood1||salerNotBad2||salerBad3||buyerGood4||'|'||itemGoal||'|'||consignGoal||'|'||"
             "salerGoodRate||'|'||saleLevel||'|'||buylevel||'|'||salerCredit from dianbase"),
        "1234|4.8|5.0|99.5|15|0|500000");

    r.salerCredit = 100;
    r.buyerCredit = 60000;
    saveShopRates(r, s, db);
    EXPECT_EQ(text("select saleLevel||'|'||buylevel||'|'||buyerCredit from dianbase"), "13|0|60000");
    r.salerCredit = 500001;
    r.buyerCredit = 4;
    saveShopRates(r, s, db);
    EXPECT_EQ(text("select saleLevel||'|'||buylevel from dianbase"), "0|1");
}

TEST_F(Persistence, ItemsRememberTheirPreviousSaveTime) {
    TItemBaseInfo item;
    item.itemId = "1001";
    item.itemTitle = "连衣裙";
    item.curPrice = 99.5;
    item.monthSale = 7;
    saveItem(item, s, db);
    EXPECT_EQ(item.updateDate, "1900-01-01 00:00:01");
    db.exec("update itemInfo set updateDate='2012-01-02 03:04:05', isSend=1, flag=1, itemAutionUrl='keep'");
    item.monthSale = 9;
    saveItem(item, s, db);
    EXPECT_EQ(item.updateDate, "2012-01-02 03:04:05");
    EXPECT_EQ(
        text("select monthSale||'|'||curPrice||'|'||isSend||flag||'|'||itemAutionUrl||'|'||dian_id from "
             "itemInfo"),
        "9|99.5|00|keep|" + s.id);
    EXPECT_NE(text("select updateDate from itemInfo"), "2012-01-02 03:04:05");
}

TEST_F(Persistence, IncompleteRecordsAreRefused) {
    TDianBaseInfo nobody;
    EXPECT_EQ(saveError([&] { saveShopBase(nobody, db); }), "参数错误！");
    TItemBaseInfo noId;
    saveItem(noId, s, db);
    TItemBaseInfo item;
    item.itemId = "5";
    saveItem(item, TDianBaseInfo{}, db);
    EXPECT_EQ(text("select count(*) from itemInfo"), "0");
}

TEST_F(Persistence, SalesAreReplacedFromTheFromDateAndItsOwnDayIsNotInsertedAgain) {
    db.exec("insert into saleInfo(itemId,trade_id,sj,getNum) values('i1','old','2012-01-09 12:00:00',1),"
            "('i1','same-day','2012-01-10 08:00:00',1),('i1','later','2012-01-11 08:00:00',1),"
            "('i2','other item','2012-01-12 08:00:00',1)");
    TItemBaseInfo item;
    item.itemId = "i1";
    item.saleFromDate = "2012-01-10 00:00:00";
    RecordList<TAutionInfo> sales; // newest first, as the pages list them
    sales.add(sale("2012-01-12 00:00:01", "t4", 2));
    sales.add(sale("2012-01-11 23:59:59", "t3"));
    sales.add(sale("2012-01-11 00:00:00", "t2"));
    sales.add(sale("2012-01-10 23:59:59", "t1")); // the from-date's own day: the walk stops here
    sales.add(sale("2012-01-10 00:00:00", "t0"));
    Gauge gauge;
    saveSales(sales, item, &gauge, db);
    auto st = db.prepare("select trade_id from saleInfo where itemId='i1' order by sj");
    std::vector<std::string> trades;
    while (st.step())
        trades.push_back(st.text(0));
    EXPECT_EQ(trades, (std::vector<std::string>{"old", "t2", "t3", "t4"}));
    EXPECT_EQ(
        text("select buyNum||'|'||getNum||'|'||buyerName||'|'||itemTitle||'|'||status from saleInfo where "
             "trade_id='t4'"),
        "2.0|2.0|买家|连衣裙|成交");
    EXPECT_EQ(text("select count(*) from saleInfo where itemId='i2'"), "1");
    EXPECT_EQ(gauge.maximum, 5);
    EXPECT_EQ(gauge.positions, (std::vector<int>{1, 2, 3, 4, 100}));
}

TEST_F(Persistence, RatingsOfOneTradeSavedTwiceLeaveTheOlderRow) {
    RecordList<TRateInfo> first;
    first.add(rating("T1", "2012-01-01 10:00:00"));
    first.add(rating("T2", "2012-01-02 10:00:00"));
    saveRatings(first, s, nullptr, db);
    auto keptId = text("select id from pjinfo where trade_id='T1'");
    RecordList<TRateInfo> second;
    auto newer = rating("T1", "2012-01-01 10:00:00");
    newer.pjInfo = "第二次";
    second.add(newer);
    second.add(rating("T3", "2012-01-03 10:00:00"));
    Gauge gauge;
    saveRatings(second, s, &gauge, db);
    EXPECT_EQ(text("select count(*) from pjinfo"), "3");
    EXPECT_EQ(text("select id||'|'||coalesce(pjInfo,'') from pjinfo where trade_id='T1'"), keptId + "|");
    EXPECT_EQ(gauge.maximum, 2); // 2 + round(0.2)
    EXPECT_EQ(gauge.positions, (std::vector<int>{1, 2}));

    // Another shop's rating with the same trade id is not this shop's duplicate.
    auto other = shop("掌柜乙");
    saveShopBase(other, db);
    RecordList<TRateInfo> theirs;
    theirs.add(rating("T1", "2012-01-05 10:00:00"));
    saveRatings(theirs, other, nullptr, db);
    EXPECT_EQ(text("select count(*) from pjinfo where trade_id='T1'"), "2");
}

TEST_F(Persistence, TextsAreCutToTheirCharacterCounts) {
    std::string seventy;
    for (int i = 0; i < 70; ++i)
        seventy += i < 60 ? "裙" : "尾";
    TItemBaseInfo item;
    item.itemId = "1";
    item.itemTitle = seventy;
    saveItem(item, s, db);
    EXPECT_EQ(text("select itemTitle from itemInfo"), seventy.substr(0, 60 * 3)); // three UTF-8 bytes each

    RecordList<TRateInfo> list;
    auto r = rating("T1", "2012-01-01 10:00:00");
    r.pjName = "张三abc";
    list.add(r);
    auto longName = rating(std::string(30, '9'), "2012-01-01 11:00:00");
    for (int i = 0; i < 25; ++i)
        longName.pjName += "李";
    list.add(longName);
    saveRatings(list, s, nullptr, db);
    EXPECT_EQ(text("select pjName from pjinfo where trade_id='T1'"), "张三abc");
    EXPECT_EQ(text("select length(pjName)||'|'||trade_id from pjinfo where id=(select max(id) from pjinfo)"),
              "20|" + std::string(20, '9'));
}

TEST_F(Persistence, RatingBoundsAreTheNewestAndOldestRatingHeldAndNeedAKnownShop) {
    RecordList<TRateInfo> list;
    list.add(rating("A", "2012-02-01 10:00:00"));
    list.add(rating("B", "2011-12-31 23:59:59"));
    list.add(rating("C", "2012-01-15 00:00:00"));
    saveRatings(list, s, nullptr, db);
    EXPECT_EQ(readRatingBound(s, RatingBound::Newest, db), "");
    updateRatingBounds(s, db);
    EXPECT_EQ(readRatingBound(s, RatingBound::Newest, db), "2012-02-01 10:00:00");
    EXPECT_EQ(readRatingBound(s, RatingBound::Oldest, db), "2011-12-31 23:59:59");

    auto ghost = shop("掌柜丙");
    ghost.id = "4711";
    ghost.dianming = "幽灵店";
    EXPECT_EQ(saveError([&] { readRatingBound(ghost, RatingBound::Newest, db); }),
              "找不到幽灵店店铺，[更新日期]不能更新！");
    ghost.id.clear();
    EXPECT_THROW(readRatingBound(ghost, RatingBound::Newest, db), TSaveException);
}

TEST(PersistenceFile, AFailingSaveInsideTheCallersTransactionLeavesTheFileAsItWas) {
    TempDir dir;
    {
        db::TDM dm(dir / "lmd_pin.db");
        auto s = shop("掌柜甲");
        saveShopBase(s, dm.cn1());
    }
    auto before = vantor::test::readFile(dir / "lmd_pin.db");
    {
        db::TDM dm(dir / "lmd_pin.db");
        auto& db = dm.cn1();
        db.beginTransaction();
        auto s = shop("掌柜乙");
        saveShopBase(s, db);
        TItemBaseInfo item;
        item.itemId = "1";
        saveItem(item, s, db);
        db.exec("drop table saleInfo"); // the next statement fails
        RecordList<TAutionInfo> sales;
        sales.add(sale("2012-01-12 00:00:01", "t1"));
        item.saleFromDate = "2012-01-01 00:00:00";
        EXPECT_THROW(saveSales(sales, item, nullptr, db), TSaveException);
        db.rollback();
    }
    EXPECT_EQ(vantor::test::readFile(dir / "lmd_pin.db"), before);
}

TEST(SplitText, EveryPieceIncludingTheLast) {
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(splitText("a,b,,c", ","), (Pieces{"a", "b", "", "c"}));
    EXPECT_EQ(splitText("a,", ","), (Pieces{"a", ""}));
    EXPECT_EQ(splitText("", ","), (Pieces{""}));
    EXPECT_EQ(splitText("x--y--z", "--"), (Pieces{"x", "y", "z"}));
}
