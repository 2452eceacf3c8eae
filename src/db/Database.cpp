#include "Database.h"

#include "FailureText.h"
#include "SqlFunctions.h"

#include <libpq-fe.h>
#include <sqlite3.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <strings.h>
#include <thread>
#include <utility>

namespace vantor::db {
namespace {

[[noreturn]] void fail(sqlite3* db, int rc, std::string_view what) {
    std::string detail(what);
    detail += ": ";
    detail += db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    throw DbError(fileFailureText(rc, detail), rc, {}, detail);
}

// PostgreSQL's type numbers of the results the program reads.
constexpr Oid kBool = 16, kInt8 = 20, kInt2 = 21, kInt4 = 23, kFloat4 = 700, kFloat8 = 701, kNumeric = 1700;

std::string pgMessage(PGconn* pg) {
    std::string message = pg ? PQerrorMessage(pg) : "";
    while (!message.empty() && (message.back() == '\n' || message.back() == ' '))
        message.pop_back();
    return message;
}

// A result that must have succeeded; owns it.
struct PgResult {
    PGresult* result;
    explicit PgResult(PGresult* r, PGconn* pg) : result(r) {
        ExecStatusType status = PQresultStatus(r);
        if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK) {
            std::string message = PQresultErrorMessage(r);
            while (!message.empty() && message.back() == '\n')
                message.pop_back();
            const char* state = PQresultErrorField(r, PG_DIAG_SQLSTATE);
            PQclear(r);
            // The SQLSTATE's class as the code: 23 a constraint, 40 a conflict to retry, 08 a lost
            // connection.
            if (message.empty()) message = pgMessage(pg);
            throw DbError(serverFailureText(state ? state : "", message), state ? std::atoi(state) : 0,
                          state ? state : "", message);
        }
    }
    ~PgResult() { PQclear(result); }
    PgResult(const PgResult&) = delete;
    PgResult& operator=(const PgResult&) = delete;
};

// A real number as SQLite writes it: 15 significant digits, and ".0" on a whole number.
std::string sqliteReal(double value) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%.15g", value);
    std::string text = buf;
    if (text.find_first_of(".eEni") == std::string::npos) text += ".0";
    return text;
}

// ":name" parameters as "$n", the same name the same number; names kept in lower case. Quoted texts and
// "::" casts are left alone. SQLite's "insert or ignore" becomes "on conflict do nothing".
std::string numberedParameters(std::string_view sql, std::vector<std::string>& names) {
    std::string out;
    bool ignoreConflicts = false;
    std::string_view head = sql.substr(0, 20);
    if (head.size() >= 16 && strncasecmp(head.data(), "insert or ignore", 16) == 0) {
        sql.remove_prefix(16);
        out = "insert";
        ignoreConflicts = true;
    }
    for (size_t i = 0; i < sql.size(); ++i) {
        char c = sql[i];
        if (c == '\'' || c == '"') {
            size_t end = sql.find(c, i + 1);
            if (end == std::string_view::npos) end = sql.size() - 1;
            out.append(sql.substr(i, end - i + 1));
            i = end;
        } else if (c == ':' && i + 1 < sql.size() &&
                   (std::isalpha((unsigned char)sql[i + 1]) || sql[i + 1] == '_') &&
                   (i == 0 || sql[i - 1] != ':')) {
            size_t end = i + 1;
            while (end < sql.size() && (std::isalnum((unsigned char)sql[end]) || sql[end] == '_'))
                ++end;
            std::string name(sql.substr(i + 1, end - i - 1));
            for (char& ch : name)
                ch = char(std::tolower((unsigned char)ch));
            size_t index = 0;
            while (index < names.size() && names[index] != name)
                ++index;
            if (index == names.size()) names.push_back(name);
            out += '$';
            out += std::to_string(index + 1);
            i = end - 1;
        } else {
            out += c;
        }
    }
    if (ignoreConflicts) out += " on conflict do nothing";
    return out;
}

} // namespace

// A statement of a PostgreSQL store: its text with numbered parameters, the values bound, and the
// rows of its last run.
struct Statement::Pg {
    Database* db;
    std::string sql;
    std::vector<std::string> names;
    std::vector<std::optional<std::string>> values;
    std::vector<Oid> types;
    PGresult* result = nullptr;
    int row = -1;
    std::vector<std::string> texts; // the current row's texts, as SQLite would give them

    ~Pg() { PQclear(result); }

    void clear() {
        PQclear(result);
        result = nullptr;
        row = -1;
    }

    void run() {
        clear();
        std::vector<const char*> params;
        for (const auto& v : values)
            params.push_back(v ? v->c_str() : nullptr);
        PGresult* r = PQexecParams(db->pg_, sql.c_str(), int(params.size()), types.data(), params.data(),
                                   nullptr, nullptr, 0);
        PgResult checked(r, db->pg_);
        const char* affected = PQcmdTuples(r);
        db->pgChanges_ = affected && *affected ? std::atoi(affected) : 0;
        checked.result = nullptr;
        result = r;
    }

    bool step() {
        if (!result) run();
        if (++row >= PQntuples(result)) return false;
        texts.clear();
        for (int c = 0, n = PQnfields(result); c < n; ++c)
            texts.push_back(asSqliteText(c));
        return true;
    }

    std::string asSqliteText(int column) const {
        if (PQgetisnull(result, row, column)) return {};
        std::string raw = PQgetvalue(result, row, column);
        switch (PQftype(result, column)) {
        case kBool:
            return raw == "t" ? "1" : "0";
        case kFloat4:
        case kFloat8:
            return sqliteReal(std::strtod(raw.c_str(), nullptr));
        case kNumeric:
            return raw.find('.') == std::string::npos ? raw : sqliteReal(std::strtod(raw.c_str(), nullptr));
        default:
            return raw;
        }
    }

    int index(std::string_view name) const {
        std::string key(name.starts_with(':') ? name.substr(1) : name);
        for (char& ch : key)
            ch = char(std::tolower((unsigned char)ch));
        for (size_t i = 0; i < names.size(); ++i)
            if (names[i] == key) return int(i);
        std::string message = "SQL 参数不存在: :";
        message += key;
        throw DbError(message);
    }

    void bindAt(int i, std::optional<std::string> value, Oid type) {
        if (i < 0 || i >= int(values.size())) throw DbError("SQL 参数位置不存在");
        values[size_t(i)] = std::move(value);
        types[size_t(i)] = type;
        clear();
    }
};

std::string valueToText(const Value& value) {
    switch (value.index()) {
    case 1:
        return std::to_string(std::get<std::int64_t>(value));
    case 2: {
        char buf[64];
        std::snprintf(buf, sizeof buf, "%.15g", std::get<double>(value));
        return buf;
    }
    case 3:
        return std::get<std::string>(value);
    default:
        return {};
    }
}

struct Database::Waiting {
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

Database::Database(const std::filesystem::path& file, Mode mode) {
    int flags = SQLITE_OPEN_NOMUTEX;
    switch (mode) {
    case Mode::OpenExisting:
        flags |= SQLITE_OPEN_READWRITE;
        break;
    case Mode::CreateIfMissing:
        flags |= SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
        break;
    case Mode::ReadOnly:
        flags |= SQLITE_OPEN_READONLY;
        break;
    }
    int rc = sqlite3_open_v2(file.c_str(), &db_, flags, nullptr);
    if (rc != SQLITE_OK) {
        std::string message = db_ ? sqlite3_errmsg(db_) : sqlite3_errstr(rc);
        sqlite3_close(db_);
        db_ = nullptr;
        throw DbError("无法打开数据文件 " + file.string() + "：" + fileFailureText(rc, message), rc, {},
                      message);
    }
    sqlite3_extended_result_codes(db_, 1);
    setLockWait({});
    try {
        registerSqlFunctions(db_);
    } catch (...) {
        close();
        throw;
    }
}

Database Database::connect(const std::string& url) {
    Database db;
    // A server that does not answer is given ten seconds unless the address names its own limit.
    const char* keys[] = {"dbname", "connect_timeout", nullptr};
    const char* values[] = {url.c_str(), "10", nullptr};
    db.pg_ = PQconnectdbParams(keys, values, 1);
    if (PQstatus(db.pg_) != CONNECTION_OK) {
        std::string message = pgMessage(db.pg_);
        throw DbError(connectFailureText(message), 0, "08001", message);
    }
    // The server's notices (a shutdown's warning) are no business of the program's terminal.
    PQsetNoticeProcessor(
        db.pg_, [](void*, const char*) {}, nullptr);
    db.exec("SET client_encoding TO 'UTF8'; SET client_min_messages TO warning;");
    return db;
}

Database::Database() = default;

Database::~Database() {
    close();
}

Database::Database(Database&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)),
      pg_(std::exchange(other.pg_, nullptr)),
      waiting_(std::move(other.waiting_)) {}

Database& Database::operator=(Database&& other) noexcept {
    if (this != &other) {
        close();
        db_ = std::exchange(other.db_, nullptr);
        pg_ = std::exchange(other.pg_, nullptr);
        waiting_ = std::move(other.waiting_);
    }
    return *this;
}

void Database::setLockWait(LockWait wait) {
    if (!db_) return;
    if (!waiting_) waiting_ = std::make_unique<Waiting>();
    waiting_->wait = std::move(wait);
    sqlite3_busy_handler(db_, &Waiting::retry, waiting_.get());
}

void Database::close() {
    if (db_) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
    }
    if (pg_) {
        PQfinish(pg_);
        pg_ = nullptr;
    }
}

void Database::exec(std::string_view sql) {
    if (pg_) {
        PgResult checked(PQexec(pg_, std::string(sql).c_str()), pg_);
        return;
    }
    std::string text(sql);
    char* error = nullptr;
    int rc = sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &error);
    if (rc != SQLITE_OK) {
        std::string message = error ? error : sqlite3_errstr(rc);
        sqlite3_free(error);
        throw DbError(fileFailureText(rc, message), rc, {}, message);
    }
}

Statement Database::prepare(std::string_view sql) {
    if (pg_) return Statement(*this, sql);
    return Statement(db_, sql);
}

void Database::beginTransaction() {
    exec(pg_ ? "BEGIN" : "BEGIN IMMEDIATE");
}
void Database::commit() {
    exec("COMMIT");
}

void Database::rollback() {
    if (inTransaction()) exec("ROLLBACK");
}

bool Database::inTransaction() const {
    if (pg_) {
        PGTransactionStatusType status = PQtransactionStatus(pg_);
        return status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
    }
    return db_ && sqlite3_get_autocommit(db_) == 0;
}
int Database::changes() const {
    if (pg_) return pgChanges_;
    return sqlite3_changes(db_);
}

Statement::Statement(sqlite3* db, std::string_view sql) : db_(db) {
    if (!db) throw DbError("数据库没有打开");
    int rc = sqlite3_prepare_v2(db, sql.data(), int(sql.size()), &stmt_, nullptr);
    if (rc != SQLITE_OK) fail(db, rc, "SQL");
}

Statement::Statement(Database& pgDatabase, std::string_view sql) : pg_(std::make_unique<Pg>()) {
    pg_->db = &pgDatabase;
    pg_->sql = numberedParameters(sql, pg_->names);
    pg_->values.resize(pg_->names.size());
    pg_->types.resize(pg_->names.size(), 0);
}

Statement::~Statement() {
    sqlite3_finalize(stmt_);
}

Statement::Statement(Statement&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)),
      stmt_(std::exchange(other.stmt_, nullptr)),
      pg_(std::move(other.pg_)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
    if (this != &other) {
        sqlite3_finalize(stmt_);
        db_ = std::exchange(other.db_, nullptr);
        stmt_ = std::exchange(other.stmt_, nullptr);
        pg_ = std::move(other.pg_);
    }
    return *this;
}

int Statement::parameterIndex(std::string_view name) const {
    if (pg_) return pg_->index(name) + 1;
    std::string key;
    if (name.empty() || name.front() != ':') key = ":";
    key += name;
    int index = sqlite3_bind_parameter_index(stmt_, key.c_str());
    if (index == 0) {
        // Parameter names are case-insensitive, as the program's statements expect.
        for (int i = 1, n = sqlite3_bind_parameter_count(stmt_); i <= n; ++i) {
            const char* candidate = sqlite3_bind_parameter_name(stmt_, i);
            if (candidate && strcasecmp(candidate, key.c_str()) == 0) return i;
        }
        throw DbError("SQL 参数不存在: " + key);
    }
    return index;
}

Statement& Statement::bindAt(int position, const Value& value) {
    if (pg_) {
        switch (value.index()) {
        case 1:
            pg_->bindAt(position - 1, std::to_string(std::get<std::int64_t>(value)), kInt8);
            break;
        case 2: {
            char buf[64];
            std::snprintf(buf, sizeof buf, "%.17g", std::get<double>(value));
            pg_->bindAt(position - 1, std::string(buf), kFloat8);
            break;
        }
        case 3: // untyped: the server takes the column's type
            pg_->bindAt(position - 1, std::get<std::string>(value), 0);
            break;
        default:
            pg_->bindAt(position - 1, std::nullopt, 0);
        }
        return *this;
    }
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
    return *this;
}

Statement& Statement::bind(std::string_view name, const Value& value) {
    return bindAt(parameterIndex(name), value);
}

Statement& Statement::bind(std::string_view name, std::string_view text) {
    return bindAt(parameterIndex(name), Value(std::string(text)));
}

Statement& Statement::bind(std::string_view name, std::int64_t number) {
    return bindAt(parameterIndex(name), Value(number));
}

Statement& Statement::bind(std::string_view name, double number) {
    return bindAt(parameterIndex(name), Value(number));
}

Statement& Statement::bindNull(std::string_view name) {
    return bindAt(parameterIndex(name), Value());
}

std::vector<std::string> Statement::parameterNames() const {
    std::vector<std::string> names;
    if (pg_) {
        for (const auto& name : pg_->names)
            names.push_back(":" + name);
        return names;
    }
    for (int i = 1, n = sqlite3_bind_parameter_count(stmt_); i <= n; ++i) {
        const char* name = sqlite3_bind_parameter_name(stmt_, i);
        names.emplace_back(name ? name : "");
    }
    return names;
}

bool Statement::step() {
    if (pg_) return pg_->step();
    int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    std::string message = sqlite3_errmsg(db_);
    sqlite3_reset(stmt_);
    throw DbError(fileFailureText(rc, message), rc, {}, message);
}

void Statement::execute() {
    if (pg_) {
        pg_->run();
        pg_->clear();
        return;
    }
    while (step()) {
    }
    sqlite3_reset(stmt_);
}

void Statement::reset() {
    if (pg_) return pg_->clear();
    sqlite3_reset(stmt_);
}

int Statement::columnCount() const {
    if (pg_) return pg_->result ? PQnfields(pg_->result) : 0;
    return sqlite3_column_count(stmt_);
}

std::string Statement::columnName(int column) const {
    if (pg_) return pg_->result ? PQfname(pg_->result, column) : "";
    const char* name = sqlite3_column_name(stmt_, column);
    return name ? name : "";
}

std::optional<int> Statement::columnIndex(std::string_view name) const {
    for (int i = 0, n = columnCount(); i < n; ++i) {
        const std::string pgName = pg_ ? columnName(i) : std::string();
        const char* candidate = pg_ ? pgName.c_str() : sqlite3_column_name(stmt_, i);
        if (candidate && std::string_view(candidate).size() == name.size() &&
            strncasecmp(candidate, name.data(), name.size()) == 0)
            return i;
    }
    return std::nullopt;
}

Value Statement::value(int column) const {
    if (pg_) {
        if (isNull(column)) return std::monostate{};
        switch (PQftype(pg_->result, column)) {
        case kInt2:
        case kInt4:
        case kInt8:
        case kBool:
            return integer(column);
        case kFloat4:
        case kFloat8:
        case kNumeric:
            return real(column);
        default:
            return text(column);
        }
    }
    switch (sqlite3_column_type(stmt_, column)) {
    case SQLITE_INTEGER:
        return std::int64_t(sqlite3_column_int64(stmt_, column));
    case SQLITE_FLOAT:
        return sqlite3_column_double(stmt_, column);
    case SQLITE_NULL:
        return std::monostate{};
    default:
        return text(column);
    }
}

Value Statement::value(std::string_view name) const {
    auto index = columnIndex(name);
    if (!index) throw DbError("字段不存在: " + std::string(name));
    return value(*index);
}

bool Statement::isNull(int column) const {
    if (pg_) return PQgetisnull(pg_->result, pg_->row, column);
    return sqlite3_column_type(stmt_, column) == SQLITE_NULL;
}
std::int64_t Statement::integer(int column) const {
    if (pg_) return std::strtoll(pg_->texts[size_t(column)].c_str(), nullptr, 10);
    return sqlite3_column_int64(stmt_, column);
}
double Statement::real(int column) const {
    if (pg_) return std::strtod(pg_->texts[size_t(column)].c_str(), nullptr);
    return sqlite3_column_double(stmt_, column);
}

std::string Statement::text(int column) const {
    return std::string(textView(column));
}

std::string_view Statement::textView(int column) const {
    if (pg_) return pg_->texts[size_t(column)];
    const unsigned char* data = sqlite3_column_text(stmt_, column);
    return data ? std::string_view(reinterpret_cast<const char*>(data),
                                   size_t(sqlite3_column_bytes(stmt_, column)))
                : std::string_view();
}

} // namespace vantor::db
