#include "SalesFixture.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

using vantor::test::readFile;
using vantor::test::TempDir;

namespace {

struct CliRun {
    int status;
    std::string out;
    std::string err;
};

// Runs vantor-cli on the data folder, standard output and standard error kept apart.
CliRun analyse(const TempDir& dir, const std::string& arguments) {
    std::string command = std::string(VANTOR_CLI) + " --data-dir " + (dir / "data").string() + " analyse " +
                          arguments + " >" + (dir / "out").string() + " 2>" + (dir / "err").string();
    int raw = std::system(command.c_str());
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, readFile(dir / "out"), readFile(dir / "err")};
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
    CliRun ranking = analyse(dir, "ranking --shop 2 --from 2011-01-01 --to 2011-12-31");
    ASSERT_EQ(ranking.status, 0) << ranking.err;
    EXPECT_EQ(ranking.out, gallery("saleLine2d.xml") + "\n" + gallery("saleCount.xml") + "\n" +
                               gallery("saleAmountLine2d.xml") + "\n" + gallery("saleAmount.xml") + "\n");
    EXPECT_EQ(vantor::test::gbkFileAsUtf8(gallery("saleCount.xml")),
              vantor::test::listDocument({"排名", "商品", "销售量", "销售额", "单价"},
                                         {{"1", "手套", "7", "210.00", "30.00"}}));

    CliRun timeRun = analyse(dir, "time --shop 1 --from 2011-01-01 --to 2011-12-31");
    ASSERT_EQ(timeRun.status, 0) << timeRun.err;
    EXPECT_EQ(timeRun.out, gallery("saleTimeAreaHour.xml") + "\n" + gallery("saleTimeAreaWeek.xml") + "\n" +
                               gallery("saleTimeAreaMonth.xml") + "\n");

    CliRun trend = analyse(dir, "trend --shop 3 --from 2010-01-01 --to 2011-12-31");
    ASSERT_EQ(trend.status, 0) << trend.err;
    EXPECT_EQ(std::count(trend.out.begin(), trend.out.end(), '\n'), 6);
    EXPECT_NE(readFile(gallery("saleCarrentWeekList.xml")).find("2011"), std::string::npos);
    // The pages come along, reachable under the other spelling too.
    EXPECT_TRUE(std::filesystem::is_regular_file(dir / "data" / "Gallery" / "saleCarrent.html"));
}

TEST_F(AnalyseCli, TheDatesDefaultToThisYearUpToToday) {
    CliRun run = analyse(dir, "ranking --shop 1");
    ASSERT_EQ(run.status, 0) << run.err;
    std::time_t now = std::time(nullptr);
    char today[16];
    std::strftime(today, sizeof today, "%Y-%m-%d", std::localtime(&now));
    std::string expected = "subcaption='" + std::string(today, 4) + "-01-01~" + today + "销售量排行'";
    EXPECT_NE(vantor::test::gbkFileAsUtf8(gallery("saleLine2d.xml")).find(expected), std::string::npos);
}

TEST_F(AnalyseCli, AShopWithoutItemsOrABadArgumentIsRefused) {
    CliRun noShop = analyse(dir, "trend --shop 5");
    EXPECT_EQ(noShop.status, 2);
    EXPECT_NE(noShop.err.find("没有选择要分析的店铺，请选择！"), std::string::npos) << noShop.err;
    EXPECT_FALSE(std::filesystem::exists(dir / "data" / "gallery" / "saleCarrentDay.xml"));

    EXPECT_EQ(analyse(dir, "ranking --shop 1 --from 2011/01/01").status, 2);
    EXPECT_EQ(analyse(dir, "ranking --shop 1 --to 2011-02-30").status, 2);
    EXPECT_EQ(analyse(dir, "ranking").status, 2);
    EXPECT_EQ(analyse(dir, "rating --shop 1").status, 2);
}

TEST_F(AnalyseCli, AnUnwritableGalleryIsAFailedJob) {
    vantor::test::writeFile(dir / "data" / "gallery", "a file where the folder belongs");
    CliRun run = analyse(dir, "ranking --shop 1");
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("生成数据出错！"), std::string::npos) << run.err;
}

} // namespace
