#include "QueryReader.h"

#include <strings.h>

namespace vantor::views {

QueryReader::QueryReader(db::Database connection, std::string_view sql, const Parameters& parameters)
    : db_(std::move(connection)) {
    try {
        statement_.emplace(db_.prepare(sql));
        for (const std::string& name : statement_->parameterNames()) {
            const Parameter* given = nullptr;
            for (const auto& p : parameters)
                if (strcasecmp(name.c_str() + 1, p.name.c_str()) == 0) given = &p;
            // NULL, as a parameter nobody set is in the desktop database
            statement_->bind(name, given ? given->value : db::Value{});
        }
        // A server names the fields once it has run the statement: the first row is read first.
        rowWaiting_ = statement_->step();
        for (int c = 0, n = statement_->columnCount(); c < n; ++c)
            names_.push_back(statement_->columnName(c));
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

bool QueryReader::readBlocks(std::size_t blocks) {
    const int fields = int(names_.size());
    db::Statement& st = *statement_;
    while (blocks > 0) {
        if (!current_) current_ = std::make_unique<RowBlock>(fields);
        while (!current_->full() && rowWaiting_) {
            for (int c = 0; c < fields; ++c) {
                switch (st.type(c)) {
                case db::ColumnType::Integer:
                    current_->addInteger(st.integer(c));
                    break;
                case db::ColumnType::Real:
                    current_->addReal(st.real(c));
                    break;
                case db::ColumnType::Null:
                    current_->addNull();
                    break;
                default:
                    current_->addText(st.textView(c));
                }
            }
            rowWaiting_ = st.step();
        }
        const bool end = !rowWaiting_;
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
    statement_.reset();
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
