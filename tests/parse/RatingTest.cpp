#include "ParseError.h"
#include "parse/Expressions.h"
#include "parse/RateSummaryParser.h"
#include "parse/TParseException.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace vantor;
using namespace vantor::parse;
using fixtures::gbk;

namespace {
RecordList<TRateInfo> parsed(const std::vector<fixtures::RateRow>& rows) {
    return TParseHtml::parseRateList(fixtures::ratePage(rows), expression(Expression::RatingRow));
}

// The counters by table (seller, buyer), class (good, neutral, bad) and period 1..4.
std::int32_t counter(const TRateBaseInfo& r, int table, int kind, int period) {
    const std::int32_t seller[3][4] = {{r.salerGood1, r.salerGood2, r.salerGood3, r.salerGood4},
                                       {r.salerNotBad1, r.salerNotBad2, r.salerNotBad3, r.salerNotBad4},
                                       {r.salerBad1, r.salerBad2, r.salerBad3, r.salerBad4}};
    const std::int32_t buyer[3][4] = {{r.buyerGood1, r.buyerGood2, r.buyerGood3, r.buyerGood4},
                                      {r.buyerNotBad1, r.buyerNotBad2, r.buyerNotBad3, r.buyerNotBad4},
                                      {r.buyerBad1, r.buyerBad2, r.buyerBad3, r.buyerBad4}};
    return table == 0 ? seller[kind][period] : buyer[kind][period];
}

} // namespace

TEST(RateList, EveryFieldOfALinkedRater) {
    fixtures::RateRow row = fixtures::sampleRateRow(1);
    row.noEffect = true;
    row.script = true;
    row.raterBadge = true;
    row.pj = "中评";
    const auto list = parsed({row});
    ASSERT_EQ(list.size(), 1u);
    const TRateInfo& rate = list.record(0);
    // The name has its references read, as the page spells it.
    EXPECT_EQ(std::tie(list.text(0), rate.pj, rate.pjInfo, rate.pjjs, rate.pjsj, rate.pjName, rate.raterLink,
                       rate.tradeId, rate.itemTitle, rate.jg, rate.counts),
              std::tuple("2010-01-11 10:11:12", "中评", "质量很好，物流很快 2", "谢谢亲的支持",
                         "2010-01-11 10:11:12", "加油buyer2",
                         "href=\"http://rate.taobao.com/user-rate-b2.htm\" target=\"_blank\"", "43210002",
                         "羊毛围巾 2", 41.0, false));
}

TEST(RateList, ARaterWithoutALinkTakesTheNameFromTheOtherGroup) {
    fixtures::RateRow row = fixtures::sampleRateRow(0);
    row.raterAttributes = "";
    row.anonymousName = "b***9（匿名）";
    const auto list = parsed({row});
    ASSERT_EQ(list.size(), 1u);
    const TRateInfo& rate = list.record(0);
    EXPECT_EQ(std::tie(rate.pjName, rate.raterLink, rate.pjjs, rate.counts),
              std::tuple("b***9（匿名）", "", "", true));
}

TEST(RateList, RatingTimesAreNormalisedAndKeepDoubleByteCharacters) {
    std::vector<fixtures::RateRow> rows{fixtures::sampleRateRow(0), fixtures::sampleRateRow(1),
                                        fixtures::sampleRateRow(2)};
    rows[0].date = "[2010.01.12 10:11:12]";
    rows[1].date = "2010-01-12 10:11:12";
    rows[2].date = "[2010.02.03 嘯匽關]";
    const auto list = parsed(rows);
    ASSERT_EQ(list.size(), 3u);
    // '[' and ']' second bytes survive. The list keeps both ratings of the same time.
    EXPECT_EQ(
        std::tie(list.record(0).pjsj, list.record(1).pjsj, list.record(2).pjsj, list.text(1)),
        std::tuple("2010-01-12 10:11:12", "2010-01-12 10:11:12", "2010-02-03 嘯匽關", "2010-01-12 10:11:12"));
    EXPECT_EQ(list.record(1).tradeId, "43210002");
}

TEST(RateList, APriceThatIsNoNumberLosesTheList) {
    std::vector<fixtures::RateRow> rows{fixtures::sampleRateRow(0), fixtures::sampleRateRow(1)};
    rows[1].price = "面议";
    EXPECT_EQ(test::parseError([&] { parsed(rows); }), "“面议”不是有效的数字！");
}

TEST(RateSummary, CountersCreditsSharesScoresAndRates) {
    fixtures::RateSummary fields;
    fields.scores[0] = "4.83333"; // scores are cut to six characters, a double-byte one counting once
    fields.scores[2] = "4.9分以上";
    const TRateBaseInfo info = parseRateSummary(fixtures::rateSummaryPage(fields));
    for (int kind = 0; kind < 3; ++kind)
        for (int period = 0; period < 4; ++period) {
            EXPECT_EQ(counter(info, 0, kind, period), fields.seller[kind][period]) << kind << period;
            EXPECT_EQ(counter(info, 1, kind, period), fields.buyer[kind][period]) << kind << period;
        }
    EXPECT_EQ(std::tie(info.rateCount, info.salerCredit, info.buyerCredit), std::tuple(1234, 2345, 67));
    EXPECT_DOUBLE_EQ(info.virtualGoal, 12.5);
    EXPECT_DOUBLE_EQ(info.realGoal, 87.5);
    EXPECT_EQ(std::tie(info.itemGoal, info.serviceGoal, info.consignGoal),
              std::tuple("4.8333", "4.7", "4.9分以上"));
    EXPECT_DOUBLE_EQ(info.salerGoodRate, 99.5);
    EXPECT_DOUBLE_EQ(info.buyerGoodRate, 100.0);
}

TEST(RateSummary, SecondLayoutGivesCreditsWithTheirRates) {
    fixtures::RateSummary fields;
    fields.secondForm = true;
    fields.goodRates[0] = "98.76";
    fields.goodRates[1] = "97.00";
    const TRateBaseInfo info = parseRateSummary(fixtures::rateSummaryPage(fields));
    // The shares are shown only in the first layout.
    EXPECT_EQ(std::tie(info.salerCredit, info.buyerCredit, info.salerGoodRate, info.buyerGoodRate,
                       info.virtualGoal, info.salerGood2),
              std::tuple(2345, 67, 98.76, 97.0, 0.0, 22));
}

TEST(RateSummary, WithoutABuyerTableTheBuyerCountersStayZero) {
    fixtures::RateSummary fields;
    fields.buyerTable = false;
    const TRateBaseInfo info = parseRateSummary(fixtures::rateSummaryPage(fields));
    for (int kind = 0; kind < 3; ++kind)
        for (int period = 0; period < 4; ++period)
            EXPECT_EQ(counter(info, 1, kind, period), 0);
    EXPECT_EQ(info.salerNotBad3, 3);
    EXPECT_DOUBLE_EQ(info.buyerGoodRate, 0.0);
    // Nothing at all is no error either.
    EXPECT_EQ(parseRateSummary("").salerGood1, 0);
}

TEST(RateSummary, ASharesThatIsNoNumberRaises) {
    fixtures::RateSummary fields;
    fields.virtualShare = "约十";
    EXPECT_THROW(parseRateSummary(fixtures::rateSummaryPage(fields)), TParseException);
}
