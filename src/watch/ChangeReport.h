#pragma once

#include "WatchSettings.h"
#include "base/CsvFile.h"
#include "db/Database.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vantor::watch {

// The kinds of report lines, as the report shows them.
inline constexpr const char* kStarted = "开始监控";
inline constexpr const char* kNewItem = "新商品";
inline constexpr const char* kWithdrawn = "下架";
inline constexpr const char* kPriceChange = "价格变化";
inline constexpr const char* kSales = "销量";
inline constexpr const char* kNewRating = "新评价";
inline constexpr const char* kCreditChange = "信用变化";

// What one round saw of a shop.
struct ItemSeen {
    std::string id;
    std::string title;
    double price = 0;
    int monthSale = 0;
    int favorite = 0;
    bool followed = false; // its page was read; the others are known from the shop's list only
};
struct ShopSeen {
    std::string time;     // the round's
    std::string lastSale; // the newest sale and rating the store held after the round
    std::string lastRating;
    int credit = 0;
    double goodRate = 0;
    int itemCount = 0;
    std::map<std::string, ItemSeen> items; // by id
};
// A followed item's sale records dated after the shop's previous round.
struct NewSales {
    std::string itemId;
    std::string title;
    int records = 0;
    double quantity = 0;
    double amount = 0;
};
// A 中评 or 差评 dated after the shop's previous round.
struct NewRating {
    std::string grade;
    std::string itemId;
    std::string itemTitle;
    std::string comment;
};
// The shop's sale records on the round's day and their daily mean over the seven days before.
struct DaySales {
    int today = 0;
    double weekMean = 0;
};

struct ChangeLine {
    std::int64_t watchId = 0; // the shop's on the watch list, when read from the report
    std::string date;         // the round's day, yyyy-MM-dd
    std::string shop;
    std::string kind;
    std::string itemId;
    std::string item;
    std::string oldValue;
    std::string newValue;
    std::string note;
    bool alert = false;
};

// The lines between a shop's previous round and this one; a first round (no previous) reports only
// 开始监控. Alerts are marked by the rules.
std::vector<ChangeLine> compareRounds(const std::optional<ShopSeen>& before, const ShopSeen& now,
                                      const std::vector<NewSales>& sales,
                                      const std::vector<NewRating>& ratings, const DaySales& day,
                                      const AlertRules& rules);

// An amount as the grids show it: two decimals, no binary noise.
std::string money(double amount);

struct ReportFilter {
    std::string since;      // yyyy-MM-dd, inclusive; empty: from the first round
    std::string until;      // yyyy-MM-dd, inclusive; empty: to the last
    std::int64_t shop = 0;  // watch id; 0: every shop
    std::string kind;       // empty: every kind
    std::int64_t round = 0; // 0: every round
};
// The report's lines: alerts first, then the newest rounds first, each round's lines in their order.
std::vector<ChangeLine> readReport(db::Database& db, const ReportFilter& filter);
// 日期,店铺,类型,商品,旧值,新值,说明,提醒 and a line's cells.
std::vector<std::string> reportColumns();
std::vector<std::string> reportCells(const ChangeLine& line);

// The report as the program exports it (its own CSV format), the lines in the given order.
CsvJob reportExport(std::vector<ChangeLine> lines, const DateTime& now);

// The daily sale records of every watched shop's followed items from `since` (yyyy-MM-dd): one series
// per shop, each day of the range present (0 on a day without sales), for one chart to compare them.
struct SalesSeries {
    std::string shop;
    std::vector<std::pair<std::string, int>> days;
};
std::vector<SalesSeries> dailySales(db::Database& db, const std::string& since, const std::string& until);
// An item's price at each round that saw it, oldest first.
std::vector<std::pair<std::string, double>> priceHistory(db::Database& db, std::int64_t watchId,
                                                         const std::string& itemId);

} // namespace vantor::watch
