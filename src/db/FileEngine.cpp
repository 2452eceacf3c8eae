// The data file: SQLite in the program's own process.
#include "Engine.h"
#include "FailureText.h"
#include "SqlFunctions.h"
#include "TDM.h"

#include <sqlite3.h>

#include <fcntl.h>
#include <strings.h>
#include <sys/file.h>
#include <unistd.h>

#include <thread>

namespace vantor::db::engine {
namespace {

[[noreturn]] void fail(sqlite3* db, int rc, std::string_view what) {
    std::string detail(what);
    detail += ": ";
    detail += db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    throw DbError(fileFailureText(rc, detail), rc, {}, detail);
}

class FileCursor final : public Cursor {
public:
    FileCursor(sqlite3* db, std::string_view sql) : db_(db) {
        int rc = sqlite3_prepare_v2(db, sql.data(), int(sql.size()), &stmt_, nullptr);
        if (rc != SQLITE_OK) fail(db, rc, "SQL");
    }
    ~FileCursor() override { sqlite3_finalize(stmt_); }

    int parameterIndex(std::string_view name) const override {
        std::string key;
        if (name.empty() || name.front() != ':') key = ":";
        key += name;
        if (int index = sqlite3_bind_parameter_index(stmt_, key.c_str())) return index;
        for (int i = 1, n = sqlite3_bind_parameter_count(stmt_); i <= n; ++i) {
            const char* candidate = sqlite3_bind_parameter_name(stmt_, i);
            if (candidate && strcasecmp(candidate, key.c_str()) == 0) return i;
        }
        return 0;
    }

    std::vector<std::string> parameterNames() const override {
        std::vector<std::string> names;
        for (int i = 1, n = sqlite3_bind_parameter_count(stmt_); i <= n; ++i) {
            const char* name = sqlite3_bind_parameter_name(stmt_, i);
            names.emplace_back(name ? name : "");
        }
        return names;
    }

    void bindAt(int position, const Value& value) override {
        int rc = SQLITE_OK;
        switch (value.index()) {
        case 1:
            rc = sqlite3_bind_int64(stmt_, position, std::get<std::int64_t>(value));
            break;
        case 2:
            rc = sqlite3_bind_double(stmt_, position, std::get<double>(value));
            break;
        case 3: {
            const std::string& text = std::get<std::string>(value);
            rc = sqlite3_bind_text(stmt_, position, text.data(), int(text.size()), SQLITE_TRANSIENT);
            break;
        }
        default:
            rc = sqlite3_bind_null(stmt_, position);
        }
        if (rc != SQLITE_OK) fail(db_, rc, "bind");
    }

    bool step() override {
        int rc = sqlite3_step(stmt_);
        if (rc == SQLITE_ROW) return true;
        if (rc == SQLITE_DONE) return false;
        std::string message = sqlite3_errmsg(db_);
        sqlite3_reset(stmt_);
        throw DbError(fileFailureText(rc, message), rc, {}, message);
    }

    void execute() override {
        while (step()) {
        }
        sqlite3_reset(stmt_);
    }

    void reset() override { sqlite3_reset(stmt_); }

    int columnCount() const override { return sqlite3_column_count(stmt_); }
    std::string columnName(int column) const override {
        const char* name = sqlite3_column_name(stmt_, column);
        return name ? name : "";
    }
    ColumnType type(int column) const override {
        switch (sqlite3_column_type(stmt_, column)) {
        case SQLITE_INTEGER:
            return ColumnType::Integer;
        case SQLITE_FLOAT:
            return ColumnType::Real;
        case SQLITE_NULL:
            return ColumnType::Null;
        default:
            return ColumnType::Text;
        }
    }
    std::int64_t integer(int column) const override { return sqlite3_column_int64(stmt_, column); }
    double real(int column) const override { return sqlite3_column_double(stmt_, column); }
    std::string_view textView(int column) const override {
        const unsigned char* data = sqlite3_column_text(stmt_, column);
        return data ? std::string_view(reinterpret_cast<const char*>(data),
                                       size_t(sqlite3_column_bytes(stmt_, column)))
                    : std::string_view();
    }

private:
    sqlite3* db_;
    sqlite3_stmt* stmt_ = nullptr;
};

// A lock file beside the data file; closing it releases the lock, also when the program dies.
class FileLock final : public StoreLock {
public:
    explicit FileLock(int fd) : fd_(fd) {}
    ~FileLock() override { ::close(fd_); }

private:
    int fd_;
};

class FileConnection final : public Connection {
public:
    FileConnection(const std::filesystem::path& file, Database::Mode mode) : file_(file) {
        int flags = SQLITE_OPEN_NOMUTEX;
        switch (mode) {
        case Database::Mode::OpenExisting:
            flags |= SQLITE_OPEN_READWRITE;
            break;
        case Database::Mode::CreateIfMissing:
            flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
            break;
        case Database::Mode::ReadOnly:
            flags |= SQLITE_OPEN_READONLY;
            break;
        }
        int rc = sqlite3_open_v2(file.c_str(), &db_, flags, nullptr);
        if (rc != SQLITE_OK) {
            std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
            sqlite3_close(db_);
            throw DbError("无法打开数据文件 " + file.string() + "：" + fileFailureText(rc, message), rc, {},
                          message);
        }
        sqlite3_extended_result_codes(db_, 1);
        setLockWait({});
        try {
            registerSqlFunctions(db_);
        } catch (...) {
            sqlite3_close_v2(db_);
            throw;
        }
    }
    ~FileConnection() override { sqlite3_close_v2(db_); }

    void exec(std::string_view sql) override {
        std::string text(sql);
        char* error = nullptr;
        int rc = sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &error);
        if (rc != SQLITE_OK) {
            std::string message = error ? error : sqlite3_errstr(rc);
            sqlite3_free(error);
            throw DbError(fileFailureText(rc, message), rc, {}, message);
        }
    }

    std::unique_ptr<Cursor> prepare(std::string_view sql) override {
        return std::make_unique<FileCursor>(db_, sql);
    }

    // Immediate: the write lock is taken now, and a wait for it happens here, not at the first write.
    void begin() override { exec("BEGIN IMMEDIATE"); }
    void commit() override { exec("COMMIT"); }
    void rollback() override {
        if (inTransaction()) exec("ROLLBACK");
    }
    bool inTransaction() const override { return sqlite3_get_autocommit(db_) == 0; }
    int changes() override { return sqlite3_changes(db_); }

    void setLockWait(LockWait wait) override {
        waiting_.wait = std::move(wait);
        sqlite3_busy_handler(db_, &Waiting::retry, &waiting_);
    }

    bool remote() const override { return false; }

    void ensureSchema() override {
        // Immediate: programs that open a new file at once take turns instead of failing.
        begin();
        try {
            exec(schemaSql());
            commit();
        } catch (...) {
            rollback();
            throw;
        }
    }

    void idsGivenUpTo(std::string_view) override {} // a row id goes on after the largest by itself

    void bulkInsert(std::string_view table, const std::vector<std::string>& columns, const RowSource& rows,
                    Conflicts conflicts) override {
        std::string sql = "insert into " + std::string(table) + " (";
        std::string values;
        for (size_t c = 0; c < columns.size(); ++c) {
            sql += (c ? "," : "") + columns[c];
            values += c ? ",?" : "?";
        }
        FileCursor insert(db_, sql + ") values (" + values + ")" +
                                   (conflicts == Conflicts::Skip ? " on conflict do nothing" : ""));
        // A large load in one transaction outgrows the page cache: its pages would go out to the log and
        // be read back for each index. A cache of 256 MB for the load, the usual one after it.
        FileCursor cache(db_, "PRAGMA cache_size");
        const std::int64_t usual = cache.step() ? cache.integer(0) : -2000;
        exec("PRAGMA cache_size=-262144");
        try {
            std::vector<Value> row;
            while (rows(row)) {
                for (size_t c = 0; c < row.size(); ++c)
                    insert.bindAt(int(c) + 1, row[c]);
                insert.execute();
            }
        } catch (...) {
            exec("PRAGMA cache_size=" + std::to_string(usual));
            throw;
        }
        exec("PRAGMA cache_size=" + std::to_string(usual));
    }

    void refreshStatistics() override { exec("ANALYZE"); }

    std::vector<std::pair<std::string, std::string>> indexes(std::string_view table) override {
        // An index SQLite made for a constraint has no statement of its own and stays.
        FileCursor list(db_, "select name, sql from sqlite_master where type='index' and sql is not null "
                             "and tbl_name=? collate nocase");
        list.bindAt(1, std::string(table));
        std::vector<std::pair<std::string, std::string>> found;
        while (list.step())
            found.emplace_back(list.textView(0), list.textView(1));
        return found;
    }

    // SQLite steps through a statement's rows without holding them.
    std::unique_ptr<Cursor> stream(std::string_view select) override { return prepare(select); }

    std::unique_ptr<StoreLock> tryLock(std::string_view name) override {
        const std::string path = file_.string() + "-" + std::string(name) + ".lock";
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0) return nullptr;
        if (::flock(fd, LOCK_EX | LOCK_NB) != 0) {
            ::close(fd);
            return nullptr;
        }
        return std::make_unique<FileLock>(fd);
    }

private:
    struct Waiting {
        LockWait wait;
        std::chrono::steady_clock::time_point since;
        bool noticed = false;

        // SQLite's busy handler: nonzero to try again.
        static int retry(void* self, int attempts) {
            auto& w = *static_cast<Waiting*>(self);
            const auto now = std::chrono::steady_clock::now();
            if (attempts == 0) {
                w.since = now;
                w.noticed = false;
            }
            const auto waited = std::chrono::duration_cast<std::chrono::milliseconds>(now - w.since);
            if (waited >= w.wait.limit) return 0;
            if (waited >= kLockWaitNoticed && !w.noticed) {
                w.noticed = true;
                if (w.wait.notice) w.wait.notice();
            }
            if (w.wait.keepWaiting && !w.wait.keepWaiting()) return 0;
            // Short pauses first: most waits are for a commit that is just ending.
            std::this_thread::sleep_for(std::chrono::milliseconds(attempts < 20 ? 1 : 10));
            return 1;
        }
    };

    std::filesystem::path file_;
    sqlite3* db_ = nullptr;
    Waiting waiting_;
};

} // namespace

std::unique_ptr<Connection> openFile(const std::filesystem::path& file, Database::Mode mode) {
    return std::make_unique<FileConnection>(file, mode);
}

} // namespace vantor::db::engine
