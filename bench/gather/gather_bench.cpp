// Gathering from the demo marketplace: shops per minute, pages per second, peak memory, and where the
// time went (waiting on the network against handling pages and writing the database).
#include "../BenchSupport.h"
#include "base/GbkText.h"
#include "db/TDM.h"
#include "demo-market/DemoMarket.h"
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
        shops.back().dianzhu = toGbk(shop.nick);
        shops.back().dianming = toGbk(shop.name);
    }
    auto agent = std::make_shared<THttpAgent>();
    agent->AgentType = true;
    agent->Server = "127.0.0.1";
    agent->Port = market.port();
    agent->ConnectTime = 3;

    db::TDM dm(dir / "lmd_pin.db");
    dm.open();
    NoSlotProgress bars[4];
    Quiet quiet;
    SalesGathering gathering(dm.file(), shops, items, agent, {&bars[0], &bars[1], &bars[2], &bars[3]}, quiet);
    double seconds = measure([&] {
                         gathering.start();
                         gathering.wait();
                     }).wall;
    if (quiet.end != JobEnd::Finished) {
        std::fprintf(stderr, "gathering failed: %s\n", quiet.detail.c_str());
        return 1;
    }

    auto count = [&](const char* sql) {
        auto st = dm.cn1().prepare(sql);
        st.step();
        return st.integer(0);
    };
    const auto& timing = gathering.timing();
    double parse = double(timing.parseMicros) / 1e6, save = double(timing.saveMicros) / 1e6;
    double network = seconds - parse - save;

    std::printf("gathered %d shops x %d items: %lld items, %lld sales in %.2f s\n", shopCount, items,
                static_cast<long long>(count("select count(*) from itemInfo")),
                static_cast<long long>(count("select count(*) from saleInfo")), seconds);
    std::printf("shops per minute: %.0f\n", shopCount / seconds * 60);
    std::printf("pages: %d, pages per second: %.0f\n", timing.pages.load(), timing.pages / seconds);
    std::printf("time: network wait %.0f%%, page handling %.0f%%, saving %.0f%%\n", 100 * network / seconds,
                100 * parse / seconds, 100 * save / seconds);
    std::printf("peak memory (whole process, demo marketplace included): %.1f MB\n", peakMegabytes());
    fs::remove_all(dir);
    return 0;
}
