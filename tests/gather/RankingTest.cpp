#include "GatherTestSupport.h"
#include "base/GbkText.h"
#include "demo-market/Markup.h"
#include "gather/CategoryRanking.h"
#include "gather/ItemRanking.h"
#include "market/CategoryTable.h"
#include "support/TempDir.h"
#include "views/RankingDataView.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

using namespace vantor;
using namespace vantor::test;

namespace {

std::string twoDecimals(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

struct RankingRecorder : gather::ItemRankingObserver, gather::CategoryRankingObserver {
    std::mutex mutex;
    gather::JobEnd end = gather::JobEnd::Finished;
    std::vector<TItemInfo> rows;
    int total = -1, categories = -1;
    void rankingEnded(gather::JobEnd how, const std::vector<TItemInfo>& ranked, int found) override {
        std::lock_guard lock(mutex);
        end = how, rows = ranked, total = found;
    }
    void rankingEnded(gather::JobEnd how, int saved, int, const std::string&) override {
        std::lock_guard lock(mutex);
        end = how, categories = saved;
    }
};

class RankingOnTheDemoMarket : public ::testing::Test {
protected:
    RankingRecorder& rank(const gather::ItemRankingQuery& query) {
        gather::ItemRankingJob job(query, demoAgent(market), {&g1, &g2, &g3}, recorder);
        job.start();
        job.wait();
        return recorder;
    }
    // Runs a category ranking into the test's data file, saved as of `now`.
    RankingRecorder& rankCategories(std::vector<int> positions, int depth) {
        dm.open();
        gather::CategoryRanking job(dm.file(), std::move(positions), depth, demoAgent(market),
                                    {&g1, &g2, &g3}, recorder, now);
        job.start();
        job.wait();
        return recorder;
    }
    bool requested(const std::string& part) {
        const auto sent = market.requests();
        return std::any_of(sent.begin(), sent.end(),
                           [&](const std::string& r) { return r.find(part) != r.npos; });
    }
    std::vector<std::string> savedLinks(int position) {
        auto st = dm.cn1().prepare("select itemUrl from itemTop where typeId=:t order by id");
        st.bind("t", market::categoryBrowseCategories()[size_t(position)].id);
        std::vector<std::string> links;
        while (st.step())
            links.push_back(st.text(0));
        return links;
    }
    std::vector<std::string> modelLinks(int position, size_t depth) {
        std::vector<std::string> links;
        for (const demo::Item* item :
             market.model().categoryItems(market::categoryBrowseCategories()[size_t(position)].id))
            if (links.size() < depth) links.push_back(item->address());
        return links;
    }

    demo::DemoMarket market;
    download::NoSlotProgress g1, g2, g3;
    RankingRecorder recorder;
    TempDir dir;
    db::TDM dm{dir / "lmd_pin.db"};
    DateTime now{2026, 3, 15, 12, 0, 0};
};

} // namespace

TEST(ItemRankingForm, NeedsANameAndStaysInsideItsLimits) {
    EXPECT_EQ(gather::validateItemRanking({" \t", "", "", "", 20}),
              std::optional<std::string>(gather::kItemNameMissing));
    EXPECT_TRUE(gather::validateItemRanking({"x", "1.5.2", "", "", 20}));
    EXPECT_TRUE(gather::validateItemRanking({"x", "", "", "", 101}));
    EXPECT_FALSE(gather::validateItemRanking({"x", "9.9", "50", "", 100}));
    EXPECT_EQ(gather::validateCategoryRanking({}, 100),
              std::optional<std::string>(gather::kNoCategoryChosen));
    EXPECT_TRUE(gather::validateCategoryRanking({int(market::categoryBrowseCategories().size())}, 100));
    EXPECT_TRUE(gather::validateCategoryRanking({0}, 19));
}

TEST(CategoryRankingGrid, EachCategoryIsNamedAndRankedFromOne) {
    TItemInfo first, second;
    first.dianzhu = "卖家甲";
    second.dianzhu = "卖家乙";
    std::vector<gather::RankedItem> rows = gather::rankedCategory("  女装 ", {first, second});
    const std::vector<gather::RankedItem> next = gather::rankedCategory("数码", {second});
    rows.insert(rows.end(), next.begin(), next.end());
    const DateTime saved{2011, 3, 1, 8, 0, 0};
    std::vector<std::string> shown;
    for (const gather::RankedItem& row : rows) {
        const std::vector<std::string> cells = categoryRankingGridRow(row, saved);
        ASSERT_EQ(cells.size(), gather::categoryRankingGridColumns().size());
        shown.push_back(cells[0] + " " + cells[1] + " " + cells[3]);
    }
    EXPECT_EQ(shown, (std::vector<std::string>{"1 女装 卖家甲", "2 女装 卖家乙", "1 数码 卖家乙"}));
    EXPECT_EQ(gather::categoryRankingGridColumns()[1], "类目");
    // The export keeps the ranking data view's columns.
    EXPECT_EQ(gather::categoryRankingRow(rows[2], saved).size(), gather::categoryRankingColumns().size());
    EXPECT_EQ(gather::categoryRankingColumns()[1], "更新日期");
}

TEST(ItemRankingExport, WritesTheWindowsFileWithItsHeaderAndCleanedCells) {
    TItemInfo item;
    item.dianzhu = "卖家甲";
    item.itemTitle = "围巾, 新款";
    item.price = "12.5";
    item.shipping = "0";
    item.cell22 = "4";
    item.place = "浙江 杭州";
    item.itemUrl = "http://item.taobao.com/item.htm?id=1";
    const std::vector<TItemInfo> rows{item};
    CsvJob job = gather::itemRankingExport(rows);
    EXPECT_EQ(job.fileName, "指定商品排行数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    EXPECT_EQ(
        sink.bytes,
        toGbk("序号,卖家,商品名,价格,运费,30天售出,销售额,收藏人数,地点,链接\r\n"
              "1,卖家甲,围巾、新款,12.5,0,4,50.00,,浙江杭州,http://item.taobao.com/item.htm?id=1,\r\n"));
}

TEST_F(RankingOnTheDemoMarket, BlanksAndAHighBoundGoOutAsTheMarketplaceExpectsAndNoMatchListsNothing) {
    auto& got = rank({"2011\t新款", "", "50", "", 10});
    EXPECT_EQ(got.end, gather::JobEnd::Finished);
    EXPECT_TRUE(requested("q=2011%20%D0%C2%BF%EE&filter=reserve_price[0,50]&loc=&&style=list&n=80&s=0"));
    demo::ItemQuery expected{.words = "2011 新款", .low = {}, .high = 50, .location = ""};
    const auto found = market.model().findItems(expected);
    ASSERT_GE(found.size(), 10u);
    EXPECT_EQ(got.total, int(found.size()));
    ASSERT_EQ(got.rows.size(), 10u);
    for (size_t i = 0; i < 10; ++i)
        EXPECT_EQ(got.rows[i].itemUrl, found[i]->address()) << i;

    auto& none = rank({"没有这种商品", "", "", "", 20});
    EXPECT_TRUE(none.rows.empty());
    EXPECT_EQ(gather::itemRankingSummary(none.end, none.total), "共搜索到0个符合条件的商品");
}

TEST_F(RankingOnTheDemoMarket, ARangeOfAHundredReadsTwoPagesBestSellersFirst) {
    auto& got = rank({"新款", "", "", "", 100});
    EXPECT_TRUE(requested("&s=0") && requested("&s=80"));
    const auto found = market.model().findItems({.words = "新款", .low = {}, .high = {}, .location = ""});
    ASSERT_GT(found.size(), 100u);
    ASSERT_EQ(got.rows.size(), 100u);
    EXPECT_EQ(got.rows[99].itemUrl, found[99]->address());
    const demo::Item& best = *found[0];
    EXPECT_EQ(gather::itemRankingRow(1, got.rows[0]),
              (std::vector<std::string>{
                  "1", market.model().shops()[size_t(best.shopIndex)].nick, best.title,
                  demo::money(best.price), demo::money(best.shipping), std::to_string(best.monthSale),
                  twoDecimals(best.price * best.monthSale), "", best.location, best.address()}));
}

TEST_F(RankingOnTheDemoMarket, CategorySnapshotsAreSavedByMonthAndASecondRunReplacesItsCategorysOwn) {
    auto& got = rankCategories({0, 5}, 100);
    ASSERT_EQ(got.end, gather::JobEnd::Finished);
    EXPECT_EQ(got.categories, 2);
    EXPECT_EQ(savedLinks(0), modelLinks(0, 100));
    EXPECT_EQ(savedLinks(5), modelLinks(5, 100));
    views::RankingDataView view(dm, views::QueryReader::Mode::Now);
    view.query({0, 3, 0, true}, now);
    EXPECT_EQ(view.ranking().rowCount(), 100u);
    view.query({0, 4, 0, true}, now);
    EXPECT_EQ(view.ranking().rowCount(), 0u);

    rankCategories({0}, 20);
    EXPECT_EQ(savedLinks(0), modelLinks(0, 20));
    EXPECT_EQ(savedLinks(5), modelLinks(5, 100));
}

TEST_F(RankingOnTheDemoMarket, LastMonthsSnapshotGivesTheMovement) {
    const auto best = modelLinks(0, 3);
    dm.cn1().exec("insert into itemTop(typeId,itemUrl,monthSale,updateDate) values ('99','" + best[1] +
                  "',1,'2026-02-01 08:00:00'),('99','" + best[0] + "',1,'2026-02-01 08:00:00')");
    ASSERT_EQ(rankCategories({0}, 20).end, gather::JobEnd::Finished);
    views::RankingDataView view(dm, views::QueryReader::Mode::Now);
    view.query({0, 3, 0, true}, now);
    std::map<std::string, std::string> moves;
    for (std::size_t row = 0; row < view.ranking().rowCount(); ++row)
        moves[view.ranking().displayText(row, "itemUrl")] = view.grid().cellText(view.ranking(), row, 11);
    EXPECT_EQ(moves[best[0]], "↑1");
    EXPECT_EQ(moves[best[1]], "↓1");
    EXPECT_EQ(moves[best[2]], "新上榜");
}
