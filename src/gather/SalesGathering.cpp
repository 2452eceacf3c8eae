#include "SalesGathering.h"

#include "GatherTexts.h"
#include "db/TDM.h"
#include "gather/GatherPersistence.h"
#include "market/MarketHosts.h"
#include "parse/SaleListParser.h"
#include "parse/ShopPageParser.h"
#include "parse/TParseHtml.h"

#include <algorithm>
#include <cctype>
#include <chrono>
#include <cstdint>
#include <mutex>

namespace vantor::gather {

namespace {

// The buyer list's address is relative to the item page that names it.
std::string absoluteAddress(const std::string& address, const std::string& base) {
    if (address.rfind("http://", 0) == 0 || address.rfind("https://", 0) == 0) return address;
    size_t scheme = base.find("://");
    size_t hostEnd = scheme == std::string::npos ? std::string::npos : base.find('/', scheme + 3);
    std::string origin = hostEnd == std::string::npos ? base : base.substr(0, hostEnd);
    return origin + (address.empty() || address.front() != '/' ? "/" : "") + address;
}

// A buyer list's rows in page order, then newest first (a stable sort: equal times keep the page
// order, whatever order the pages came in); the oldest is where the item's sales are replaced from.
RecordList<TAutionInfo> newestFirst(std::map<std::int32_t, RecordList<TAutionInfo>>& pages,
                                    TItemBaseInfo& item) {
    std::vector<std::pair<std::int64_t, TAutionInfo*>> order;
    for (auto& [number, rows] : pages)
        for (auto& entry : rows) {
            const auto time = DateTime::parse(entry.record.sj);
            order.emplace_back(time ? time->serialSeconds() : INT64_MIN, &entry.record);
        }
    std::stable_sort(order.begin(), order.end(),
                     [](const auto& a, const auto& b) { return a.first > b.first; });
    RecordList<TAutionInfo> sales;
    for (auto& [when, sale] : order)
        sales.add(std::move(*sale));
    if (!sales.empty()) item.saleFromDate = sales.record(sales.size() - 1).sj;
    pages.clear();
    return sales;
}

std::string itemListPrefix(const std::string& userId) {
    return std::string(market::kListHost) +
           "/browse/0/n-7----------------------0-false-----------------------" + userId +
           "---------------80--coefp-";
}

} // namespace

SalesGathering::SalesGathering(db::Store database, std::vector<TDianBaseInfo> shops, int itemsPerShop,
                               std::shared_ptr<const THttpAgent> agent,
                               std::vector<download::SlotProgress*> gauges, GatherObserver& observer,
                               ProgressGauge* saveGauge)
    : database_(std::move(database)),
      shops_(std::move(shops)),
      itemsPerShop_(std::clamp(itemsPerShop, 1, kMaxItemsPerShop)),
      observer_(observer),
      saveGauge_(saveGauge),
      stages_(std::move(agent), std::move(gauges), observer) {}

SalesGathering::SalesGathering(db::Store database, UnfinishedRun unfinished,
                               std::shared_ptr<const THttpAgent> agent,
                               std::vector<download::SlotProgress*> gauges, GatherObserver& observer,
                               ProgressGauge* saveGauge)
    : SalesGathering(std::move(database), std::move(unfinished.shops), unfinished.itemsPerShop,
                     std::move(agent), std::move(gauges), observer, saveGauge) {
    positions_ = std::move(unfinished.positions);
}

SalesGathering::~SalesGathering() {
    stop();
    wait();
}

void SalesGathering::follow(Follow follow) {
    follow.items.resize(shops_.size(), itemsPerShop_);
    follow_ = std::move(follow);
}

void SalesGathering::start() {
    thread_ = std::jthread([this] { run(); });
}

void SalesGathering::wait() {
    if (thread_.joinable()) thread_.join();
}

void SalesGathering::run() {
    JobEnd end = JobEnd::Finished;
    std::string detail;
    try {
        db::Database db = db::TDM(database_).openConnection();
        db.setLockWait(stages_.lockWait());
        if (positions_.empty() && !follow_) {
            recordSalesRun(db, database_.client, shops_, itemsPerShop_);
            for (size_t i = 0; i < shops_.size(); ++i)
                positions_.push_back(int(i));
        }
        const int count = int(shops_.size());
        int done = 0;
        end = stages_.inOrder<ShopHaul>(
            shops_, [this](size_t i, ShopHaul& haul) { return fetchShop(i, haul); },
            [&](size_t i, ShopHaul& haul) {
                GatherTally shop;
                // Another program saving the same shop, item or sale on a server store meanwhile makes
                // this save conflict: saved again, it finds their rows and goes on from them.
                for (int attempt = 1;; ++attempt) {
                    db.beginTransaction();
                    try {
                        shop = saveShop(i, haul, db);
                        if (!follow_) markSalesShopDone(db, database_.client, positions_[i]);
                        Stopwatch committing(stages_.timing().saveMicros);
                        db.commit();
                        break;
                    } catch (const db::DbError& e) {
                        db.rollback();
                        if (!e.conflict() || attempt == kSaveAttempts) throw;
                    } catch (...) {
                        db.rollback();
                        throw;
                    }
                }
                saved_.shops += shop.shops;
                saved_.items += shop.items;
                saved_.sales += shop.sales;
                observer_.shopFinished(++done, count);
            },
            goOn_, detail, saved_.failedShops);
    } catch (const std::exception& e) {
        observer_.statusLine(statusLineText(kGatherFailed));
        end = JobEnd::Failed;
        detail = e.what();
    }
    saved_.failures = stages_.failures();
    observer_.gatherEnded(end, detail, saved_);
}

// The shop's pages as one sequence on the transfer loop: no thread waits for them.
LoopTask SalesGathering::fetchShop(size_t index, ShopHaul& haul) {
    TDianBaseInfo shop = shops_[index];
    const int followed = follow_ ? std::clamp(follow_->items[index], 1, kMaxItemsPerShop) : itemsPerShop_;
    observer_.stageText("正在处理店铺资料");
    co_await stages_.shopPage(shop);
    observer_.shopProgress(int(index), 1, kShopHead + followed);
    if (!shop.rateUrl.empty() && knownUserId(shop)) {
        observer_.stageText("正在处理信用评价");
        TRateBaseInfo summary;
        co_await stages_.rateSummary(shop, summary);
        haul.summary = std::move(summary);
    }
    observer_.shopProgress(int(index), 2, kShopHead + followed);
    if (knownUserId(shop)) {
        observer_.stageText("正在处理宝贝列表");
        std::vector<TItemInfo> rows;
        auto list = stages_.job(itemListPrefix(shop.userId), "-all-0.htm#ListView", download::PageKind::List,
                                0, std::max(1, shop.itemPageCount) - 1);
        // One list page at a time keeps the rows in list order; a followed shop's whole list is read, so
        // that an item it no longer lists shows.
        for (std::int32_t p = list.curPage, last = list.endPage;
             p <= last && (follow_ || int(rows.size()) < followed); ++p)
            co_await stages_.stage(
                stages_.job(list.urlPrefix, list.urlSuffix, download::PageKind::List, p, p), 80,
                download::PageJob::kPlainMode, [&](std::int32_t, const std::string& page) {
                    for (auto& entry : parse::parseShopItemList(page))
                        rows.push_back(std::move(entry.record));
                });
        if (follow_) haul.listing = rows;
        rows.resize(std::min(rows.size(), size_t(followed)));
        const HeldTrades held = follow_ ? heldTrades(shop) : HeldTrades{};
        haul.items.resize(rows.size());
        ShopItems items{index, kShopHead + int(rows.size())};
        observer_.shopProgress(int(index), kShopHead, items.expected);
        co_await AllAtOnce(rows.size(), stages_.itemsAtOnce(), [&](size_t i) {
            const auto known = held.find(parse::itemIdFromAddress(rows[i].itemUrl));
            static const std::set<std::string> none;
            return fetchItem(rows[i],
                             !follow_              ? nullptr
                             : known == held.end() ? &none
                                                   : &known->second,
                             haul.items[i], items);
        });
    }
    haul.shop = std::move(shop);
}

LoopTask SalesGathering::fetchItem(const TItemInfo& row, const std::set<std::string>* held, ItemHaul& haul,
                                   ShopItems& shop) {
    observer_.stageText("正在处理宝贝");
    TItemBaseInfo& item = haul.item;
    std::string buyerList;
    std::int32_t soldTotal = 0;
    co_await stages_.stage(stages_.job(row.itemUrl, "", download::PageKind::Item, 1, 1), 1,
                           download::PageJob::kPlainMode, [&](std::int32_t, const std::string& page) {
                               item = TParseHtml::parseItemPage(page);
                               soldTotal = TParseHtml::parseSoldTotal(page);
                               buyerList = TParseHtml::buyerListUrl(page);
                           });
    item.itemAutionUrl = row.itemUrl;
    if (!buyerList.empty()) {
        observer_.stageText("正在处理销售记录");
        const int pages = std::clamp((soldTotal + 79) / 80, 1, kMaxBuyerListPages);
        auto buyers = stages_.job(absoluteAddress(buyerList, row.itemUrl), "&1=1",
                                  download::PageKind::BuyerList, 1, pages);
        // A page's rows go straight to the haul the writer takes.
        if (held)
            co_await fetchNewSales(std::move(buyers), *held, haul.salePages);
        else
            co_await stages_.stage(std::move(buyers), 1, download::PageJob::kPlainMode,
                                   [&haul](std::int32_t number, const std::string& page) {
                                       haul.salePages[number] = parse::parseSaleList(page);
                                   });
    }
    const int total = ++itemsGathered_;
    const int ofShop = ++shop.done;
    observer_.itemsGathered(total);
    observer_.shopItemsGathered(int(shop.index), ofShop, total);
    observer_.shopProgress(int(shop.index), kShopHead + ofShop, shop.expected);
}

LoopTask SalesGathering::fetchNewSales(TDownParamBean pages, const std::set<std::string>& held,
                                       SalePages& kept) {
    // Runs of pages that double, so a list with nothing new costs one page and a long one keeps the
    // slots busy.
    int run = 1;
    for (std::int32_t first = pages.curPage; first <= pages.endPage;
         first += run, run = std::min(run * 2, 16)) {
        const std::int32_t last = std::min(pages.endPage, first + run - 1);
        std::map<std::int32_t, RecordList<TAutionInfo>> byPage;
        co_await stages_.stage(
            stages_.job(pages.urlPrefix, pages.urlSuffix, download::PageKind::BuyerList, first, last), 1,
            download::PageJob::kPlainMode, [&](std::int32_t number, const std::string& page) {
                byPage[number] = parse::parseSaleList(page);
            });
        for (auto& [number, rows] : byPage) {
            const bool allHeld = std::all_of(rows.begin(), rows.end(), [&](const auto& entry) {
                return held.count(entry.record.tradeId) > 0;
            });
            if (allHeld) co_return;
            kept[number] = std::move(rows);
        }
    }
}

SalesGathering::HeldTrades SalesGathering::heldTrades(const TDianBaseInfo& shop) const {
    HeldTrades held;
    db::Database db = db::TDM(database_).openConnection();
    auto st = db.prepare("select s.itemId, s.trade_id from saleInfo s join itemInfo i on i.itemId = s.itemId "
                         "join dianbase d on d.id = i.dian_id where d.dianzhu = :dianzhu");
    st.bind("dianzhu", shop.dianzhu);
    while (st.step())
        held[st.text(0)].insert(st.text(1));
    return held;
}

GatherTally SalesGathering::saveShop(size_t index, ShopHaul& haul, db::Database& db) {
    Stopwatch saving(stages_.timing().saveMicros);
    GatherTally tally;
    tally.shops = 1;
    TDianBaseInfo& shop = haul.shop;
    saveShopBase(shop, db);
    std::string newest = readRatingBound(shop, RatingBound::Newest, db);
    shop.lastGathered = newest.empty() ? "1900-01-01" : newest;
    if (haul.summary) saveShopRates(*haul.summary, shop, db);
    SalesBatch sales(db);
    for (ItemHaul& item : haul.items) {
        const RecordList<TAutionInfo> listed = newestFirst(item.salePages, item.item);
        saveItem(item.item, shop, db);
        ++tally.items;
        if (listed.empty()) continue;
        tally.sales +=
            follow_ ? sales.addNew(listed, item.item) : sales.replace(listed, item.item, saveGauge_);
    }
    sales.finish();
    if (follow_ && follow_->saved) {
        FollowedShop seen{shop, haul.listing, {}};
        for (const ItemHaul& item : haul.items) {
            seen.items.push_back(&item.item);
        }
        follow_->saved(index, seen, db);
    }
    return tally;
}

} // namespace vantor::gather
