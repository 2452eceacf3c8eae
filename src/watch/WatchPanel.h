#pragma once

#include "ChangeReport.h"
#include "WatchList.h"
#include "WatchSettings.h"

#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vantor::watch {

// What the desktop window shows of the watch, so the window only places it.

// 店铺名,掌柜,网址,跟踪商品数,跟踪评价,上次更新,下次更新,状态 and a watched shop's cells; 下次更新
// follows the schedule.
std::vector<std::string> listColumns();
std::vector<std::string> listCells(const WatchedShop& shop, const Schedule& schedule, const DateTime& now);

// The newest round any watched shop had; nullopt before the first.
std::optional<DateTime> lastRound(const std::vector<WatchedShop>& shops);
// Whether the schedule wants a round now: something is watched, the schedule is on and its next
// round after the last one is not in the future.
bool roundDue(const std::vector<WatchedShop>& shops, const Schedule& schedule, const DateTime& now);

// The kinds a report line can have, in the order the filter lists them.
std::vector<std::string> reportKinds();

// The desktop notice of a round's alerts: a title with their count and the first `shown` lines.
struct AlertNotice {
    std::string title;
    std::string body;
};
AlertNotice alertNotice(const std::vector<ChangeLine>& alerts, size_t shown = 3);

// The document of the watch's chart page: every shop's daily sale records as one series each, and
// the price of one item at each round (none chosen: an empty history), as JSON.
std::string chartDocument(const std::vector<SalesSeries>& sales, const std::string& item,
                          const std::vector<std::pair<std::string, double>>& prices);
// Writes it as UTF-8 where the page reads it. Raises std::runtime_error when it cannot be written.
void saveChartDocument(const std::filesystem::path& file, const std::string& document);
inline constexpr const char* kChartDocument = "watchSales.json";
inline constexpr const char* kChartPage = "watchSales.html";

} // namespace vantor::watch
