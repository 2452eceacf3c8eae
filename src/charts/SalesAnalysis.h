#pragma once

#include "ChartDocument.h"
#include "Gallery.h"
#include "base/DateTime.h"
#include "db/Database.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::charts {

inline constexpr const char* kNoShopChosen = "没有选择要分析的店铺，请选择！";
inline constexpr const char* kGenerateFailed = "生成数据出错！";
inline constexpr const char* kExportDone = "文件导出成功！";
inline constexpr const char* kExportFailed = "文件无法导出，请重新分析后，再进行导出！";

// The shops that have items, newest update and higher seller credit first.
inline constexpr const char* kShopListSql =
    "select distinct dian_id,dianming,dianUpdateDate,salerCredit from "
    "iteminfoV order by dianUpdateDate desc,salerCredit desc ";

// One chart of an analysis window: its statement, its document and, where the window offers one,
// its list document. The formatters turn the statement's current row into a point and a list row.
struct ChartSpec {
    std::string_view statement;
    std::string_view chartFile;
    std::string_view title;
    std::string_view axisText;
    ChartPoint (*point)(const db::Statement& row, int rank);
    std::string_view listFile; // empty: no list
    std::vector<ListField> (*listRow)(const db::Statement& row, int rank);
};

// A link of a page: an address containing the marker exports the list document.
struct ListLink {
    std::string_view marker;
    std::string_view listFile;
};

struct SalesAnalysis {
    std::string_view name; // as the command line names it
    std::string_view caption;
    std::string_view page;
    std::vector<ChartSpec> charts;
    std::vector<ListLink> links;

    // The link whose marker the address contains, letter case aside (a browser lower-cases the host
    // part of "sale://saleCount_/"); null for an address to follow.
    const ListLink* linkFor(std::string_view address) const;
};

const SalesAnalysis& salesRanking();
const SalesAnalysis& salesTimeDistribution();
const SalesAnalysis& salesTrend();
const std::vector<const SalesAnalysis*>& salesAnalyses();

struct ShopChoice {
    std::int64_t id;
    std::string name;
};

std::vector<ShopChoice> loadShopList(db::Database& db);

// The analysed range the windows start with: 1 January of this year up to today.
struct DateRange {
    std::string from;
    std::string to;
};
DateRange defaultDateRange(const DateTime& today);

// What a run tells its front end.
class AnalysisObserver {
public:
    virtual ~AnalysisObserver() = default;
    virtual void showMessage(const std::string& text) = 0;
    virtual void documentWritten(const std::filesystem::path& file) = 0;
};

struct AnalysisRequest {
    std::int64_t shopId;
    std::string shopName;
    std::string from; // yyyy-MM-dd as the user gave them; the subcaption shows them unchanged
    std::string to;
};

enum class AnalysisOutcome { Written, NoShop, Failed };

struct AnalysisResult {
    AnalysisOutcome outcome;
    std::string error; // what went wrong underneath, for a Failed run
};

// Writes every document of the analysis for the shop, chart by chart. Without a shop nothing is
// written. A failure stops the run; the documents written before it stay.
AnalysisResult runAnalysis(db::Database& db, const Gallery& gallery, const SalesAnalysis& analysis,
                           const std::optional<AnalysisRequest>& request, AnalysisObserver& observer);

// Copies the list document the last run left to the destination, overwriting it, and tells the user.
bool exportListDocument(const Gallery& gallery, const ListLink& link,
                        const std::filesystem::path& destination, AnalysisObserver& observer);

} // namespace vantor::charts
