#include "charts/ChartDocument.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor::charts;

TEST(LabelStep, TwelveLabelsRemainOnTheAxis) {
    const std::pair<int, int> steps[] = {{0, 1}, {11, 1}, {23, 1}, {24, 2}, {35, 2}, {36, 3}, {1000, 83}};
    for (auto [rows, step] : steps)
        EXPECT_EQ(labelStep(rows), step) << rows;
    // Which ranks keep their names is read in the charts of 24 hours and 30 items.
}

TEST(FixedTwoDecimals, TwoDecimalsWithoutSeparators) {
    // 0.125 is exact, so the even neighbour wins; 2.675 is stored just below.
    const std::pair<double, const char*> cases[] = {
        {0, "0.00"},     {3, "3.00"},     {1234567.5, "1234567.50"},
        {0.125, "0.12"}, {2.675, "2.67"}, {-4.5, "-4.50"}};
    for (auto [value, text] : cases)
        EXPECT_EQ(fixedTwoDecimals(value), text) << value;
}

TEST(SaveDocument, GbkBytesWithCrLfAfterEveryLineReplacingAnOlderFile) {
    vantor::test::TempDir dir;
    auto file = dir / "doc.xml";
    vantor::test::writeFile(file, "an older and much longer document that must disappear entirely");
    saveDocument(file, {"<a>销售量排行</a>", "", "x"});
    EXPECT_EQ(vantor::test::readFile(file), "<a>\xCF\xFA\xCA\xDB\xC1\xBF\xC5\xC5\xD0\xD0</a>\r\n\r\nx\r\n");
}
