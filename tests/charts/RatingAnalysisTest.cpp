#include "charts/RatingAnalysis.h"
#include "SalesFixture.h"
#include "db/TDM.h"
#include "support/Stores.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
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

TEST(RatingCheck, DaysRunFromTheFirstRatingToTheLastAndATimeThatIsNoDateIsADayOfItsOwn) {
    const RatingCheck check =
        checkRatings({rating("2011-01-01 10:00:00"), rating("2011-01-03 09:00:00"),
                      rating("2011-01-03 11:00:00", "中评"), rating("2011-13-01 00:00:00")});
    std::vector<std::tuple<std::string, int, int>> days;
    for (const RatingCheck::Day& day : check.days)
        days.emplace_back(day.date, day.ratings, day.good);
    EXPECT_EQ(days,
              (std::vector<std::tuple<std::string, int, int>>{
                  {"2011-01-01", 1, 1}, {"2011-01-02", 0, 0}, {"2011-01-03", 2, 1}, {"2011-13-01", 1, 1}}));
    EXPECT_DOUBLE_EQ(check.dailyNorm, 1.0);
}

TEST(RatingCheck, TheBurstTestIsAPoissonTail) {
    EXPECT_NEAR(poissonTail(1, 1), 1 - std::exp(-1.0), 1e-12);
    EXPECT_NEAR(poissonTail(1, 5), 0.00365985, 1e-7);
    EXPECT_NEAR(poissonTail(1000, 1100), 0.00088,
                0.0001); // a large mean neither underflows nor loses the tail
    EXPECT_EQ(poissonTail(2, 0), 1);
}

namespace {

// A shop's ratings in a store on either engine, for the rating check read from indexes against the
// same ratings checked in memory.
class RatingCheckOn : public ::testing::TestWithParam<test::Engine> {
protected:
    RatingCheckOn() : data(dir / "data"), gallery(data), dm(test::storeOn(GetParam(), data.database())) {
        data.create();
        dm.open();
    }
    test::TempDir dir;
    DataFolder data;
    Gallery gallery;
    db::TDM dm;
};

struct Card : AnalysisObserver {
    void showMessage(const std::string& text) override { message = text; }
    void documentWritten(const std::filesystem::path&) override {}
    void reportCard(const std::vector<CheckLine>& lines) override { card = lines; }
    std::string message;
    std::vector<CheckLine> card;
};

std::vector<std::string> figures(const std::vector<CheckLine>& card) {
    std::vector<std::string> out;
    for (const CheckLine& line : card)
        out.push_back(line.figure + (line.pass ? " 通过" : " 警告"));
    return out;
}

} // namespace

TEST_P(RatingCheckOn, TheWindowReadFromTheIndexesFindsWhatTheCheckOfEveryRatingFinds) {
    // Comments automatic, empty, blank with tabs, missing, or merely mentioning the automatic words;
    // raters returning, masked and nameless; times that tie; another shop and ratings outside the range.
    const std::vector<std::optional<std::string>> comments = {
        "很好", "评价方未及时做出评价,系统默认好评!", "", " ", "\t", " \t ", std::nullopt, "难道是默认好评吗",
        "好"};
    const std::vector<std::string> raters = {"回头客1", "回头客2", "a***1", "", "买家"};
    std::mt19937 random(5);
    auto& db = dm.cn1();
    db.exec("insert into dianbase(id,dianming) values(1,'小铺'),(2,'别家')");
    auto insert = db.prepare("insert into pjinfo(dian_id,pj,pjsj,trade_id,pjName,jg,pjInfo,itemTitle) "
                             "values(:shop,:pj,:sj,:trade,:name,:price,:comment,:title)");
    for (int i = 0; i < 400; ++i) {
        const DateTime time =
            DateTime{2010, 12, 25}.addDays(int(random() % 20)).addSeconds(int(random() % 3) * 3600);
        std::string name = raters[random() % raters.size()];
        if (name == "买家") name += std::to_string(random() % 60);
        insert.bind("shop", i % 7 == 0 ? 2 : 1)
            .bind("pj", random() % 5 == 0 ? "差评" : "好评")
            .bind("sj", time.toString())
            .bind("trade", "t" + std::to_string(i))
            .bind("name", name)
            .bind("price", double(random() % 700) / 3)
            .bind("title", "商品" + std::to_string(random() % 4));
        if (const auto& comment = comments[random() % comments.size()])
            insert.bind("comment", *comment);
        else
            insert.bindNull("comment");
        insert.execute();
        insert.reset();
    }

    Card observer;
    const AnalysisRequest request{1, "小铺", "2010-12-28", "2011-01-09"};
    ASSERT_EQ(runAnalysis(db, gallery, ratingCheck(), request, observer).outcome, AnalysisOutcome::Written)
        << observer.message;

    std::vector<RatingRecord> all;
    auto every = db.prepare("select pjsj,pj,pjName,jg,pjInfo,itemTitle from pjinfo where dian_id=1 and "
                            "pjsj>='2010-12-28' and pjsj<'2011-01-10' order by pjsj,id");
    while (every.step())
        all.push_back(
            {every.text(0), every.text(1), true, every.text(2), every.real(3), every.text(4), every.text(5)});
    const RatingCheck expected = checkRatings(all);
    ASSERT_GT(expected.repeatRaters.size(), 1u);
    ASSERT_GT(expected.defaults.size(), 20u);

    EXPECT_EQ(figures(observer.card), figures(expected.card));
    ListRows defaults, repeats;
    for (const RatingRecord& r : expected.defaults)
        defaults.push_back({{"时间", r.time},
                            {"买家", r.rater},
                            {"商品", r.itemTitle},
                            {"评价", r.grade},
                            {"评语", r.comment}});
    for (const RatingCheck::Rater& r : expected.repeatRaters)
        repeats.push_back({{"买家", r.name},
                           {"评价数", std::to_string(r.ratings)},
                           {"同日重复", std::to_string(r.sameDay)},
                           {"首次评价", r.first},
                           {"最近评价", r.last}});
    EXPECT_EQ(readListDocument(gallery.document("rateDefaultList.xml")), defaults);
    EXPECT_EQ(readListDocument(gallery.document("rateRepeatList.xml")), repeats);
}

INSTANTIATE_TEST_SUITE_P(BothEngines, RatingCheckOn, test::kBothEngines, test::engineName);

TEST(RatingCheck, AFilesRatingsAreReadFromIndexesAlone) {
    test::TempDir dir;
    db::TDM dm(dir / "lmd_pin.db");
    dm.open();
    for (const char* statement : {kCheckedRatingsSql, kDefaultRatingsSql}) {
        auto plan = dm.cn1().prepare(std::string("explain query plan ") + statement);
        plan.bind("id", 1).bind("sj1", "2011-01-01").bind("sj2", "2012-01-01");
        ASSERT_TRUE(plan.step());
        EXPECT_NE(plan.text(3).find("COVERING INDEX"), std::string::npos) << plan.text(3);
    }
}
