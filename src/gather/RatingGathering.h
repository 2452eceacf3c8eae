#pragma once

#include "RatingStage.h"
#include "ShopStages.h"
#include "base/ProgressGauge.h"
#include "db/Database.h"
#include "db/TDM.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vantor::gather {

// The range form "下载数据范围：从 … 到": which of a shop's ratings, newest first, are fetched and
// saved: exactly the ratings from..to, 1-based, though whole pages are read.
inline constexpr int kMinRatingRange = 1;
inline constexpr int kMaxRatingFrom = 1000000;
inline constexpr int kMaxRatingTo = 100000;
inline constexpr int kDefaultRatingFrom = 1;
inline constexpr int kDefaultRatingTo = 5000;
// The marketplace lists this many ratings on a page.
inline constexpr int kRatingsPerPage = 20;
// From this page on, a shop's ratings are served by the rating-history host only.
inline constexpr int kFirstHistoryPage = 100;

// The message that refuses the range, or nothing: the one check of the form, for the window and the
// command line alike.
std::optional<std::string> validateRatingRange(int from, int to);

// The rating list pages that hold ratings from..to (1-based, newest first), never past the last page of
// a shop with ratingCount ratings; ratingCount 0 means the count is unknown and leaves the end open.
struct RatingPages {
    int first = 1;
    int last = 0; // below first: nothing to fetch
};
RatingPages ratingPages(int from, int to, int ratingCount);

// The address of a shop's rating list pages without the page number: the recent pages on the rating
// host, the variant for the history host's pages (the driver swaps the host from page 100 on).
std::string ratingListPrefix(const std::string& userId, int timeLine);
std::string ratingHistoryPrefix(const std::string& userId);

// Gathers the ratings of shop after shop: the shop page (saved), the rating summary (counters saved),
// then the rating list pages of the range, recent ones from the rating host and from page 100 on the
// history host's, saved with duplicates by trade id removed and the shop's rating bounds recomputed.
// Several shops are on the wire at once; each is staged in the run's order when its pages are in, outside
// the database. At the end the whole run is saved in one transaction of the gathering's own connection,
// so the data file's write lock is held only for that save, and a stop or a failure anywhere keeps
// nothing of the run.
class RatingGathering : public GatherRun {
public:
    // Shops carry what the search row gave; the database must exist. from < to as validateRatingRange
    // wants it.
    RatingGathering(db::Store database, std::vector<TDianBaseInfo> shops, int from, int to,
                    std::shared_ptr<const THttpAgent> agent, std::vector<download::SlotProgress*> gauges,
                    GatherObserver& observer, ProgressGauge* saveGauge = nullptr);
    ~RatingGathering() override; // stops the run and waits for it
    RatingGathering(const RatingGathering&) = delete;
    RatingGathering& operator=(const RatingGathering&) = delete;

    // The rating lists' time line, 1..210 days; other values leave it as it is.
    void setTimeLine(int days);
    int timeLine() const { return timeLine_; }

    // A watch round's way: a shop's rating pages are read newest first only until a page holds
    // nothing new.
    void onlyNew() { onlyNew_ = true; }

    void start() override;
    void stop() override { stages_.stop(); }
    void wait() override;
    GatherTiming& timing() { return stages_.timing(); }

private:
    using PageRun = ShopRatings::PageRun;

    void run();
    // Saves every staged shop in one transaction; Stopped when a stop came first.
    JobEnd saveAll(RatingStage& stage);
    LoopTask fetchShop(size_t index, ShopRatings& haul);
    // Fetches the pages of one host into runs, calling pageRead for each; listEnded tells whether the
    // shop's list ended within them (an empty page).
    LoopTask fetchPages(const TDianBaseInfo& shop, RatingPages pages, bool history, bool countKnown,
                        const std::set<std::string>* held, std::vector<PageRun>& runs,
                        const std::function<void()>& pageRead, bool& listEnded);
    // Says so when a shop holds fewer ratings than the range's start.
    void noteShortShop(const TDianBaseInfo& shop, int ratingCount);
    void saveShop(ShopRatings& haul, db::Database& db);

    db::Store database_;
    std::vector<TDianBaseInfo> shops_;
    int from_;
    int to_;
    int timeLine_ = 210;
    bool onlyNew_ = false;
    GatherObserver& observer_;
    ProgressGauge* saveGauge_;
    ShopStages stages_;
    GatherTally saved_{GatherKind::Ratings};
    std::atomic<int> fetched_ = 0; // ratings read from the pages so far
    std::mutex notesMutex_;        // shops are fetched on several threads
    std::vector<std::string> notes_;
    std::jthread thread_;
};

} // namespace vantor::gather
