#include "charts/RatingAnalysis.h"
#include "SalesFixture.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace vantor;
using namespace vantor::charts;

namespace {

RatingRecord rating(std::string time, std::string grade = "好评", bool counts = true) {
    return {std::move(time), std::move(grade), counts, "买家", 20, "很好", "商品"};
}

using PeriodCounts = std::tuple<std::string, int, int, int, int, long long, std::string>;
std::vector<PeriodCounts> counts(const std::vector<CreditPeriod>& periods) {
    std::vector<PeriodCounts> out;
    for (const CreditPeriod& p : periods)
        out.emplace_back(p.label, p.good, p.neutral, p.bad, p.gained, p.cumulative,
                         fixedTwoDecimals(p.goodRate));
    return out;
}

// Across the turn of 2010: 30 and 31 December are week 53 of 2010, Saturday 1 January alone is week 1
// of 2011, Sunday 2 January starts week 2, 1 February is in week 6. The "[不计分]" good rating of
// 1 January adds nothing; the credit before the range is 100.
const std::vector<RatingRecord> kTurnOfTheYear = {
    rating("2010-12-30 10:00:00"),
    rating("2010-12-31 23:59:59", "差评"),
    rating("2011-01-01 00:00:00", "好评", false),
    rating("2011-01-02 08:00:00", "中评"),
    rating("2011-01-08 12:00:00"),
    rating("2011-02-01 09:30:00"),
};

} // namespace

TEST(CreditGrowth, WeeksAndMonthsAcrossTheTurnOfTheYear) {
    EXPECT_EQ(counts(creditPeriods(kTurnOfTheYear, Period::Week, 100)),
              (std::vector<PeriodCounts>{{"2010年第53周", 1, 0, 1, 0, 100, "50.00"},
                                         {"2011年第1周", 1, 0, 0, 0, 100, "100.00"},
                                         {"2011年第2周", 1, 1, 0, 1, 101, "50.00"},
                                         {"2011年第6周", 1, 0, 0, 1, 102, "100.00"}}));
    EXPECT_EQ(counts(creditPeriods(kTurnOfTheYear, Period::Month, 100)),
              (std::vector<PeriodCounts>{{"2010年12月", 1, 0, 1, 0, 100, "50.00"},
                                         {"2011年1月", 2, 1, 0, 1, 101, "66.67"},
                                         {"2011年2月", 1, 0, 0, 1, 102, "100.00"}}));
}

TEST(CreditGrowth, DocumentsReadTheShopsRatingsOfTheWholeRangeAndTheCreditBeforeIt) {
    test::TempDir dir;
    db::TDM dm(dir / "lmd_pin.db");
    dm.open();
    dm.cn1().exec("insert into dianbase(id,dianming) values(1,'信用小铺'),(2,'别家');"
                  "insert into pjinfo(dian_id,pj,pjsj,trade_id) values"
                  "(1,'好评','2010-06-01 00:00:00','t1'),(1,'好评','2010-06-02 00:00:00','t2'),"
                  "(1,'好评','2010-06-03 00:00:00','t3'),(1,'差评','2011-01-03 09:00:00','t4'),"
                  "(1,'好评','2011-01-08 23:59:59','t5'),(1,'好评','2011-01-09 00:00:00','t6'),"
                  "(2,'好评','2011-01-04 00:00:00','t1');"
                  "insert into pjNoEffect(dian_id,trade_id) values(1,'t3'),(2,'t4');");
    struct Paths : AnalysisObserver {
        void showMessage(const std::string& text) override { message = text; }
        void documentWritten(const std::filesystem::path&) override { ++written; }
        std::string message;
        int written = 0;
    } observer;
    Gallery gallery(DataFolder(dir.path()));
    const auto result = runAnalysis(dm.cn1(), gallery, creditGrowth(),
                                    AnalysisRequest{1, "信用小铺", "2011-01-01", "2011-01-08"}, observer);
    ASSERT_EQ(result.outcome, AnalysisOutcome::Written) << result.error;
    EXPECT_EQ(observer.written, 4);
    // Two counted good ratings before the range; t4 and t5 of week 2, t5 at the range's last second.
    EXPECT_EQ(test::gbkFileAsUtf8(gallery.document("rateTrendWeekList.xml")),
              test::listDocument({"日期", "好评", "中评", "差评", "信用增加", "累计信用", "好评率"},
                                 {{"2011年第2周", "1", "0", "1", "0", "2", "50.00%"}}));
    const std::string chart = test::gbkFileAsUtf8(gallery.document("Line2d.xml"));
    EXPECT_NE(
        chart.find("subcaption='2011-01-01~2011-01-08周信用走势图' caption='信用小铺' xAxisName='年-周'"),
        std::string::npos);
    EXPECT_NE(
        chart.find(
            "<set name='第2周' hoverText='2011年第2周,好评：1,中评：0,差评：1,累计信用：2,好评率：50.00%,"
            "信用增加' value='0' good='1' neutral='0' bad='1' cumulative='2' />"),
        std::string::npos);
    // Only shops with ratings are offered.
    std::vector<std::string> names;
    for (const ShopChoice& shop : loadShopList(dm.cn1(), creditGrowth()))
        names.push_back(shop.name);
    EXPECT_EQ(names, (std::vector<std::string>{"信用小铺", "别家"}));
}

TEST(RatingCheck, EveryLineOfTheCardOnBothSidesOfItsThreshold) {
    // A quiet shop: one rating a day for 100 days, every rater once, 20 yuan, a comment each.
    std::vector<RatingRecord> quiet;
    for (int i = 0; i < 100; ++i) {
        const DateTime day = DateTime{2011, 1, 1}.addDays(i);
        quiet.push_back(
            {day.toDateString() + " 10:00:00", "好评", true, "买家" + std::to_string(i), 20, "很好", "商品"});
    }
    auto verdicts = [](const std::vector<RatingRecord>& ratings) {
        std::vector<bool> pass;
        for (const CheckLine& line : checkRatings(ratings).card)
            pass.push_back(line.pass);
        return pass;
    };
    EXPECT_EQ(verdicts(quiet), std::vector<bool>(5, true));

    // Each figure just at its limit passes: 10 ratings from one rater, 2 of them beyond the first of a
    // day, 30 cheap trades, 50 automatic or empty comments, one burst day.
    auto atLimit = quiet;
    for (int i = 0; i < 10; ++i)
        atLimit[size_t(i)].rater = "回头客";
    atLimit[1].time = atLimit[2].time = atLimit[0].time;
    for (int i = 0; i < 30; ++i)
        atLimit[size_t(i)].price = 9.9;
    for (int i = 0; i < 50; ++i)
        atLimit[size_t(i)].comment = i % 2 ? "评价方未及时做出评价,系统默认好评!" : " ";
    for (int i = 90; i < 98; ++i)
        atLimit[size_t(i)].time = atLimit[90].time;
    EXPECT_EQ(verdicts(atLimit), std::vector<bool>(5, true));
    const RatingCheck check = checkRatings(atLimit);
    EXPECT_EQ(check.card[0].figure, "1位买家，10条评价，占10.00%");
    EXPECT_EQ(check.card[4].figure, "1天（突增日好评率100.00%，其余100.00%）");
    EXPECT_EQ(check.repeatRaters.size(), 1u);
    EXPECT_EQ(check.repeatRaters[0].sameDay, 2);

    // One more of each warns.
    auto beyond = atLimit;
    beyond[10].rater = "回头客";
    beyond[3].time = beyond[0].time;
    beyond[30].price = 5;
    beyond[50].comment = "";
    for (int i = 80; i < 88; ++i)
        beyond[size_t(i)].time = beyond[80].time;
    EXPECT_EQ(verdicts(beyond), std::vector<bool>(5, false));

    // Masked raters are many buyers, never one who repeats.
    auto masked = quiet;
    for (auto& r : masked)
        r.rater = "a***1";
    EXPECT_TRUE(checkRatings(masked).repeatRaters.empty());
}

TEST(RatingCheck, TheBurstTestIsAPoissonTail) {
    EXPECT_NEAR(poissonTail(1, 1), 1 - std::exp(-1.0), 1e-12);
    EXPECT_NEAR(poissonTail(1, 5), 0.00365985, 1e-7);
    EXPECT_NEAR(poissonTail(1000, 1100), 0.00088,
                0.0001); // a large mean neither underflows nor loses the tail
    EXPECT_EQ(poissonTail(2, 0), 1);
}
