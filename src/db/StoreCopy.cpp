#include "StoreCopy.h"

#include <stdexcept>
#include <vector>

namespace vantor::db {

namespace {

// The tables and how their rows are ordered; the ones with an id keep it, so the saved views' ids stay.
// A server lays its rows down in the order they come; there an item's sales go together, as a gathering
// saves them, so an item's sale records are read from a few pages instead of one page each.
struct Table {
    const char* name;
    const char* order;
    bool identity;
    const char* serverOrder = nullptr;
};
constexpr Table kTables[] = {
    {"dianbase", "id", true},
    {"itemInfo", "id", true},
    {"saleInfo", "id", true, "itemId, sj"},
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
            const char* order = out.remote() && table.serverOrder ? table.serverOrder : table.order;
            auto rows = in.stream(std::string("select * from ") + table.name + " order by " + order);
            std::int64_t copied = 0;
            progress(table.name, 0, total);
            if (rows.step()) {
                std::vector<std::string> columns;
                for (int c = 0; c < rows.columnCount(); ++c)
                    columns.push_back(rows.columnName(c));
                bool more = true;
                const std::vector<std::string> rebuild = out.dropIndexes(table.name);
                out.bulkInsert(table.name, columns, [&](std::vector<Value>& row) {
                    if (!more) return false;
                    row.resize(columns.size());
                    for (size_t c = 0; c < columns.size(); ++c)
                        row[c] = rows.value(int(c));
                    if (++copied % kReportEvery == 0) progress(table.name, copied, total);
                    more = rows.step();
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
