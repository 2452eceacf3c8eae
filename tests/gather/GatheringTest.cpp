#include "GatherTestSupport.h"
#include "db/TDM.h"
#include "gather/GatherTexts.h"
#include "gather/RatingGathering.h"
#include "market/CategoryTable.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <set>

using namespace vantor;
using namespace vantor::test;
using namespace std::string_literals; // assigning literals trips a false GCC 12 -Wrestrict warning

namespace {

// A data file and the demo market; each search or gathering runs to its end with a fresh recorder.
class GatherFromTheDemoMarket : public ::testing::Test {
protected:
    void SetUp() override { dm.open(); }

    template <class Gathering, class... Range>
    JobEnd run(const std::vector<int>& shopIndexes, std::vector<SlotProgress*> gauges, Range... range) {
        std::vector<TDianBaseInfo> shops;
        for (int i : shopIndexes)
            shops.push_back(searchRowOf(shop(i)));
        recorder = std::make_unique<Recorder>();
        recorder->onStage = onStage;
        Gathering run(dm.file(), shops, range..., demoAgent(market), std::move(gauges), *recorder);
        gathering = &run;
        run.start();
        run.wait();
        gathering = nullptr;
        EXPECT_TRUE(recorder->ended);
        return recorder->end;
    }
    std::vector<TDianBaseInfo> search(const ShopSearchQuery& query) {
        recorder = std::make_unique<Recorder>();
        ShopSearchJob job(query, demoAgent(market), {&g1, &g2, &g3}, *recorder);
        job.start();
        job.wait();
        EXPECT_TRUE(recorder->ended);
        EXPECT_EQ(recorder->detail, "");
        return recorder->shops;
    }
    JobEnd gather(const std::vector<int>& shops, int items) {
        return run<SalesGathering>(shops, {&g1, &g2, &g3}, items);
    }
    JobEnd gatherRatings(const std::vector<int>& shops, int from = kDefaultRatingFrom,
                         int to = kDefaultRatingTo) {
        return run<RatingGathering>(shops, {&g1, &g2, &g3, &g4}, from, to);
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

    // The rating list pages asked for since the market started: page number and whether the history
    // host was asked.
    std::vector<std::pair<int, bool>> listRequests() {
        std::vector<std::pair<int, bool>> pages;
        for (const auto& url : market.requests()) {
            const size_t at = url.find("currentPage%7C");
            if (at == std::string::npos) continue;
            pages.emplace_back(std::atoi(url.c_str() + at + 14), url.find("//ratehis.") != std::string::npos);
        }
        return pages;
    }

    demo::DemoMarket market;
    TempDir dir;
    db::TDM dm{dir / "lmd_pin.db"};
    NoSlotProgress g1, g2, g3, g4;
    std::unique_ptr<Recorder> recorder;
    std::function<void(const std::string&, int)> onStage;
    GatherRun* gathering = nullptr;
};

using GatherRatings = GatherFromTheDemoMarket;
using SearchOnTheDemoMarket = GatherFromTheDemoMarket;

} // namespace

TEST_F(GatherFromTheDemoMarket, TwoShopsWithTheirCreditItemsAndSales) {
    ASSERT_EQ(gather({3, 4}, 3), JobEnd::Finished) << recorder->detail;
    EXPECT_EQ(recorder->shopsDone, 2);
    // The tally counts what the database holds; the gathering window's test checks its summary line.
    EXPECT_EQ(std::tie(recorder->saved.shops, recorder->saved.items, recorder->saved.sales),
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
    ASSERT_EQ(gather({demo::MarketModel::kNoRatingLinkShop}, 1), JobEnd::Finished) << recorder->detail;
    std::string where =
        " from dianbase where dianzhu='" + shop(demo::MarketModel::kNoRatingLinkShop).nick + "'";
    EXPECT_EQ(number("select count(*)" + where), 1);
    EXPECT_EQ(text("select coalesce(salerGood1,'none')" + where), "none");
    EXPECT_EQ(number("select count(*) from itemInfo"), 1);
    for (const auto& stage : recorder->stages)
        EXPECT_NE(stage, "正在处理信用评价");
}

TEST_F(GatherFromTheDemoMarket, OddItemPagesAreSavedWithTheirDefaults) {
    ASSERT_EQ(gather({demo::MarketModel::kOddItemsShop}, 3), JobEnd::Finished) << recorder->detail;
    const auto& odd = shop(demo::MarketModel::kOddItemsShop);
    const auto& noBuyerList = market.model().itemOf(odd, 0);
    EXPECT_EQ(number("select count(*) from itemInfo where itemId='" + noBuyerList.id + "'"), 1);
    EXPECT_EQ(number("select count(*) from saleInfo where itemId='" + noBuyerList.id + "'"), 0);
    EXPECT_EQ(number("select count(*) from itemInfo where itemId='000000000000000'"), 1);
    EXPECT_EQ(
        number("select monthSale from itemInfo where itemId='" + market.model().itemOf(odd, 2).id + "'"), 0);
}

TEST_F(GatherFromTheDemoMarket, AStopInTheSecondShopKeepsTheFirstAndRollsBackTheSecond) {
    onStage = [this](const std::string& stage, int shopIndex) {
        if (shopIndex == 1 && stage == "正在处理销售记录" && gathering) gathering->stop();
    };
    EXPECT_EQ(gather({3, 4}, 2), JobEnd::Stopped);
    EXPECT_EQ(recorder->shopsDone, 1);
    EXPECT_EQ(text("select group_concat(dianzhu) from dianbase"), shop(3).nick);
    EXPECT_EQ(number("select count(*) from itemInfo"), 2);
    EXPECT_EQ(recorder->saved.shops, 1); // the rolled-back shop's items are not counted
    EXPECT_EQ(recorder->saved.items, 2);
    EXPECT_TRUE(gatherSummary(JobEnd::Stopped, recorder->saved, "")
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
        EXPECT_EQ(gather(shops, 2), JobEnd::TimedOut) << rule;
        EXPECT_EQ(number("select count(*) from dianbase"), 0) << rule;
        EXPECT_EQ(number("select count(*) from itemInfo"), 0) << rule;
        ASSERT_EQ(recorder->statusLines.size(), 1u) << rule;
        EXPECT_NE(recorder->statusLines[0].find(kConnectionTimedOut), std::string::npos) << rule;
    }
}

TEST_F(GatherRatings, ABigShopCostsItsPagesOnlyAndTakesPagesFrom100FromTheHistoryHost) {
    const auto& big = shop(demo::MarketModel::kBigRatingShop);
    ASSERT_EQ(gatherRatings({demo::MarketModel::kBigRatingShop}), JobEnd::Finished) << recorder->detail;

    const auto pages = listRequests();
    EXPECT_EQ(pages.size(), size_t(market.model().ratingPageCount(big)));
    for (const auto& [page, history] : pages)
        EXPECT_EQ(history, page >= kFirstHistoryPage) << page;

    const auto ratings = market.model().ratings(big);
    EXPECT_EQ(number("select count(*) from pjinfo"), std::int64_t(ratings.size()));
    EXPECT_EQ(number("select count(distinct trade_id) from pjinfo"), std::int64_t(ratings.size()));
    // The "[不计分]" ones are kept beside them.
    std::int64_t noEffect = std::count_if(ratings.begin(), ratings.end(), [](auto& r) { return !r.counts; });
    ASSERT_GT(noEffect, 0);
    EXPECT_EQ(number("select count(*) from pjNoEffect n join pjinfo p on p.trade_id=n.trade_id"), noEffect);
    EXPECT_EQ(recorder->saved.ratings, int(ratings.size()));
    EXPECT_EQ(recorder->saved.shops, 1);
    // The bounds are the newest and the oldest rating held.
    auto bounds = dm.cn1().prepare("select pjupdate1, pjupdate2 from dianbase");
    ASSERT_TRUE(bounds.step());
    EXPECT_EQ(bounds.text(0), ratings.front().time);
    EXPECT_EQ(bounds.text(1), ratings.back().time);
    // Saved in page order: the newest rating got the lowest id.
    EXPECT_EQ(number("select trade_id from pjinfo order by id limit 1"), std::stoll(ratings.front().tradeId));

    for (const char* stage : {"正在保存资料，请稍等...", "正在保存历史资料，请稍等..."})
        EXPECT_NE(std::find(recorder->stages.begin(), recorder->stages.end(), stage), recorder->stages.end());
}

TEST_F(GatherRatings, ASecondVisitAddsOnlyTheNewRatingsAndKeepsTheOlderRows) {
    const int changing = 3;
    ASSERT_TRUE(shop(changing).ratingsChange);
    const auto first = market.model().ratings(shop(changing));
    ASSERT_EQ(gatherRatings({changing}), JobEnd::Finished) << recorder->detail;
    const std::int64_t before = number("select count(*) from pjinfo");
    ASSERT_EQ(before, std::int64_t(first.size()));
    const std::int64_t lastId = number("select max(id) from pjinfo");

    ASSERT_EQ(gatherRatings({changing}), JobEnd::Finished) << recorder->detail;
    EXPECT_EQ(recorder->saved.ratings, 2);
    EXPECT_EQ(number("select count(*) from pjinfo"), before + 2);
    EXPECT_EQ(number("select count(*) from pjinfo where id > " + std::to_string(lastId)), 2);
    // The explanations the market changed meanwhile stay as first gathered.
    EXPECT_EQ(number("select count(*) from pjinfo where pjjs like '%再次评价%'"), 0);
    EXPECT_EQ(number("select count(distinct trade_id) from pjinfo"), before + 2);
}

TEST_F(GatherRatings, AStopInTheSecondOfThreeShopsKeepsNothingOfTheRun) {
    onStage = [this](const std::string& stage, int shopIndex) {
        if (shopIndex == 1 && stage == "正在处理信用评价") gathering->stop();
    };
    EXPECT_EQ(gatherRatings({4, 5, 6}), JobEnd::Stopped);
    EXPECT_EQ(number("select count(*) from pjinfo"), 0);
    EXPECT_EQ(number("select count(*) from dianbase"), 0);
    EXPECT_EQ(gatherSummary(JobEnd::Stopped, recorder->saved, ""), "用户中止下载！本次采集的资料均未保存。");
}

TEST(RatingRange, PagesOfTwentyNeverPastTheLastPage) {
    EXPECT_EQ(validateRatingRange(10, 10), "下载范围数据输入错误，起始量要小于结束量！");
    EXPECT_FALSE(validateRatingRange(1, 2));
    const auto pages = [](int from, int to, int count) {
        const RatingPages p = ratingPages(from, to, count);
        return std::make_pair(p.first, p.last);
    };
    EXPECT_EQ(pages(1, 5000, 2150), std::make_pair(1, 108));
    EXPECT_EQ(pages(21, 41, 2150), std::make_pair(2, 3));
    EXPECT_EQ(pages(1, 5000, 0), std::make_pair(1, 250)); // count unknown: the range's end
    EXPECT_LT(pages(4000, 5000, 2150).second, pages(4000, 5000, 2150).first);
}

TEST_F(SearchOnTheDemoMarket, ASearchOverSeveralPagesFindsTheMarketsShopsAndTheTotal) {
    ShopSearchQuery q;
    q.keyword = demo::marketCategories().front().shopWord;
    q.inTitle = true;
    q.range = 170; // three pages
    demo::ShopQuery expected;
    expected.keyword = q.keyword;
    expected.inName = true;
    auto shops = market.model().findShops(expected);
    auto found = search(q);
    EXPECT_EQ(recorder->end, JobEnd::Finished);
    ASSERT_EQ(found.size(), std::min<size_t>(shops.size(), 240));
    ASSERT_FALSE(recorder->totals.empty());
    EXPECT_EQ(recorder->totals.front(), int(shops.size()));
    // One slot per page: pages may arrive in any order, rows within a page keep theirs.
    std::multiset<std::string> want, got;
    for (size_t i = 0; i < found.size(); ++i) {
        want.insert(shops[i]->nick);
        got.insert(found[i].dianzhu);
    }
    EXPECT_EQ(got, want);
    EXPECT_TRUE(found.front().webaddr.starts_with("http://shop"));
}

TEST_F(SearchOnTheDemoMarket, TheQuotedCategoryAndTheTrailingBlankGoOnTheWireEncoded) {
    ShopSearchQuery q;
    q.category = 8;
    q.keyword = "裙";
    search(q);
    EXPECT_EQ(recorder->end, JobEnd::Finished);
    auto sent = market.requests();
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_NE(sent[0].find("&cat=50011699%22&"), std::string::npos) << sent[0];
    EXPECT_NE(sent[0].find("&q=%C8%B9&"), std::string::npos) << sent[0];
    EXPECT_TRUE(sent[0].ends_with("&s=0%20")) << sent[0];
}

TEST(ShopSearchAddress, IsBuiltPieceByPieceAsTheMarketplaceExpects) {
    ShopSearchQuery q;
    q.keyword = "连衣裙 a";
    q.inTitle = true;
    q.inTag = true;
    q.category = 8;
    q.location = "杭州";
    q.levels = {15, 3, 14};
    EXPECT_EQ(shopSearchAddress(q),
              "http://shopsearch.taobao.com/browse/shop_search.htm?1=1&cat=50011699\"&loc=%BA%BC%D6%DD"
              "&q=%C1%AC%D2%C2%C8%B9%20a&title=title&tag=tag&ratesum=3,14,15&soft=ratesum_desc&n=80&s=");
    ShopSearchQuery plain;
    plain.byPopularity = true;
    EXPECT_EQ(
        shopSearchAddress(plain),
        "http://shopsearch.taobao.com/browse/shop_search.htm?1=1&cat=&loc=&ratesum=&sort=default&n=80&s=");
    // The range gives the last page with its odd divisor.
    for (auto [range, endPage] : {std::pair{10, 0}, {80, 0}, {81, 1}, {161, 1}, {162, 2}, {400, 4}})
        EXPECT_EQ(shopSearchEndPage(range), endPage) << range;
}

TEST(ShopSearchAddress, ASearchNeedsAKeywordOrACategoryAndStaysInsideTheFormsLimits) {
    ShopSearchQuery q;
    EXPECT_EQ(validateShopSearch(q), std::optional<std::string>("请输入店铺名称或类别等条件进行搜索！"));
    q.category = 3;
    EXPECT_FALSE(validateShopSearch(q));
    q.category = 0;
    q.keyword = "x"s;
    EXPECT_FALSE(validateShopSearch(q));
    // The limits the window's controls have hold for the command line too.
    for (int range : {9, 401}) {
        q.range = range;
        EXPECT_TRUE(validateShopSearch(q)) << range;
    }
    q.range = 400;
    q.levels = {1, 20};
    EXPECT_FALSE(validateShopSearch(q));
    q.levels = {0};
    EXPECT_TRUE(validateShopSearch(q));
    q.levels = {};
    q.category = int(shopSearchCategories().size());
    EXPECT_EQ(validateShopSearch(q), std::optional<std::string>("类别不存在！"));
}

TEST(ShopSearchLog, NamesEveryCondition) {
    ShopSearchQuery q;
    q.keyword = "围巾";
    q.inNick = true;
    q.inTag = true;
    q.category = 1;
    q.location = "上海";
    q.levels = {2, 16};
    q.range = 120;
    EXPECT_EQ(shopSearchLog(q, 3, *DateTime::parse("2012-01-02 03:04:05")),
              "第3次搜索\n时间：2012-01-02 03:04:05\n关键字：围巾,掌柜名、主营项目\n类别：女装/女士精品 \n"
              "信用级别：2、16、\n所在地：上海\n按信用排序\n搜索范围：120\n");
}
