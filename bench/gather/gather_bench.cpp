// Gathering from the demo marketplace with a delay on every page: pages per second of a sales gathering
// (in the process and by the command line `vantor-cli gather-sales`) and of a rating gathering, the requests
// they keep in flight on average, and the same pages fetched by curl with as many transfers at once through
// the same market, in the same run; then peak memory and where the time of the gathering went.
#include "../BenchSupport.h"
#include "db/TDM.h"
#include "demo-market/DemoMarket.h"
#include "download/TransferLoop.h"
#include "gather/RatingGathering.h"
#include "gather/SalesGathering.h"

#include <cstdio>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

using namespace vantor;
using namespace vantor::bench;

namespace {

struct Quiet : gather::GatherObserver {
    gather::JobEnd end = gather::JobEnd::Finished;
    std::string detail;
    void gatherEnded(gather::JobEnd how, const std::string& why, const gather::GatherTally&) override {
        end = how;
        detail = why;
    }
};

struct Rate {
    size_t pages = 0;
    double seconds = 0;
    double inFlight = 0; // requests in hand at the market, on average
    double perSecond() const { return double(pages) / seconds; }
};

// The market's requests from `first` on, with the time they took and the requests in flight meanwhile.
Rate since(const demo::DemoMarket& market, size_t first, std::int64_t busyBefore, double seconds) {
    Rate rate;
    rate.pages = market.requests().size() - first;
    rate.seconds = seconds;
    rate.inFlight = double(market.busyMicros() - busyBefore) / 1e6 / seconds;
    return rate;
}

// The same addresses fetched by curl through the market as proxy, `slots` transfers at once.
Rate curlRate(demo::DemoMarket& market, const std::vector<std::string>& urls, int slots) {
    char name[] = "/tmp/vantor-bench-urls-XXXXXX";
    close(mkstemp(name));
    {
        std::ofstream list(name);
        for (const auto& url : urls)
            list << "url = \"" << url << "\"\noutput = \"/dev/null\"\n";
    }
    const std::string command = "curl --silent --no-progress-meter --fail --proxy " + market.proxyUrl() +
                                " --parallel --parallel-immediate --parallel-max " + std::to_string(slots) +
                                " --config " + name + " --user-agent '" + download::kUserAgent + "'";
    const size_t first = market.requests().size();
    const std::int64_t busy = market.busyMicros();
    int status = 0;
    const double seconds = measure([&] { status = std::system(command.c_str()); }, RUSAGE_CHILDREN).wall;
    unlink(name);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "curl failed\n");
        std::exit(1);
    }
    return since(market, first, busy, seconds);
}

// Runs the gathering, then curl over the pages it asked for, and prints both; false when it failed.
bool compare(const char* what, demo::DemoMarket& market, gather::GatherRun& gathering,
             const gather::GatherTiming& timing, const Quiet& quiet, int slots) {
    const size_t first = market.requests().size();
    const std::int64_t busy = market.busyMicros();
    const double seconds = measure([&] {
                               gathering.start();
                               gathering.wait();
                           }).wall;
    if (quiet.end != gather::JobEnd::Finished) {
        std::fprintf(stderr, "%s failed: %s\n", what, quiet.detail.c_str());
        return false;
    }
    const Rate ours = since(market, first, busy, seconds);
    const auto all = market.requests();
    const Rate curl = curlRate(market, {all.begin() + long(first), all.end()}, slots);
    const double parse = double(timing.parseMicros) / 1e6, save = double(timing.saveMicros) / 1e6;
    std::printf("  %-7s %5zu pages  %6.0f pages/s  in flight %5.1f   curl %6.0f pages/s  in flight %5.1f   "
                "ratio %.2f   (page handling %.2f s, saving %.2f s)\n",
                what, ours.pages, ours.perSecond(), ours.inFlight, curl.perSecond(), curl.inFlight,
                ours.perSecond() / curl.perSecond(), parse, save);
    return true;
}

// The program beside this benchmark, by name.
std::string sibling(const char* self, const char* name) {
    return (fs::absolute(fs::path(self)).parent_path() / name).string();
}

// The same shops gathered by `vantor-cli gather-sales` with `slots` download slots, through the market
// as its proxy, then curl over the pages it asked for; false when it failed.
bool compareCommandLine(const std::string& cli, demo::DemoMarket& market,
                        const std::vector<TDianBaseInfo>& shops, int items, int slots) {
    const fs::path dir = scratchFolder("vantor-bench-gather-cli");
    const std::string base = cli + " --data-dir " + dir.string() + " ";
    const std::string setup = base + "config proxy --server 127.0.0.1 --port " +
                              std::to_string(market.port()) + " >/dev/null 2>&1 && " + base +
                              "config net --slots " + std::to_string(slots) + " >/dev/null 2>&1";
    if (std::system(setup.c_str()) != 0) {
        std::fprintf(stderr, "vantor-cli config failed\n");
        return false;
    }
    std::string command = base + "gather-sales --items " + std::to_string(items);
    for (const auto& shop : shops)
        command += " --shop " + shop.webaddr;
    command += " >/dev/null 2>&1";
    const size_t first = market.requests().size();
    const std::int64_t busy = market.busyMicros();
    int status = 0;
    const double seconds = measure([&] { status = std::system(command.c_str()); }, RUSAGE_CHILDREN).wall;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "vantor-cli gather-sales failed\n");
        return false;
    }
    const Rate ours = since(market, first, busy, seconds);
    const auto all = market.requests();
    const Rate curl = curlRate(market, {all.begin() + long(first), all.end()}, slots);
    std::printf("  %-7s %5zu pages  %6.0f pages/s  in flight %5.1f   curl %6.0f pages/s  in flight %5.1f   "
                "ratio %.2f   (the whole command, start to end)\n",
                "cli", ours.pages, ours.perSecond(), ours.inFlight, curl.perSecond(), curl.inFlight,
                ours.perSecond() / curl.perSecond());
    fs::remove_all(dir);
    return true;
}

} // namespace

int main(int argc, char** argv) {
    const int shopCount = argument(argc, argv, 1, 5);
    const int items = argument(argc, argv, 2, 10);
    const int slots = argument(argc, argv, 3, 16);
    const std::vector<int> delays =
        argc > 4 ? std::vector<int>{argument(argc, argv, 4, 50)} : std::vector<int>{0, 50};
    std::printf("%d shops x %d items, then the rating shop past page 100; %d slots, curl with %d transfers\n",
                shopCount, items, slots, slots);
    for (int delay : delays) {
        fs::path dir = scratchFolder("vantor-bench-gather");
        demo::DemoMarketOptions options;
        if (delay > 0)
            options.faults.push_back(demo::parseFaultRule("kind=delay&ms=" + std::to_string(delay)));
        demo::DemoMarket market(options);
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
        std::vector<download::NoSlotProgress> bars(size_t(std::max(1, slots)));
        std::vector<download::SlotProgress*> gauges;
        for (auto& bar : bars)
            gauges.push_back(&bar);
        std::printf("%d ms a page:\n", delay);
        Quiet quiet;
        gather::SalesGathering sales(dm.file(), shops, items, agent, gauges, quiet);
        if (!compare("sales", market, sales, sales.timing(), quiet, slots)) return 1;
        if (!compareCommandLine(sibling(argv[0], "vantor-cli"), market, shops, items, slots)) return 1;
        const auto& big = market.model().shops()[demo::MarketModel::kBigRatingShop];
        TDianBaseInfo row;
        row.webaddr = big.webAddress();
        row.dianzhu = big.nick;
        gather::RatingGathering ratings(dm.file(), {row}, gather::kDefaultRatingFrom,
                                        gather::kDefaultRatingTo, agent, gauges, quiet);
        if (!compare("ratings", market, ratings, ratings.timing(), quiet, slots)) return 1;
        fs::remove_all(dir);
    }
    std::printf("peak memory (whole process, demo marketplace included): %.1f MB\n", peakMegabytes());
    return 0;
}
