#pragma once

#include "ChangeReport.h"
#include "WatchList.h"
#include "WatchSettings.h"
#include "db/TDM.h"
#include "download/THttpAgent.h"
#include "gather/SalesGathering.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace vantor::watch {

inline constexpr const char* kRoundBusy = "另一轮店铺监控正在更新，请稍后再试。";
inline constexpr const char* kNothingWatched = "监控列表是空的：请先加入要监控的店铺。";

// What a round did.
struct RoundOutcome {
    gather::JobEnd end = gather::JobEnd::Finished;
    std::string detail;
    int shops = 0;      // watched shops
    int shopsSaved = 0; // saved and compared
    int changes = 0;    // report lines written
    std::vector<ChangeLine> alerts;
    download::FailureCounts failures;
    std::int64_t sales = 0;   // sale records added
    std::int64_t ratings = 0; // ratings added
};
// "店铺监控更新完成：店铺5家，变化12条（提醒2条），新销售记录300条，新评价8条。" or why it ended.
std::string roundSummary(const RoundOutcome& outcome);

// One round of the competitor watch: every watched shop gathered again with the sales gathering (and,
// where followed, the rating gathering first), fetching only what is new; each shop's snapshot and its
// lines of the change report are written in the shop's own transaction. One round at a time per store,
// whoever starts it.
class WatchRound : public gather::GatherRun {
public:
    WatchRound(db::Store store, std::shared_ptr<const THttpAgent> agent,
               std::vector<download::SlotProgress*> gauges, gather::GatherObserver& observer,
               AlertRules rules, DateTime now);
    ~WatchRound() override;
    WatchRound(const WatchRound&) = delete;
    WatchRound& operator=(const WatchRound&) = delete;

    void start() override;
    void stop() override;
    void wait() override;
    // Once the round has ended.
    const RoundOutcome& outcome() const { return outcome_; }

private:
    class Relay;
    void run();
    void runInner(gather::GatherRun& job);
    std::int64_t beginRound(db::Database& db);
    // Inside the shop's transaction: its snapshot and report lines.
    void recordShop(std::int64_t round, const WatchedShop& watched,
                    const gather::SalesGathering::FollowedShop& seen, db::Database& db);

    db::Store store_;
    std::shared_ptr<const THttpAgent> agent_;
    std::vector<download::SlotProgress*> gauges_;
    gather::GatherObserver& observer_;
    AlertRules rules_;
    DateTime now_;
    RoundOutcome outcome_;
    std::mutex innerMutex_;
    gather::GatherRun* inner_ = nullptr;
    std::atomic<bool> stopped_ = false;
    std::jthread thread_;
};

} // namespace vantor::watch
