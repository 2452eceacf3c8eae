#pragma once

#include "demo-market/DemoMarket.h"
#include "download/SlotProgress.h"
#include "gather/SalesGathering.h"
#include "gather/ShopSearchJob.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <thread>

namespace vantor::test {

// Network settings that lead to the demo market through its proxy port, with short time-outs.
inline std::shared_ptr<const THttpAgent> demoAgent(const demo::DemoMarket& market) {
    auto agent = std::make_shared<THttpAgent>();
    agent->AgentType = true;
    agent->Server = "127.0.0.1";
    agent->Port = market.port();
    agent->ConnectTime = 3;
    agent->ConnectTimeOut = -55000; // five seconds, the engine adds its own sixty
    agent->ReadTimeOut = -25000;
    return agent;
}

// The search row a shop of the demo market shows.
inline TDianBaseInfo searchRowOf(const demo::Shop& shop) {
    TDianBaseInfo row;
    row.webaddr = shop.webAddress();
    row.dianzhu = shop.nick;
    row.dianming = shop.name;
    row.loc = shop.mainBusiness;
    return row;
}

// Records what a search or a gathering reports; the download threads call it concurrently.
struct Recorder : gather::ShopSearchObserver, gather::GatherObserver {
    std::mutex mutex;
    std::vector<TDianBaseInfo> shops;
    std::vector<int> totals;
    std::vector<std::string> statusLines, stages;
    int shopsDone = 0;
    bool ended = false;
    gather::JobEnd end = gather::JobEnd::Finished;
    gather::GatherTally saved;
    std::string detail;
    std::function<void(int done)> onShopDone;
    std::map<int, std::vector<std::pair<int, int>>> progress; // by shop: (done, expected) as reported
    std::set<std::thread::id> progressThreads;                // where the shops' progress came from
    std::set<std::thread::id> searchThreads;                  // where a search's news came from

    // Runs f under the lock.
    template <class F> void locked(F f) {
        std::lock_guard lock(mutex);
        f();
    }
    void searchTotal(int total) override {
        locked([&] {
            totals.push_back(total);
            searchThreads.insert(std::this_thread::get_id());
        });
    }
    void shopsFound(const std::vector<TDianBaseInfo>& found) override {
        locked([&] {
            shops.insert(shops.end(), found.begin(), found.end());
            searchThreads.insert(std::this_thread::get_id());
        });
    }
    void statusLine(const std::string& text) override {
        locked([&] { statusLines.push_back(text); });
    }
    void searchEnded(gather::JobEnd how, int, const std::string& why) override {
        locked([&] { searchThreads.insert(std::this_thread::get_id()); });
        finish(how, why);
    }
    void stageText(const std::string& text) override {
        locked([&] { stages.push_back(text); });
    }
    void shopProgress(int index, int done, int expected) override {
        locked([&] {
            progress[index].emplace_back(done, expected);
            progressThreads.insert(std::this_thread::get_id());
        });
    }
    void shopFinished(int done, int) override {
        locked([&] { shopsDone = done; });
        if (onShopDone) onShopDone(done); // outside the lock: it may stop the job
    }
    void gatherEnded(gather::JobEnd how, const std::string& why, const gather::GatherTally& tally) override {
        locked([&] { saved = tally; });
        finish(how, why);
    }
    void finish(gather::JobEnd how, const std::string& why) {
        locked([&] { end = how, detail = why, ended = true; });
    }
};

} // namespace vantor::test
