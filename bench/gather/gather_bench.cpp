// Gathering from the demo marketplace: shops per minute, pages per second, peak memory, and where the
// time went (waiting on the network against handling pages and writing the database).
#include "base/GbkText.h"
#include "db/TDM.h"
#include "demo-market/DemoMarket.h"
#include "gather/SalesGathering.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/resource.h>

using namespace vantor;
namespace fs = std::filesystem;

namespace {

struct Quiet : SalesGatherObserver {
    JobEnd end = JobEnd::Finished;
    std::string detail;
    void gatherEnded(JobEnd how, const std::string& why, const GatherTally&) override {
        end = how;
        detail = why;
    }
};

} // namespace

int main(int argc, char** argv) {
    const int shopCount = argc > 1 ? std::atoi(argv[1]) : 20;
    const int items = argc > 2 ? std::atoi(argv[2]) : 10;
    fs::path dir = fs::temp_directory_path() / "vantor-bench-gather";
    fs::remove_all(dir);
    fs::create_directories(dir);

    demo::DemoMarket market;
    std::vector<TDianBaseInfo> shops;
    for (const auto& shop : market.model().shops()) {
        if (int(shops.size()) == shopCount) break;
        if (shop.index < 3) // the special cases are for the tests
            continue;
        TDianBaseInfo row;
        row.webaddr = shop.webAddress();
        row.dianzhu = toGbk(shop.nick);
        row.dianming = toGbk(shop.name);
        shops.push_back(row);
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
    auto start = std::chrono::steady_clock::now();
    gathering.start();
    gathering.wait();
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
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
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);

    std::printf("gathered %d shops x %d items: %lld items, %lld sales in %.2f s\n", shopCount, items,
                static_cast<long long>(count("select count(*) from itemInfo")),
                static_cast<long long>(count("select count(*) from saleInfo")), seconds);
    std::printf("shops per minute: %.0f\n", shopCount / seconds * 60);
    std::printf("pages: %d, pages per second: %.0f\n", timing.pages.load(), timing.pages / seconds);
    std::printf("time: network wait %.0f%%, page handling %.0f%%, saving %.0f%%\n", 100 * network / seconds,
                100 * parse / seconds, 100 * save / seconds);
    std::printf("peak memory (whole process, demo marketplace included): %.1f MB\n",
                usage.ru_maxrss / 1024.0);
    fs::remove_all(dir);
    return 0;
}
