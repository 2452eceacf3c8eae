#include "views/RatingDataView.h"
#include "ViewsTest.h"
#include "base/GbkText.h"
#include "views/RankingDataView.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;
using namespace std::string_literals; // assigning literals trips a false GCC 12 -Wrestrict warning

namespace {

class RatingDataViewTest : public test::ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        view = std::make_unique<RatingDataView>(*dm, QueryReader::Mode::Background);
        view->formCreate();
        view->shops().setSort("id");
    }

    std::unique_ptr<RatingDataView> view;
};

const DateTime kNow{2011, 5, 20, 12, 0, 0};

class RankingDataViewTest : public test::ViewsTest {
protected:
    void SetUp() override {
        ViewsTest::SetUp();
        view = std::make_unique<RankingDataView>(*dm, QueryReader::Mode::Now);
    }

    Texts sellers(RankingChoice choice) {
        view->query(choice, kNow);
        return column(view->ranking(), "dianzhu");
    }

    std::unique_ptr<RankingDataView> view;
};

} // namespace

TEST_F(RatingDataViewTest, TheShopsWithRatingsAndTheirCountsByPeriod) {
    // The counts by period of shop 1 are checked in its export, those of shop 2 by the command line.
    EXPECT_EQ(view->findResultText(), "共有2店铺"); // 李四 has no ratings
    EXPECT_EQ(column(view->shops(), "rateNums"), (Texts{"4", "1"}));
    EXPECT_EQ(view->shopAddress(), "http://shop1.taobao.com");
}

TEST_F(RatingDataViewTest, TheRatingsPageShowsTheCurrentShopsRatingsNewestFirst) {
    view->pageChange(0);
    EXPECT_FALSE(view->ratings().isOpen());
    view->pageChange(RatingDataView::kRatingPage);
    EXPECT_EQ(column(view->ratings(), "trade_id"), (Texts{"R4", "R3", "R2", "R1"}));
    EXPECT_EQ(view->rateCountText(), "当前共有4条评价");
    view->shops().setCurrent(1);
    view->pageChange(RatingDataView::kRatingPage);
    EXPECT_EQ(view->rateCountText(), "当前共有1条评价");
}

TEST_F(RatingDataViewTest, EveryFilledFilterBoxNarrowsTheRatings) {
    view->pageChange(RatingDataView::kRatingPage);
    // Each case fills boxes of an untouched filter.
    const struct {
        void (*fill)(RatingFilterInput&);
        Texts ratings;
    } cases[] = {
        {[](auto& in) { in = {"b", "T恤", 2, 10, 30, "2011-02-01", "2011-03-31"}; }, {"R2"}},
        {[](auto&) {}, {"R4", "R3", "R2", "R1"}},
        {[](auto& in) { in.jg1 = 20; }, {"R4", "R2", "R1"}}, // numbers, not texts: 120 is at least 20
        {[](auto& in) { in.jg2 = 5; }, {"R3"}},
        // A partly filled date is compared as typed; a date bound is that day's midnight, so R3 at
        // 20:00 of the 15th is past it.
        {[](auto& in) { in.sj1 = "2011-03-  "s; }, {"R4", "R3"}},
        {[](auto& in) { in.sj2 = "2011-03-15"s; }, {"R2", "R1"}},
        // Names match as typed, quotes included, whatever the letter case of Latin letters.
        {[](auto& in) { in.pjName = "'"s; }, {"R3"}},
        {[](auto& in) { in.pjName = "BUYER"s; }, {"R4", "R2", "R1"}},
        {[](auto& in) { in.pj = 1; }, {"R4", "R1"}}, // 好评
        {[](auto& in) { in.pj = 3; }, {"R3"}},       // 差评
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        RatingFilterInput input;
        cases[i].fill(input);
        view->filterRatings(input);
        EXPECT_EQ(column(view->ratings(), "trade_id"), cases[i].ratings) << "case " << i;
    }
    RatingFilterInput all;
    cases[0].fill(all);
    view->filterRatings(all);
    EXPECT_EQ(view->rateCountText(), "当前共有1条评价");
}

TEST_F(RatingDataViewTest, TheShopSearchBindsWhatTheUserTyped) {
    view->shops().setSort("");
    // Every shop with flag 0, newest update first; 李四 has flag 1. Each case fills boxes of an
    // untouched search.
    const struct {
        void (*fill)(ShopSearch&);
        Texts found;
    } cases[] = {
        {[](auto&) {}, {"O'Neil", "张三"}},
        {[](auto& in) { in.nick = "O'Neil"s; }, {"O'Neil"}},
        {[](auto& in) { in.nick = "'"s; }, {"O'Neil"}},
        {[](auto& in) { in.shop = "'; drop table dianbase; --"s; }, {}},
        {[](auto& in) { in.shop = "三号"s; }, {"张三"}},
        {[](auto& in) { in.loc = "杭州"s; }, {"张三"}},   // "地址：" searches addr
        {[](auto& in) { in.tag = "围巾"s; }, {"O'Neil"}}, // "主营：" searches loc
        {[](auto& in) { in.level = 4; }, {"张三"}},       // level 6 >= 4, level 3 is not
        {[](auto& in) { in.nick = "张"s, in.level = 6; }, {"张三"}},
        // The pattern's wildcards keep their meaning, as in the statement written out.
        {[](auto& in) { in.nick = "%"s; }, {"O'Neil", "张三"}},
        {[](auto& in) { in.nick = "_'_"s; }, {"O'Neil"}},
    };
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        ShopSearch search;
        cases[i].fill(search);
        view->searchShops(search);
        EXPECT_EQ(column(view->shops(), "dianzhu"), cases[i].found) << "case " << i;
    }
    EXPECT_EQ(count("select count(*) from dianbase"), 3);
    view->searchShops({});
    EXPECT_EQ(view->findResultText(), "共有2店铺");
    // The search reads dianbase alone: no rating counts.
    EXPECT_EQ(view->shops().fieldIndex("rateNums"), -1);
    EXPECT_EQ(view->shopGrid().cellText(view->shops(), 0, 6), "");
}

TEST_F(RatingDataViewTest, TheRatingsExportRepeatsCommentAndExplanationWithoutATrailingComma) {
    view->pageChange(RatingDataView::kRatingPage);
    ExportJob job = view->ratingExport(DateTime{2011, 5, 20});
    EXPECT_EQ(job.fileName, "导出张三--2011-05-20数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    // pjinfo's fields: id, dian_id, pj, buyerOrSaler, pjName, itemId, itemTitle, pjsj, jg, pjInfo, pjjs,
    // trade_id; the oldest rating is the last line. The command line's test checks the header.
    const std::string text = gbkToUtf8(sink.bytes);
    EXPECT_TRUE(text.ends_with("\r\n4,1,1,好评,,buyerA,1001,春装新款、连衣裙,2011-01-0510:00:00,88.5,"
                               "很好、非常满意,谢谢,R1,很好、非常满意,谢谢\r\n"))
        << text;
}

TEST_F(RatingDataViewTest, TheShopExportWritesEveryFieldOfTheQuery) {
    ExportJob job = view->shopExport(DateTime{2011, 5, 20});
    EXPECT_EQ(job.fileName, "导出2011-05-20掌柜数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    const std::string text = gbkToUtf8(sink.bytes);
    const std::string header = "序号,卖家,店铺名,卖家信用,信用级别,好评率,评价数,近一周评价数,近一月评价数,"
                               "近6月评价数,6月前评价数\r\n";
    ASSERT_TRUE(text.starts_with(header)) << text;
    // xh, the five counts, then dianbase's own fields from id on: zhuce is empty, the address loses its
    // blank.
    const std::string first = text.substr(header.size(), text.find("\r\n", header.size()) - header.size());
    EXPECT_TRUE(first.starts_with("1,4,8,25,110,920,1,张三,,浙江杭州,三号小店,http://shop1.taobao.com,"))
        << first;
    EXPECT_EQ(std::count(first.begin(), first.end(), ','), view->shops().fieldCount());
}

TEST_F(RankingDataViewTest, AMonthOfTheCurrentYearInTheChosenOrder) {
    // Pieces sold, most first; equal counts by update date.
    EXPECT_EQ(sellers({0, 3, 0, true}), (Texts{"卖家乙", "卖家丙", "卖家甲"}));
    EXPECT_EQ(sellers({0, 3, 0, false}), (Texts{"卖家甲", "卖家乙", "卖家丙"}));
    // Turnover: 500×98.5 = 49250, 800×48 = 38400, 800×29 = 23200.
    EXPECT_EQ(sellers({0, 3, 1, true}), (Texts{"卖家甲", "卖家乙", "卖家丙"}));
    EXPECT_EQ(sellers({0, 3, 2, false}), (Texts{"卖家丙", "卖家乙", "卖家甲"})); // price, lowest first
    EXPECT_EQ(sellers({0, 3, 3, true}), (Texts{"卖家乙", "卖家丙", "卖家甲"}));  // bookmarks
    EXPECT_EQ(sellers({0, 4, 0, true}), (Texts{"卖家丁"}));
    EXPECT_EQ(sellers({27, 3, 0, true}), (Texts{"女装卖家"})); // "女装、女士精品" is category 16
}

TEST_F(RankingDataViewTest, OnlyTheChosenMonthOfTheCurrentYearIsShown) {
    // "全年" compares the month with zero and finds nothing.
    EXPECT_EQ(sellers({0, 0, 0, true}), (Texts{}));
    EXPECT_TRUE(view->ranking().isOpen());
    // Last March's 9999 sales show only in last year.
    view->query({0, 3, 0, true}, DateTime{2010, 1, 1});
    EXPECT_EQ(column(view->ranking(), "dianzhu"), (Texts{"去年卖家"}));
}

TEST_F(RankingDataViewTest, TheGridAndItsExportShowTheRowNumberAndTheSalesAmount) {
    view->query({0, 3, 0, true}, kNow);
    EXPECT_EQ(cells(view->ranking(), view->grid(), 0),
              (Texts{"1", "2011-03-12 09:30:00", "卖家乙", "点卡, 50元", "48", "5", "800", "38400.00", "30",
                     "广东", "http://item.taobao.com/top/点卡, 50元", "新上榜"}));
    EXPECT_EQ(view->itemLink(), "http://item.taobao.com/top/点卡, 50元");
    ExportJob job = view->exportJob();
    EXPECT_EQ(job.fileName, "商品排行数据.csv");
    StringSink sink;
    writeCsv(job, sink, nullptr);
    EXPECT_EQ(gbkToUtf8(sink.bytes),
              "序号,更新日期,卖家,商品名,价格,运费,30天售出,销售额,收藏人数,地点,链接\r\n"
              "1,2011-03-1209:30:00,卖家乙,点卡、50元,48,5,800,38400.00,30,广东,http://item.taobao.com/top/"
              "点卡、50元,\r\n"
              "2,2011-03-1510:00:00,卖家丙,点卡30元,29,0,800,23200.00,20,上海,http://item.taobao.com/top/"
              "点卡30元,\r\n"
              "3,2011-03-1008:00:00,卖家甲,点卡100元,98.5,0,500,49250.00,10,浙江,http://item.taobao.com/top/"
              "点卡100元,\r\n");
}

TEST_F(RankingDataViewTest, TheMovementComparesEachItemsPlaceWithThePreviousMonthsSnapshot) {
    // February, saved best first: 丙, 乙, 甲; March saved 甲, 乙, 丙. April's 丁 was not in March.
    // Last December and this January hold the same item at the same place: the year turns over.
    dm->cn1().exec("INSERT INTO itemTop (typeId, dianzhu, itemUrl, monthSale, amount, updateDate) VALUES "
                   "('99', '丙', 'http://item.taobao.com/top/点卡 30元', 9, 1, '2011-02-03 00:00:00'),"
                   "('99', '乙', 'http://item.taobao.com/top/点卡, 50元', 8, 1, '2011-02-03 00:00:00'),"
                   "('99', '甲', 'http://item.taobao.com/top/点卡 100元', 7, 1, '2011-02-03 00:00:00'),"
                   "('99', '旧', 'http://item.taobao.com/top/x', 7, 1, '2010-12-31 23:59:59'),"
                   "('99', '新', 'http://item.taobao.com/top/x', 7, 1, '2011-01-01 00:00:00')");
    auto movement = [this](int month) {
        view->query({0, month, 0, true}, kNow);
        Texts texts;
        for (std::size_t row = 0; row < view->ranking().rowCount(); ++row)
            texts.push_back(view->ranking().displayText(row, "dianzhu") + " " +
                            view->grid().cellText(view->ranking(), row, 11));
        return texts;
    };
    EXPECT_EQ(movement(3), (Texts{"卖家乙 –", "卖家丙 ↓2", "卖家甲 ↑2"}));
    EXPECT_EQ(movement(4), (Texts{"卖家丁 新上榜"}));
    EXPECT_EQ(movement(1), (Texts{"新 –"}));
    // A click on its title sorts by it, most risen first.
    view->query({0, 3, 0, true}, kNow);
    ASSERT_TRUE(view->grid().titleClick(11, view->ranking()));
    EXPECT_EQ(column(view->ranking(), "dianzhu"), (Texts{"卖家甲", "卖家乙", "卖家丙"}));
}

TEST_F(RankingDataViewTest, DeletingRemovesOnlyTheShownRanking) {
    view->query({0, 3, 0, true}, kNow);
    DeleteResult result = view->deleteRanking({0, 3, 0, true}, kNow);
    ASSERT_TRUE(result.done) << result.error;
    EXPECT_EQ(view->ranking().rowCount(), 0u);
    EXPECT_EQ(count("select count(*) from itemTop"), 3); // April, last year's March, category 16
    EXPECT_EQ(sellers({0, 4, 0, true}), (Texts{"卖家丁"}));
}
