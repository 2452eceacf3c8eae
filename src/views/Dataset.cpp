#include "Dataset.h"

#include "base/TextNumbers.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace vantor::views {
namespace {

struct SortKey {
    int field;
    bool descending;
};

// Raises std::invalid_argument for a field the rows cannot be sorted by.
SortKey parseSort(std::string_view sortText, const RowStore& store) {
    constexpr std::string_view kDescending = " DESC ";
    SortKey key{-1, sortText.ends_with(kDescending)};
    if (key.descending) sortText.remove_suffix(kDescending.size());
    if (!sameName(sortText, Dataset::kRowNumber)) key.field = store.fieldIndex(sortText);
    if (key.field < 0) throw std::invalid_argument("无法按此字段排序: " + std::string(sortText));
    return key;
}

// Sorts store rows by one field: NULL before numbers before texts, numbers by value, texts by their
// characters' code points; ties keep the query's order whichever the direction.
void sortRows(const RowStore& store, std::vector<std::uint32_t>& rows, SortKey key) {
    struct Key {
        double number;
        std::string_view text;
        std::uint32_t row;
        std::uint8_t rank;
    };
    std::vector<Key> keys;
    keys.reserve(rows.size());
    for (std::uint32_t row : rows) {
        switch (store.type(row, key.field)) {
        case CellType::Null:
            keys.push_back({0, {}, row, 0});
            break;
        case CellType::Text:
            keys.push_back({0, store.text(row, key.field), row, 2});
            break;
        default:
            keys.push_back({store.number(row, key.field), {}, row, 1});
        }
    }
    auto order = [](const Key& a, const Key& b) {
        if (a.rank != b.rank) return a.rank < b.rank ? -1 : 1;
        if (a.rank == 1) return a.number < b.number ? -1 : a.number > b.number ? 1 : 0;
        int c = a.text.compare(b.text);
        return c < 0 ? -1 : c > 0 ? 1 : 0;
    };
    const bool descending = key.descending;
    std::sort(keys.begin(), keys.end(), [&](const Key& a, const Key& b) {
        int c = order(a, b);
        if (c != 0) return descending ? c > 0 : c < 0;
        return a.row < b.row;
    });
    for (size_t i = 0; i < keys.size(); ++i)
        rows[i] = keys[i].row;
}

} // namespace

Dataset::Dataset(Connect connect, std::string sql, bool rowNumber, QueryReader::Mode mode)
    : connect_(std::move(connect)), sql_(std::move(sql)), rowNumber_(rowNumber), mode_(mode) {}

Dataset Dataset::standing(const db::TDM& dm, std::string_view name, QueryReader::Mode mode) {
    const auto& query = db::TDM::standingQuery(name);
    return Dataset([&dm] { return dm.openConnection(); }, dm.standingSql(name), query.rowNumber, mode);
}

Dataset::~Dataset() = default;
Dataset::Dataset(Dataset&&) noexcept = default;

void Dataset::setSql(std::string sql, Parameters parameters) {
    sql_ = std::move(sql);
    parameters_ = std::move(parameters);
}

void Dataset::setParameter(std::string_view name, db::Value value) {
    for (auto& parameter : parameters_)
        if (sameName(parameter.name, name)) {
            parameter.value = std::move(value);
            return;
        }
    parameters_.push_back({std::string(name), std::move(value)});
}

void Dataset::open() {
    if (observer_) observer_->aboutToReset();
    reader_.reset();
    store_.reset();
    visible_.reset();
    current_ = -1;
    sort_.clear();
    try {
        auto reader = std::make_unique<QueryReader>(connect_(), sql_, parameters_);
        if (mode_ == QueryReader::Mode::Now) reader->readRest();
        store_ = std::make_unique<RowStore>(reader->fieldNames());
        const bool finished = reader->done();
        for (auto& block : finished ? reader->finish() : reader->take())
            store_->append(std::move(block));
        if (!finished) {
            reader->readRestInBackground();
            reader_ = std::move(reader);
        }
        // A filtered view needs every row, as a static cursor has them.
        if (filtered_ && !filter_.empty()) {
            if (reader_) {
                for (auto& block : reader_->finish())
                    store_->append(std::move(block));
                reader_.reset();
            }
            rebuildView();
        }
    } catch (...) {
        reader_.reset();
        store_.reset();
        visible_.reset();
        if (observer_) observer_->reset();
        if (observer_) observer_->currentChanged();
        throw;
    }
    if (observer_) observer_->reset();
    moveToFirst();
}

void Dataset::close() {
    if (!store_) return;
    if (observer_) observer_->aboutToReset();
    reader_.reset();
    store_.reset();
    visible_.reset();
    current_ = -1;
    if (observer_) observer_->reset();
    if (observer_) observer_->currentChanged();
}

std::size_t Dataset::recordCount() {
    loadAll();
    return rowCount();
}

bool Dataset::takeArrived() {
    if (!reader_) return false;
    std::vector<std::unique_ptr<RowBlock>> blocks;
    const bool finished = reader_->done();
    try {
        blocks = finished ? reader_->finish() : reader_->take();
    } catch (...) {
        reader_.reset();
        throw;
    }
    if (finished) reader_.reset();
    append(std::move(blocks));
    return reader_ != nullptr;
}

void Dataset::reopenKeeping(std::string_view key) {
    const std::string was = currentText(key);
    const std::string sort = sort_;
    open();
    if (!sort.empty() && fieldIndex(sort.substr(0, sort.find(' '))) >= 0) setSort(sort);
    if (!was.empty()) moveTo(key, was);
}

bool Dataset::moveTo(std::string_view key, std::string_view value) {
    if (!store_ || fieldIndex(key) < 0) return false;
    loadAll();
    for (size_t row = 0; row < rowCount(); ++row)
        if (displayText(row, key) == value) {
            setCurrent(int(row));
            return true;
        }
    return false;
}

void Dataset::loadAll() {
    if (!reader_) return;
    std::vector<std::unique_ptr<RowBlock>> blocks;
    try {
        blocks = reader_->finish();
    } catch (...) {
        reader_.reset();
        throw;
    }
    reader_.reset();
    append(std::move(blocks));
}

void Dataset::append(std::vector<std::unique_ptr<RowBlock>> blocks) {
    size_t rows = 0;
    for (const auto& block : blocks)
        rows += block->rowCount();
    if (rows == 0) return;
    const size_t first = store_->rowCount();
    if (observer_) observer_->aboutToAppend(first, first + rows - 1);
    for (auto& block : blocks)
        store_->append(std::move(block));
    if (observer_) observer_->appended();
    if (current_ < 0) moveToFirst();
}

int Dataset::fieldCount() const {
    return store_ ? store_->fieldCount() + (rowNumber_ ? 1 : 0) : 0;
}

std::string Dataset::fieldName(int field) const {
    if (rowNumber_) {
        if (field == 0) return kRowNumber;
        --field;
    }
    return store_ ? store_->fieldName(field) : std::string();
}

int Dataset::fieldIndex(std::string_view name) const {
    if (!store_) return -1;
    if (rowNumber_ && sameName(name, kRowNumber)) return 0;
    int field = store_->fieldIndex(name);
    return field < 0 ? -1 : field + (rowNumber_ ? 1 : 0);
}

db::Value Dataset::value(std::size_t row, int field) const {
    if (rowNumber_) {
        if (field == 0) return std::int64_t(row + 1);
        --field;
    }
    return store_->value(storeRow(row), field);
}

void Dataset::appendDisplayText(std::string& out, std::size_t row, int field) const {
    if (rowNumber_) {
        if (field == 0) return appendNumberText(out, std::int64_t(row + 1));
        --field;
    }
    store_->appendDisplayText(out, storeRow(row), field);
}

std::string Dataset::displayText(std::size_t row, int field) const {
    std::string out;
    appendDisplayText(out, row, field);
    return out;
}

std::string Dataset::displayText(std::size_t row, std::string_view field) const {
    int index = fieldIndex(field);
    return index < 0 || row >= rowCount() ? std::string() : displayText(row, index);
}

std::optional<std::int64_t> Dataset::integer(std::size_t row, std::string_view field) const {
    int index = fieldIndex(field);
    if (index < 0 || row >= rowCount()) return std::nullopt;
    db::Value v = value(row, index);
    if (auto* i = std::get_if<std::int64_t>(&v)) return *i;
    if (auto* d = std::get_if<double>(&v)) return std::int64_t(*d);
    if (auto* t = std::get_if<std::string>(&v)) {
        try {
            return std::stoll(*t);
        } catch (const std::exception&) {
        }
    }
    return std::nullopt;
}

std::string Dataset::currentText(std::string_view field) const {
    return current_ < 0 ? std::string() : displayText(size_t(current_), field);
}

std::optional<std::int64_t> Dataset::currentInteger(std::string_view field) const {
    return current_ < 0 ? std::nullopt : integer(size_t(current_), field);
}

void Dataset::setSort(std::string sortText) {
    if (store_ && !sortText.empty()) {
        loadAll();
        parseSort(sortText, *store_);
    }
    if (observer_) observer_->aboutToReset();
    sort_ = std::move(sortText);
    rebuildView();
    if (observer_) observer_->reset();
    moveToFirst();
}

void Dataset::setFilter(RowFilter filter) {
    if (store_ && filtered_) {
        loadAll();
        filter.bind(*store_);
    }
    if (observer_ && filtered_) observer_->aboutToReset();
    filter_ = std::move(filter);
    if (!filtered_) return;
    rebuildView();
    if (observer_) observer_->reset();
    moveToFirst();
}

void Dataset::setFiltered(bool on) {
    if (on == filtered_) return;
    if (store_ && on) {
        loadAll();
        filter_.bind(*store_);
    }
    if (observer_) observer_->aboutToReset();
    filtered_ = on;
    rebuildView();
    if (observer_) observer_->reset();
    moveToFirst();
}

void Dataset::rebuildView() {
    const bool sorting = !sort_.empty();
    const bool filtering = filtered_ && !filter_.empty();
    if (!store_ || (!sorting && !filtering)) {
        visible_.reset();
        return;
    }
    std::vector<std::uint32_t> rows(store_->rowCount());
    std::iota(rows.begin(), rows.end(), 0u);
    if (filtering) {
        auto bound = filter_.bind(*store_);
        std::erase_if(rows, [&](std::uint32_t row) { return !bound.matches(*store_, row); });
    }
    if (sorting) sortRows(*store_, rows, parseSort(sort_, *store_));
    visible_ = std::move(rows);
}

void Dataset::moveToFirst() {
    current_ = rowCount() > 0 ? 0 : -1;
    if (observer_) observer_->currentChanged();
    if (current_ >= 0 && afterScroll_) afterScroll_();
}

void Dataset::setCurrent(int row) {
    if (row < -1 || row >= int(rowCount()) || row == current_) return;
    current_ = row;
    if (observer_) observer_->currentChanged();
    if (current_ >= 0 && afterScroll_) afterScroll_();
}

void filterByKeyword(Dataset& rows, std::string_view field, std::string_view keyword) {
    if (!keyword.empty())
        rows.setFilter(keywordFilter(field, keyword));
    else
        rows.setFiltered(false);
    rows.setFiltered(true);
}

} // namespace vantor::views
