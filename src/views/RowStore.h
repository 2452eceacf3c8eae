#pragma once

#include "db/Database.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::views {

enum class CellType : std::uint8_t { Null, Integer, Real, Text };

// A run of consecutive rows of a result: one 8-byte slot and one type byte a cell, and every text in
// one buffer the slots point into. A million rows cost a few allocations, not millions; a text equal
// to the one above it in its column (an item's title on each of its sales) is kept once.
class RowBlock {
public:
    static constexpr std::size_t kRows = 2048;

    explicit RowBlock(int fields);

    std::size_t rowCount() const { return rows_; }
    bool full() const { return rows_ == kRows; }

    // Cells are added row by row, field by field; a row is counted once its last field is in.
    void addNull() { add(CellType::Null, 0); }
    void addInteger(std::int64_t value);
    void addReal(double value);
    void addText(std::string_view text);

    CellType type(std::size_t row, int field) const { return types_[row * fields_ + size_t(field)]; }
    std::int64_t integer(std::size_t row, int field) const;
    double real(std::size_t row, int field) const;
    std::string_view text(std::size_t row, int field) const;

private:
    void add(CellType type, std::uint64_t slot);

    std::size_t fields_;
    std::size_t rows_ = 0;
    std::vector<std::uint64_t> slots_;
    std::vector<CellType> types_;
    std::string texts_;
};

// The rows of one opening of a query, in the order the query gave them.
class RowStore {
public:
    explicit RowStore(std::vector<std::string> fieldNames);

    int fieldCount() const { return int(names_.size()); }
    const std::string& fieldName(int field) const { return names_.at(size_t(field)); }
    int fieldIndex(std::string_view name) const; // -1 when absent; letter case does not matter

    std::size_t rowCount() const { return rows_; }
    // Every block but the last must be full.
    void append(std::unique_ptr<RowBlock> block);

    CellType type(std::size_t row, int field) const { return block(row).type(row % RowBlock::kRows, field); }
    double number(std::size_t row, int field) const; // integers and reals; 0 otherwise
    std::string_view text(std::size_t row, int field) const;
    db::Value value(std::size_t row, int field) const;

    // The text a grid cell shows: numbers as the program writes them everywhere (db::valueToText),
    // texts as stored, nothing for NULL.
    void appendDisplayText(std::string& out, std::size_t row, int field) const;
    std::string displayText(std::size_t row, int field) const;

private:
    const RowBlock& block(std::size_t row) const { return *blocks_[row / RowBlock::kRows]; }

    std::vector<std::string> names_;
    std::vector<std::unique_ptr<RowBlock>> blocks_;
    std::size_t rows_ = 0;
};

// The number texts of db::valueToText, written without a stream or a heap allocation.
void appendNumberText(std::string& out, std::int64_t value);
void appendNumberText(std::string& out, double value);

} // namespace vantor::views
