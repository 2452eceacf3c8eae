#include "RowFilter.h"

#include "RowStore.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace vantor::views {
namespace {

char lowerAscii(char c) {
    return c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
}

bool containsIgnoringAsciiCase(std::string_view text, std::string_view part) {
    auto hit = std::search(text.begin(), text.end(), part.begin(), part.end(),
                           [](char a, char b) { return lowerAscii(a) == lowerAscii(b); });
    return hit != text.end() || part.empty();
}

bool parseNumber(std::string_view text, double& number) {
    auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), number);
    return ec == std::errc() && end == text.data() + text.size() && !text.empty();
}

bool holds(FilterCondition::Op op, int order) {
    switch (op) {
    case FilterCondition::Op::Equal:
        return order == 0;
    case FilterCondition::Op::AtLeast:
        return order >= 0;
    case FilterCondition::Op::AtMost:
        return order <= 0;
    default:
        return false;
    }
}

} // namespace

void RowFilter::add(FilterCondition condition) {
    conditions_.push_back(std::move(condition));
}

std::string RowFilter::text() const {
    std::string text;
    for (const auto& condition : conditions_) {
        if (!text.empty()) text += " and ";
        text += condition.text;
    }
    return text;
}

RowFilter::Bound RowFilter::bind(const RowStore& store) const {
    Bound bound;
    for (const auto& condition : conditions_) {
        int field = store.fieldIndex(condition.field);
        if (field < 0) throw std::invalid_argument("过滤条件中的字段不存在: " + condition.field);
        double number = 0;
        bool numeric = parseNumber(condition.operand, number);
        bound.terms_.push_back({&condition, field, numeric, number});
    }
    return bound;
}

bool RowFilter::Bound::matches(const RowStore& store, std::size_t row) const {
    std::string cell;
    for (const auto& term : terms_) {
        const CellType type = store.type(row, term.field);
        if (type == CellType::Null) return false;
        const FilterCondition& condition = *term.condition;
        if (condition.op != FilterCondition::Op::Contains && term.numericOperand && type != CellType::Text) {
            const double value = store.number(row, term.field);
            if (!holds(condition.op, value < term.number ? -1 : value > term.number ? 1 : 0)) return false;
            continue;
        }
        std::string_view text;
        if (type == CellType::Text) {
            text = store.text(row, term.field);
        } else {
            cell.clear();
            store.appendDisplayText(cell, row, term.field);
            text = cell;
        }
        if (condition.op == FilterCondition::Op::Contains) {
            if (!containsIgnoringAsciiCase(text, condition.operand)) return false;
        } else if (!holds(condition.op, text.compare(condition.operand))) {
            return false;
        }
    }
    return true;
}

RowFilter keywordFilter(std::string_view field, std::string_view keyword) {
    RowFilter filter;
    std::string text = std::string(field) + " like %" + std::string(keyword) + "%";
    filter.add({std::string(field), FilterCondition::Op::Contains, std::string(keyword), std::move(text)});
    return filter;
}

} // namespace vantor::views
