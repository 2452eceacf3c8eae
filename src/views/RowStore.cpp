#include "RowStore.h"

#include "base/TextNumbers.h"

#include <charconv>
#include <cstring>
#include <stdexcept>

namespace vantor::views {

RowBlock::RowBlock(int fields) : fields_(size_t(fields)) {
    slots_.reserve(kRows * fields_);
    types_.reserve(kRows * fields_);
}

void RowBlock::add(CellType type, std::uint64_t slot) {
    slots_.push_back(slot);
    types_.push_back(type);
    if (fields_ == 0 || slots_.size() % fields_ == 0) ++rows_;
}

void RowBlock::addInteger(std::int64_t value) {
    add(CellType::Integer, std::uint64_t(value));
}

void RowBlock::addReal(double value) {
    std::uint64_t slot;
    std::memcpy(&slot, &value, sizeof slot);
    add(CellType::Real, slot);
}

void RowBlock::addText(std::string_view text) {
    // The same text as the cell above: point at that one.
    const size_t cell = slots_.size();
    if (cell >= fields_ && types_[cell - fields_] == CellType::Text) {
        const std::uint64_t above = slots_[cell - fields_];
        if (std::uint32_t(above) == text.size() &&
            std::memcmp(texts_.data() + (above >> 32), text.data(), text.size()) == 0) {
            add(CellType::Text, above);
            return;
        }
    }
    if (texts_.size() + text.size() > UINT32_MAX) throw std::length_error("行数据过大");
    const std::uint64_t slot = (std::uint64_t(texts_.size()) << 32) | std::uint32_t(text.size());
    texts_.append(text);
    add(CellType::Text, slot);
}

std::int64_t RowBlock::integer(std::size_t row, int field) const {
    return std::int64_t(slots_[row * fields_ + size_t(field)]);
}

double RowBlock::real(std::size_t row, int field) const {
    double value;
    std::memcpy(&value, &slots_[row * fields_ + size_t(field)], sizeof value);
    return value;
}

std::string_view RowBlock::text(std::size_t row, int field) const {
    const std::uint64_t slot = slots_[row * fields_ + size_t(field)];
    return std::string_view(texts_.data() + (slot >> 32), std::uint32_t(slot));
}

RowStore::RowStore(std::vector<std::string> fieldNames) : names_(std::move(fieldNames)) {}

int RowStore::fieldIndex(std::string_view name) const {
    for (size_t i = 0; i < names_.size(); ++i)
        if (sameName(names_[i], name)) return int(i);
    return -1;
}

void RowStore::append(std::unique_ptr<RowBlock> block) {
    if (rows_ % RowBlock::kRows != 0) throw std::logic_error("RowStore: a short block is always the last");
    rows_ += block->rowCount();
    blocks_.push_back(std::move(block));
}

double RowStore::number(std::size_t row, int field) const {
    const RowBlock& b = block(row);
    const size_t r = row % RowBlock::kRows;
    switch (b.type(r, field)) {
    case CellType::Integer:
        return double(b.integer(r, field));
    case CellType::Real:
        return b.real(r, field);
    default:
        return 0;
    }
}

std::string_view RowStore::text(std::size_t row, int field) const {
    const RowBlock& b = block(row);
    const size_t r = row % RowBlock::kRows;
    return b.type(r, field) == CellType::Text ? b.text(r, field) : std::string_view();
}

db::Value RowStore::value(std::size_t row, int field) const {
    const RowBlock& b = block(row);
    const size_t r = row % RowBlock::kRows;
    switch (b.type(r, field)) {
    case CellType::Integer:
        return b.integer(r, field);
    case CellType::Real:
        return b.real(r, field);
    case CellType::Text:
        return std::string(b.text(r, field));
    default:
        return std::monostate{};
    }
}

void RowStore::appendDisplayText(std::string& out, std::size_t row, int field) const {
    const RowBlock& b = block(row);
    const size_t r = row % RowBlock::kRows;
    switch (b.type(r, field)) {
    case CellType::Integer:
        appendNumberText(out, b.integer(r, field));
        break;
    case CellType::Real:
        appendNumberText(out, b.real(r, field));
        break;
    case CellType::Text:
        out += b.text(r, field);
        break;
    default:
        break;
    }
}

std::string RowStore::displayText(std::size_t row, int field) const {
    std::string out;
    appendDisplayText(out, row, field);
    return out;
}

void appendNumberText(std::string& out, std::int64_t value) {
    char buffer[24];
    auto end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
    out.append(buffer, end);
}

void appendNumberText(std::string& out, double value) {
    // to_chars with a precision is printf's "%.15g", the form of db::valueToText.
    char buffer[64];
    auto end = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::general, 15).ptr;
    out.append(buffer, end);
}

} // namespace vantor::views
