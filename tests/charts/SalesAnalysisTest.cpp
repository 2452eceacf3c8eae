#include "charts/SalesAnalysis.h"
#include "SalesFixture.h"
#include "db/TDM.h"
#include "support/Stores.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace vantor;
using namespace vantor::charts;
using vantor::test::crlfLines;
using vantor::test::gbkFileAsUtf8;
using vantor::test::listDocument;
using vantor::test::TempDir;

namespace {

const std::vector<std::string> kRankTags{"排名", "商品", "销售量", "销售额", "单价"};
const std::string kBag = "Tom's \"A&B\" 包";
const std::string kBagInList = "Tom's \"AB\" 包"; // the lists drop the "&"

// A chart document: start tag, the given set lines, end tag.
std::string chart(const std::string& subcaption, const std::string& caption, const std::string& x,
                  const std::string& y, std::vector<std::string> sets) {
    sets.insert(sets.begin(), "<graph  subcaption='" + subcaption + "' caption='" + caption +
                                  "' xAxisName='" + x + "' yAxisName='" + y +
                                  "'  showNames='1' showValues='0'  showAlternateHGridColor='1' "
                                  "AlternateHGridColor='ff5904' divLineColor='ff5904' divLineAlpha='20' "
                                  "alternateHGridAlpha='5'  baseFontSize='12' decimalPrecision='0' "
                                  "formatNumberScale='0' chartRightMargin='30'  >");
    sets.push_back("</graph>");
    return crlfLines(sets);
}

// A set line whose hover text is its name.
std::string named(const std::string& name, int value, bool shown = true) {
    return "<set name='" + name + "' hoverText='" + name + "' value='" + std::to_string(value) + "' " +
           (shown ? "" : "showName='0' ") + "/>";
}

// A period of a trend: its axis name, its label, pieces sold, amount and average price.
struct Period {
    std::string name, label;
    int pieces;
    std::string amount, average;
};

std::string trendChart(const std::string& subcaption, const std::string& shop, const std::string& x,
                       const std::vector<Period>& periods) {
    std::vector<std::string> sets;
    for (const Period& p : periods)
        sets.push_back("<set name='" + p.name + "' hoverText='" + p.label + ",金额：" + p.amount + ",均价：" +
                       p.average + ",销售量' value='" + std::to_string(p.pieces) + ".00' />");
    return chart(subcaption, shop, x, "销售数", sets);
}

std::string trendList(const std::vector<Period>& periods) {
    std::vector<std::vector<std::string>> rows;
    for (const Period& p : periods)
        rows.push_back({p.label, std::to_string(p.pieces), p.amount, p.average});
    return listDocument({"日期", "销售量", "销售额", "均价"}, rows);
}

class Recorder : public AnalysisObserver {
public:
    void showMessage(const std::string& text) override { messages.push_back(text); }
    void documentWritten(const std::filesystem::path& file) override {
        written.push_back(file.filename().string());
    }
    std::vector<std::string> messages;
    std::vector<std::string> written;
};

// The fixture's shops on a store of the engine.
class SalesAnalysisOn : public ::testing::Test {
protected:
    explicit SalesAnalysisOn(test::Engine engine)
        : data(dir / "data"), gallery(data, dir / "no-pages"), dm(test::storeOn(engine, data.database())) {
        data.create();
        dm.open();
        test::fillSalesFixture(dm.cn1());
    }

    AnalysisResult run(const Analysis& analysis, std::int64_t shop, const std::string& name,
                       const std::string& from = "2011-01-01", const std::string& to = "2011-12-31") {
        return runAnalysis(dm.cn1(), gallery, analysis, AnalysisRequest{shop, name, from, to}, recorder);
    }

    std::string document(const std::string& name) { return gbkFileAsUtf8(gallery.document(name)); }

    TempDir dir;
    DataFolder data;
    Gallery gallery;
    db::TDM dm;
    Recorder recorder;
};

// The documents on both engines; what does not depend on the engine, on the file.
class SalesAnalysisTest : public SalesAnalysisOn, public ::testing::WithParamInterface<test::Engine> {
protected:
    SalesAnalysisTest() : SalesAnalysisOn(GetParam()) {}
};

class SalesAnalysisOnFile : public SalesAnalysisOn {
protected:
    SalesAnalysisOnFile() : SalesAnalysisOn(test::Engine::File) {}
};

INSTANTIATE_TEST_SUITE_P(BothEngines, SalesAnalysisTest, test::kBothEngines, test::engineName);

TEST_P(SalesAnalysisTest, RankingWritesCountAndAmountChartsWithTheirLists) {
    ASSERT_EQ(run(salesRanking(), 1, "爱丽丝小店").outcome, AnalysisOutcome::Written);
    EXPECT_TRUE(recorder.messages.empty());
    EXPECT_EQ(recorder.written, (std::vector<std::string>{"saleLine2d.xml", "saleCount.xml",
                                                          "saleAmountLine2d.xml", "saleAmount.xml"}));

    // The scarf sold 4 at 2.50; the bag 3 at 10.50 and 1 at 9.90 (two prices, two rows). The raw
    // quote and "&" stay in the chart.
    EXPECT_EQ(document("saleLine2d.xml"),
              chart("2011-01-01~2011-12-31销售量排行", "爱丽丝小店", "商品", "销售数",
                    {"<set name='(1)' hoverText='围巾' value='4' />",
                     "<set name='(2)' hoverText='" + kBag + "' value='3' />",
                     "<set name='(3)' hoverText='" + kBag + "' value='1' />"}));
    EXPECT_EQ(document("saleCount.xml"), listDocument(kRankTags, {{"1", "围巾", "4", "10.00", "2.50"},
                                                                  {"2", kBagInList, "3", "31.50", "10.50"},
                                                                  {"3", kBagInList, "1", "9.90", "9.90"}}));

    // By amount the bag at 10.50 leads; values are whole numbers, 31.5 rounding to 32.
    EXPECT_EQ(document("saleAmountLine2d.xml"),
              chart("2011-01-01~2011-12-31销售额排行", "爱丽丝小店", "商品", "销售额",
                    {"<set name='(1)' hoverText='" + kBag + "' value='32' />",
                     "<set name='(2)' hoverText='围巾' value='10' />",
                     "<set name='(3)' hoverText='" + kBag + "' value='10' />"}));
    EXPECT_EQ(document("saleAmount.xml"), listDocument(kRankTags, {{"1", kBagInList, "3", "31.50", "10.50"},
                                                                   {"2", "围巾", "4", "10.00", "2.50"},
                                                                   {"3", kBagInList, "1", "9.90", "9.90"}}));
}

TEST_P(SalesAnalysisTest, TimeDistributionCountsRecordsByHourWeekdayAndMonthDescending) {
    ASSERT_EQ(run(salesTimeDistribution(), 1, "爱丽丝小店").outcome, AnalysisOutcome::Written);
    EXPECT_EQ(recorder.written, (std::vector<std::string>{"saleTimeAreaHour.xml", "saleTimeAreaWeek.xml",
                                                          "saleTimeAreaMonth.xml"}));
    EXPECT_EQ(document("saleTimeAreaHour.xml"),
              chart("2011-01-01~2011-12-31销售小时分布图", "爱丽丝小店", "小时", "销售数",
                    {named("23点", 1), named("10点", 2), named("8点", 1), named("0点", 1)}));
    // 2011-03-05 and 2011-12-31 are Saturdays (7), 2011-03-06 a Sunday (1), 2011-12-30 a Friday (6).
    EXPECT_EQ(document("saleTimeAreaWeek.xml"),
              chart("2011-01-01~2011-12-31销售星期分布图", "爱丽丝小店", "星期", "销售数",
                    {named("星期7", 2), named("星期6", 1), named("星期1", 2)}));
    EXPECT_EQ(document("saleTimeAreaMonth.xml"),
              chart("2011-01-01~2011-12-31销售月分布图", "爱丽丝小店", "月份", "销售数",
                    {named("12月", 2), named("3月", 3)}));
}

TEST_P(SalesAnalysisTest, TrendWritesDaysWeeksAndMonthsWithTwoDecimals) {
    ASSERT_EQ(run(salesTrend(), 1, "爱丽丝小店").outcome, AnalysisOutcome::Written);
    EXPECT_EQ(recorder.written,
              (std::vector<std::string>{"saleCarrentDay.xml", "saleCarrentDayList.xml", "saleCarrentWeek.xml",
                                        "saleCarrentWeekList.xml", "saleCarrentMonth.xml",
                                        "saleCarrentMonthList.xml"}));
    const std::vector<Period> days{{"3-5", "2011-3-5", 2, "21.00", "10.50"},
                                   {"3-6", "2011-3-6", 2, "20.40", "10.20"},
                                   {"12-30", "2011-12-30", 1, "2.50", "2.50"},
                                   {"12-31", "2011-12-31", 3, "7.50", "2.50"}};
    EXPECT_EQ(document("saleCarrentDay.xml"),
              trendChart("2011-01-01~2011-12-31日销售走势图", "爱丽丝小店", "日期", days));
    EXPECT_EQ(document("saleCarrentDayList.xml"), trendList(days));
    // 1 January 2011 is a Saturday, so week 2 starts on the 2nd; 5 March falls in week 10.
    const std::vector<Period> weeks{{"第10周", "2011年第10周", 2, "21.00", "10.50"},
                                    {"第11周", "2011年第11周", 2, "20.40", "10.20"},
                                    {"第53周", "2011年第53周", 4, "10.00", "2.50"}};
    EXPECT_EQ(document("saleCarrentWeek.xml"),
              trendChart("2011-01-01~2011-12-31周销售走势图", "爱丽丝小店", "年-周", weeks));
    EXPECT_EQ(document("saleCarrentWeekList.xml"), trendList(weeks));
    const std::vector<Period> months{{"3", "2011年3月", 4, "41.40", "10.30"},
                                     {"12", "2011年12月", 4, "10.00", "2.50"}};
    EXPECT_EQ(document("saleCarrentMonth.xml"),
              trendChart("2011-01-01~2011-12-31月销售走势图", "爱丽丝小店", "年-月", months));
    EXPECT_EQ(document("saleCarrentMonthList.xml"), trendList(months));
}

TEST_P(SalesAnalysisTest, WeeksAcrossTwoYearsAreOrderedByYearThenWeekNumber) {
    ASSERT_EQ(run(salesTrend(), 3, "跨年小铺", "2010-01-01", "2011-12-31").outcome, AnalysisOutcome::Written);
    // 1 January 2010 is a Friday: 26 February is in week 9, 5 March in week 10, 30 December in week 53.
    const std::vector<Period> weeks{{"第9周", "2010年第9周", 1, "5.00", "5.00"},
                                    {"第10周", "2010年第10周", 2, "10.00", "5.00"},
                                    {"第53周", "2010年第53周", 1, "8.00", "8.00"},
                                    {"第1周", "2011年第1周", 3, "24.00", "8.00"},
                                    {"第2周", "2011年第2周", 1, "8.00", "8.00"}};
    EXPECT_EQ(document("saleCarrentWeek.xml"),
              trendChart("2010-01-01~2011-12-31周销售走势图", "跨年小铺", "年-周", weeks));
    EXPECT_EQ(document("saleCarrentWeekList.xml"), trendList(weeks));
}

TEST_P(SalesAnalysisTest, TwentyFourPointsShowEverySecondName) {
    ASSERT_EQ(run(salesTimeDistribution(), 4, "全天候").outcome, AnalysisOutcome::Written);
    // 24 rows: step 2, so ranks 2, 4, … 24 (hours 22, 20, … 0) keep their names.
    std::vector<std::string> hours;
    for (int hour = 23; hour >= 0; --hour)
        hours.push_back(named(std::to_string(hour) + "点", 1, hour % 2 == 0));
    EXPECT_EQ(document("saleTimeAreaHour.xml"),
              chart("2011-01-01~2011-12-31销售小时分布图", "全天候", "小时", "销售数", hours));
    // The same day is one Sunday.
    EXPECT_EQ(document("saleTimeAreaWeek.xml"),
              chart("2011-01-01~2011-12-31销售星期分布图", "全天候", "星期", "销售数", {named("星期1", 24)}));
}

TEST_P(SalesAnalysisTest, AnEmptyRangeLeavesOnlyTheFrames) {
    for (const Analysis* analysis : salesAnalyses())
        ASSERT_EQ(run(*analysis, 1, "爱丽丝小店", "2009-01-01", "2009-12-31").outcome,
                  AnalysisOutcome::Written);
    EXPECT_EQ(recorder.written.size(), 13u);
    EXPECT_EQ(document("saleLine2d.xml"),
              chart("2009-01-01~2009-12-31销售量排行", "爱丽丝小店", "商品", "销售数", {}));
    EXPECT_EQ(document("saleTimeAreaMonth.xml"),
              chart("2009-01-01~2009-12-31销售月分布图", "爱丽丝小店", "月份", "销售数", {}));
    for (const char* list : {"saleCount.xml", "saleAmount.xml", "saleCarrentDayList.xml",
                             "saleCarrentWeekList.xml", "saleCarrentMonthList.xml"})
        EXPECT_EQ(document(list), listDocument({}, {})) << list;
}

TEST_F(SalesAnalysisOnFile, WithoutAShopNothingIsWritten) {
    auto result = runAnalysis(dm.cn1(), gallery, salesRanking(), std::nullopt, recorder);
    EXPECT_EQ(result.outcome, AnalysisOutcome::NoShop);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"没有选择要分析的店铺，请选择！"});
    EXPECT_FALSE(std::filesystem::exists(gallery.folder()));
}

TEST_F(SalesAnalysisOnFile, AFailureStopsTheRunAndKeepsWhatWasWritten) {
    gallery.prepare();
    std::filesystem::create_directory(gallery.document("saleCount.xml")); // cannot be written as a file
    auto result = run(salesRanking(), 1, "爱丽丝小店");
    EXPECT_EQ(result.outcome, AnalysisOutcome::Failed);
    EXPECT_FALSE(result.error.empty());
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"生成数据出错！"});
    EXPECT_EQ(recorder.written, std::vector<std::string>{"saleLine2d.xml"});
    EXPECT_TRUE(std::filesystem::exists(gallery.document("saleLine2d.xml")));
    EXPECT_FALSE(std::filesystem::exists(gallery.document("saleAmountLine2d.xml")));

    recorder = {};
    EXPECT_EQ(run(salesTrend(), 1, "爱丽丝小店", "2011-13-01", "2011-12-31").outcome,
              AnalysisOutcome::Failed);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"生成数据出错！"});
    EXPECT_TRUE(recorder.written.empty());
}

TEST_F(SalesAnalysisOnFile, EveryStatementReadsTheSalesFromAnIndexAlone) {
    // A shop's sales lie scattered over the table; reading them row by row is what makes a large
    // shop slow, so the plan must find sj, amount and getNum in the index it searches by item.
    for (const Analysis* analysis : salesAnalyses())
        for (const ChartSpec& chart : analysis->charts) {
            auto plan = dm.cn1().prepare("explain query plan " + std::string(chart.statement));
            plan.bind("id", 1).bind("sj1", "2011-01-01 00:00:00").bind("sj2", "2011-12-31 00:00:00");
            std::string steps;
            while (plan.step())
                steps += plan.text(3) + "\n";
            EXPECT_NE(steps.find("SEARCH b USING COVERING INDEX"), std::string::npos)
                << chart.chartFile << "\n"
                << steps;
        }
}

TEST_P(SalesAnalysisTest, TheRangeStartsAtTheFirstDaysMidnightAndEqualCountsRankByAmount) {
    // From 6 March the 5 March sale drops out: the bag sold one at 10.50 and one at 9.90, and 10.50
    // leads the tie.
    ASSERT_EQ(run(salesRanking(), 1, "爱丽丝小店", "2011-03-06").outcome, AnalysisOutcome::Written);
    EXPECT_EQ(document("saleCount.xml"), listDocument(kRankTags, {{"1", "围巾", "4", "10.00", "2.50"},
                                                                  {"2", kBagInList, "1", "10.50", "10.50"},
                                                                  {"3", kBagInList, "1", "9.90", "9.90"}}));
}

TEST_P(SalesAnalysisTest, TheShopListPutsTheNewestUpdateThenTheHigherCreditFirst) {
    std::vector<std::pair<std::int64_t, std::string>> got;
    for (const auto& shop : loadShopList(dm.cn1(), salesRanking()))
        got.emplace_back(shop.id, shop.name);
    // Shop 5 has no items and is not offered.
    EXPECT_EQ(got, (std::vector<std::pair<std::int64_t, std::string>>{
                       {2, "鲍勃"}, {3, "跨年小铺"}, {1, "爱丽丝小店"}, {4, "全天候"}}));
}

TEST(SalesAnalysisLinks, AMarkerAnywhereInTheAddressNamesItsList) {
    // The browser hands the host lower-cased; a marker inside another address counts too; each window
    // answers only its own markers ("": no list, the address is followed).
    const struct {
        const Analysis& analysis;
        const char* address;
        const char* list;
    } cases[] = {
        {salesRanking(), "sale://salecount_/", "saleCount.xml"},
        {salesRanking(), "file:///data/Gallery/x.html?go=SALE://SALEAMOUNT_/#top", "saleAmount.xml"},
        {salesRanking(), "sale://saleCount/", ""},
        {salesRanking(), "file:///data/Gallery/saleAnalyse.html", ""},
        {salesRanking(), "sale://saleCarrentDay_/", ""},
        {salesTrend(), "sale://salecarrentweek_/", "saleCarrentWeekList.xml"},
        {salesTrend(), "sale://saleCarrentMonth_/", "saleCarrentMonthList.xml"},
        {salesTrend(), "x sale://saleCarrentDay_/", "saleCarrentDayList.xml"},
        {salesTimeDistribution(), "sale://saleCount_/", ""},
    };
    for (const auto& c : cases) {
        const ListLink* link = c.analysis.linkFor(c.address);
        EXPECT_EQ(link ? std::string(link->listFile) : "", c.list) << c.address;
    }
}

TEST_F(SalesAnalysisOnFile, ExportCopiesTheLastRunsListOverAnExistingFile) {
    const ListLink& link = *salesRanking().linkFor("sale://saleCount_/");
    auto target = dir / "导出.xml";
    EXPECT_FALSE(exportListDocument(gallery, link, target, recorder)); // no run yet
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"文件无法导出，请重新分析后，再进行导出！"});

    ASSERT_EQ(run(salesRanking(), 2, "鲍勃").outcome, AnalysisOutcome::Written);
    test::writeFile(target, "old content that is longer than nothing");
    recorder.messages.clear();
    EXPECT_TRUE(exportListDocument(gallery, link, target, recorder));
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"文件导出成功！"});
    EXPECT_EQ(test::readFile(target), test::readFile(gallery.document("saleCount.xml")));
}

TEST_F(SalesAnalysisOnFile, AListExportNamedCsvWritesTheRowsAsCsvInTheChosenEncoding) {
    const ListLink& link = *salesTrend().linkFor("sale://saleCarrentMonth_/");
    auto csv = dir / "月销售.CSV";
    EXPECT_FALSE(exportList(gallery, link, csv, recorder)); // no run yet, nothing written
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"文件无法导出，请重新分析后，再进行导出！"});
    EXPECT_FALSE(std::filesystem::exists(csv));

    ASSERT_EQ(run(salesTrend(), 3, "跨年小铺", "2010-01-01", "2011-12-31").outcome, AnalysisOutcome::Written);
    recorder.messages.clear();
    EXPECT_TRUE(exportList(gallery, link, csv, recorder, ExportEncoding::Utf8Bom));
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"文件导出成功！"});
    const std::string text = test::readFile(csv);
    EXPECT_EQ(text.substr(0, 3), "\xEF\xBB\xBF");
    EXPECT_EQ(text.substr(3, text.find("\r\n") - 3), "日期,销售量,销售额,均价");
    // One line per row of the list, which holds four months.
    ASSERT_EQ(readListDocument(gallery.document(link.listFile)).size(), 4u)
        << test::readFile(gallery.document(link.listFile));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5);
    EXPECT_NE(text.find("\r\n2010年2月,1,5.00,5.00,\r\n"), std::string::npos) << text;

    // Any other ending gets the XML document itself.
    auto xml = dir / "月销售.txt";
    EXPECT_TRUE(exportList(gallery, link, xml, recorder));
    EXPECT_EQ(test::readFile(xml), test::readFile(gallery.document(link.listFile)));
}

} // namespace
