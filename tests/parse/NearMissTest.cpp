// Pages built to make the nested quantifiers and tempered dots of the row expressions backtrack as
// hard as they can. Each must come back (ctest's time-out would catch a hang) with the good rows.

#include "ParseError.h"
#include "parse/Expressions.h"
#include "parse/ItemSearchParser.h"
#include "parse/THTMLTools.h"
#include "parse/TParseException.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

using namespace vantor;
using fixtures::gbk;

TEST(NearMiss, ShopRowsThatAlmostFitCostOnlyThemselves) {
    // With a long main-business text, a row that fails after `([^<]+)*` makes the expression try every
    // split of that text again. The wrong rank title is such a failure.
    std::vector<fixtures::ShopRow> rows;
    size_t nearMisses = 0;
    for (int i = 0; i < 120; ++i) {
        fixtures::ShopRow row = fixtures::sampleShopRow(i);
        row.business = "women clothing, bags, shoes and more of it " + std::to_string(i);
        if (i % 3 != 0) {
            row.rankTitle = "卖家信用";
            ++nearMisses;
        }
        rows.push_back(row);
    }
    const std::string page = fixtures::shopSearchPage(rows);
    ASSERT_GT(page.size(), 100'000u);

    const auto list = TParseHtml::parseShopList(page);
    ASSERT_EQ(list.size(), 40u);
    EXPECT_EQ(list.skippedRows(), nearMisses);
    for (size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(list.text(i), std::to_string(i));
        EXPECT_EQ(list.record(i).dianzhu, "tianxin" + std::to_string(3 * i + 1));
    }
}

TEST(NearMiss, ShortBusinessTextsAreDecidedWithinTheLimits) {
    // The same wrong rows with a short text fail cleanly: nothing is skipped, nothing is read.
    std::vector<fixtures::ShopRow> rows;
    for (int i = 0; i < 10; ++i) {
        fixtures::ShopRow row = fixtures::sampleShopRow(i);
        row.business = "bags";
        row.rankTitle = "卖家信用";
        rows.push_back(row);
    }
    const auto list = TParseHtml::parseShopList(fixtures::shopSearchPage(rows));
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.skippedRows(), 0u);
}

TEST(NearMiss, ItemRowsWithTemperedDotsAndAMissingEnd) {
    // Rows that run to the very end of the row before failing, on a page of over 100 KB.
    std::vector<fixtures::ItemSearchRow> rows;
    for (int i = 0; i < 200; ++i)
        rows.push_back(fixtures::sampleItemSearchRow(i));
    std::string page = fixtures::itemSearchPage(rows);
    ASSERT_GT(page.size(), 100'000u);
    // Break every second row at its last tag: the seller's <span class="ww-light"></span>.
    const std::string tail = "<SPAN class=\"ww-light\"></SPAN>";
    size_t broken = 0;
    for (size_t at = page.find(tail); at != std::string::npos; at = page.find(tail, at + 1))
        if (broken++ % 2 == 0) page.replace(at, tail.size(), "<B class=\"ww-light\"></B>");
    const auto list = parseItemSearchList(page);
    EXPECT_EQ(list.size(), 100u);
    EXPECT_EQ(list.skippedRows(), 0u);
    EXPECT_EQ(list.record(0).dianzhu, "seller2");
}

TEST(NearMiss, ASingleMatchPastTheLimitsRaisesForTheWholePage) {
    const std::string page = gbk("<DIV class=\"x\">" + std::string(40, 'a') + "</DIV><P>12</P>");
    EXPECT_EQ(test::parseError([&] { THTMLTools::matchInt(page, "<div[^>]+>([^<]+)*</div><b>(\\d+)</b>"); }),
              "页面解析超出匹配次数限制！");
}
