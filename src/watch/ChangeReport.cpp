#include "ChangeReport.h"

#include "base/DateTime.h"

#include <cmath>
#include <cstdio>
#include <memory>

namespace vantor::watch {

std::string money(double amount) {
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", std::round(amount * 100) / 100);
    return text;
}

namespace {

std::string quantity(double value) {
    return value == std::floor(value) ? std::to_string(std::int64_t(value)) : money(value);
}

} // namespace

std::vector<ChangeLine> compareRounds(const std::optional<ShopSeen>& before, const ShopSeen& now,
                                      const std::vector<NewSales>& sales,
                                      const std::vector<NewRating>& ratings, const DaySales& day,
                                      const AlertRules& rules) {
    std::vector<ChangeLine> lines;
    auto line = [&](const char* kind) -> ChangeLine& {
        ChangeLine& made = lines.emplace_back();
        made.date = now.time.substr(0, 10);
        made.kind = kind;
        return made;
    };
    if (!before) {
        ChangeLine& started = line(kStarted);
        started.newValue = std::to_string(now.items.size());
        started.note =
            "基线：" + std::to_string(now.items.size()) + "件商品，信用" + std::to_string(now.credit);
        return lines;
    }
    for (const auto& [id, item] : now.items)
        if (!before->items.count(id)) {
            ChangeLine& added = line(kNewItem);
            added.itemId = id;
            added.item = item.title;
            added.newValue = money(item.price);
            added.alert = rules.newItem;
        }
    for (const auto& [id, item] : before->items)
        if (!now.items.count(id)) {
            ChangeLine& gone = line(kWithdrawn);
            gone.itemId = id;
            gone.item = item.title;
            gone.oldValue = money(item.price);
        }
    for (const auto& [id, item] : now.items) {
        const auto was = before->items.find(id);
        if (was == before->items.end() || money(was->second.price) == money(item.price)) continue;
        ChangeLine& changed = line(kPriceChange);
        changed.itemId = id;
        changed.item = item.title;
        changed.oldValue = money(was->second.price);
        changed.newValue = money(item.price);
        const double percent =
            was->second.price > 0 ? (item.price - was->second.price) / was->second.price * 100 : 100;
        changed.note = (percent >= 0 ? "+" : "") + money(percent) + "%";
        changed.alert = std::fabs(percent) >= rules.pricePercent;
    }
    const bool salesSpike = day.weekMean > 0 && day.today >= rules.salesFactor * day.weekMean;
    for (const NewSales& sold : sales) {
        if (sold.records == 0) continue;
        ChangeLine& sales = line(kSales);
        sales.itemId = sold.itemId;
        sales.item = sold.title;
        sales.newValue = std::to_string(sold.records);
        sales.note = "数量" + quantity(sold.quantity) + "，金额" + money(sold.amount) + "元";
        if (salesSpike) {
            sales.alert = true;
            sales.note += "；当日" + std::to_string(day.today) + "笔，近7日日均" + money(day.weekMean) + "笔";
        }
    }
    for (const NewRating& rating : ratings) {
        ChangeLine& rated = line(kNewRating);
        rated.itemId = rating.itemId;
        rated.item = rating.itemTitle;
        rated.newValue = rating.grade;
        rated.note = rating.comment;
        rated.alert = rules.badRating && rating.grade == "差评";
    }
    if (before->credit != now.credit) {
        ChangeLine& credit = line(kCreditChange);
        credit.oldValue = std::to_string(before->credit);
        credit.newValue = std::to_string(now.credit);
        credit.note = (now.credit >= before->credit ? "+" : "") + std::to_string(now.credit - before->credit);
    }
    return lines;
}

std::vector<ChangeLine> readReport(db::Database& db, const ReportFilter& filter) {
    std::string sql =
        "select c.sj, w.dianming, w.webaddr, c.kind, c.itemId, c.itemTitle, c.oldValue, c.newValue, "
        "c.note, c.alert, c.watch_id from watchChange c join watchShop w on w.id = c.watch_id where 1 = 1";
    if (!filter.since.empty()) sql += " and c.sj >= :since";
    if (!filter.until.empty()) sql += " and c.sj <= :until";
    if (filter.shop) sql += " and c.watch_id = :shop";
    if (!filter.kind.empty()) sql += " and c.kind = :kind";
    if (filter.round) sql += " and c.round_id = :round";
    sql += " order by c.alert desc, c.round_id desc, c.id";
    auto st = db.prepare(sql);
    if (!filter.since.empty()) st.bind("since", filter.since);
    if (!filter.until.empty()) st.bind("until", filter.until + " 23:59:59");
    if (filter.shop) st.bind("shop", filter.shop);
    if (!filter.kind.empty()) st.bind("kind", filter.kind);
    if (filter.round) st.bind("round", filter.round);
    std::vector<ChangeLine> lines;
    while (st.step()) {
        ChangeLine& line = lines.emplace_back();
        line.date = st.text(0).substr(0, 10);
        line.shop = st.text(1).empty() ? st.text(2) : st.text(1);
        line.kind = st.text(3);
        line.itemId = st.text(4);
        line.item = st.text(5);
        line.oldValue = st.text(6);
        line.newValue = st.text(7);
        line.note = st.text(8);
        line.alert = st.integer(9) != 0;
        line.watchId = st.integer(10);
    }
    return lines;
}

std::vector<std::string> reportColumns() {
    return {"日期", "店铺", "类型", "商品", "旧值", "新值", "说明", "提醒"};
}

std::vector<std::string> reportCells(const ChangeLine& line) {
    return {line.date,     line.shop,     line.kind, line.item,
            line.oldValue, line.newValue, line.note, line.alert ? "提醒" : ""};
}

CsvJob reportExport(std::vector<ChangeLine> lines, const DateTime& now) {
    auto held = std::make_shared<std::vector<ChangeLine>>(std::move(lines));
    CsvJob job;
    job.rowCount = [held] { return held->size(); };
    for (const std::string& title : reportColumns())
        job.header += title + ",";
    job.fileName = "店铺监控报告" + fileDate(now) + ".csv";
    job.appendLine = [held](std::string& line, std::size_t row) {
        appendCsvCells(line, reportCells((*held)[row]));
    };
    job.titles = reportColumns();
    job.rowCells = [held](std::vector<std::string>& cells, std::size_t row) {
        cells = reportCells((*held)[row]);
    };
    return job;
}

std::vector<SalesSeries> dailySales(db::Database& db, const std::string& since, const std::string& until) {
    std::vector<SalesSeries> series;
    auto from = DateTime::parse(since + " 00:00:00");
    auto to = DateTime::parse(until + " 00:00:00");
    if (!from || !to || to->serialSeconds() < from->serialSeconds()) return series;
    auto shops = db.prepare("select w.id, w.dianming, w.webaddr, "
                            "(select s.dian_id from watchShopSnap s where s.watch_id = w.id "
                            "order by s.round_id desc limit 1) from watchShop w order by w.id");
    while (shops.step()) {
        SalesSeries& shop = series.emplace_back();
        shop.shop = shops.text(1).empty() ? shops.text(2) : shops.text(1);
        std::map<std::string, int> byDay;
        auto sold = db.prepare("select substr(s.sj, 1, 10), count(*) from saleInfo s "
                               "join itemInfo i on i.itemId = s.itemId where i.dian_id = :dian "
                               "and s.sj >= :since and s.sj <= :until group by substr(s.sj, 1, 10)");
        sold.bind("dian", shops.integer(3)).bind("since", since).bind("until", until + " 23:59:59");
        while (sold.step())
            byDay[sold.text(0)] = int(sold.integer(1));
        for (DateTime d = *from; d.serialSeconds() <= to->serialSeconds(); d = d.addDays(1)) {
            const std::string date = d.toString().substr(0, 10);
            shop.days.emplace_back(date, byDay.count(date) ? byDay[date] : 0);
        }
    }
    return series;
}

std::vector<std::pair<std::string, double>> priceHistory(db::Database& db, std::int64_t watchId,
                                                         const std::string& itemId) {
    std::vector<std::pair<std::string, double>> history;
    auto st = db.prepare(
        "select s.sj, i.price from watchItemSnap i join watchShopSnap s on s.round_id = i.round_id "
        "and s.watch_id = i.watch_id where i.watch_id = :watch and i.itemId = :item "
        "order by i.round_id");
    st.bind("watch", watchId).bind("item", itemId);
    while (st.step())
        history.emplace_back(st.text(0), st.real(1));
    return history;
}

} // namespace vantor::watch
