// Pages built to make the nested quantifiers and tempered dots of the row expressions backtrack as
// hard as they can. Each must come back (ctest's time-out would catch a hang) with the good rows.

#include "parse/ItemSearchParser.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

using namespace vantor;

TEST(NearMiss, ShopRowsThatAlmostFitCostOnlyThemselves) {
    // A row with another rank title is no shop. With a long main-business text such a row makes
    // `([^<]+)*` try every split of that text again and is skipped past the limit; with a short one it
    // is decided within the limits. Either way only that row is lost.
    std::vector<fixtures::ShopRow> rows = fixtures::sampleRows(fixtures::sampleShopRow, 120);
    for (int i = 0; i < 120; ++i) {
        if (i % 3 == 0) continue;
        rows[i].business =
            i % 3 == 1 ? "women clothing, bags, shoes and more of it " + std::to_string(i) : "bags";
        rows[i].rankTitle = i % 3 == 1 ? "卖家信用" : "卖家信用：1000";
    }
    const std::string page = fixtures::shopSearchPage(rows);
    ASSERT_GT(page.size(), 100'000u);

    const auto list = TParseHtml::parseShopList(page);
    ASSERT_EQ(list.size(), 40u);
    EXPECT_EQ(list.skippedRows(), 40u);
    for (size_t i = 0; i < list.size(); ++i) {
        EXPECT_EQ(list.text(i), std::to_string(i));
        EXPECT_EQ(list.record(i).dianzhu, "tianxin" + std::to_string(3 * i + 1));
    }
}

TEST(NearMiss, ItemRowsWithTemperedDotsAndAMissingEnd) {
    // Rows that run to the very end of the row before failing, on a page of over 100 KB.
    std::string page = fixtures::itemSearchPage(fixtures::sampleRows(fixtures::sampleItemSearchRow, 200));
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
