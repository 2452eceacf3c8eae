#pragma once

#include "RowStore.h"
#include "db/Database.h"

#include <atomic>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace vantor::views {

// A named parameter of a statement; the name is given without its ':' and matched in any letter case.
// A parameter of the statement that is given no value is NULL.
struct Parameter {
    std::string name;
    db::Value value;
};
using Parameters = std::vector<Parameter>;

// Reads the rows of one statement on a connection of its own, in blocks. The first block is read at
// once on the caller's thread, so the first screen of a grid and an error in the statement come
// without delay. The rest is read on the caller's thread too (readRest) or on a thread of the
// reader's (readRestInBackground) while the grid already shows what has come; the connection closes
// when the last row is read, so no reader holds the data file longer than it needs to.
class QueryReader {
public:
    // How a dataset reads past the first block: here and now, or in the background.
    enum class Mode { Now, Background };

    // Raises db::DbError for a statement the database refuses.
    QueryReader(db::Database connection, std::string_view sql, const Parameters& parameters);
    ~QueryReader(); // stops a reading thread and waits for it
    QueryReader(const QueryReader&) = delete;
    QueryReader& operator=(const QueryReader&) = delete;

    // Raises db::DbError.
    void readRest();
    void readRestInBackground();

    const std::vector<std::string>& fieldNames() const { return names_; }

    // The blocks read since the last call, in order.
    std::vector<std::unique_ptr<RowBlock>> take();
    // Waits for the last row, then the same as take(). Raises the error the reading thread met.
    std::vector<std::unique_ptr<RowBlock>> finish();
    // Every row has been read (or reading failed); take() or finish() hands out what is left.
    bool done() const { return done_.load(std::memory_order_acquire); }

private:
    // Reads up to `blocks` blocks, or to the end; false at the end.
    bool readBlocks(std::size_t blocks);
    void release();

    db::Database db_;
    std::optional<db::Statement> statement_;
    bool rowWaiting_ = false; // the statement stands on a row not yet in a block
    std::vector<std::string> names_;
    std::mutex mutex_;
    std::deque<std::unique_ptr<RowBlock>> ready_;
    std::unique_ptr<RowBlock> current_;
    std::exception_ptr error_;
    std::atomic<bool> done_{false};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace vantor::views
