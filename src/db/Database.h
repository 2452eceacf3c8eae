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

struct sqlite3;
struct sqlite3_stmt;
struct pg_conn;

namespace vantor::db {

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
    bool conflict() const { return state_ == "23505" || state_ == "40001" || state_ == "40P01"; }

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
    bool isPostgres() const { return pg_ != nullptr; }
    ~Database();
    Database(Database&& other) noexcept;
    Database& operator=(Database&& other) noexcept;
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    bool isOpen() const { return db_ != nullptr || pg_ != nullptr; }
    void close();

    void exec(std::string_view sql);
    Statement prepare(std::string_view sql);

    void beginTransaction();
    void commit();
    void rollback();
    bool inTransaction() const;

    int changes() const;
    // How this connection waits when another program writes; without it, kLockWaitLimit and silence.
    void setLockWait(LockWait wait);

    // The SQLite connection; none on a PostgreSQL store.
    sqlite3* handle() const { return db_; }

private:
    struct Waiting;
    sqlite3* db_ = nullptr;
    pg_conn* pg_ = nullptr;
    int pgChanges_ = 0;
    std::unique_ptr<Waiting> waiting_; // where SQLite's busy handler keeps its state
    friend class Statement;
};

// A prepared statement with parameters bound by name (":name").
class Statement {
public:
    Statement(sqlite3* db, std::string_view sql);
    // A statement of a PostgreSQL store; the database must outlive it.
    Statement(Database& pgDatabase, std::string_view sql);
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
    bool isNull(int column) const;
    std::int64_t integer(int column) const;
    double real(int column) const;
    std::string text(int column) const;
    // The same text without a copy, valid until the statement moves on.
    std::string_view textView(int column) const;

private:
    struct Pg;
    int parameterIndex(std::string_view name) const;
    sqlite3* db_ = nullptr;
    sqlite3_stmt* stmt_ = nullptr;
    std::unique_ptr<Pg> pg_;
};

} // namespace vantor::db
