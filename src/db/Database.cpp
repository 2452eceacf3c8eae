#include "Database.h"

#include "SqlFunctions.h"

#include <sqlite3.h>

#include <cstdio>
#include <strings.h>
#include <utility>

namespace vantor::db {
namespace {

[[noreturn]] void fail(sqlite3* db, int rc, std::string_view what) {
    std::string message(what);
    message += ": ";
    message += db ? sqlite3_errmsg(db) : sqlite3_errstr(rc);
    throw DbError(message, rc);
}

} // namespace

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
        throw DbError("无法打开数据文件 " + file.string() + ": " + message, rc);
    }
    sqlite3_extended_result_codes(db_, 1);
    sqlite3_busy_timeout(db_, 5000);
    try {
        registerSqlFunctions(db_);
    } catch (...) {
        close();
        throw;
    }
}

Database::~Database() {
    close();
}

Database::Database(Database&& other) noexcept : db_(std::exchange(other.db_, nullptr)) {}

Database& Database::operator=(Database&& other) noexcept {
    if (this != &other) {
        close();
        db_ = std::exchange(other.db_, nullptr);
    }
    return *this;
}

void Database::close() {
    if (db_) {
        sqlite3_close_v2(db_);
        db_ = nullptr;
    }
}

void Database::exec(std::string_view sql) {
    std::string text(sql);
    char* error = nullptr;
    int rc = sqlite3_exec(db_, text.c_str(), nullptr, nullptr, &error);
    if (rc != SQLITE_OK) {
        std::string message = error ? error : sqlite3_errstr(rc);
        sqlite3_free(error);
        throw DbError(message, rc);
    }
}

Statement Database::prepare(std::string_view sql) {
    return Statement(db_, sql);
}

void Database::beginTransaction() {
    exec("BEGIN IMMEDIATE");
}
void Database::commit() {
    exec("COMMIT");
}

void Database::rollback() {
    if (inTransaction()) exec("ROLLBACK");
}

bool Database::inTransaction() const {
    return db_ && sqlite3_get_autocommit(db_) == 0;
}
int Database::changes() const {
    return sqlite3_changes(db_);
}

Statement::Statement(sqlite3* db, std::string_view sql) : db_(db) {
    if (!db) throw DbError("数据库没有打开");
    int rc = sqlite3_prepare_v2(db, sql.data(), int(sql.size()), &stmt_, nullptr);
    if (rc != SQLITE_OK) fail(db, rc, "SQL");
}

Statement::~Statement() {
    sqlite3_finalize(stmt_);
}

Statement::Statement(Statement&& other) noexcept
    : db_(std::exchange(other.db_, nullptr)), stmt_(std::exchange(other.stmt_, nullptr)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
    if (this != &other) {
        sqlite3_finalize(stmt_);
        db_ = std::exchange(other.db_, nullptr);
        stmt_ = std::exchange(other.stmt_, nullptr);
    }
    return *this;
}

int Statement::parameterIndex(std::string_view name) const {
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

Statement& Statement::bind(std::string_view name, const Value& value) {
    switch (value.index()) {
    case 1:
        return bind(name, std::get<std::int64_t>(value));
    case 2:
        return bind(name, std::get<double>(value));
    case 3:
        return bind(name, std::string_view(std::get<std::string>(value)));
    default:
        return bindNull(name);
    }
}

Statement& Statement::bind(std::string_view name, std::string_view text) {
    int rc = sqlite3_bind_text(stmt_, parameterIndex(name), text.data(), int(text.size()), SQLITE_TRANSIENT);
    if (rc != SQLITE_OK) fail(db_, rc, "bind");
    return *this;
}

Statement& Statement::bind(std::string_view name, std::int64_t number) {
    int rc = sqlite3_bind_int64(stmt_, parameterIndex(name), number);
    if (rc != SQLITE_OK) fail(db_, rc, "bind");
    return *this;
}

Statement& Statement::bind(std::string_view name, double number) {
    int rc = sqlite3_bind_double(stmt_, parameterIndex(name), number);
    if (rc != SQLITE_OK) fail(db_, rc, "bind");
    return *this;
}

Statement& Statement::bindNull(std::string_view name) {
    int rc = sqlite3_bind_null(stmt_, parameterIndex(name));
    if (rc != SQLITE_OK) fail(db_, rc, "bind");
    return *this;
}

std::vector<std::string> Statement::parameterNames() const {
    std::vector<std::string> names;
    for (int i = 1, n = sqlite3_bind_parameter_count(stmt_); i <= n; ++i) {
        const char* name = sqlite3_bind_parameter_name(stmt_, i);
        names.emplace_back(name ? name : "");
    }
    return names;
}

bool Statement::step() {
    int rc = sqlite3_step(stmt_);
    if (rc == SQLITE_ROW) return true;
    if (rc == SQLITE_DONE) return false;
    std::string message = sqlite3_errmsg(db_);
    sqlite3_reset(stmt_);
    throw DbError(message, rc);
}

void Statement::execute() {
    while (step()) {
    }
    sqlite3_reset(stmt_);
}

void Statement::reset() {
    sqlite3_reset(stmt_);
}

int Statement::columnCount() const {
    return sqlite3_column_count(stmt_);
}

std::string Statement::columnName(int column) const {
    const char* name = sqlite3_column_name(stmt_, column);
    return name ? name : "";
}

std::optional<int> Statement::columnIndex(std::string_view name) const {
    for (int i = 0, n = columnCount(); i < n; ++i) {
        const char* candidate = sqlite3_column_name(stmt_, i);
        if (candidate && std::string_view(candidate).size() == name.size() &&
            strncasecmp(candidate, name.data(), name.size()) == 0)
            return i;
    }
    return std::nullopt;
}

Value Statement::value(int column) const {
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
    return sqlite3_column_type(stmt_, column) == SQLITE_NULL;
}
std::int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(stmt_, column);
}
double Statement::real(int column) const {
    return sqlite3_column_double(stmt_, column);
}

std::string Statement::text(int column) const {
    return std::string(textView(column));
}

std::string_view Statement::textView(int column) const {
    const unsigned char* data = sqlite3_column_text(stmt_, column);
    return data ? std::string_view(reinterpret_cast<const char*>(data),
                                   size_t(sqlite3_column_bytes(stmt_, column)))
                : std::string_view();
}

} // namespace vantor::db
