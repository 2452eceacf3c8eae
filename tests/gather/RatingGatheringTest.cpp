#include "gather/RatingGathering.h"
#include "GatherTestSupport.h"
#include "db/TDM.h"
#include "gather/GatherTexts.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <set>

using namespace vantor;
using namespace vantor::test;

namespace {

class GatherRatings : public ::testing::Test {
protected:
    void SetUp() override { dm.open(); }

    JobEnd gather(const std::vector<int>& shopIndexes, int from = kDefaultRatingFrom,
                  int to = kDefaultRatingTo) {
        std::vector<TDianBaseInfo> shops;
        for (int i : shopIndexes)
            shops.push_back(searchRowOf(shop(i)));
        recorder = std::make_unique<Recorder>();
        recorder->onStage = onStage;
        RatingGathering run(dm.file(), shops, from, to, demoAgent(market), {&g1, &g2, &g3, &g4}, *recorder);
        gathering = &run;
        run.start();
        run.wait();
        gathering = nullptr;
        EXPECT_TRUE(recorder->ended);
        return recorder->end;
    }

    std::int64_t number(const std::string& sql) {
        auto st = dm.cn1().prepare(sql);
        return st.step() ? st.integer(0) : -1;
    }
    const demo::Shop& shop(int i) { return market.model().shops()[size_t(i)]; }
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
    RatingGathering* gathering = nullptr;
};

} // namespace

TEST_F(GatherRatings, ABigShopCostsItsPagesOnlyAndTakesPagesFrom100FromTheHistoryHost) {
    const auto& big = shop(demo::MarketModel::kBigRatingShop);
    ASSERT_EQ(gather({demo::MarketModel::kBigRatingShop}), JobEnd::Finished) << recorder->detail;

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
    ASSERT_EQ(gather({changing}), JobEnd::Finished) << recorder->detail;
    const std::int64_t before = number("select count(*) from pjinfo");
    ASSERT_EQ(before, std::int64_t(first.size()));
    const std::int64_t lastId = number("select max(id) from pjinfo");

    ASSERT_EQ(gather({changing}), JobEnd::Finished) << recorder->detail;
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
    EXPECT_EQ(gather({4, 5, 6}), JobEnd::Stopped);
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
