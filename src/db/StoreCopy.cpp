#include "StoreCopy.h"

#include <optional>
#include <stdexcept>
#include <vector>

namespace vantor::db {

namespace {

// The tables and how their rows are ordered; the ones with an id keep it, so the saved views' ids stay.
struct Table {
    const char* name;
    const char* order;
    bool identity;
};
constexpr Table kTables[] = {
    {"dianbase", "id", true},
    {"itemInfo", "id", true},
    {"saleInfo", "id", true},
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

// Rows go in by the hundred: one statement, one round trip to a server for each batch.
class Batch {
public:
    static constexpr size_t kRows = 200;

    Batch(Database& out, const char* table) : out_(out), table_(table) {}

    void add(Statement& row) {
        if (columns_.empty())
            for (int c = 0; c < row.columnCount(); ++c)
                columns_.push_back(row.columnName(c));
        for (int c = 0; c < int(columns_.size()); ++c)
            values_.push_back(row.value(c));
        if (values_.size() == kRows * columns_.size()) flush();
    }

    void flush() {
        if (values_.empty()) return;
        const size_t rows = values_.size() / columns_.size();
        // Full batches share one statement; the short last batch of a table has its own.
        std::optional<Statement>& insert = rows == kRows ? full_ : last_;
        if (!insert || (rows != kRows && rows != lastRows_)) insert.emplace(out_.prepare(statement(rows)));
        if (rows != kRows) lastRows_ = rows;
        // The parameters stand in the statement in the order of the values.
        for (size_t i = 0; i < values_.size(); ++i)
            insert->bindAt(int(i) + 1, values_[i]);
        insert->execute();
        values_.clear();
    }

private:
    std::string statement(size_t rows) const {
        std::string sql = std::string("insert into ") + table_ + " (";
        for (size_t c = 0; c < columns_.size(); ++c) {
            if (c) sql += ',';
            sql += columns_[c];
        }
        sql += ") values ";
        for (size_t r = 0, v = 0; r < rows; ++r) {
            sql += r ? ",(" : "(";
            for (size_t c = 0; c < columns_.size(); ++c, ++v) {
                if (c) sql += ',';
                sql += ":v";
                sql += std::to_string(v);
            }
            sql += ')';
        }
        return sql;
    }

    Database& out_;
    const char* table_;
    std::vector<std::string> columns_;
    std::vector<Value> values_;
    std::optional<Statement> full_, last_;
    size_t lastRows_ = 0;
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
            auto rows = in.prepare(std::string("select * from ") + table.name + " order by " + table.order);
            Batch batch(out, table.name);
            std::int64_t copied = 0;
            progress(table.name, 0, total);
            while (rows.step()) {
                batch.add(rows);
                if (++copied % kReportEvery == 0) progress(table.name, copied, total);
            }
            batch.flush();
            // Ids given by hand leave a server's identity behind them; new rows go on after the last.
            if (out.isPostgres() && table.identity && copied > 0)
                out.exec(std::string("select setval(pg_get_serial_sequence('") + table.name +
                         "', 'id'), (select max(id) from " + table.name + "))");
            if (rowCount(out, table.name) != total)
                throw std::runtime_error(std::string("复制后行数不符（") + table.name + "）");
            progress(table.name, copied, total);
        }
        out.commit();
    } catch (...) {
        out.rollback();
        throw;
    }
}

} // namespace vantor::db
