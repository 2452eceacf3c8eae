// Gathering from the demo marketplace, sales and ratings side by side: pages per second, records per
// second, peak memory, and where the time went (waiting on the network against handling pages and
// writing the database).
#include "../BenchSupport.h"
#include "db/TDM.h"
#include "demo-market/DemoMarket.h"
#include "gather/RatingGathering.h"
#include "gather/SalesGathering.h"

#include <cstdio>

using namespace vantor;
using namespace vantor::bench;

namespace {

struct Quiet : GatherObserver {
    JobEnd end = JobEnd::Finished;
    std::string detail;
    void gatherEnded(JobEnd how, const std::string& why, const GatherTally&) override {
        end = how;
        detail = why;
    }
};

// Runs the gathering and prints its figures; false when it did not finish.
bool report(const char* what, GatherRun& gathering, const GatherTiming& timing, const Quiet& quiet,
            db::TDM& dm, const char* records, const char* countSql) {
    double seconds = measure([&] {
                         gathering.start();
                         gathering.wait();
                     }).wall;
    if (quiet.end != JobEnd::Finished) {
        std::fprintf(stderr, "%s failed: %s\n", what, quiet.detail.c_str());
        return false;
    }
    auto st = dm.cn1().prepare(countSql);
    st.step();
    const double count = double(st.integer(0));
    double parse = double(timing.parseMicros) / 1e6, save = double(timing.saveMicros) / 1e6;
    double network = seconds - parse - save;
    std::printf("%s: %.0f %s in %.2f s, %.0f %s per second\n", what, count, records, seconds, count / seconds,
                records);
    std::printf("  pages: %d, pages per second: %.0f\n", timing.pages.load(), timing.pages / seconds);
    std::printf("  time: network wait %.0f%%, page handling %.0f%%, saving %.0f%%\n", 100 * network / seconds,
                100 * parse / seconds, 100 * save / seconds);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const int shopCount = argument(argc, argv, 1, 20);
    const int items = argument(argc, argv, 2, 10);
    fs::path dir = scratchFolder("vantor-bench-gather");

    demo::DemoMarket market;
    std::vector<TDianBaseInfo> shops;
    for (const auto& shop : market.model().shops()) {
        if (int(shops.size()) == shopCount) break;
        if (shop.index < 3) continue; // the special cases are for the tests
        shops.emplace_back();
        shops.back().webaddr = shop.webAddress();
        shops.back().dianzhu = shop.nick;
        shops.back().dianming = shop.name;
    }
    auto agent = std::make_shared<THttpAgent>();
    agent->AgentType = true;
    agent->Server = "127.0.0.1";
    agent->Port = market.port();
    agent->ConnectTime = 3;

    db::TDM dm(dir / "lmd_pin.db");
    dm.open();
    NoSlotProgress bars[4];
    const std::vector<SlotProgress*> slots = {&bars[0], &bars[1], &bars[2], &bars[3]};
    Quiet quiet;
    SalesGathering sales(dm.file(), shops, items, agent, slots, quiet);
    std::printf("sales gathering, %d shops x %d items:\n", shopCount, items);
    if (!report("sales", sales, sales.timing(), quiet, dm, "sales", "select count(*) from saleInfo"))
        return 1;

    // The shop whose ratings run past page 100, with the window's default range.
    const auto& big = market.model().shops()[demo::MarketModel::kBigRatingShop];
    TDianBaseInfo row;
    row.webaddr = big.webAddress();
    row.dianzhu = big.nick;
    RatingGathering ratings(dm.file(), {row}, kDefaultRatingFrom, kDefaultRatingTo, agent, slots, quiet);
    std::printf("rating gathering, one shop of %d ratings (%d pages), range %d..%d:\n", big.ratingCount,
                market.model().ratingPageCount(big), kDefaultRatingFrom, kDefaultRatingTo);
    if (!report("ratings", ratings, ratings.timing(), quiet, dm, "ratings", "select count(*) from pjinfo"))
        return 1;
    std::printf("peak memory (whole process, demo marketplace included): %.1f MB\n", peakMegabytes());
    fs::remove_all(dir);
    return 0;
}
