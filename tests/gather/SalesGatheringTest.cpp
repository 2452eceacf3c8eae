#include "GatherTestSupport.h"
#include "db/TDM.h"
#include "gather/GatherTexts.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor;
using namespace vantor::test;

namespace {

class GatherFromTheDemoMarket : public ::testing::Test {
protected:
    void SetUp() override { dm.open(); }

    JobEnd gather(const std::vector<int>& shopIndexes, int items) {
        std::vector<TDianBaseInfo> shops;
        for (int i : shopIndexes)
            shops.push_back(searchRowOf(shop(i)));
        SalesGathering run(dm.file(), shops, items, demoAgent(market), {&g1, &g2, &g3}, recorder);
        gathering = &run;
        run.start();
        run.wait();
        gathering = nullptr;
        EXPECT_TRUE(recorder.ended);
        return recorder.end;
    }

    std::int64_t number(const std::string& sql) {
        auto st = dm.cn1().prepare(sql);
        return st.step() ? st.integer(0) : -1;
    }
    std::string text(const std::string& sql) {
        auto st = dm.cn1().prepare(sql);
        return st.step() ? st.text(0) : "<none>";
    }
    const demo::Shop& shop(int i) { return market.model().shops()[size_t(i)]; }

    // The sales a gathering keeps of an item: all but those on the earliest day the list shows,
    // which the save deletes and does not insert again.
    std::int64_t keptSales(const demo::Item& item) {
        auto sales = market.model().sales(item);
        std::int64_t kept = 0;
        for (const auto& sale : sales)
            kept += sale.time.substr(0, 10) != sales.back().time.substr(0, 10);
        return kept;
    }
    void expectItemsWithSales(const demo::Shop& s, int items) {
        for (int k = 0; k < items; ++k) {
            const auto& item = market.model().itemOf(s, k);
            EXPECT_EQ(number("select count(*) from itemInfo where itemId='" + item.id + "'"), 1) << item.id;
            EXPECT_EQ(number("select count(*) from saleInfo where itemId='" + item.id + "'"), keptSales(item))
                << item.id;
        }
    }

    demo::DemoMarket market;
    TempDir dir;
    db::TDM dm{dir / "lmd_pin.db"};
    NoSlotProgress g1, g2, g3;
    Recorder recorder;
    SalesGathering* gathering = nullptr;
};

} // namespace

TEST_F(GatherFromTheDemoMarket, TwoShopsWithTheirCreditItemsAndSales) {
    ASSERT_EQ(gather({3, 4}, 3), JobEnd::Finished) << recorder.detail;
    EXPECT_EQ(recorder.shopsDone, 2);
    // The tally counts what the database holds; the gathering window's test checks its summary line.
    EXPECT_EQ(std::tie(recorder.saved.shops, recorder.saved.items, recorder.saved.sales),
              std::tuple(2, 6, number("select count(*) from saleInfo")));
    EXPECT_EQ(number("select count(*) from dianbase"), 2);
    for (int s : {3, 4}) {
        const auto& e = shop(s);
        std::string where = " from dianbase where dianzhu='" + e.nick + "'";
        EXPECT_EQ(text("select dianming||'|'||webaddr||'|'||userId||'|'||salerCredit||'|'||buyerCredit||'|'||"
                       "favorite||'|'||salerGood1||'|'||salerBad4||'|'||buyerNotBad2||'|'||itemGoal||'|'||"
                       "consignGoal" +
                       where),
                  e.name + "|" + e.webAddress() + "|" + e.userId + "|" + std::to_string(e.sellerCredit) +
                      "|" + std::to_string(e.buyerCredit) + "|" + std::to_string(e.favorite) + "|" +
                      std::to_string(e.sellerRates[0].period[0]) + "|" +
                      std::to_string(e.sellerRates[2].period[3]) + "|" +
                      std::to_string(e.buyerRates[1].period[1]) + "|" + e.scores[0] + "|" + e.scores[2]);
        std::string shopId = text("select id" + where);
        EXPECT_EQ(number("select count(*) from itemInfo where dian_id=" + shopId), 3);
        expectItemsWithSales(e, 3);
        const auto& item = market.model().itemOf(e, 0);
        EXPECT_EQ(text("select monthSale||'|'||favorite||'|'||itemAutionUrl from itemInfo where itemId='" +
                       item.id + "'"),
                  std::to_string(item.monthSale) + "|" + std::to_string(item.favorite) + "|" +
                      item.address());
    }
    // Every sale keeps its trade id, price and buyer.
    auto sales = market.model().sales(market.model().itemOf(shop(3), 0));
    ASSERT_FALSE(sales.empty());
    EXPECT_EQ(text("select buyerName||'|'||amount||'|'||getNum from saleInfo where trade_id='" +
                   sales[0].tradeId + "'"),
              sales[0].buyerName + "|" + text("select " + std::to_string(sales[0].price)) + "|" +
                  text("select cast(" + std::to_string(sales[0].quantity) + " as real)"));
}

TEST_F(GatherFromTheDemoMarket, AShopWithoutARatingLinkIsSavedWithoutItsCredit) {
    ASSERT_EQ(gather({demo::MarketModel::kNoRatingLinkShop}, 1), JobEnd::Finished) << recorder.detail;
    std::string where =
        " from dianbase where dianzhu='" + shop(demo::MarketModel::kNoRatingLinkShop).nick + "'";
    EXPECT_EQ(number("select count(*)" + where), 1);
    EXPECT_EQ(text("select coalesce(salerGood1,'none')" + where), "none");
    EXPECT_EQ(number("select count(*) from itemInfo"), 1);
    for (const auto& stage : recorder.stages)
        EXPECT_NE(stage, "正在处理信用评价");
}

TEST_F(GatherFromTheDemoMarket, OddItemPagesAreSavedWithTheirDefaults) {
    ASSERT_EQ(gather({demo::MarketModel::kOddItemsShop}, 3), JobEnd::Finished) << recorder.detail;
    const auto& odd = shop(demo::MarketModel::kOddItemsShop);
    const auto& noBuyerList = market.model().itemOf(odd, 0);
    EXPECT_EQ(number("select count(*) from itemInfo where itemId='" + noBuyerList.id + "'"), 1);
    EXPECT_EQ(number("select count(*) from saleInfo where itemId='" + noBuyerList.id + "'"), 0);
    EXPECT_EQ(number("select count(*) from itemInfo where itemId='000000000000000'"), 1);
    EXPECT_EQ(
        number("select monthSale from itemInfo where itemId='" + market.model().itemOf(odd, 2).id + "'"), 0);
}

TEST_F(GatherFromTheDemoMarket, AStopInTheSecondShopKeepsTheFirstAndRollsBackTheSecond) {
    recorder.onStage = [this](const std::string& stage, int shopIndex) {
        if (shopIndex == 1 && stage == "正在处理销售记录" && gathering) gathering->stop();
    };
    EXPECT_EQ(gather({3, 4}, 2), JobEnd::Stopped);
    EXPECT_EQ(recorder.shopsDone, 1);
    EXPECT_EQ(text("select group_concat(dianzhu) from dianbase"), shop(3).nick);
    EXPECT_EQ(number("select count(*) from itemInfo"), 2);
    EXPECT_EQ(recorder.saved.shops, 1); // the rolled-back shop's items are not counted
    EXPECT_EQ(recorder.saved.items, 2);
    EXPECT_TRUE(gatherSummary(JobEnd::Stopped, recorder.saved, "")
                    .starts_with("用户中止下载！已保存店铺1家，商品2个"));
    const auto& secondsItem = market.model().itemOf(shop(4), 0);
    EXPECT_EQ(number("select count(*) from saleInfo where itemId='" + secondsItem.id + "'"), 0);
}

// Whether every request fails or only the item stage's, the shop being gathered is rolled back.
TEST_F(GatherFromTheDemoMarket, FailuresLeaveNothingHalfSaved) {
    for (auto [rule, shops] : {std::pair{"kind=drop", std::vector{3, 4}},
                               {"kind=error&status=503&match=show_buyer_list", std::vector{3}}}) {
        market.faults().clear();
        market.faults().add(demo::parseFaultRule(rule));
        recorder.statusLines.clear();
        EXPECT_EQ(gather(shops, 2), JobEnd::TimedOut) << rule;
        EXPECT_EQ(number("select count(*) from dianbase"), 0) << rule;
        EXPECT_EQ(number("select count(*) from itemInfo"), 0) << rule;
        ASSERT_EQ(recorder.statusLines.size(), 1u) << rule;
        EXPECT_NE(recorder.statusLines[0].find(kConnectionTimedOut), std::string::npos) << rule;
    }
}
