#pragma once

#include "db/Database.h"
#include "market/Records.h"

#include <optional>
#include <string>
#include <vector>

namespace vantor::gather {

// What is left of a sales gathering that did not reach its end.
struct UnfinishedRun {
    std::vector<TDianBaseInfo> shops; // as their search rows gave them, in the run's order
    std::vector<int> positions;       // each shop's place in the recorded run
    int itemsPerShop = 0;
};

// The record belongs to its owner: each gatherer of a shared store has its own (db::Store::client).

// Replaces the record of the owner's last sales gathering with a new run's shops, in a transaction of
// its own.
void recordSalesRun(db::Database& db, const std::string& owner, const std::vector<TDianBaseInfo>& shops,
                    int itemsPerShop);

// Marks the shop at pos as committed; runs inside the shop's own transaction, so the mark and the
// shop's rows are kept or lost together.
void markSalesShopDone(db::Database& db, const std::string& owner, int pos);

// The shops of the owner's recorded run not yet committed; nothing when every shop was, or no run is
// recorded.
std::optional<UnfinishedRun> unfinishedSalesRun(db::Database& db, const std::string& owner);

} // namespace vantor::gather
