// Watch rounds on the demo market with a delay on every page: the first round of N watched shops × M
// items and the second, side by side, in requests and seconds. The second fetches only what is new.
// Usage: watch_bench [shops (20)] [items (20)] [ms a page (50)]
#include "../BenchSupport.h"
#include "demo-market/DemoMarket.h"
#include "watch/WatchRound.h"

#include <cstdio>

using namespace vantor;
using namespace vantor::bench;

namespace {

struct Quiet : gather::GatherObserver {};

} // namespace

int main(int argc, char** argv) {
    const int shops = argument(argc, argv, 1, 20);
    const int items = argument(argc, argv, 2, 20);
    const int delay = argument(argc, argv, 3, 50);
    demo::DemoMarketOptions options;
    options.faults.push_back(demo::parseFaultRule("kind=delay&ms=" + std::to_string(delay)));
    demo::DemoMarket market(options);
    const fs::path dir = scratchFolder("vantor-watch-bench");
    db::TDM dm(dir / "lmd_pin.db");
    dm.open();
    int added = 0;
    for (const demo::Shop& shop : market.model().shops()) {
        if (added == shops) break;
        if (shop.index < 20 || int(shop.items.size()) < items) continue;
        watch::addWatched(dm.cn1(), shop.webAddress(), items, true, DateTime::now());
        ++added;
    }
    auto agent = std::make_shared<THttpAgent>();
    agent->AgentType = true;
    agent->Server = "127.0.0.1";
    agent->Port = market.port();
    agent->ConnectTime = 3;
    std::printf("%d shops x %d items (ratings followed), %d ms a page, 4 slots\n", added, items, delay);
    std::printf("%-14s %10s %10s %12s %12s\n", "round", "requests", "seconds", "new sales", "new ratings");
    for (int round = 1; round <= 2; ++round) {
        download::NoSlotProgress bars[4];
        Quiet quiet;
        const long before = market.requestCount();
        const auto start = Clock::now();
        watch::WatchRound run(dm.store(), agent, {&bars[0], &bars[1], &bars[2], &bars[3]}, quiet, {},
                              DateTime::now());
        run.start();
        run.wait();
        const double seconds = secondsSince(start);
        const auto& outcome = run.outcome();
        std::printf("%-14s %10ld %10.2f %12lld %12lld%s\n", round == 1 ? "first" : "second",
                    market.requestCount() - before, seconds, (long long)outcome.sales,
                    (long long)outcome.ratings,
                    outcome.end == gather::JobEnd::Finished ? "" : "  (not finished)");
    }
    return 0;
}
