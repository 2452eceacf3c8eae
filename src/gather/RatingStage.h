#pragma once

#include "db/Database.h"
#include "market/Records.h"

#include <cstddef>
#include <vector>

namespace vantor::gather {

// What the pages of one shop gave a rating run, held until the run saves it.
struct ShopRatings {
    // One job's pages of a shop, their ratings in page order.
    struct PageRun {
        bool history = false;
        RecordList<TRateInfo> ratings;
    };
    TDianBaseInfo shop;
    TRateBaseInfo summary;
    std::vector<PageRun> runs;
};

// Where a rating run keeps its shops until it saves them all at once: a private temporary database
// that SQLite deletes when it closes, so a run holds neither the data file's write lock while it is
// on the network nor its whole haul in memory, and a crash leaves nothing behind.
class RatingStage {
public:
    RatingStage();

    // Adds the next shop of the run.
    void add(const ShopRatings& haul);
    std::size_t size() const { return count_; }
    // The shop added as index-th, whole.
    ShopRatings read(std::size_t index);

private:
    db::Database db_;
    std::size_t count_ = 0;
};

} // namespace vantor::gather
