#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantor::views {

class RowStore;

// One condition of a client-side filter. `text` is the condition as the view writes it into the filter
// text; the rows are chosen by field, operation and operand, so a quote or a blank a user types is
// compared as it stands instead of breaking the text apart.
struct FilterCondition {
    enum class Op { Contains, Equal, AtLeast, AtMost };
    std::string field;
    Op op;
    std::string operand;
    std::string text;
};

// The filter of a dataset: conditions joined by " and ". Contains compares without regard to the
// letter case of ASCII letters, as the desktop database's "like" does. The comparisons compare numbers
// as numbers when both the cell and the operand are numbers, otherwise the cell's text with the
// operand character by character; stored dates ("yyyy-MM-dd HH:mm:ss") therefore compare with a typed
// "yyyy-MM-dd" as the dates do. A NULL cell meets no condition.
class RowFilter {
public:
    RowFilter() = default;
    void add(FilterCondition condition);
    bool empty() const { return conditions_.empty(); }
    const std::vector<FilterCondition>& conditions() const { return conditions_; }
    std::string text() const;

    // The fields of the store the conditions name, each resolved once; raises std::invalid_argument
    // for a field the store does not have.
    class Bound {
    public:
        bool matches(const RowStore& store, std::size_t row) const;

    private:
        friend class RowFilter;
        struct Term {
            const FilterCondition* condition;
            int field;
            bool numericOperand;
            double number;
        };
        std::vector<Term> terms_;
    };
    Bound bind(const RowStore& store) const;

private:
    std::vector<FilterCondition> conditions_;
};

// "field like %keyword%", the keyword filter of the sales data view's boxes.
RowFilter keywordFilter(std::string_view field, std::string_view keyword);

} // namespace vantor::views
