#include "WatchPanel.h"

#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace vantor::watch {

namespace {

std::string jsonText(const std::string& text) {
    std::string quoted = "\"";
    for (const unsigned char c : text) {
        switch (c) {
        case '"':
            quoted += "\\\"";
            break;
        case '\\':
            quoted += "\\\\";
            break;
        case '\n':
            quoted += "\\n";
            break;
        case '\r':
            quoted += "\\r";
            break;
        case '\t':
            quoted += "\\t";
            break;
        default:
            if (c < 0x20) {
                char escaped[8];
                std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
                quoted += escaped;
            } else {
                quoted += char(c);
            }
        }
    }
    return quoted + "\"";
}

// The line of one alert: shop, kind, item and what changed.
std::string alertLine(const ChangeLine& line) {
    std::string text = line.shop + " " + line.kind;
    if (!line.item.empty()) text += " " + line.item;
    if (!line.oldValue.empty())
        text += " " + line.oldValue + " → " + line.newValue;
    else if (!line.newValue.empty())
        text += " " + line.newValue;
    if (!line.note.empty()) text += "（" + line.note + "）";
    return text;
}

} // namespace

std::vector<std::string> listColumns() {
    return {"店铺名", "掌柜", "网址", "跟踪商品数", "跟踪评价", "上次更新", "下次更新", "状态"};
}

std::vector<std::string> listCells(const WatchedShop& shop, const Schedule& schedule, const DateTime& now) {
    const auto next = schedule.next(DateTime::parse(shop.lastRound), now);
    return {shop.name,
            shop.nick,
            shop.address,
            std::to_string(shop.items),
            shop.ratings ? "是" : "否",
            shop.lastRound,
            next ? next->toString() : schedule.description(),
            shop.state.empty() ? "等待首次更新" : shop.state};
}

std::optional<DateTime> lastRound(const std::vector<WatchedShop>& shops) {
    std::optional<DateTime> newest;
    for (const WatchedShop& shop : shops)
        if (auto when = DateTime::parse(shop.lastRound))
            if (!newest || when->serialSeconds() > newest->serialSeconds()) newest = when;
    return newest;
}

bool roundDue(const std::vector<WatchedShop>& shops, const Schedule& schedule, const DateTime& now) {
    if (shops.empty()) return false;
    const auto next = schedule.next(lastRound(shops), now);
    return next && next->serialSeconds() <= now.serialSeconds();
}

std::vector<std::string> reportKinds() {
    return {kStarted, kNewItem, kWithdrawn, kPriceChange, kSales, kNewRating, kCreditChange};
}

AlertNotice alertNotice(const std::vector<ChangeLine>& alerts, size_t shown) {
    AlertNotice notice;
    notice.title = "店铺监控：" + std::to_string(alerts.size()) + "条提醒";
    for (size_t i = 0; i < alerts.size() && i < shown; ++i) {
        if (i) notice.body += '\n';
        notice.body += alertLine(alerts[i]);
    }
    if (alerts.size() > shown)
        notice.body += "\n……另有" + std::to_string(alerts.size() - shown) + "条，见店铺监控的变化报告";
    return notice;
}

std::string chartDocument(const std::vector<SalesSeries>& sales, const std::string& item,
                          const std::vector<std::pair<std::string, double>>& prices) {
    std::string json = "{\"sales\":[";
    for (size_t s = 0; s < sales.size(); ++s) {
        json += (s ? ",{\"shop\":" : "{\"shop\":") + jsonText(sales[s].shop) + ",\"days\":[";
        for (size_t d = 0; d < sales[s].days.size(); ++d)
            json += (d ? ",[" : "[") + jsonText(sales[s].days[d].first) + "," +
                    std::to_string(sales[s].days[d].second) + "]";
        json += "]}";
    }
    json += "],\"item\":" + jsonText(item) + ",\"prices\":[";
    for (size_t p = 0; p < prices.size(); ++p)
        json += (p ? ",[" : "[") + jsonText(prices[p].first) + "," + money(prices[p].second) + "]";
    return json + "]}";
}

void saveChartDocument(const std::filesystem::path& file, const std::string& document) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << document;
    out.close();
    if (!out) throw std::runtime_error("无法写入 " + file.string());
}

} // namespace vantor::watch
