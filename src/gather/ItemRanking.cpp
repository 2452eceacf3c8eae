#include "ItemRanking.h"

#include "GatherTexts.h"
#include "ShopSearch.h"
#include "market/MarketHosts.h"
#include "parse/ItemSearchParser.h"

#include <cstdio>
#include <cstdlib>

namespace vantor::gather {

namespace {

bool isWhitespace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

// A price as typed: digits with at most one decimal point.
bool isPrice(const std::string& text) {
    char* end = nullptr;
    std::strtod(text.c_str(), &end);
    return !text.empty() && end == text.c_str() + text.size() &&
           text.find_first_not_of("0123456789.") == std::string::npos;
}

double number(const std::string& text) {
    return std::strtod(text.c_str(), nullptr);
}

} // namespace

std::optional<std::string> validateItemRanking(const ItemRankingQuery& query) {
    if (query.name.find_first_not_of(" \t\r\n\v\f") == std::string::npos)
        return std::string(kItemNameMissing);
    for (const std::string* price : {&query.low, &query.high})
        if (!price->empty() && !isPrice(*price)) return "价格区间只能填写数字：" + *price;
    if (query.range < kMinRankingRange || query.range > kMaxRankingRange)
        return "排名范围必须在 " + std::to_string(kMinRankingRange) + " 到 " +
               std::to_string(kMaxRankingRange) + " 之间！";
    return std::nullopt;
}

std::string itemRankingAddress(const ItemRankingQuery& query) {
    std::string name = query.name;
    for (char& c : name)
        if (isWhitespace(c)) c = ' '; // every whitespace goes out as "%20"
    std::string address = std::string(market::kItemSearchHost) + "/search?sort=sale-desc&tab=coefp";
    address += "&q=" + gbkQueryText(name);
    if (!query.low.empty() && query.high.empty())
        address += "&filter=reserve_price[" + query.low + ",100000000]";
    else if (query.low.empty() && !query.high.empty())
        address += "&filter=reserve_price[0," + query.high + "]";
    else if (!query.low.empty())
        address += "&filter=reserve_price[" + query.low + "," + query.high + "]";
    address += "&loc=" + gbkQueryText(query.location) + "&" + "&style=list&n=80&s=";
    return address;
}

std::string itemRankingLog(const ItemRankingQuery& query, int searchNumber, const DateTime& now) {
    return "第" + std::to_string(searchNumber) + "次搜索\n时间：" + now.toString() + "\n商品名：" +
           query.name + "\n价格大于：" + query.low + "\n价格小于：" + query.high + "\n所在地：" +
           query.location + "\n排名范围：" + std::to_string(query.range) + "\n";
}

const std::vector<std::string>& itemRankingColumns() {
    static const std::vector<std::string> columns = {"序号",     "卖家",   "商品名",   "价格", "运费",
                                                     "30天售出", "销售额", "收藏人数", "地点", "链接"};
    return columns;
}

std::string rankingSalesAmount(const TItemInfo& item) {
    char amount[32];
    std::snprintf(amount, sizeof amount, "%.2f", number(item.price) * number(item.cell22));
    return amount;
}

std::vector<std::string> itemRankingRow(int number, const TItemInfo& item) {
    // The search page shows no bookmarks: the column stays empty rather than claim a zero.
    return {std::to_string(number),   item.dianzhu, item.itemTitle, item.price,  item.shipping, item.cell22,
            rankingSalesAmount(item), "",           item.place,     item.itemUrl};
}

CsvJob itemRankingExport(const std::vector<TItemInfo>& rows) {
    return {[&rows] { return rows.size(); },
            "序号,卖家,商品名,价格,运费,30天售出,销售额,收藏人数,地点,链接",
            "指定商品排行数据.csv",
            [&rows](std::string& line, std::size_t row) {
                appendCsvCells(line, itemRankingRow(int(row) + 1, rows[row]));
            },
            {"序号", "卖家", "商品名", "价格", "运费", "30天售出", "销售额", "收藏人数", "地点", "链接"},
            [&rows](std::vector<std::string>& cells, std::size_t row) {
                cells = itemRankingRow(int(row) + 1, rows[row]);
            }};
}

int RankedPages::add(std::int32_t pageNumber, RecordList<TItemInfo> rows) {
    std::vector<TItemInfo> records;
    for (auto& entry : rows)
        records.push_back(std::move(entry.record));
    std::lock_guard lock(mutex_);
    kept_ += int(records.size());
    pages_[pageNumber] = std::move(records);
    return kept_;
}

std::vector<TItemInfo> RankedPages::ranked(int limit) {
    std::lock_guard lock(mutex_);
    std::vector<TItemInfo> rows;
    for (auto& [number, page] : pages_)
        for (auto& row : page)
            if (int(rows.size()) < limit) rows.push_back(std::move(row));
    return rows;
}

std::string itemRankingSummary(JobEnd end, int total) {
    if (end == JobEnd::Stopped) return kSearchStopped;
    if (end != JobEnd::Finished) return "搜索失败，请查看状态栏的提示。";
    return "共搜索到" + std::to_string(total) + "个符合条件的商品";
}

ItemRankingJob::ItemRankingJob(const ItemRankingQuery& query, std::shared_ptr<const THttpAgent> agent,
                               std::vector<download::SlotProgress*> gauges, ItemRankingObserver& observer)
    : range_(query.range),
      runner_(
          std::move(gauges), [&observer](const std::string& text) { observer.statusLine(text); },
          kRankingTimedOut),
      observer_(observer) {
    param_.curPage = 0;
    param_.endPage = itemRankingPages(query.range) - 1;
    param_.urlPrefix = itemRankingAddress(query);
    param_.urlSuffix.assign(
        1, ' '); // as the shop search: a blank after the offset (assign: GCC 12 warns wrongly on =)
    param_.pageKind = download::PageKind::SearchResult;
    param_.httpAgent = std::move(agent);
}

ItemRankingJob::~ItemRankingJob() {
    stop();
    wait();
}

void ItemRankingJob::start() {
    ended_.started();
    runner_.runAsync(
        param_, 80, download::PageJob::kPlainMode,
        [this](std::int32_t number, const std::string& html) {
            total_ = parse::parseItemSearchTotal(html);
            observer_.rankingTotal(total_);
            observer_.itemsRead(pages_.add(number, parse::parseItemSearchList(html)));
        },
        [this](StageRunner::Outcome outcome) {
            observer_.rankingEnded(outcome.end, pages_.ranked(range_), total_);
            ended_.ended();
        });
}

void ItemRankingJob::wait() {
    ended_.wait();
}

} // namespace vantor::gather
