#include "SalesFixture.h"
#include "cli/RunCli.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using vantor::test::readFile;
using vantor::test::TempDir;

namespace {

// Runs vantor-cli's analyse command on the data folder.
vantor::test::CliResult analyse(const TempDir& dir, const std::string& arguments) {
    return vantor::test::runCli("--data-dir " + (dir / "data").string() + " analyse " + arguments);
}

class AnalyseCli : public ::testing::Test {
protected:
    AnalyseCli() {
        std::filesystem::create_directories(dir / "data");
        vantor::db::TDM dm(dir / "data" / "lmd_pin.db");
        dm.open();
        vantor::test::fillSalesFixture(dm.cn1());
    }
    std::string gallery(const std::string& name) const { return (dir / "data" / "gallery" / name).string(); }
    TempDir dir;
};

TEST_F(AnalyseCli, EachKindWritesItsDocumentsAndPrintsTheirPaths) {
    auto ranking = analyse(dir, "ranking --shop 2 --from 2011-01-01 --to 2011-12-31");
    ASSERT_EQ(ranking.status, 0) << ranking.out;
    EXPECT_EQ(ranking.out, gallery("saleLine2d.xml") + "\n" + gallery("saleCount.xml") + "\n" +
                               gallery("saleAmountLine2d.xml") + "\n" + gallery("saleAmount.xml") + "\n");
    EXPECT_EQ(vantor::test::gbkFileAsUtf8(gallery("saleCount.xml")),
              vantor::test::listDocument({"排名", "商品", "销售量", "销售额", "单价"},
                                         {{"1", "手套", "7", "210.00", "30.00"}}));

    auto timeRun = analyse(dir, "time --shop 1 --from 2011-01-01 --to 2011-12-31");
    ASSERT_EQ(timeRun.status, 0) << timeRun.out;
    EXPECT_EQ(timeRun.out, gallery("saleTimeAreaHour.xml") + "\n" + gallery("saleTimeAreaWeek.xml") + "\n" +
                               gallery("saleTimeAreaMonth.xml") + "\n");

    auto trend = analyse(dir, "trend --shop 3 --from 2010-01-01 --to 2011-12-31");
    ASSERT_EQ(trend.status, 0) << trend.out;
    EXPECT_EQ(std::count(trend.out.begin(), trend.out.end(), '\n'), 6);
    EXPECT_NE(readFile(gallery("saleCarrentWeekList.xml")).find("2011"), std::string::npos);
    // The pages come along, reachable under the other spelling too.
    EXPECT_TRUE(std::filesystem::is_regular_file(dir / "data" / "Gallery" / "saleCarrent.html"));
}

TEST_F(AnalyseCli, TheDatesDefaultToThisYearUpToToday) {
    auto run = analyse(dir, "ranking --shop 1");
    ASSERT_EQ(run.status, 0) << run.out;
    std::time_t now = std::time(nullptr);
    char today[16];
    std::strftime(today, sizeof today, "%Y-%m-%d", std::localtime(&now));
    std::string expected = "subcaption='" + std::string(today, 4) + "-01-01~" + today + "销售量排行'";
    EXPECT_NE(vantor::test::gbkFileAsUtf8(gallery("saleLine2d.xml")).find(expected), std::string::npos);
}

TEST_F(AnalyseCli, AShopWithoutItemsOrABadArgumentIsRefused) {
    auto noShop = analyse(dir, "trend --shop 5");
    EXPECT_EQ(noShop.status, 2);
    EXPECT_NE(noShop.out.find("没有选择要分析的店铺，请选择！"), std::string::npos) << noShop.out;
    EXPECT_FALSE(std::filesystem::exists(dir / "data" / "gallery" / "saleCarrentDay.xml"));

    EXPECT_EQ(analyse(dir, "ranking --shop 1 --from 2011/01/01").status, 2);
    EXPECT_EQ(analyse(dir, "ranking --shop 1 --to 2011-02-30").status, 2);
    EXPECT_EQ(analyse(dir, "ranking").status, 2);
    EXPECT_EQ(analyse(dir, "rating --shop 1").status, 2);
}

TEST_F(AnalyseCli, AnUnwritableGalleryIsAFailedJob) {
    vantor::test::writeFile(dir / "data" / "gallery", "a file where the folder belongs");
    auto run = analyse(dir, "ranking --shop 1");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("生成数据出错！"), std::string::npos) << run.out;
}

} // namespace

TEST_F(AnalyseCli, TheRatingAnalysesNeedGatheredRatingsAndTheCheckPrintsItsCard) {
    auto none = analyse(dir, "rating-check --shop 1");
    EXPECT_EQ(none.status, 2);
    EXPECT_NE(none.out.find("没有选择要分析的店铺，请选择！"), std::string::npos) << none.out;
    {
        vantor::db::TDM dm(dir / "data" / "lmd_pin.db");
        dm.cn1().exec("insert into pjinfo(dian_id,pj,pjsj,trade_id,jg,pjName,pjInfo) values"
                      "(1,'好评','2011-05-01 10:00:00','a',2,'小号','好'),(1,'好评','2011-05-01 "
                      "11:00:00','b',2,'小号','')");
    }
    auto check = analyse(dir, "rating-check --shop 1 --from 2011-01-01 --to 2011-12-31");
    ASSERT_EQ(check.status, 0) << check.out;
    EXPECT_NE(check.out.find(gallery("rateCheck.xml") + "\n"), std::string::npos);
    EXPECT_NE(check.out.find("【警告】重复评价买家：1位买家，2条评价，占100.00%（阈值：不超过10.00%）\n"),
              std::string::npos)
        << check.out;
    EXPECT_NE(check.out.find("【通过】评价突增日"), std::string::npos);
}
