#pragma once

#include "Database.h"

#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// What a store's engine does for a Database and its Statements. The file (SQLite) and the server
// (PostgreSQL) each implement it in a file of their own; nothing outside this folder sees which one runs.
namespace vantor::db::engine {

// A prepared statement of one engine: parameters by position (1 for the first), rows one at a time.
class Cursor {
public:
    virtual ~Cursor() = default;

    // 0 for a name the statement does not have; names are matched without regard to case.
    virtual int parameterIndex(std::string_view name) const = 0;
    virtual std::vector<std::string> parameterNames() const = 0;
    virtual void bindAt(int position, const Value& value) = 0;

    virtual bool step() = 0;
    virtual void execute() = 0;
    virtual void reset() = 0;

    virtual int columnCount() const = 0;
    virtual std::string columnName(int column) const = 0;
    virtual ColumnType type(int column) const = 0;
    virtual std::int64_t integer(int column) const = 0;
    virtual double real(int column) const = 0;
    // Numbers as SQLite writes them; valid until the cursor moves on.
    virtual std::string_view textView(int column) const = 0;
};

class Connection {
public:
    virtual ~Connection() = default;

    virtual void exec(std::string_view sql) = 0;
    virtual std::unique_ptr<Cursor> prepare(std::string_view sql) = 0;
    virtual void begin() = 0;
    virtual void commit() = 0;
    virtual void rollback() = 0;
    virtual bool inTransaction() const = 0;
    virtual int changes() = 0;
    virtual void setLockWait(LockWait wait) = 0;
    virtual bool remote() const = 0;

    // Creates what is missing of the schema, once even when several programs open a new store at once.
    virtual void ensureSchema() = 0;
    // Rows of a table given with their ids: new rows go on after the last.
    virtual void idsGivenUpTo(std::string_view table) = 0;
    virtual void bulkInsert(std::string_view table, const std::vector<std::string>& columns,
                            const RowSource& rows, Conflicts conflicts) = 0;
    virtual void refreshStatistics() = 0;
    // The table's indexes other than its key, as the statements that create them.
    virtual std::vector<std::pair<std::string, std::string>> indexes(std::string_view table) = 0;
    virtual std::unique_ptr<Cursor> stream(std::string_view select) = 0;
    virtual std::unique_ptr<StoreLock> tryLock(std::string_view name) = 0;
};

std::unique_ptr<Connection> openFile(const std::filesystem::path& file, Database::Mode mode);
std::unique_ptr<Connection> connectServer(const std::string& url);

} // namespace vantor::db::engine
