#include "Analysis.h"

#include "RatingAnalysis.h"
#include "SalesAnalysis.h"

#include "base/GbkText.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace vantor::charts {
namespace fs = std::filesystem;

namespace {

char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

// The sale times are stored as "yyyy-MM-dd HH:mm:ss" text; limits in the same form compare as the
// dates they stand for, so a sale at midnight of the last day is still in the range.
std::string boundDate(const std::string& text) {
    auto date = DateTime::parse(text);
    if (!date) throw std::runtime_error("not a date: " + text);
    return date->toString();
}

std::vector<ValueRow> statementRows(db::Database& db, const ChartSpec& chart,
                                    const AnalysisRequest& request) {
    auto statement = db.prepare(chart.statement);
    statement.bind("id", request.shopId)
        .bind("sj1", boundDate(request.from))
        .bind("sj2", boundDate(request.to));
    std::vector<ValueRow> rows;
    while (statement.step()) {
        ValueRow row;
        for (int c = 0; c < statement.columnCount(); ++c)
            row.add(statement.columnName(c), statement.value(c));
        rows.push_back(std::move(row));
    }
    return rows;
}

void writeChart(const Gallery& gallery, const ChartSpec& chart, const std::vector<ValueRow>& rows,
                const AnalysisRequest& request, AnalysisObserver& observer) {
    // The label step depends on the number of rows, so the points wait until all are read.
    std::vector<ChartPoint> points;
    ListDocument list;
    for (size_t i = 0; i < rows.size(); ++i) {
        const int rank = int(i + 1);
        points.push_back(chart.point(rows[i], rank));
        if (!chart.listFile.empty()) list.add(chart.listRow(rows[i], rank));
    }

    ChartDocument document(request.from + "~" + request.to + std::string(chart.title), request.shopName,
                           chart.axisText);
    int step = labelStep(int(points.size()));
    for (size_t i = 0; i < points.size(); ++i)
        document.add(points[i], labelShown(int(i + 1), step));

    saveDocument(gallery.document(chart.chartFile), document.lines());
    observer.documentWritten(gallery.document(chart.chartFile));
    if (chart.listFile.empty()) return;
    saveDocument(gallery.document(chart.listFile), list.text());
    observer.documentWritten(gallery.document(chart.listFile));
}

bool containsIgnoringCase(std::string_view text, std::string_view part) {
    auto equal = [](char a, char b) { return lowerAscii(a) == lowerAscii(b); };
    return std::search(text.begin(), text.end(), part.begin(), part.end(), equal) != text.end();
}

} // namespace

ValueRow::ValueRow(std::initializer_list<std::pair<std::string_view, db::Value>> fields) {
    for (const auto& [column, value] : fields)
        add(column, value);
}

db::Value ValueRow::value(std::string_view column) const {
    for (const auto& [name, value] : fields_)
        if (name.size() == column.size() &&
            std::equal(name.begin(), name.end(), column.begin(),
                       [](char a, char b) { return lowerAscii(a) == lowerAscii(b); }))
            return value;
    return {};
}

const std::vector<const Analysis*>& allAnalyses() {
    static const std::vector<const Analysis*> all = {&salesRanking(), &salesTimeDistribution(), &salesTrend(),
                                                     &creditGrowth(), &ratingCheck()};
    return all;
}

const ListLink* Analysis::linkFor(std::string_view address) const {
    for (const ListLink& link : links)
        if (containsIgnoringCase(address, link.marker)) return &link;
    return nullptr;
}

std::vector<ShopChoice> loadShopList(db::Database& db, const Analysis& analysis) {
    auto statement = db.prepare(analysis.shopListSql);
    std::vector<ShopChoice> shops;
    while (statement.step())
        shops.push_back({statement.integer(0), statement.text(1)});
    return shops;
}

DateRange defaultDateRange(const DateTime& today) {
    char firstOfYear[16];
    std::snprintf(firstOfYear, sizeof firstOfYear, "%04d-01-01", today.year);
    return {firstOfYear, today.toDateString()};
}

AnalysisResult runAnalysis(db::Database& db, const Gallery& gallery, const Analysis& analysis,
                           const std::optional<AnalysisRequest>& request, AnalysisObserver& observer) {
    if (!request) {
        observer.showMessage(kNoShopChosen);
        return {AnalysisOutcome::NoShop, {}};
    }
    try {
        gallery.prepare();
        if (analysis.write) analysis.write(db, gallery, *request, observer);
        const ChartRows rows = analysis.rows ? analysis.rows(db, *request) : ChartRows();
        for (size_t c = 0; c < analysis.charts.size(); ++c)
            writeChart(gallery, analysis.charts[c],
                       analysis.rows ? rows.at(c) : statementRows(db, analysis.charts[c], *request), *request,
                       observer);
    } catch (const std::exception& e) {
        observer.showMessage(kGenerateFailed);
        return {AnalysisOutcome::Failed, e.what()};
    }
    return {AnalysisOutcome::Written, {}};
}

bool exportListDocument(const Gallery& gallery, const ListLink& link, const fs::path& destination,
                        AnalysisObserver& observer) {
    std::error_code error;
    fs::copy_file(gallery.document(link.listFile), destination, fs::copy_options::overwrite_existing, error);
    observer.showMessage(error ? kExportFailed : kExportDone);
    return !error;
}

ListRows readListDocument(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    if (!in) return {};
    std::istringstream text(gbkToUtf8(std::string(std::istreambuf_iterator<char>(in), {})));
    // One element per line, as the documents are written.
    static const std::regex element(R"(^\s*<([^>/]+)>(.*)</\1>\s*$)");
    ListRows rows;
    bool inRow = false;
    std::string line;
    while (std::getline(text, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::smatch match;
        if (line.find("<sale>") != std::string::npos) {
            rows.emplace_back();
            inRow = true;
        } else if (line.find("</sale>") != std::string::npos) {
            inRow = false;
        } else if (inRow && std::regex_match(line, match, element)) {
            rows.back().emplace_back(match[1].str(), match[2].str());
        }
    }
    return rows;
}

bool exportListDocumentAsCsv(const Gallery& gallery, const ListLink& link, const fs::path& destination,
                             AnalysisObserver& observer, ExportEncoding encoding) {
    const ListRows rows = readListDocument(gallery.document(link.listFile));
    if (rows.empty()) {
        observer.showMessage(kExportFailed);
        return false;
    }
    std::string header;
    for (const auto& [name, text] : rows.front()) {
        if (!header.empty()) header += ',';
        appendCsvSafe(header, name);
    }
    CsvJob job{[&] { return rows.size(); },
               header,
               "",
               [&](std::string& line, std::size_t row) {
                   std::vector<std::string> cells;
                   for (const auto& [name, text] : rows[row])
                       cells.push_back(text);
                   appendCsvCells(line, cells);
               },
               {},
               {}};
    try {
        if (exportToFile(job, destination, nullptr, encoding) != ExportOutcome::Written) {
            observer.showMessage(lockedWarning(destination));
            return false;
        }
    } catch (const std::exception&) {
        observer.showMessage(kExportFailed);
        return false;
    }
    observer.showMessage(kExportDone);
    return true;
}

bool exportList(const Gallery& gallery, const ListLink& link, const fs::path& destination,
                AnalysisObserver& observer, ExportEncoding encoding) {
    std::string ending = destination.extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), lowerAscii);
    if (ending == ".csv") return exportListDocumentAsCsv(gallery, link, destination, observer, encoding);
    return exportListDocument(gallery, link, destination, observer);
}

std::string emptyStateText(const Analysis& analysis) {
    return "还没有分析结果。请在上方选择店铺和分析日期，再按“分析”，这里就会显示" +
           std::string(analysis.caption) + "的图表。";
}

} // namespace vantor::charts
