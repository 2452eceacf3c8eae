#include "StoreCopy.h"

#include "base/TextNumbers.h"

#include <map>
#include <stdexcept>
#include <vector>

namespace vantor::db {

namespace {

// The tables and how their rows are ordered; the ones with an id keep it, so the saved views' ids stay.
struct Table {
    const char* name;
    const char* order;
    bool identity;
    // A server lays its rows down in the order they come. Rows sent grouped by this column lie
    // together there, as a gathering saves an item's sales, and are read from a few pages instead of one
    // page each.
    const char* serverGroup = nullptr;
};
constexpr Table kTables[] = {
    {"dianbase", "id", true},
    {"itemInfo", "id", true},
    {"saleInfo", "id", true, "itemId"},
    {"pjinfo", "id", true},
    {"pjNoEffect", "dian_id, trade_id", false},
    {"itemTop", "id", true},
    {"salesRun", "pos", false},
    {"watchShop", "id", true},
    {"watchRound", "id", true},
    {"watchShopSnap", "round_id, watch_id", false},
    {"watchItemSnap", "round_id, watch_id, itemId", false},
    {"watchChange", "id", true},
};
// Rows between two progress reports.
constexpr std::int64_t kReportEvery = 5000;
// Rows grouped at a time: read in the source's own order, which costs no seek per row, and grouped in
// memory (some tens of MB of sales).
constexpr size_t kGroupBatch = 100000;

// The rows of a stream, as they come or grouped batch by batch by one of their columns.
class RowFeed {
public:
    RowFeed(Statement& rows, int groupBy) : rows_(rows), groupBy_(groupBy) { more_ = rows_.step(); }

    bool next(std::vector<Value>& row) {
        if (groupBy_ < 0) {
            if (!more_) return false;
            read(row);
            more_ = rows_.step();
            return true;
        }
        if (at_ == order_.size() && !refill()) return false;
        row.swap(batch_[order_[at_++]]);
        return true;
    }
    bool empty() const { return !more_ && at_ == order_.size(); }

private:
    void read(std::vector<Value>& row) const {
        row.resize(size_t(rows_.columnCount()));
        for (size_t c = 0; c < row.size(); ++c)
            row[c] = rows_.value(int(c));
    }
    bool refill() {
        // The rows' vectors and texts of the last batch are filled anew, not allocated anew.
        size_t filled = 0;
        for (; more_ && filled < kGroupBatch; more_ = rows_.step(), ++filled) {
            if (filled == batch_.size()) batch_.emplace_back();
            read(batch_[filled]);
        }
        batch_.resize(filled);
        // The rows stay where they are; their positions go group after group (the groups in the order of
        // their values), each group's in the source's order.
        std::map<std::string, std::vector<size_t>> groups;
        for (size_t i = 0; i < batch_.size(); ++i)
            groups[valueToText(batch_[i][size_t(groupBy_)])].push_back(i);
        order_.clear();
        for (const auto& [value, rows] : groups)
            order_.insert(order_.end(), rows.begin(), rows.end());
        at_ = 0;
        return !order_.empty();
    }

    Statement& rows_;
    int groupBy_; // the column, or -1: as they come
    bool more_ = false;
    std::vector<std::vector<Value>> batch_;
    std::vector<size_t> order_;
    size_t at_ = 0;
};

std::int64_t rowCount(Database& db, const char* table) {
    auto count = db.prepare(std::string("select count(*) from ") + table);
    count.step();
    return count.integer(0);
}

} // namespace

void copyStore(const Store& from, const Store& to,
               const std::function<void(const std::string&, std::int64_t, std::int64_t)>& progress,
               LockWait wait) {
    TDM source(from), target(to);
    Database& in = source.cn1();
    Database& out = target.cn1();
    out.setLockWait(std::move(wait));
    for (const Table& table : kTables)
        if (rowCount(out, table.name) > 0)
            throw std::runtime_error(std::string("目标数据库已有数据（") + table.name +
                                     "），请使用空的数据库");

    // One transaction for the whole copy: a failure anywhere leaves the target as it was.
    out.beginTransaction();
    try {
        for (const Table& table : kTables) {
            const std::int64_t total = rowCount(in, table.name);
            auto rows = in.stream(std::string("select * from ") + table.name + " order by " + table.order);
            std::int64_t copied = 0;
            progress(table.name, 0, total);
            std::vector<std::string> columns;
            int groupBy = -1;
            for (int c = 0; c < rows.columnCount(); ++c) {
                columns.push_back(rows.columnName(c));
                if (out.remote() && table.serverGroup && sameName(columns.back(), table.serverGroup))
                    groupBy = c;
            }
            RowFeed feed(rows, groupBy);
            if (!feed.empty()) {
                const std::vector<std::string> rebuild = out.dropIndexes(table.name);
                out.bulkInsert(table.name, columns, [&](std::vector<Value>& row) {
                    if (!feed.next(row)) return false;
                    if (++copied % kReportEvery == 0) progress(table.name, copied, total);
                    return true;
                });
                for (const std::string& index : rebuild)
                    out.exec(index);
            }
            if (table.identity && copied > 0) out.idsGivenUpTo(table.name);
            if (rowCount(out, table.name) != total)
                throw std::runtime_error(std::string("复制后行数不符（") + table.name + "）");
            progress(table.name, copied, total);
        }
        out.commit();
    } catch (...) {
        out.rollback();
        throw;
    }
    out.refreshStatistics();
}

} // namespace vantor::db
