#pragma once

#include "QueryReader.h"
#include "RowFilter.h"
#include "RowStore.h"
#include "db/TDM.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::views {

// What a grid model hears from its dataset. Every call comes on the thread that uses the dataset,
// before and after the change, so a model can announce the change the way its toolkit wants.
class DatasetObserver {
public:
    virtual ~DatasetObserver() = default;
    virtual void aboutToReset() = 0;
    virtual void reset() = 0;
    virtual void aboutToAppend(std::size_t first, std::size_t last) = 0;
    virtual void appended() = 0;
    virtual void currentChanged() = 0;
};

// A query as the data views use it: its statement and parameters, the rows of its last opening, a
// client-side sort text and filter applied to those rows without running the query again,
// the calculated row number "xh" and a current row.
//
// The sort text is a field name alone (ascending) or the field name followed by " DESC "
// (descending); ties keep the query's order. It belongs to the rows of one opening: rows read again
// come in the query's order. The filter stays from opening to opening and only takes effect while
// filtering is on. The row number is the row's 1-based position in the sorted and filtered rows.
//
// With a filter in force an opening reads every row before it returns; otherwise it returns after the
// first block, and takeArrived() adds the rows a background reader has read since.
class Dataset {
public:
    using Connect = std::function<db::Database()>;
    static constexpr const char* kRowNumber = "xh";

    Dataset(Connect connect, std::string sql, bool rowNumber, QueryReader::Mode mode);
    // A standing query of the data module, reading through connections of its own on the data file.
    static Dataset standing(const db::TDM& dm, std::string_view name, QueryReader::Mode mode);
    ~Dataset();
    Dataset(Dataset&&) noexcept;
    Dataset& operator=(Dataset&&) = delete;

    const std::string& sql() const { return sql_; }
    // A new statement drops the parameters of the old one.
    void setSql(std::string sql, Parameters parameters = {});
    void setParameter(std::string_view name, db::Value value);
    const Parameters& parameters() const { return parameters_; }

    // Runs the statement again, without a sort; the filter stays as it is. Raises db::DbError, and
    // std::invalid_argument for a filter field the new rows do not have; the dataset is then closed.
    void open();
    // Runs the statement again for rows another part of the program changed: the sort stays, and the
    // current row stays on the row with the same key where it still exists (else the first row).
    void reopenKeeping(std::string_view key);
    // Moves to the first row whose key field reads `value`; false when there is none.
    bool moveTo(std::string_view key, std::string_view value);
    void close();
    bool isOpen() const { return store_ != nullptr; }

    // Rows in view so far; recordCount() waits for every row first.
    std::size_t rowCount() const { return visible_ ? visible_->size() : store_ ? store_->rowCount() : 0; }
    std::size_t recordCount();
    bool isLoading() const { return reader_ != nullptr; }
    // Adds the rows read since the last call; true while more may come.
    bool takeArrived();
    void loadAll();

    int fieldCount() const; // with "xh" first where the query has it
    std::string fieldName(int field) const;
    int fieldIndex(std::string_view name) const; // -1 when absent; letter case does not matter
    db::Value value(std::size_t row, int field) const;
    void appendDisplayText(std::string& out, std::size_t row, int field) const;
    std::string displayText(std::size_t row, int field) const;
    // The text of the named field of a row; empty when the query has no such field.
    std::string displayText(std::size_t row, std::string_view field) const;
    std::optional<std::int64_t> integer(std::size_t row, std::string_view field) const;
    // The same for the current row; empty without one.
    std::string currentText(std::string_view field) const;
    std::optional<std::int64_t> currentInteger(std::string_view field) const;

    const std::string& sort() const { return sort_; }
    // Raises std::invalid_argument for a field the rows cannot be sorted by (absent, or the row number).
    void setSort(std::string sortText);
    const RowFilter& filter() const { return filter_; }
    void setFilter(RowFilter filter);
    bool filtered() const { return filtered_; }
    void setFiltered(bool on);

    // The current row, -1 when there is none. Opening, sorting and filtering move it to the first row.
    int current() const { return current_; }
    void setCurrent(int row);

    void setObserver(DatasetObserver* observer) { observer_ = observer; }
    // Called whenever the current row moves onto a row (not when the rows run out).
    void setAfterScroll(std::function<void()> handler) { afterScroll_ = std::move(handler); }

private:
    void append(std::vector<std::unique_ptr<RowBlock>> blocks);
    void rebuildView();
    void moveToFirst();
    std::size_t storeRow(std::size_t row) const { return visible_ ? (*visible_)[row] : row; }

    Connect connect_;
    std::string sql_;
    Parameters parameters_;
    bool rowNumber_;
    QueryReader::Mode mode_;
    std::unique_ptr<QueryReader> reader_;
    std::unique_ptr<RowStore> store_;
    std::optional<std::vector<std::uint32_t>> visible_; // store rows in view order; none: all, as read
    std::string sort_;
    RowFilter filter_;
    bool filtered_ = false;
    int current_ = -1;
    DatasetObserver* observer_ = nullptr;
    std::function<void()> afterScroll_;
};

// The keyword box of a grid: a keyword filters the rows to those whose field contains it; an empty box
// switches filtering off and on again, so the filter set before stays in force (on a fresh grid there
// is none and every row shows).
void filterByKeyword(Dataset& rows, std::string_view field, std::string_view keyword);

} // namespace vantor::views
