#include "CategoryRanking.h"

#include "GatherPersistence.h"
#include "GatherTexts.h"
#include "ItemRanking.h"
#include "db/TDM.h"
#include "market/CategoryTable.h"
#include "market/MarketHosts.h"
#include "parse/Expressions.h"
#include "parse/THTMLTools.h"

namespace vantor::gather {

namespace {

constexpr int kPageSize = 80;

const std::string& categoryName(int position) {
    return market::categoryBrowseCategories().at(size_t(position)).name;
}

} // namespace

// The shop stages report through a gathering's observer; a ranking passes on what it says.
class CategoryRanking::Relay : public GatherObserver {
public:
    explicit Relay(CategoryRankingObserver& observer) : observer_(observer) {}
    void statusLine(const std::string& text) override { observer_.statusLine(text); }
    void message(const std::string& text) override { observer_.message(text); }

private:
    CategoryRankingObserver& observer_;
};

std::optional<std::string> validateCategoryRanking(const std::vector<int>& categories, int depth) {
    if (categories.empty()) return std::string(kNoCategoryChosen);
    for (int position : categories)
        if (position < 0 || position >= int(market::categoryBrowseCategories().size()))
            return std::string("类别不存在！");
    if (depth < kMinRankingDepth || depth > kMaxRankingDepth)
        return "排行深度必须在 " + std::to_string(kMinRankingDepth) + " 到 " +
               std::to_string(kMaxRankingDepth) + " 之间！";
    return std::nullopt;
}

std::string categoryRankingLog(const std::vector<int>& categories, int depth, int runNumber,
                               const DateTime& now) {
    std::string names;
    for (int position : categories) {
        std::string name = categoryName(position);
        name.erase(name.find_last_not_of(' ') + 1);
        names += (names.empty() ? "" : "、") + name;
    }
    return "第" + std::to_string(runNumber) + "次采集\n时间：" + now.toString() + "\n类目：" + names +
           "\n每个类目：前" + std::to_string(depth) + "个商品\n";
}

std::string categoryBrowsePrefix(const std::string& categoryId) {
    return std::string(market::kListHost) + "/browse/" + categoryId +
           "/n-1----------------------0-false-----------------------------------------80--sale-desc-";
}

const std::vector<std::string>& categoryRankingColumns() {
    static const std::vector<std::string> columns = {"序号",     "更新日期", "卖家",     "商品名",
                                                     "价格",     "运费",     "30天售出", "销售额",
                                                     "收藏人数", "地点",     "链接"};
    return columns;
}

std::vector<std::string> categoryRankingRow(const RankedItem& row, const DateTime& saved) {
    const TItemInfo& item = row.item;
    return {std::to_string(row.rank),
            saved.toString(),
            item.dianzhu,
            item.itemTitle,
            item.price,
            item.shipping,
            item.cell22,
            rankingSalesAmount(item),
            item.cell23,
            item.place,
            item.itemUrl};
}

std::vector<RankedItem> rankedCategory(const std::string& category, const std::vector<TItemInfo>& rows) {
    std::vector<RankedItem> ranked;
    ranked.reserve(rows.size());
    // The browse table pads some names with blanks for its list; the grid shows the name alone.
    const auto first = category.find_first_not_of(' '), last = category.find_last_not_of(' ');
    const std::string name =
        first == std::string::npos ? std::string() : category.substr(first, last - first + 1);
    for (size_t i = 0; i < rows.size(); ++i)
        ranked.push_back({int(i) + 1, rows[i], name});
    return ranked;
}

const std::vector<std::string>& categoryRankingGridColumns() {
    static const std::vector<std::string> columns = [] {
        std::vector<std::string> list = categoryRankingColumns();
        list.insert(list.begin() + 1, "类目");
        return list;
    }();
    return columns;
}

std::vector<std::string> categoryRankingGridRow(const RankedItem& row, const DateTime& saved) {
    std::vector<std::string> cells = categoryRankingRow(row, saved);
    cells.insert(cells.begin() + 1, row.category);
    return cells;
}

CsvJob categoryRankingExport(const std::vector<RankedItem>& rows, const DateTime& saved) {
    return {[&rows] { return rows.size(); },
            "序号,更新日期,卖家,商品名,价格,运费,30天售出,销售额,收藏人数,地点,链接",
            "商品排行数据.csv",
            [&rows, saved](std::string& line, std::size_t row) {
                appendCsvCells(line, categoryRankingRow(rows[row], saved));
            },
            {"序号", "更新日期", "卖家", "商品名", "价格", "运费", "30天售出", "销售额", "收藏人数", "地点",
             "链接"},
            [&rows, saved](std::vector<std::string>& cells, std::size_t row) {
                cells = categoryRankingRow(rows[row], saved);
            }};
}

std::string categoryRankingSummary(JobEnd end, int categories, int items, const std::string& detail) {
    const std::string saved =
        "已保存" + std::to_string(categories) + "个类目的排行，商品" + std::to_string(items) + "个";
    if (end == JobEnd::Finished) return "采集完成：" + saved + "。";
    const std::string kept = saved + "；正在采集的类目未保存。";
    if (end == JobEnd::Stopped) return std::string(kGatherStopped) + kept;
    std::string why = detail.empty() && end == JobEnd::TimedOut ? std::string("连接超时") : detail;
    return "采集失败：" + kept + (why.empty() ? "" : "原因：" + why);
}

CategoryRanking::CategoryRanking(db::Store database, std::vector<int> categories, int depth,
                                 std::shared_ptr<const THttpAgent> agent,
                                 std::vector<download::SlotProgress*> gauges,
                                 CategoryRankingObserver& observer, DateTime now)
    : database_(std::move(database)),
      categories_(std::move(categories)),
      depth_(depth),
      now_(now),
      observer_(observer),
      relay_(std::make_unique<Relay>(observer)),
      stages_(std::move(agent), std::move(gauges), *relay_) {}

CategoryRanking::~CategoryRanking() {
    stop();
    wait();
}

void CategoryRanking::start() {
    thread_ = std::jthread([this] { run(); });
}

void CategoryRanking::wait() {
    if (thread_.joinable()) thread_.join();
}

void CategoryRanking::run() {
    JobEnd end = JobEnd::Finished;
    std::string detail;
    int categoriesSaved = 0, itemsSaved = 0;
    try {
        db::Database db = db::TDM(database_).openConnection();
        db::LockWait wait;
        wait.notice = [this] { observer_.statusLine(statusLineText(kWaitingForLock)); };
        wait.keepWaiting = [this] { return !stages_.stopped(); };
        db.setLockWait(std::move(wait));
        for (size_t i = 0; i < categories_.size() && end == JobEnd::Finished; ++i) {
            const int position = categories_[i];
            observer_.categoryStarted(int(i), int(categories_.size()), categoryName(position));
            try {
                std::vector<TItemInfo> rows =
                    readCategory(market::categoryBrowseCategories().at(size_t(position)).id);
                db.beginTransaction();
                try {
                    itemsSaved += saveRankingSnapshot(
                        market::categoryBrowseCategories().at(size_t(position)).id, rows, now_, db);
                    db.commit();
                } catch (...) {
                    db.rollback();
                    throw;
                }
                ++categoriesSaved;
                observer_.categorySaved(categoryName(position), rows);
            } catch (...) {
                end = stages_.ended(detail);
            }
        }
    } catch (const std::exception& e) {
        observer_.statusLine(statusLineText(kGatherFailed));
        end = JobEnd::Failed;
        detail = e.what();
    }
    observer_.rankingEnded(end, categoriesSaved, itemsSaved, detail);
}

std::vector<TItemInfo> CategoryRanking::readCategory(const std::string& categoryId) {
    RankedPages pages;
    const int lastPage = (depth_ + kPageSize - 1) / kPageSize - 1;
    auto param =
        stages_.job(categoryBrowsePrefix(categoryId), "-all-0.htm", download::PageKind::List, 0, lastPage);
    stages_.run(
        param, kPageSize, download::PageJob::kPlainMode, [&](std::int32_t number, const std::string& page) {
            pages.add(number,
                      THTMLTools::parseItemList(page, parse::expression(parse::Expression::CategoryItemRow)));
        });
    return pages.ranked(depth_);
}

} // namespace vantor::gather
