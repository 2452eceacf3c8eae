#include "Database.h"

#include "Engine.h"
#include "base/TextNumbers.h"

#include <cstdio>

namespace vantor::db {

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

Database::Database() = default;
Database::Database(std::unique_ptr<engine::Connection> engine) : engine_(std::move(engine)) {}
Database::Database(const std::filesystem::path& file, Mode mode) : engine_(engine::openFile(file, mode)) {}
Database Database::connect(const std::string& url) {
    return Database(engine::connectServer(url));
}
Database::~Database() = default;
Database::Database(Database&& other) noexcept = default;
Database& Database::operator=(Database&& other) noexcept = default;

engine::Connection& Database::engine() const {
    if (!engine_) throw DbError("数据库没有打开");
    return *engine_;
}

void Database::close() {
    engine_.reset();
}

void Database::exec(std::string_view sql) {
    engine().exec(sql);
}

Statement Database::prepare(std::string_view sql) {
    return Statement(engine().prepare(sql));
}

void Database::beginTransaction() {
    engine().begin();
}

void Database::commit() {
    engine().commit();
}

void Database::rollback() {
    if (engine_) engine_->rollback();
}

bool Database::inTransaction() const {
    return engine_ && engine_->inTransaction();
}

int Database::changes() {
    return engine().changes();
}

void Database::setLockWait(LockWait wait) {
    if (engine_) engine_->setLockWait(std::move(wait));
}

bool Database::remote() const {
    return engine().remote();
}

void Database::ensureSchema() {
    engine().ensureSchema();
}

void Database::bulkInsert(std::string_view table, const std::vector<std::string>& columns,
                          const RowSource& rows, Conflicts conflicts) {
    engine().bulkInsert(table, columns, rows, conflicts);
}

void Database::refreshStatistics() {
    engine().refreshStatistics();
}

std::vector<std::string> Database::dropIndexes(std::string_view table) {
    std::vector<std::string> rebuild;
    for (const auto& [name, sql] : engine().indexes(table)) {
        exec("DROP INDEX " + name);
        rebuild.push_back(sql);
    }
    return rebuild;
}

Statement Database::stream(std::string_view select) {
    return Statement(engine().stream(select));
}

void Database::idsGivenUpTo(std::string_view table) {
    engine().idsGivenUpTo(table);
}

std::unique_ptr<StoreLock> Database::tryLock(std::string_view name) {
    return engine().tryLock(name);
}

Statement::Statement(std::unique_ptr<engine::Cursor> cursor) : cursor_(std::move(cursor)) {}
Statement::~Statement() = default;
Statement::Statement(Statement&& other) noexcept = default;
Statement& Statement::operator=(Statement&& other) noexcept = default;

int Statement::parameterIndex(std::string_view name) const {
    if (int index = cursor_->parameterIndex(name)) return index;
    std::string key(name.starts_with(':') ? name.substr(1) : name);
    throw DbError("SQL 参数不存在: :" + key);
}

Statement& Statement::bindAt(int position, const Value& value) {
    cursor_->bindAt(position, value);
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
    return cursor_->parameterNames();
}

bool Statement::step() {
    return cursor_->step();
}

void Statement::execute() {
    cursor_->execute();
}

void Statement::reset() {
    cursor_->reset();
}

int Statement::columnCount() const {
    return cursor_->columnCount();
}

std::string Statement::columnName(int column) const {
    return cursor_->columnName(column);
}

std::optional<int> Statement::columnIndex(std::string_view name) const {
    for (int i = 0, n = columnCount(); i < n; ++i) {
        if (sameName(columnName(i), name)) return i;
    }
    return std::nullopt;
}

ColumnType Statement::type(int column) const {
    return cursor_->type(column);
}

Value Statement::value(int column) const {
    switch (type(column)) {
    case ColumnType::Integer:
        return integer(column);
    case ColumnType::Real:
        return real(column);
    case ColumnType::Null:
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
    return type(column) == ColumnType::Null;
}

std::int64_t Statement::integer(int column) const {
    return cursor_->integer(column);
}

double Statement::real(int column) const {
    return cursor_->real(column);
}

std::string Statement::text(int column) const {
    return std::string(textView(column));
}

std::string_view Statement::textView(int column) const {
    return cursor_->textView(column);
}

} // namespace vantor::db
