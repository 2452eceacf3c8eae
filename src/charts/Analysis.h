#pragma once

#include "ChartDocument.h"
#include "Gallery.h"
#include "base/CsvFile.h"
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
inline constexpr const char* kPictureSaved = "图片保存成功！";
inline constexpr const char* kPictureFailed = "图片无法保存，请重新选择文件！";

// The shops that have items, newest update and higher seller credit first.
inline constexpr const char* kShopListSql =
    "select distinct dian_id,dianming,dianUpdateDate,salerCredit from "
    "iteminfoV order by dianUpdateDate desc,salerCredit desc ";

// A result row of a chart: a statement's current row, or one computed in a single pass over the sales.
// Columns are found without regard to letter case; an absent one is NULL.
class ResultRow {
public:
    virtual ~ResultRow() = default;
    virtual db::Value value(std::string_view column) const = 0;
};

// A row made of named values.
class ValueRow : public ResultRow {
public:
    ValueRow() = default;
    ValueRow(std::initializer_list<std::pair<std::string_view, db::Value>> fields);
    void add(std::string_view column, db::Value value) { fields_.emplace_back(column, std::move(value)); }
    db::Value value(std::string_view column) const override;

private:
    std::vector<std::pair<std::string, db::Value>> fields_;
};

// One chart of an analysis window: its statement, its document and, where the window offers one,
// its list document. The formatters turn a result row into a point and a list row.
struct ChartSpec {
    std::string_view statement;
    std::string_view chartFile;
    std::string_view title;
    std::string_view axisText;
    ChartPoint (*point)(const ResultRow& row, int rank);
    std::string_view listFile; // empty: no list
    std::vector<ListField> (*listRow)(const ResultRow& row, int rank);
};

// A link of a page: an address containing the marker exports the list document.
struct ListLink {
    std::string_view marker;
    std::string_view listFile;
};

// What gathers the rows of an analysis that is no list of statements: it writes its documents itself,
// saying each to the observer, and raises on a failure.
struct AnalysisRequest;
class AnalysisObserver;
using DocumentWriter = void (*)(db::Database& db, const Gallery& gallery, const AnalysisRequest& request,
                                AnalysisObserver& observer);
// What computes the rows of every chart of a window at once, in the order its statements give them;
// the statements stay as the reference of what the rows are.
using ChartRows = std::vector<std::vector<ValueRow>>;
using RowsInOnePass = ChartRows (*)(db::Database& db, const AnalysisRequest& request);

// An analysis window's work: its charts (statement by statement) or its own writer, its page and the
// page's list links, and the shops it offers.
struct Analysis {
    std::string_view name; // as the command line names it
    std::string_view caption;
    std::string_view page;
    std::vector<ChartSpec> charts;
    std::vector<ListLink> links;
    const char* shopListSql = kShopListSql;
    DocumentWriter write = nullptr;
    RowsInOnePass rows = nullptr; // set: the charts' rows come from it, not from their statements

    // The link whose marker the address contains, letter case aside (a browser lower-cases the host
    // part of "sale://saleCount_/"); null for an address to follow.
    const ListLink* linkFor(std::string_view address) const;
};

struct ShopChoice {
    std::int64_t id;
    std::string name;
};

std::vector<ShopChoice> loadShopList(db::Database& db, const Analysis& analysis);

// The analysed range the windows start with: 1 January of this year up to today.
struct DateRange {
    std::string from;
    std::string to;
};
DateRange defaultDateRange(const DateTime& today);

// One line of a report card: what was measured, its figure, the threshold it is held against, the
// verdict, and the link marker of its evidence list.
struct CheckLine {
    std::string item;
    std::string figure;
    std::string threshold;
    bool pass = true;
    std::string marker;
};

// What a run tells its front end.
class AnalysisObserver {
public:
    virtual ~AnalysisObserver() = default;
    virtual void showMessage(const std::string& text) = 0;
    virtual void documentWritten(const std::filesystem::path& file) = 0;
    // The lines of a report card, as an analysis that makes one has judged them.
    virtual void reportCard(const std::vector<CheckLine>& lines) {}
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

// The analyses of the program, sales first, in the order of their windows.
const std::vector<const Analysis*>& allAnalyses();

// Writes every document of the analysis for the shop, chart by chart. Without a shop nothing is
// written. A failure stops the run; the documents written before it stay.
AnalysisResult runAnalysis(db::Database& db, const Gallery& gallery, const Analysis& analysis,
                           const std::optional<AnalysisRequest>& request, AnalysisObserver& observer);

// Copies the list document the last run left to the destination, overwriting it, and tells the user.
bool exportListDocument(const Gallery& gallery, const ListLink& link,
                        const std::filesystem::path& destination, AnalysisObserver& observer);

// The rows of a list document: per "sale" block its elements' names and texts in their order, UTF-8.
// Empty for a missing file.
using ListRows = std::vector<std::vector<std::pair<std::string, std::string>>>;
ListRows readListDocument(const std::filesystem::path& file);

// Writes the list the last run left as CSV: a header of the element names, a line per row, and tells
// the user. The list document itself stays as it is.
bool exportListDocumentAsCsv(const Gallery& gallery, const ListLink& link,
                             const std::filesystem::path& destination, AnalysisObserver& observer,
                             ExportEncoding encoding = ExportEncoding::Gbk);

// A list export to a file the user named: CSV for a name ending in ".csv" (any letter case), the XML
// document otherwise.
bool exportList(const Gallery& gallery, const ListLink& link, const std::filesystem::path& destination,
                AnalysisObserver& observer, ExportEncoding encoding = ExportEncoding::Gbk);

// What an analysis window's chart pane says before its first run.
std::string emptyStateText(const Analysis& analysis);

} // namespace vantor::charts
