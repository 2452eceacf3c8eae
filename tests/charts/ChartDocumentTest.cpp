#include "charts/ChartDocument.h"
#include "SalesFixture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor::charts;
using vantor::test::TempDir;

TEST(LabelStep, TwelveLabelsRemainOnTheAxis) {
    EXPECT_EQ(labelStep(0), 1);
    EXPECT_EQ(labelStep(11), 1);
    EXPECT_EQ(labelStep(23), 1);
    EXPECT_EQ(labelStep(24), 2);
    EXPECT_EQ(labelStep(35), 2);
    EXPECT_EQ(labelStep(36), 3);
    EXPECT_EQ(labelStep(1000), 83);
    // With step 3 only every third rank keeps its name.
    EXPECT_FALSE(labelShown(1, 3));
    EXPECT_FALSE(labelShown(2, 3));
    EXPECT_TRUE(labelShown(3, 3));
    EXPECT_TRUE(labelShown(6, 3));
    EXPECT_TRUE(labelShown(7, 1));
}

TEST(FixedTwoDecimals, TwoDecimalsWithoutSeparators) {
    EXPECT_EQ(fixedTwoDecimals(0), "0.00");
    EXPECT_EQ(fixedTwoDecimals(3), "3.00");
    EXPECT_EQ(fixedTwoDecimals(1234567.5), "1234567.50");
    EXPECT_EQ(fixedTwoDecimals(0.125), "0.12"); // 0.125 is exact, so the even neighbour wins
    EXPECT_EQ(fixedTwoDecimals(2.675), "2.67"); // stored just below 2.675
    EXPECT_EQ(fixedTwoDecimals(-4.5), "-4.50");
}

TEST(ChartDocument, StartTagPointsAndEndTagAsWritten) {
    ChartDocument chart("2010-01-01~2010-02-01标题", "店名", "' xAxisName='甲' yAxisName='乙' ");
    chart.add({"(1)", "a'b&c", "12"}, true);
    chart.add({"(2)", "", "0"}, false);
    EXPECT_EQ(
        chart.lines(),
        (std::vector<std::string>{
            "<graph  subcaption='2010-01-01~2010-02-01标题' caption='店名' xAxisName='甲' yAxisName='乙'  "
            "showNames='1' showValues='0'  showAlternateHGridColor='1' AlternateHGridColor='ff5904' "
            "divLineColor='ff5904' divLineAlpha='20' alternateHGridAlpha='5'  baseFontSize='12' "
            "decimalPrecision='0' formatNumberScale='0' chartRightMargin='30'  >",
            "<set name='(1)' hoverText='a'b&c' value='12' />",
            "<set name='(2)' hoverText='' value='0' showName='0' />", "</graph>"}));
}

TEST(ListDocument, DeclarationShopAndOneBlockPerRow) {
    ListDocument list;
    EXPECT_EQ(list.lines(), (std::vector<std::string>{"<?xml version=\"1.0\" encoding=\"gb2312\"?> ",
                                                      "<shop>", "</shop>"}));
    list.add({{"日期", "2010-1-2"}, {"销售量", "3"}});
    EXPECT_EQ(list.lines(), (std::vector<std::string>{"<?xml version=\"1.0\" encoding=\"gb2312\"?> ",
                                                      "<shop>", "<sale>", "<日期>2010-1-2</日期>",
                                                      "<销售量>3</销售量>", "</sale>", "</shop>"}));
}

TEST(SaveDocument, GbkBytesWithCrLfAfterEveryLine) {
    TempDir dir;
    auto file = dir / "doc.xml";
    vantor::test::writeFile(file, "an older and much longer document that must disappear entirely");
    saveDocument(file, {"<a>销售量排行</a>", "", "x"});
    EXPECT_EQ(vantor::test::readFile(file), "<a>\xCF\xFA\xCA\xDB\xC1\xBF\xC5\xC5\xD0\xD0</a>\r\n\r\nx\r\n");
}

TEST(SaveDocument, AnUnwritablePlaceRaises) {
    TempDir dir;
    EXPECT_THROW(saveDocument(dir / "missing" / "doc.xml", {"x"}), std::runtime_error);
}
