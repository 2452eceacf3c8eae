#include "views/RankingDataView.h"
#include "ViewsTest.h"
#include "base/GbkText.h"

using namespace vantor;
using namespace vantor::views;
using test::Texts;

namespace {

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
