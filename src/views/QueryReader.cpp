#include "QueryReader.h"

#include "db/FailureText.h"

#include <sqlite3.h>

#include <strings.h>

namespace vantor::views {
namespace {

[[noreturn]] void fail(sqlite3* db) {
    const std::string detail = sqlite3_errmsg(db);
    throw db::DbError(db::fileFailureText(sqlite3_errcode(db), detail), sqlite3_errcode(db), {}, detail);
}

} // namespace

QueryReader::QueryReader(db::Database connection, std::string_view sql, const Parameters& parameters)
    : db_(std::move(connection)) {
    if (db_.isPostgres()) {
        try {
            server_.emplace(db_.prepare(sql));
            for (const std::string& name : server_->parameterNames()) {
                const Parameter* given = nullptr;
                for (const auto& p : parameters)
                    if (strcasecmp(name.c_str() + 1, p.name.c_str()) == 0) given = &p;
                server_->bind(name, given ? given->value : db::Value{});
            }
            serverRowWaiting_ = server_->step();
            for (int c = 0, n = server_->columnCount(); c < n; ++c)
                names_.push_back(server_->columnName(c));
            readBlocks(1);
        } catch (...) {
            release();
            throw;
        }
        return;
    }
    if (sqlite3_prepare_v2(db_.handle(), sql.data(), int(sql.size()), &stmt_, nullptr) != SQLITE_OK) {
        sqlite3_finalize(stmt_);
        stmt_ = nullptr;
        fail(db_.handle());
    }
    try {
        for (int c = 0, n = sqlite3_column_count(stmt_); c < n; ++c)
            names_.emplace_back(sqlite3_column_name(stmt_, c));
        bind(parameters);
        readBlocks(1);
    } catch (...) {
        release();
        throw;
    }
}

QueryReader::~QueryReader() {
    if (thread_.joinable()) {
        stop_.store(true, std::memory_order_relaxed);
        thread_.join();
    }
    release();
}

void QueryReader::bind(const Parameters& parameters) {
    for (int i = 1, n = sqlite3_bind_parameter_count(stmt_); i <= n; ++i) {
        const char* name = sqlite3_bind_parameter_name(stmt_, i);
        const Parameter* given = nullptr;
        for (const auto& p : parameters)
            if (name && strcasecmp(name + 1, p.name.c_str()) == 0) given = &p;
        if (!given) continue; // NULL, as a parameter nobody set is in the desktop database
        int rc = SQLITE_OK;
        switch (given->value.index()) {
        case 1:
            rc = sqlite3_bind_int64(stmt_, i, std::get<std::int64_t>(given->value));
            break;
        case 2:
            rc = sqlite3_bind_double(stmt_, i, std::get<double>(given->value));
            break;
        case 3: {
            const auto& text = std::get<std::string>(given->value);
            rc = sqlite3_bind_text(stmt_, i, text.data(), int(text.size()), SQLITE_TRANSIENT);
            break;
        }
        default:
            rc = sqlite3_bind_null(stmt_, i);
        }
        if (rc != SQLITE_OK) fail(db_.handle());
    }
}

bool QueryReader::readServerRow() {
    if (!serverRowWaiting_) return false;
    for (int c = 0, n = int(names_.size()); c < n; ++c) {
        db::Value value = server_->value(c);
        switch (value.index()) {
        case 1:
            current_->addInteger(std::get<std::int64_t>(value));
            break;
        case 2:
            current_->addReal(std::get<double>(value));
            break;
        case 3:
            current_->addText(std::get<std::string>(value));
            break;
        default:
            current_->addNull();
        }
    }
    serverRowWaiting_ = server_->step();
    return true;
}

bool QueryReader::readBlocks(std::size_t blocks) {
    const int fields = int(names_.size());
    while (blocks > 0) {
        if (!current_) current_ = std::make_unique<RowBlock>(fields);
        int rc = SQLITE_ROW;
        if (server_) {
            while (!current_->full() && readServerRow()) {
            }
            rc = serverRowWaiting_ ? SQLITE_ROW : SQLITE_DONE;
        }
        while (!server_ && !current_->full() && (rc = sqlite3_step(stmt_)) == SQLITE_ROW) {
            for (int c = 0; c < fields; ++c) {
                switch (sqlite3_column_type(stmt_, c)) {
                case SQLITE_INTEGER:
                    current_->addInteger(sqlite3_column_int64(stmt_, c));
                    break;
                case SQLITE_FLOAT:
                    current_->addReal(sqlite3_column_double(stmt_, c));
                    break;
                case SQLITE_NULL:
                    current_->addNull();
                    break;
                default: {
                    auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt_, c));
                    current_->addText(std::string_view(text, size_t(sqlite3_column_bytes(stmt_, c))));
                }
                }
            }
        }
        if (!server_ && rc != SQLITE_ROW && rc != SQLITE_DONE) fail(db_.handle());
        const bool end = rc == SQLITE_DONE;
        {
            std::lock_guard lock(mutex_);
            if (current_->rowCount() > 0) ready_.push_back(std::move(current_));
            current_.reset();
        }
        if (end) {
            release();
            done_.store(true, std::memory_order_release);
            return false;
        }
        --blocks;
    }
    return true;
}

void QueryReader::readRest() {
    try {
        while (!done() && readBlocks(1)) {
        }
    } catch (...) {
        release();
        throw;
    }
}

void QueryReader::readRestInBackground() {
    if (done() || thread_.joinable()) return;
    thread_ = std::thread([this] {
        try {
            while (!stop_.load(std::memory_order_relaxed) && readBlocks(1)) {
            }
        } catch (...) {
            std::lock_guard lock(mutex_);
            error_ = std::current_exception();
            done_.store(true, std::memory_order_release);
        }
    });
}

void QueryReader::release() {
    sqlite3_finalize(stmt_);
    stmt_ = nullptr;
    server_.reset();
    db_.close();
}

std::vector<std::unique_ptr<RowBlock>> QueryReader::take() {
    std::lock_guard lock(mutex_);
    std::vector<std::unique_ptr<RowBlock>> blocks;
    blocks.reserve(ready_.size());
    for (auto& block : ready_)
        blocks.push_back(std::move(block));
    ready_.clear();
    return blocks;
}

std::vector<std::unique_ptr<RowBlock>> QueryReader::finish() {
    if (thread_.joinable()) thread_.join();
    {
        std::lock_guard lock(mutex_);
        if (error_) std::rethrow_exception(error_);
    }
    return take();
}

} // namespace vantor::views
