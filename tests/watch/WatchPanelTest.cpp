#include "watch/WatchPanel.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace vantor;
using namespace vantor::watch;

namespace {

DateTime at(const char* text) {
    return *DateTime::parse(text);
}

WatchedShop shop(const std::string& lastRound, const std::string& state = "") {
    WatchedShop made;
    made.address = "http://shop1.taobao.com";
    made.name = "一号店";
    made.nick = "掌柜甲";
    made.items = 12;
    made.ratings = true;
    made.lastRound = lastRound;
    made.state = state;
    return made;
}

} // namespace

TEST(WatchPanel, aShopsCellsFollowTheColumnsAndTheSchedule) {
    const Schedule every6 = *Schedule::parse("every 6");
    const auto cells = listCells(shop("2024-05-01 08:00:00", "已更新"), every6, at("2024-05-01 09:00:00"));
    ASSERT_EQ(cells.size(), listColumns().size());
    EXPECT_EQ(cells, (std::vector<std::string>{"一号店", "掌柜甲", "http://shop1.taobao.com", "12", "是",
                                               "2024-05-01 08:00:00", "2024-05-01 14:00:00", "已更新"}));
    const auto waiting = listCells(shop(""), Schedule{}, at("2024-05-01 09:00:00"));
    EXPECT_EQ(waiting[6], "不自动更新");
    EXPECT_EQ(waiting[7], "等待首次更新");
}

TEST(WatchPanel, aRoundIsDueWhenTheScheduleSaysSoAfterTheNewestRound) {
    const Schedule every6 = *Schedule::parse("every 6");
    const std::vector<WatchedShop> shops = {shop("2024-05-01 02:00:00"), shop("2024-05-01 08:00:00"),
                                            shop("")};
    EXPECT_EQ(lastRound(shops)->toString(), "2024-05-01 08:00:00");
    EXPECT_FALSE(roundDue(shops, every6, at("2024-05-01 13:59:59")));
    EXPECT_TRUE(roundDue(shops, every6, at("2024-05-01 14:00:00")));
    EXPECT_FALSE(roundDue(shops, Schedule{}, at("2024-05-09 14:00:00")));
    EXPECT_FALSE(roundDue({}, every6, at("2024-05-09 14:00:00")));
    EXPECT_TRUE(roundDue({shop("")}, every6, at("2024-05-09 14:00:00")));
}

TEST(WatchPanel, theNoticeCountsTheAlertsAndListsTheFirst) {
    std::vector<ChangeLine> alerts(5);
    for (size_t i = 0; i < alerts.size(); ++i) {
        alerts[i].shop = "一号店";
        alerts[i].kind = kPriceChange;
        alerts[i].item = "商品" + std::to_string(i);
        alerts[i].oldValue = "10.00";
        alerts[i].newValue = "8.00";
        alerts[i].note = "-20.00%";
    }
    const AlertNotice notice = alertNotice(alerts, 2);
    EXPECT_EQ(notice.title, "店铺监控：5条提醒");
    EXPECT_EQ(notice.body, "一号店 价格变化 商品0 10.00 → 8.00（-20.00%）\n"
                           "一号店 价格变化 商品1 10.00 → 8.00（-20.00%）\n"
                           "……另有3条，见店铺监控的变化报告");
}

TEST(WatchPanel, theChartDocumentHoldsEveryShopsDaysAndThePrices) {
    const std::vector<SalesSeries> sales = {{"甲\"店", {{"2024-05-01", 3}, {"2024-05-02", 0}}},
                                            {"乙店", {{"2024-05-01", 0}, {"2024-05-02", 7}}}};
    EXPECT_EQ(chartDocument(sales, "连衣裙", {{"2024-05-01 08:00:00", 99.5}}),
              "{\"sales\":[{\"shop\":\"甲\\\"店\",\"days\":[[\"2024-05-01\",3],[\"2024-05-02\",0]]},"
              "{\"shop\":\"乙店\",\"days\":[[\"2024-05-01\",0],[\"2024-05-02\",7]]}],"
              "\"item\":\"连衣裙\",\"prices\":[[\"2024-05-01 08:00:00\",99.50]]}");
    EXPECT_EQ(chartDocument({}, "", {}), "{\"sales\":[],\"item\":\"\",\"prices\":[]}");

    test::TempDir dir;
    saveChartDocument(dir / kChartDocument, "{}");
    std::ifstream in(dir / kChartDocument);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(text.str(), "{}");
    EXPECT_THROW(saveChartDocument(dir / "missing" / kChartDocument, "{}"), std::runtime_error);
}

TEST(WatchPanel, reportLinesNameTheirShopOnTheWatchList) {
    test::TempDir dir;
    db::TDM dm(dir / "lmd_pin.db");
    dm.open();
    db::Database& db = dm.cn1();
    const std::int64_t first = addWatched(db, "http://shop1.taobao.com", 3, false, at("2024-05-01 08:00:00"));
    const std::int64_t second =
        addWatched(db, "http://shop2.taobao.com", 3, false, at("2024-05-01 08:00:00"));
    db.exec("insert into watchChange (round_id, watch_id, sj, kind) values (1, " + std::to_string(second) +
            ", '2024-05-01 09:00:00', '开始监控'), (1, " + std::to_string(first) +
            ", '2024-05-01 09:00:00', '开始监控')");
    const auto lines = readReport(db, {});
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].watchId, second);
    EXPECT_EQ(lines[1].watchId, first);
}
