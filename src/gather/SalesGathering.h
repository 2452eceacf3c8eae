#pragma once

#include "SalesRunRecord.h"
#include "ShopStages.h"
#include "base/ProgressGauge.h"
#include "db/Database.h"
#include "db/TDM.h"
#include "download/THttpAgent.h"
#include "market/Records.h"

#include <atomic>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vantor::gather {

// How many items of a shop have their sales gathered: the window's "下载前 N 名商品".
inline constexpr int kDefaultItemsPerShop = 10;
inline constexpr int kMaxItemsPerShop = 200;
// Buyer-list pages fetched per item at the most (80 sales each).
inline constexpr int kMaxBuyerListPages = 100;

// Gathers shops: profile, rating summary, item list, then for the first items their pages and buyer
// lists, each stage one job. Several shops, and several items of a shop, are on the wire at once, all
// drawing on the gathering's slots; a shop's records are held until its chain ends and then saved in
// one short transaction of the gathering's own connection, shop after shop in the run's order, so the
// database ends as after a run of one shop after the other. The run's shops are recorded in the
// database and each is marked with its own commit, so a run cut short, even by a crash, can be
// continued. A stop, or a shop that fails, ends the run (unless told to go on after failures) and the
// shops committed before it stay.
class SalesGathering : public GatherRun {
public:
    // Shops carry what the search row gave (address, shopkeeper, name, main business); the gathering
    // completes them from their pages. The database must exist.
    SalesGathering(db::Store database, std::vector<TDianBaseInfo> shops, int itemsPerShop,
                   std::shared_ptr<const THttpAgent> agent, std::vector<download::SlotProgress*> gauges,
                   GatherObserver& observer, ProgressGauge* saveGauge = nullptr);
    // Continues a run cut short: only the shops it had not committed, with its number of items.
    SalesGathering(db::Store database, UnfinishedRun unfinished, std::shared_ptr<const THttpAgent> agent,
                   std::vector<download::SlotProgress*> gauges, GatherObserver& observer,
                   ProgressGauge* saveGauge = nullptr);
    ~SalesGathering() override; // stops the run and waits for it
    SalesGathering(const SalesGathering&) = delete;
    SalesGathering& operator=(const SalesGathering&) = delete;

    // A shop that fails is left out and the others go on (the window's way), instead of ending the run.
    void goOnAfterFailures() { goOn_ = true; }

    // What a watch round sees of a shop, handed over inside the shop's transaction once it is saved.
    struct FollowedShop {
        const TDianBaseInfo& shop;               // with its database id
        const std::vector<TItemInfo>& listing;   // every item the shop lists, in list order
        std::vector<const TItemBaseInfo*> items; // the followed items, as their pages show them
    };
    struct Follow {
        std::vector<int> items; // items followed, per shop of the run
        std::function<void(size_t shop, const FollowedShop& seen, db::Database& db)> saved;
    };
    // A watch round's way: every list page is read, the first items[i] of shop i are followed, a buyer
    // list is read newest first only until a page holds nothing new, and only new sales are added.
    // Nothing is recorded to continue: the next round fetches what this one missed.
    void follow(Follow follow);

    void start() override;
    void stop() override { stages_.stop(); }
    void wait() override;
    GatherTiming& timing() { return stages_.timing(); }

private:
    // A buyer list's rows by page number; the writer orders them newest first.
    using SalePages = std::map<std::int32_t, RecordList<TAutionInfo>>;
    struct ItemHaul {
        TItemBaseInfo item;
        SalePages salePages;
    };
    // What the pages of one shop gave, held until its turn to be saved.
    struct ShopHaul {
        TDianBaseInfo shop;
        std::optional<TRateBaseInfo> summary;
        std::vector<ItemHaul> items;
        std::vector<TItemInfo> listing; // a followed shop's whole list
    };
    // The trades held of each item of a followed shop.
    using HeldTrades = std::map<std::string, std::set<std::string>>;

    // A shop's items under way: for the counts and the bar.
    struct ShopItems {
        size_t index;
        int expected; // the shop's pages: its head and its items
        int done = 0;
    };
    // The shop page, its rating summary and its item list come before the items.
    static constexpr int kShopHead = 3;

    void run();
    LoopTask fetchShop(size_t index, ShopHaul& haul);
    LoopTask fetchItem(const TItemInfo& row, const std::set<std::string>* held, ItemHaul& haul,
                       ShopItems& shop);
    // The buyer list's pages from the first, newest first, until one holds only held trades.
    LoopTask fetchNewSales(TDownParamBean pages, const std::set<std::string>& held, SalePages& kept);
    HeldTrades heldTrades(const TDianBaseInfo& shop) const;
    // Inside the shop's transaction; returns what it saved.
    GatherTally saveShop(size_t index, ShopHaul& haul, db::Database& db);

    db::Store database_;
    std::vector<TDianBaseInfo> shops_;
    std::vector<int> positions_; // in the recorded run; empty: a new run, recorded when it starts
    int itemsPerShop_;
    bool goOn_ = false;
    std::optional<Follow> follow_;
    GatherObserver& observer_;
    ProgressGauge* saveGauge_;
    ShopStages stages_;
    std::atomic<int> itemsGathered_ = 0;
    GatherTally saved_;
    std::jthread thread_;
};

} // namespace vantor::gather
