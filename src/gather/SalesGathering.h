#pragma once

#include "SalesRunRecord.h"
#include "ShopStages.h"
#include "base/ProgressGauge.h"
#include "db/Database.h"
#include "download/THttpAgent.h"
#include "market/Records.h"

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vantor {

// How many items of a shop have their sales gathered: the window's "下载前 N 名商品".
inline constexpr int kDefaultItemsPerShop = 10;
inline constexpr int kMaxItemsPerShop = 200;
// Buyer-list pages fetched per item at the most (80 sales each).
inline constexpr int kMaxBuyerListPages = 100;

// Gathers shop after shop: profile, rating summary, item list, then for the first items their pages
// and buyer lists, each stage one job. Every shop is saved in one transaction of the gathering's own
// connection, committed after its last item; a stop or a failure rolls the current shop back and ends
// the run, and the shops before it stay. The run's shops are recorded in the database and each is
// marked with its own commit, so a run cut short, even by a crash, can be continued.
class SalesGathering : public GatherRun {
public:
    // Shops carry what the search row gave (address, shopkeeper, name, main business); the gathering
    // completes them from their pages. The database must exist.
    SalesGathering(std::filesystem::path database, std::vector<TDianBaseInfo> shops, int itemsPerShop,
                   std::shared_ptr<const THttpAgent> agent, std::vector<SlotProgress*> gauges,
                   GatherObserver& observer, ProgressGauge* saveGauge = nullptr);
    // Continues a run cut short: only the shops it had not committed, with its number of items.
    SalesGathering(std::filesystem::path database, UnfinishedRun unfinished,
                   std::shared_ptr<const THttpAgent> agent, std::vector<SlotProgress*> gauges,
                   GatherObserver& observer, ProgressGauge* saveGauge = nullptr);
    ~SalesGathering() override; // stops the run and waits for it
    SalesGathering(const SalesGathering&) = delete;
    SalesGathering& operator=(const SalesGathering&) = delete;

    void start() override;
    void stop() override { stages_.stop(); }
    void wait() override;
    GatherTiming& timing() { return stages_.timing(); }

private:
    void run();
    void gatherShop(TDianBaseInfo& shop, db::Database& db);
    void gatherItem(const TItemInfo& row, const TDianBaseInfo& shop, db::Database& db);

    std::filesystem::path database_;
    std::vector<TDianBaseInfo> shops_;
    std::vector<int> positions_; // in the recorded run; empty: a new run, recorded when it starts
    int itemsPerShop_;
    GatherObserver& observer_;
    ProgressGauge* saveGauge_;
    ShopStages stages_;
    int itemsGathered_ = 0;
    GatherTally saved_;
    GatherTally shopTally_; // the open shop's, added to saved_ when it commits
    std::jthread thread_;
};

} // namespace vantor
