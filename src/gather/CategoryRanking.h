#pragma once

#include "ShopStages.h"
#include "base/CsvFile.h"
#include "base/DateTime.h"
#include "db/TDM.h"

#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace vantor::gather {

// How many top items of a category are ranked.
inline constexpr int kMinRankingDepth = 20;
inline constexpr int kMaxRankingDepth = 400;
inline constexpr int kDefaultRankingDepth = 100;
inline constexpr const char* kNoCategoryChosen = "请选择需要采集的类目！";

// The one check of the form: categories are positions in the category-browse table.
std::optional<std::string> validateCategoryRanking(const std::vector<int>& categories, int depth);

// The log's block for the n-th run since the window opened.
std::string categoryRankingLog(const std::vector<int>& categories, int depth, int runNumber,
                               const DateTime& now);

// A category's browse pages sorted by sales on the list host, without the offset the job appends.
std::string categoryBrowsePrefix(const std::string& categoryId);

// One ranked item of a snapshot.
struct RankedItem {
    int rank = 0; // 1 = the best seller of its category
    TItemInfo item;
    std::string category; // the category's name in the browse table
};

// A category's rows as saved, best seller first, ranked from 1 whatever came before them.
std::vector<RankedItem> rankedCategory(const std::string& category, const std::vector<TItemInfo>& rows);

// The window's result grid: the columns of categoryRankingColumns with "类目" after the rank, as a run
// of several categories lists them one after the other.
const std::vector<std::string>& categoryRankingGridColumns();
std::vector<std::string> categoryRankingGridRow(const RankedItem& row, const DateTime& saved);

// The grid of the rows gathered, with the ranking data view's columns: rank, save time, seller, title,
// price, shipping, 30-day sales, sales amount (price × sales, two decimals), bookmarks, place, link.
const std::vector<std::string>& categoryRankingColumns();
std::vector<std::string> categoryRankingRow(const RankedItem& row, const DateTime& saved);
// The export of the rows gathered: the ranking data view's header and file name.
CsvJob categoryRankingExport(const std::vector<RankedItem>& rows, const DateTime& saved);

// What a running category ranking reports, on its own thread.
class CategoryRankingObserver {
public:
    virtual ~CategoryRankingObserver() = default;
    virtual void categoryStarted(int index, int count, const std::string& name) {}
    // A category's rows, ranked, just saved as its snapshot of the month.
    virtual void categorySaved(const std::string& name, const std::vector<TItemInfo>& rows) {}
    virtual void statusLine(const std::string& text) {}
    virtual void message(const std::string& text) {}
    // Last call: how the run ended, the categories and items saved, and what failed.
    virtual void rankingEnded(JobEnd end, int categories, int items, const std::string& detail) {}
};

// What the user reads after a run.
std::string categoryRankingSummary(JobEnd end, int categories, int items, const std::string& detail);

// Reads the chosen categories' browse pages sorted by sales, the depth's top items of each, and saves
// each category as its ranking snapshot of the month in a transaction of its own, replacing a snapshot
// of the same month. A stop or a failure ends the run; the category in hand saves nothing, those
// before it stay.
class CategoryRanking : public GatherRun {
public:
    CategoryRanking(db::Store database, std::vector<int> categories, int depth,
                    std::shared_ptr<const THttpAgent> agent, std::vector<download::SlotProgress*> gauges,
                    CategoryRankingObserver& observer, DateTime now = DateTime::now());
    ~CategoryRanking() override;
    CategoryRanking(const CategoryRanking&) = delete;
    CategoryRanking& operator=(const CategoryRanking&) = delete;

    void start() override;
    void stop() override { stages_.stop(); }
    void wait() override;

private:
    class Relay;
    void run();
    std::vector<TItemInfo> readCategory(const std::string& categoryId);

    db::Store database_;
    std::vector<int> categories_;
    int depth_;
    DateTime now_;
    CategoryRankingObserver& observer_;
    std::unique_ptr<Relay> relay_;
    ShopStages stages_;
    std::jthread thread_;
};

} // namespace vantor::gather
