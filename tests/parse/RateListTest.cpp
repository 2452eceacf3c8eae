#include "ParseError.h"
#include "parse/Expressions.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace vantor;
using fixtures::gbk;

namespace {
RecordList<TRateInfo> parse(const std::vector<fixtures::RateRow>& rows) {
    return TParseHtml::parseRateList(fixtures::ratePage(rows), expression(Expression::RatingRow));
}
} // namespace

TEST(RateList, EveryFieldOfALinkedRater) {
    fixtures::RateRow row = fixtures::sampleRateRow(1);
    row.noEffect = true;
    row.script = true;
    row.raterBadge = true;
    row.pj = "中评";
    const auto list = parse({row});
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
    const auto list = parse({row});
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
    const auto list = parse(rows);
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
    EXPECT_EQ(test::parseError([&] { parse(rows); }), "“面议”不是有效的数字！");
}
