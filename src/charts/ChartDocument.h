#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vantor::charts {

// The attribute texts every bar and line chart start tag carries after its axis names.
inline constexpr std::string_view kChartLook =
    " showNames='1' showValues='0'  showAlternateHGridColor='1' AlternateHGridColor='ff5904' "
    "divLineColor='ff5904' divLineAlpha='20' alternateHGridAlpha='5' ";
inline constexpr std::string_view kChartNumbers =
    " baseFontSize='12' decimalPrecision='0' formatNumberScale='0' chartRightMargin='30'  >";

// About twelve labels stay on an axis: every point whose rank is a multiple of the step shows its
// name, the others are hidden. The step is rows / 12, at least 1.
int labelStep(int rowCount);
inline bool labelShown(int rank, int step) {
    return rank % step == 0;
}

// Money and trend values: fixed notation, two decimals, no thousands separators ("1234.50").
std::string fixedTwoDecimals(double value);

struct ChartPoint {
    std::string name;
    std::string hoverText;
    std::string value;
    std::string extra = {}; // further attributes after the value, each behind a blank
};

// A chart document: the graph start tag, one set line per point, the end tag. Attribute values go
// in as they come; the pages read them leniently, so nothing is escaped.
class ChartDocument {
public:
    // axisText runs from "' xAxisName='" up to and including the blank after the last axis name.
    ChartDocument(std::string_view subcaption, std::string_view caption, std::string_view axisText);
    // A pie chart: the short start tag.
    static ChartDocument pie();

    void add(const ChartPoint& point, bool showName);
    std::vector<std::string> lines() const;

private:
    ChartDocument() = default;
    std::string startTag_;
    std::vector<std::string> points_;
};

// One element of a list row: the Chinese element name and its text.
using ListField = std::pair<std::string_view, std::string>;

// A list document: the declaration, "<shop>", a "<sale>" block per row, "</shop>".
// It is written as one text, every line ended by CR LF: a list of a hundred thousand rows is not a
// million strings.
class ListDocument {
public:
    ListDocument();
    void add(const std::vector<ListField>& fields);
    std::string text() const { return text_ + "</shop>\r\n"; }

private:
    std::string text_;
};

// Writes a document as the pages and the users' other tools expect it: GBK, every line ended by
// CR LF. The file is re-created. Raises std::runtime_error when it cannot be written.
void saveDocument(const std::filesystem::path& file, const std::vector<std::string>& utf8Lines);
// The same for a text whose lines already end in CR LF.
void saveDocument(const std::filesystem::path& file, std::string_view utf8Text);

} // namespace vantor::charts
