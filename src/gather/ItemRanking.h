#pragma once

#include "StageRunner.h"
#include "base/CsvFile.h"
#include "base/DateTime.h"
#include "download/THttpAgent.h"
#include "market/Records.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace vantor::gather {

inline constexpr const char* kItemNameMissing = "请输入商品名称或类别等条件进行搜索！";

// The ranking range: how many items, best sellers first.
inline constexpr int kMinRankingRange = 10;
inline constexpr int kMaxRankingRange = 100;
inline constexpr int kDefaultRankingRange = 20;

// What the user asks the item ranking for; texts UTF-8 as typed, prices as typed (empty: no bound).
struct ItemRankingQuery {
    std::string name;
    std::string low;
    std::string high;
    std::string location;
    int range = kDefaultRankingRange;
};

// The one check of the form, for the window and the command line alike.
std::optional<std::string> validateItemRanking(const ItemRankingQuery& query);
// The item search sorted by sales, without the offset the job appends.
std::string itemRankingAddress(const ItemRankingQuery& query);
// The search log's block for the n-th search since the window opened.
std::string itemRankingLog(const ItemRankingQuery& query, int searchNumber, const DateTime& now);
// Result pages of 80 items that hold the range.
inline int itemRankingPages(int range) {
    return (range + 79) / 80;
}

// 销售额 of a ranked item: price × 30-day sales (cell22), two decimals.
std::string rankingSalesAmount(const TItemInfo& item);
// The grid's columns and one item as a row (UTF-8).
const std::vector<std::string>& itemRankingColumns();
std::vector<std::string> itemRankingRow(int number, const TItemInfo& item);
// The window's export of the rows, "指定商品排行数据.csv".
CsvJob itemRankingExport(const std::vector<TItemInfo>& rows);

// The rows of a ranking's result pages, kept as the pages arrive (in any order, on the download
// threads) and read back in page order: the best sellers first.
class RankedPages {
public:
    // Keeps a page's rows; returns the rows kept so far.
    int add(std::int32_t pageNumber, RecordList<TItemInfo> rows);
    // The rows in page order, at most `limit`.
    std::vector<TItemInfo> ranked(int limit);

private:
    std::mutex mutex_;
    std::map<int, std::vector<TItemInfo>> pages_;
    int kept_ = 0;
};

// What the user reads after a ranking: the total, or that it was stopped or failed.
std::string itemRankingSummary(JobEnd end, int total);

// What a running item ranking reports, on the transfer loop's thread.
class ItemRankingObserver {
public:
    virtual ~ItemRankingObserver() = default;
    virtual void rankingTotal(int total) {}
    // Items read so far, for "正在采集：N个商品".
    virtual void itemsRead(int count) {}
    virtual void statusLine(const std::string& text) {}
    // Last call: the rows in ranking order (the range at most), and the marketplace's total.
    virtual void rankingEnded(JobEnd end, const std::vector<TItemInfo>& rows, int total) {}
};

// One item ranking: the result pages the range needs, on the transfer loop. It stores nothing.
class ItemRankingJob {
public:
    ItemRankingJob(const ItemRankingQuery& query, std::shared_ptr<const THttpAgent> agent,
                   std::vector<download::SlotProgress*> gauges, ItemRankingObserver& observer);
    ~ItemRankingJob(); // stops the search and waits for it
    ItemRankingJob(const ItemRankingJob&) = delete;
    ItemRankingJob& operator=(const ItemRankingJob&) = delete;

    void start();
    void stop() { runner_.stop(); }
    void wait();

private:
    int range_;
    TDownParamBean param_;
    StageRunner runner_;
    ItemRankingObserver& observer_;
    RankedPages pages_;
    std::atomic<int> total_ = 0;
    JobEndSignal ended_;
};

} // namespace vantor::gather
