#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace vantor::db {

namespace engine {
class Connection;
class Cursor;
} // namespace engine

// A database failure: what() is the sentence the user reads, detail() the engine's own text.
class DbError : public std::runtime_error {
public:
    explicit DbError(const std::string& message, int code = 0, std::string state = {},
                     std::string detail = {})
        : std::runtime_error(message), code_(code), state_(std::move(state)), detail_(std::move(detail)) {}
    int code() const { return code_; }
    const std::string& detail() const { return detail_; }
    // A write that met another program's write to the same key, or a deadlock with it, on a server
    // store: tried again, it goes through.
    bool conflict() const { return keyHeld() || state_ == "40001" || state_ == "40P01"; }
    // A row whose key the table holds already, on a server store.
    bool keyHeld() const { return state_ == "23505"; }

private:
    int code_;
    std::string state_; // PostgreSQL's SQLSTATE
    std::string detail_;
};

// How long a writer waits for another program's write to the data file before it gives up: long enough
// for the largest save of a gathering to end.
inline constexpr std::chrono::milliseconds kLockWaitLimit = std::chrono::minutes(5);
// A wait shorter than this is nothing to tell anybody about.
inline constexpr std::chrono::milliseconds kLockWaitNoticed{200};

// A writer's wait for the file's write lock. `notice` is told once a wait has lasted kLockWaitNoticed;
// `keepWaiting` is asked between tries and ends the wait early (a stop) by answering false.
struct LockWait {
    std::chrono::milliseconds limit = kLockWaitLimit;
    std::function<void()> notice;
    std::function<bool()> keepWaiting;
};

using Value = std::variant<std::monostate, std::int64_t, double, std::string>;

std::string valueToText(const Value& value);

// What a column holds in the current row.
enum class ColumnType { Null, Integer, Real, Text };

// Rows handed over in bulk: a source fills the row and answers false when there is none left.
using RowSource = std::function<bool(std::vector<Value>& row)>;
// What a bulk insert does with a row whose key another row already holds: fail, or pass it over.
enum class Conflicts { Fail, Skip };

// A lock that one program of all those sharing a store holds at a time; released when destroyed, which
// must happen before its connection closes.
class StoreLock {
public:
    virtual ~StoreLock() = default;
};

class Statement;

// One connection to the store: the data file, or a PostgreSQL server. Every SQLite connection gets the
// date and number functions the program's statements use, and a PostgreSQL store has them as server
// functions, so the statements run as they are written on both; named parameters become PostgreSQL's
// numbered ones, and values read back as the same texts.
class Database {
public:
    enum class Mode { OpenExisting, CreateIfMissing, ReadOnly };

    Database();
    Database(const std::filesystem::path& file, Mode mode);
    // A connection to a PostgreSQL server, the URL as libpq takes it ("postgresql://user@host:port/db").
    static Database connect(const std::string& url);
    ~Database();
    Database(Database&& other) noexcept;
    Database& operator=(Database&& other) noexcept;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    bool isOpen() const { return engine_ != nullptr; }
    void close();

    void exec(std::string_view sql);
    Statement prepare(std::string_view sql);

    void beginTransaction();
    void commit();
    void rollback();
    bool inTransaction() const;

    int changes();
    // How this connection waits when another program writes; without it, kLockWaitLimit and silence.
    void setLockWait(LockWait wait);

    // Every row read crosses a network: a statement that groups where the data is beats reading the rows.
    // What a reader may know of the store; which engine it is, it does not need to.
    bool remote() const;

    // Creates what is missing of the schema; existing tables, indexes and views are left as they are.
    void ensureSchema();
    // Rows into a table as fast as the store takes them (the server's COPY), inside the current
    // transaction; `columns` name the values of each row in order.
    void bulkInsert(std::string_view table, const std::vector<std::string>& columns, const RowSource& rows,
                    Conflicts conflicts = Conflicts::Fail);
    // After a load: the planner's statistics anew, and on a server the tables' visibility map, so that
    // the indexes answer without visiting the rows. Outside a transaction.
    void refreshStatistics();
    // Drops the table's indexes (not its key) and gives the statements that build them again: a load
    // into an empty table then builds each index once, sorted, instead of row by row.
    std::vector<std::string> dropIndexes(std::string_view table);
    // A statement without parameters whose rows come in batches: a table of any size is never held
    // whole. On a server it reads in a transaction of its own unless one is open, planned for every row.
    Statement stream(std::string_view select);
    // After rows were inserted with their ids: the ids given to new rows go on after the largest.
    void idsGivenUpTo(std::string_view table);
    // The lock of that name, or none when another program holds it.
    std::unique_ptr<StoreLock> tryLock(std::string_view name);

private:
    explicit Database(std::unique_ptr<engine::Connection> engine);
    engine::Connection& engine() const;
    std::unique_ptr<engine::Connection> engine_;
};

// A prepared statement with parameters bound by name (":name").
class Statement {
public:
    // The database must outlive it.
    explicit Statement(std::unique_ptr<engine::Cursor> cursor);
    ~Statement();
    Statement(Statement&& other) noexcept;
    Statement& operator=(Statement&& other) noexcept;
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // The name may be given with or without its leading ':'. Binding a name the statement does not
    // have is a programming error and raises DbError.
    Statement& bind(std::string_view name, const Value& value);
    Statement& bind(std::string_view name, std::string_view text);
    Statement& bind(std::string_view name, const char* text) { return bind(name, std::string_view(text)); }
    Statement& bind(std::string_view name, const std::string& text) {
        return bind(name, std::string_view(text));
    }
    Statement& bind(std::string_view name, std::int64_t number);
    Statement& bind(std::string_view name, int number) { return bind(name, std::int64_t(number)); }
    Statement& bind(std::string_view name, double number);
    Statement& bindNull(std::string_view name);
    // The parameter at a position, 1 for the first named in the statement's text: for statements with
    // very many parameters, whose names would be looked up one by one.
    Statement& bindAt(int position, const Value& value);
    std::vector<std::string> parameterNames() const;

    bool step();    // true while a row is available
    void execute(); // runs to the end
    void reset();   // keeps the bindings

    int columnCount() const;
    std::string columnName(int column) const;
    std::optional<int> columnIndex(std::string_view name) const; // case-insensitive
    Value value(int column) const;
    Value value(std::string_view name) const;
    ColumnType type(int column) const;
    bool isNull(int column) const;
    std::int64_t integer(int column) const;
    double real(int column) const;
    std::string text(int column) const;
    // The same text without a copy, valid until the statement moves on.
    std::string_view textView(int column) const;

private:
    int parameterIndex(std::string_view name) const;
    std::unique_ptr<engine::Cursor> cursor_;
};

} // namespace vantor::db
