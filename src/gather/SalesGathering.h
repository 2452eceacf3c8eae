#pragma once

#include "StageRunner.h"
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

// What a gathering saved; only committed shops count.
struct GatherTally {
    int shops = 0;
    int items = 0;
    int sales = 0;
};

// The words a finished, stopped or failed run leaves for the user: what was saved, and why it ended.
std::string gatherSummary(JobEnd end, const GatherTally& saved, const std::string& detail);

// What a running sales gathering reports. Called on the gathering's threads: a window passes the
// calls on to its own thread, the command line prints them.
class SalesGatherObserver {
public:
    virtual ~SalesGatherObserver() = default;
    virtual void shopStarted(int index, int count, const TDianBaseInfo& shop) {}
    virtual void stageText(const std::string& text) {}
    virtual void itemsGathered(int count) {}
    virtual void shopFinished(int done, int count) {}
    // The main window's status line after a failure.
    virtual void statusLine(const std::string& text) {}
    // A save's own message, shown before the gathering reports its failure.
    virtual void message(const std::string& text) {}
    // Last call: how the run ended, what it saved; detail names the failure.
    virtual void gatherEnded(JobEnd end, const std::string& detail, const GatherTally& saved) {}
};

// Where a gathering's time went: handling pages (parsing) and writing the database; the rest of the
// run waited on the network.
struct GatherTiming {
    std::atomic<std::int64_t> parseMicros = 0;
    std::atomic<std::int64_t> saveMicros = 0;
    std::atomic<int> pages = 0;
};

// Gathers shop after shop: profile, rating summary, item list, then for the first items their pages
// and buyer lists, each stage one job. Every shop is saved in one transaction of the gathering's own
// connection, committed after its last item; a stop or a failure rolls the current shop back and ends
// the run, and the shops before it stay.
class SalesGathering {
public:
    // Shops carry what the search row gave (address, shopkeeper, name, main business); the gathering
    // completes them from their pages. The database must exist.
    SalesGathering(std::filesystem::path database, std::vector<TDianBaseInfo> shops, int itemsPerShop,
                   std::shared_ptr<const THttpAgent> agent, std::vector<SlotProgress*> gauges,
                   SalesGatherObserver& observer, ProgressGauge* saveGauge = nullptr);
    ~SalesGathering(); // stops the run and waits for it
    SalesGathering(const SalesGathering&) = delete;
    SalesGathering& operator=(const SalesGathering&) = delete;

    void start();
    void stop() { runner_.stop(); }
    void wait();
    const GatherTiming& timing() const { return timing_; }

private:
    void run();
    void gatherShop(TDianBaseInfo& shop, db::Database& db);
    void gatherItem(const TItemInfo& row, const TDianBaseInfo& shop, db::Database& db);
    TDownParamBean job(std::string prefix, std::string suffix, std::int32_t kind, std::int32_t first,
                       std::int32_t last) const;
    // Runs one stage's job; a job that does not finish ends the shop.
    void runStage(TDownParamBean& param, std::int32_t pageStep, const StageRunner::PageHandler& page);

    std::filesystem::path database_;
    std::vector<TDianBaseInfo> shops_;
    int itemsPerShop_;
    std::shared_ptr<const THttpAgent> agent_;
    SalesGatherObserver& observer_;
    ProgressGauge* saveGauge_;
    StageRunner runner_;
    int itemsGathered_ = 0;
    GatherTally saved_;
    GatherTally shopTally_; // the open shop's, added to saved_ when it commits
    GatherTiming timing_;
    std::jthread thread_;
};

} // namespace vantor
