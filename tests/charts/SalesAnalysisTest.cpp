#include "charts/SalesAnalysis.h"
#include "SalesFixture.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <set>

using namespace vantor;
using namespace vantor::charts;
using vantor::test::chartStart;
using vantor::test::crlfLines;
using vantor::test::gbkFileAsUtf8;
using vantor::test::TempDir;

namespace {

const std::string kAxesGoods = "' xAxisName='商品' yAxisName='销售数' ";
const std::string kAxesGoodsAmount = "' xAxisName='商品' yAxisName='销售额' ";
const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"gb2312\"?> ";

class Recorder : public AnalysisObserver {
public:
    void showMessage(const std::string& text) override { messages.push_back(text); }
    void documentWritten(const std::filesystem::path& file) override {
        written.push_back(file.filename().string());
    }
    std::vector<std::string> messages;
    std::vector<std::string> written;
};

class SalesAnalysisTest : public ::testing::Test {
protected:
    SalesAnalysisTest() : data(dir / "data"), gallery(data, dir / "no-pages"), dm(data.database()) {
        data.create();
        dm.open();
        test::fillSalesFixture(dm.cn1());
    }

    AnalysisResult run(const SalesAnalysis& analysis, std::int64_t shop, const std::string& name,
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

TEST_F(SalesAnalysisTest, RankingWritesCountAndAmountChartsWithTheirLists) {
    ASSERT_EQ(run(salesRanking(), 1, "爱丽丝小店").outcome, AnalysisOutcome::Written);
    EXPECT_TRUE(recorder.messages.empty());
    EXPECT_EQ(recorder.written, (std::vector<std::string>{"saleLine2d.xml", "saleCount.xml",
                                                          "saleAmountLine2d.xml", "saleAmount.xml"}));

    // The scarf sold 4 at 2.50; the bag 3 at 10.50 and 1 at 9.90 (two prices, two rows). The raw
    // quote and "&" stay in the chart; the lists drop the "&".
    EXPECT_EQ(document("saleLine2d.xml"),
              crlfLines({chartStart("2011-01-01~2011-12-31销售量排行", "爱丽丝小店", kAxesGoods),
                         "<set name='(1)' hoverText='围巾' value='4' />",
                         "<set name='(2)' hoverText='Tom's \"A&B\" 包' value='3' />",
                         "<set name='(3)' hoverText='Tom's \"A&B\" 包' value='1' />", "</graph>"}));
    EXPECT_EQ(document("saleCount.xml"), crlfLines({kDeclaration,
                                                    "<shop>",
                                                    "<sale>",
                                                    "<排名>1</排名>",
                                                    "<商品>围巾</商品>",
                                                    "<销售量>4</销售量>",
                                                    "<销售额>10.00</销售额>",
                                                    "<单价>2.50</单价>",
                                                    "</sale>",
                                                    "<sale>",
                                                    "<排名>2</排名>",
                                                    "<商品>Tom's \"AB\" 包</商品>",
                                                    "<销售量>3</销售量>",
                                                    "<销售额>31.50</销售额>",
                                                    "<单价>10.50</单价>",
                                                    "</sale>",
                                                    "<sale>",
                                                    "<排名>3</排名>",
                                                    "<商品>Tom's \"AB\" 包</商品>",
                                                    "<销售量>1</销售量>",
                                                    "<销售额>9.90</销售额>",
                                                    "<单价>9.90</单价>",
                                                    "</sale>",
                                                    "</shop>"}));

    // By amount the bag at 10.50 leads; values are whole numbers, 31.5 rounding to 32.
    EXPECT_EQ(document("saleAmountLine2d.xml"),
              crlfLines({chartStart("2011-01-01~2011-12-31销售额排行", "爱丽丝小店", kAxesGoodsAmount),
                         "<set name='(1)' hoverText='Tom's \"A&B\" 包' value='32' />",
                         "<set name='(2)' hoverText='围巾' value='10' />",
                         "<set name='(3)' hoverText='Tom's \"A&B\" 包' value='10' />", "</graph>"}));
    EXPECT_EQ(document("saleAmount.xml"), crlfLines({kDeclaration,
                                                     "<shop>",
                                                     "<sale>",
                                                     "<排名>1</排名>",
                                                     "<商品>Tom's \"AB\" 包</商品>",
                                                     "<销售量>3</销售量>",
                                                     "<销售额>31.50</销售额>",
                                                     "<单价>10.50</单价>",
                                                     "</sale>",
                                                     "<sale>",
                                                     "<排名>2</排名>",
                                                     "<商品>围巾</商品>",
                                                     "<销售量>4</销售量>",
                                                     "<销售额>10.00</销售额>",
                                                     "<单价>2.50</单价>",
                                                     "</sale>",
                                                     "<sale>",
                                                     "<排名>3</排名>",
                                                     "<商品>Tom's \"AB\" 包</商品>",
                                                     "<销售量>1</销售量>",
                                                     "<销售额>9.90</销售额>",
                                                     "<单价>9.90</单价>",
                                                     "</sale>",
                                                     "</shop>"}));
}

TEST_F(SalesAnalysisTest, TimeDistributionCountsRecordsByHourWeekdayAndMonthDescending) {
    ASSERT_EQ(run(salesTimeDistribution(), 1, "爱丽丝小店").outcome, AnalysisOutcome::Written);
    EXPECT_EQ(recorder.written, (std::vector<std::string>{"saleTimeAreaHour.xml", "saleTimeAreaWeek.xml",
                                                          "saleTimeAreaMonth.xml"}));
    EXPECT_EQ(document("saleTimeAreaHour.xml"),
              crlfLines({chartStart("2011-01-01~2011-12-31销售小时分布图", "爱丽丝小店",
                                    "' xAxisName='小时' yAxisName='销售数' "),
                         "<set name='23点' hoverText='23点' value='1' />",
                         "<set name='10点' hoverText='10点' value='2' />",
                         "<set name='8点' hoverText='8点' value='1' />",
                         "<set name='0点' hoverText='0点' value='1' />", "</graph>"}));
    // 2011-03-05 and 2011-12-31 are Saturdays (7), 2011-03-06 a Sunday (1), 2011-12-30 a Friday (6).
    EXPECT_EQ(document("saleTimeAreaWeek.xml"),
              crlfLines({chartStart("2011-01-01~2011-12-31销售星期分布图", "爱丽丝小店",
                                    "' xAxisName='星期' yAxisName='销售数' "),
                         "<set name='星期7' hoverText='星期7' value='2' />",
                         "<set name='星期6' hoverText='星期6' value='1' />",
                         "<set name='星期1' hoverText='星期1' value='2' />", "</graph>"}));
    EXPECT_EQ(document("saleTimeAreaMonth.xml"),
              crlfLines({chartStart("2011-01-01~2011-12-31销售月分布图", "爱丽丝小店",
                                    "' xAxisName='月份' yAxisName='销售数' "),
                         "<set name='12月' hoverText='12月' value='2' />",
                         "<set name='3月' hoverText='3月' value='3' />", "</graph>"}));
    // The bytes on disk are GBK: 月 is D4 C2.
    EXPECT_NE(test::readFile(gallery.document("saleTimeAreaMonth.xml"))
                  .find("<set name='12\xD4\xC2' hoverText='12\xD4\xC2' value='2' />\r\n"),
              std::string::npos);
}

TEST_F(SalesAnalysisTest, TrendWritesDaysWeeksAndMonthsWithTwoDecimals) {
    ASSERT_EQ(run(salesTrend(), 1, "爱丽丝小店").outcome, AnalysisOutcome::Written);
    EXPECT_EQ(recorder.written,
              (std::vector<std::string>{"saleCarrentDay.xml", "saleCarrentDayList.xml", "saleCarrentWeek.xml",
                                        "saleCarrentWeekList.xml", "saleCarrentMonth.xml",
                                        "saleCarrentMonthList.xml"}));
    EXPECT_EQ(
        document("saleCarrentDay.xml"),
        crlfLines({chartStart("2011-01-01~2011-12-31日销售走势图", "爱丽丝小店",
                              "' xAxisName='日期' yAxisName='销售数' "),
                   "<set name='3-5' hoverText='2011-3-5,金额：21.00,均价：10.50,销售量' value='2.00' />",
                   "<set name='3-6' hoverText='2011-3-6,金额：20.40,均价：10.20,销售量' value='2.00' />",
                   "<set name='12-30' hoverText='2011-12-30,金额：2.50,均价：2.50,销售量' value='1.00' />",
                   "<set name='12-31' hoverText='2011-12-31,金额：7.50,均价：2.50,销售量' value='3.00' />",
                   "</graph>"}));
    EXPECT_EQ(document("saleCarrentDayList.xml"), crlfLines({kDeclaration,
                                                             "<shop>",
                                                             "<sale>",
                                                             "<日期>2011-3-5</日期>",
                                                             "<销售量>2</销售量>",
                                                             "<销售额>21.00</销售额>",
                                                             "<均价>10.50</均价>",
                                                             "</sale>",
                                                             "<sale>",
                                                             "<日期>2011-3-6</日期>",
                                                             "<销售量>2</销售量>",
                                                             "<销售额>20.40</销售额>",
                                                             "<均价>10.20</均价>",
                                                             "</sale>",
                                                             "<sale>",
                                                             "<日期>2011-12-30</日期>",
                                                             "<销售量>1</销售量>",
                                                             "<销售额>2.50</销售额>",
                                                             "<均价>2.50</均价>",
                                                             "</sale>",
                                                             "<sale>",
                                                             "<日期>2011-12-31</日期>",
                                                             "<销售量>3</销售量>",
                                                             "<销售额>7.50</销售额>",
                                                             "<均价>2.50</均价>",
                                                             "</sale>",
                                                             "</shop>"}));
    // 1 January 2011 is a Saturday, so week 2 starts on the 2nd; 5 March falls in week 10.
    EXPECT_EQ(
        document("saleCarrentWeek.xml"),
        crlfLines(
            {chartStart("2011-01-01~2011-12-31周销售走势图", "爱丽丝小店",
                        "' xAxisName='年-周' yAxisName='销售数' "),
             "<set name='第10周' hoverText='2011年第10周,金额：21.00,均价：10.50,销售量' value='2.00' />",
             "<set name='第11周' hoverText='2011年第11周,金额：20.40,均价：10.20,销售量' value='2.00' />",
             "<set name='第53周' hoverText='2011年第53周,金额：10.00,均价：2.50,销售量' value='4.00' />",
             "</graph>"}));
    EXPECT_EQ(document("saleCarrentWeekList.xml"), crlfLines({kDeclaration,
                                                              "<shop>",
                                                              "<sale>",
                                                              "<日期>2011年第10周</日期>",
                                                              "<销售量>2</销售量>",
                                                              "<销售额>21.00</销售额>",
                                                              "<均价>10.50</均价>",
                                                              "</sale>",
                                                              "<sale>",
                                                              "<日期>2011年第11周</日期>",
                                                              "<销售量>2</销售量>",
                                                              "<销售额>20.40</销售额>",
                                                              "<均价>10.20</均价>",
                                                              "</sale>",
                                                              "<sale>",
                                                              "<日期>2011年第53周</日期>",
                                                              "<销售量>4</销售量>",
                                                              "<销售额>10.00</销售额>",
                                                              "<均价>2.50</均价>",
                                                              "</sale>",
                                                              "</shop>"}));
    EXPECT_EQ(
        document("saleCarrentMonth.xml"),
        crlfLines({chartStart("2011-01-01~2011-12-31月销售走势图", "爱丽丝小店",
                              "' xAxisName='年-月' yAxisName='销售数' "),
                   "<set name='3' hoverText='2011年3月,金额：41.40,均价：10.30,销售量' value='4.00' />",
                   "<set name='12' hoverText='2011年12月,金额：10.00,均价：2.50,销售量' value='4.00' />",
                   "</graph>"}));
    EXPECT_EQ(document("saleCarrentMonthList.xml"),
              crlfLines({kDeclaration, "<shop>", "<sale>", "<日期>2011年3月</日期>", "<销售量>4</销售量>",
                         "<销售额>41.40</销售额>", "<均价>10.30</均价>", "</sale>", "<sale>",
                         "<日期>2011年12月</日期>", "<销售量>4</销售量>", "<销售额>10.00</销售额>",
                         "<均价>2.50</均价>", "</sale>", "</shop>"}));
}

TEST_F(SalesAnalysisTest, WeeksAcrossTwoYearsAreOrderedByYearThenWeekNumber) {
    ASSERT_EQ(run(salesTrend(), 3, "跨年小铺", "2010-01-01", "2011-12-31").outcome, AnalysisOutcome::Written);
    // 1 January 2010 is a Friday: 26 February is in week 9, 5 March in week 10, 30 December in week 53.
    EXPECT_EQ(
        document("saleCarrentWeek.xml"),
        crlfLines(
            {chartStart("2010-01-01~2011-12-31周销售走势图", "跨年小铺",
                        "' xAxisName='年-周' yAxisName='销售数' "),
             "<set name='第9周' hoverText='2010年第9周,金额：5.00,均价：5.00,销售量' value='1.00' />",
             "<set name='第10周' hoverText='2010年第10周,金额：10.00,均价：5.00,销售量' value='2.00' />",
             "<set name='第53周' hoverText='2010年第53周,金额：8.00,均价：8.00,销售量' value='1.00' />",
             "<set name='第1周' hoverText='2011年第1周,金额：24.00,均价：8.00,销售量' value='3.00' />",
             "<set name='第2周' hoverText='2011年第2周,金额：8.00,均价：8.00,销售量' value='1.00' />",
             "</graph>"}));
    EXPECT_EQ(document("saleCarrentWeekList.xml"), crlfLines({kDeclaration,
                                                              "<shop>",
                                                              "<sale>",
                                                              "<日期>2010年第9周</日期>",
                                                              "<销售量>1</销售量>",
                                                              "<销售额>5.00</销售额>",
                                                              "<均价>5.00</均价>",
                                                              "</sale>",
                                                              "<sale>",
                                                              "<日期>2010年第10周</日期>",
                                                              "<销售量>2</销售量>",
                                                              "<销售额>10.00</销售额>",
                                                              "<均价>5.00</均价>",
                                                              "</sale>",
                                                              "<sale>",
                                                              "<日期>2010年第53周</日期>",
                                                              "<销售量>1</销售量>",
                                                              "<销售额>8.00</销售额>",
                                                              "<均价>8.00</均价>",
                                                              "</sale>",
                                                              "<sale>",
                                                              "<日期>2011年第1周</日期>",
                                                              "<销售量>3</销售量>",
                                                              "<销售额>24.00</销售额>",
                                                              "<均价>8.00</均价>",
                                                              "</sale>",
                                                              "<sale>",
                                                              "<日期>2011年第2周</日期>",
                                                              "<销售量>1</销售量>",
                                                              "<销售额>8.00</销售额>",
                                                              "<均价>8.00</均价>",
                                                              "</sale>",
                                                              "</shop>"}));
}

TEST_F(SalesAnalysisTest, TwentyFourPointsShowEverySecondName) {
    ASSERT_EQ(run(salesTimeDistribution(), 4, "全天候").outcome, AnalysisOutcome::Written);
    // 24 rows: step 2, so ranks 2, 4, … 24 (hours 22, 20, … 0) keep their names.
    EXPECT_EQ(document("saleTimeAreaHour.xml"),
              crlfLines({chartStart("2011-01-01~2011-12-31销售小时分布图", "全天候",
                                    "' xAxisName='小时' yAxisName='销售数' "),
                         "<set name='23点' hoverText='23点' value='1' showName='0' />",
                         "<set name='22点' hoverText='22点' value='1' />",
                         "<set name='21点' hoverText='21点' value='1' showName='0' />",
                         "<set name='20点' hoverText='20点' value='1' />",
                         "<set name='19点' hoverText='19点' value='1' showName='0' />",
                         "<set name='18点' hoverText='18点' value='1' />",
                         "<set name='17点' hoverText='17点' value='1' showName='0' />",
                         "<set name='16点' hoverText='16点' value='1' />",
                         "<set name='15点' hoverText='15点' value='1' showName='0' />",
                         "<set name='14点' hoverText='14点' value='1' />",
                         "<set name='13点' hoverText='13点' value='1' showName='0' />",
                         "<set name='12点' hoverText='12点' value='1' />",
                         "<set name='11点' hoverText='11点' value='1' showName='0' />",
                         "<set name='10点' hoverText='10点' value='1' />",
                         "<set name='9点' hoverText='9点' value='1' showName='0' />",
                         "<set name='8点' hoverText='8点' value='1' />",
                         "<set name='7点' hoverText='7点' value='1' showName='0' />",
                         "<set name='6点' hoverText='6点' value='1' />",
                         "<set name='5点' hoverText='5点' value='1' showName='0' />",
                         "<set name='4点' hoverText='4点' value='1' />",
                         "<set name='3点' hoverText='3点' value='1' showName='0' />",
                         "<set name='2点' hoverText='2点' value='1' />",
                         "<set name='1点' hoverText='1点' value='1' showName='0' />",
                         "<set name='0点' hoverText='0点' value='1' />",
                         "</graph>"}));
    // The same day is one Sunday and one May.
    EXPECT_EQ(document("saleTimeAreaWeek.xml"),
              crlfLines({chartStart("2011-01-01~2011-12-31销售星期分布图", "全天候",
                                    "' xAxisName='星期' yAxisName='销售数' "),
                         "<set name='星期1' hoverText='星期1' value='24' />", "</graph>"}));
}

TEST_F(SalesAnalysisTest, AnEmptyRangeLeavesOnlyTheFrames) {
    for (const SalesAnalysis* analysis : salesAnalyses())
        ASSERT_EQ(run(*analysis, 1, "爱丽丝小店", "2009-01-01", "2009-12-31").outcome,
                  AnalysisOutcome::Written);
    EXPECT_EQ(recorder.written.size(), 13u);
    EXPECT_EQ(
        document("saleLine2d.xml"),
        crlfLines({chartStart("2009-01-01~2009-12-31销售量排行", "爱丽丝小店", kAxesGoods), "</graph>"}));
    EXPECT_EQ(document("saleTimeAreaMonth.xml"),
              crlfLines({chartStart("2009-01-01~2009-12-31销售月分布图", "爱丽丝小店",
                                    "' xAxisName='月份' yAxisName='销售数' "),
                         "</graph>"}));
    for (const char* list : {"saleCount.xml", "saleAmount.xml", "saleCarrentDayList.xml",
                             "saleCarrentWeekList.xml", "saleCarrentMonthList.xml"})
        EXPECT_EQ(document(list), crlfLines({kDeclaration, "<shop>", "</shop>"})) << list;
}

TEST_F(SalesAnalysisTest, AnotherShopsRunReplacesTheDocuments) {
    ASSERT_EQ(run(salesRanking(), 1, "爱丽丝小店").outcome, AnalysisOutcome::Written);
    ASSERT_EQ(run(salesRanking(), 2, "鲍勃").outcome, AnalysisOutcome::Written);
    EXPECT_EQ(document("saleLine2d.xml"),
              crlfLines({chartStart("2011-01-01~2011-12-31销售量排行", "鲍勃", kAxesGoods),
                         "<set name='(1)' hoverText='手套' value='7' />", "</graph>"}));
    EXPECT_EQ(document("saleCount.xml"),
              crlfLines({kDeclaration, "<shop>", "<sale>", "<排名>1</排名>", "<商品>手套</商品>",
                         "<销售量>7</销售量>", "<销售额>210.00</销售额>", "<单价>30.00</单价>", "</sale>",
                         "</shop>"}));
}

TEST_F(SalesAnalysisTest, WithoutAShopNothingIsWritten) {
    auto result = runAnalysis(dm.cn1(), gallery, salesRanking(), std::nullopt, recorder);
    EXPECT_EQ(result.outcome, AnalysisOutcome::NoShop);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"没有选择要分析的店铺，请选择！"});
    EXPECT_FALSE(std::filesystem::exists(gallery.folder()));
}

TEST_F(SalesAnalysisTest, AFailureStopsTheRunAndKeepsWhatWasWritten) {
    gallery.prepare();
    std::filesystem::create_directory(gallery.document("saleCount.xml")); // cannot be written as a file
    auto result = run(salesRanking(), 1, "爱丽丝小店");
    EXPECT_EQ(result.outcome, AnalysisOutcome::Failed);
    EXPECT_FALSE(result.error.empty());
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"生成数据出错！"});
    EXPECT_EQ(recorder.written, std::vector<std::string>{"saleLine2d.xml"});
    EXPECT_TRUE(std::filesystem::exists(gallery.document("saleLine2d.xml")));
    EXPECT_FALSE(std::filesystem::exists(gallery.document("saleAmountLine2d.xml")));
}

TEST_F(SalesAnalysisTest, AnUnreadableDateIsAFailedRun) {
    auto result = run(salesTrend(), 1, "爱丽丝小店", "2011-13-01", "2011-12-31");
    EXPECT_EQ(result.outcome, AnalysisOutcome::Failed);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{"生成数据出错！"});
    EXPECT_TRUE(recorder.written.empty());
}

TEST_F(SalesAnalysisTest, EveryStatementTakesTheShopAndTheTwoDates) {
    for (const SalesAnalysis* analysis : salesAnalyses())
        for (const ChartSpec& chart : analysis->charts) {
            auto statement = dm.cn1().prepare(chart.statement);
            auto names = statement.parameterNames();
            EXPECT_EQ(std::set<std::string>(names.begin(), names.end()),
                      (std::set<std::string>{":id", ":sj1", ":sj2"}))
                << chart.chartFile;
        }
}

TEST_F(SalesAnalysisTest, EveryStatementReadsTheSalesFromAnIndexAlone) {
    // A shop's sales lie scattered over the table; reading them row by row is what makes a large
    // shop slow, so the plan must find sj, amount and getNum in the index it searches by item.
    for (const SalesAnalysis* analysis : salesAnalyses())
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

TEST_F(SalesAnalysisTest, TheRankingStatementGroupsByItemAndPriceWithinTheShopAndRange) {
    auto statement = dm.cn1().prepare(salesRanking().charts[0].statement);
    statement.bind("id", 1).bind("sj1", "2011-03-06 00:00:00").bind("sj2", "2011-12-31 00:00:00");
    std::vector<std::tuple<std::string, double, double, double>> rows;
    while (statement.step())
        rows.emplace_back(statement.text(2), statement.real(0), statement.real(1), statement.real(3));
    // From 6 March: the scarf (4 at 2.50), then the bag at 10.50 and at 9.90, one each; 10.50 leads
    // the tie on turnover. The hat sold only in 2010 and drops out.
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[0], std::make_tuple(std::string("围巾"), 4.0, 2.5, 10.0));
    EXPECT_EQ(rows[1], std::make_tuple(std::string("Tom's \"A&B\" 包"), 1.0, 10.5, 10.5));
    EXPECT_EQ(rows[2], std::make_tuple(std::string("Tom's \"A&B\" 包"), 1.0, 9.9, 9.9));
}

TEST_F(SalesAnalysisTest, TheShopListPutsTheNewestUpdateThenTheHigherCreditFirst) {
    auto shops = loadShopList(dm.cn1());
    std::vector<std::pair<std::int64_t, std::string>> got;
    for (const auto& shop : shops)
        got.emplace_back(shop.id, shop.name);
    // Shop 5 has no items and is not offered.
    EXPECT_EQ(got, (std::vector<std::pair<std::int64_t, std::string>>{
                       {2, "鲍勃"}, {3, "跨年小铺"}, {1, "爱丽丝小店"}, {4, "全天候"}}));
}

TEST(SalesAnalysisDefaults, TheRangeStartsOnTheFirstOfJanuaryAndEndsToday) {
    DateRange range = defaultDateRange(DateTime{2012, 8, 9, 15, 4, 5});
    EXPECT_EQ(range.from, "2012-01-01");
    EXPECT_EQ(range.to, "2012-08-09");
}

TEST(SalesAnalysisLinks, AMarkerAnywhereInTheAddressNamesItsList) {
    const SalesAnalysis& ranking = salesRanking();
    ASSERT_NE(ranking.linkFor("sale://saleCount_/"), nullptr);
    EXPECT_EQ(ranking.linkFor("sale://saleCount_/")->listFile, "saleCount.xml");
    // The browser hands the host lower-cased; a marker inside another address counts too.
    EXPECT_EQ(ranking.linkFor("sale://salecount_/")->listFile, "saleCount.xml");
    EXPECT_EQ(ranking.linkFor("file:///data/Gallery/x.html?go=SALE://SALEAMOUNT_/#top")->listFile,
              "saleAmount.xml");
    EXPECT_EQ(ranking.linkFor("sale://saleCount/"), nullptr);
    EXPECT_EQ(ranking.linkFor("file:///data/Gallery/saleAnalyse.html"), nullptr);
    // Each window answers only its own markers.
    EXPECT_EQ(ranking.linkFor("sale://saleCarrentDay_/"), nullptr);
    EXPECT_EQ(salesTrend().linkFor("sale://salecarrentweek_/")->listFile, "saleCarrentWeekList.xml");
    EXPECT_EQ(salesTrend().linkFor("sale://saleCarrentMonth_/")->listFile, "saleCarrentMonthList.xml");
    EXPECT_EQ(salesTrend().linkFor("x sale://saleCarrentDay_/")->listFile, "saleCarrentDayList.xml");
    EXPECT_EQ(salesTimeDistribution().linkFor("sale://saleCount_/"), nullptr);
}

TEST_F(SalesAnalysisTest, ExportCopiesTheLastRunsListOverAnExistingFile) {
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

} // namespace
