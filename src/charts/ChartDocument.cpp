#include "ChartDocument.h"

#include "base/GbkText.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace vantor::charts {

int labelStep(int rowCount) {
    return std::max(1, rowCount / 12);
}

std::string fixedTwoDecimals(double value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.2f", value);
    return text;
}

ChartDocument::ChartDocument(std::string_view subcaption, std::string_view caption,
                             std::string_view axisText) {
    startTag_.append("<graph  subcaption='").append(subcaption);
    startTag_.append("' caption='").append(caption);
    startTag_.append(axisText).append(kChartLook).append(kChartNumbers);
}

ChartDocument ChartDocument::pie() {
    ChartDocument document;
    document.startTag_ = "<graph showNames='1'  decimalPrecision='0' baseFontSize='12' >";
    return document;
}

void ChartDocument::add(const ChartPoint& point, bool showName) {
    std::string line = "<set name='" + point.name + "' hoverText='" + point.hoverText + "' value='" +
                       point.value + "'" + point.extra;
    if (!showName) line += " showName='0'";
    line += " />";
    points_.push_back(std::move(line));
}

std::vector<std::string> ChartDocument::lines() const {
    std::vector<std::string> all;
    all.reserve(points_.size() + 2);
    all.push_back(startTag_);
    all.insert(all.end(), points_.begin(), points_.end());
    all.push_back("</graph>");
    return all;
}

ListDocument::ListDocument() : text_("<?xml version=\"1.0\" encoding=\"gb2312\"?> \r\n<shop>\r\n") {}

void ListDocument::add(const std::vector<ListField>& fields) {
    text_ += "<sale>\r\n";
    for (const auto& [name, text] : fields)
        text_.append("<").append(name).append(">").append(text).append("</").append(name).append(">\r\n");
    text_ += "</sale>\r\n";
}

void saveDocument(const std::filesystem::path& file, const std::vector<std::string>& utf8Lines) {
    std::string text;
    for (const auto& line : utf8Lines)
        text.append(line).append("\r\n");
    saveDocument(file, text);
}

void saveDocument(const std::filesystem::path& file, std::string_view utf8Text) {
    const std::string gbk = toGbk(utf8Text);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out.write(gbk.data(), std::streamsize(gbk.size()));
    out.close();
    if (!out) throw std::runtime_error("cannot write " + file.string());
}

} // namespace vantor::charts
