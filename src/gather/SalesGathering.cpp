#include "SalesGathering.h"

#include "GatherTexts.h"
#include "db/TDM.h"
#include "gather/GatherPersistence.h"
#include "market/MarketHosts.h"
#include "parse/SaleListParser.h"
#include "parse/ShopPageParser.h"
#include "parse/TParseHtml.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <mutex>

namespace vantor {

namespace {

// The buyer list's address is relative to the item page that names it.
std::string absoluteAddress(const std::string& address, const std::string& base) {
    if (address.rfind("http://", 0) == 0 || address.rfind("https://", 0) == 0) return address;
    size_t scheme = base.find("://");
    size_t hostEnd = scheme == std::string::npos ? std::string::npos : base.find('/', scheme + 3);
    std::string origin = hostEnd == std::string::npos ? base : base.substr(0, hostEnd);
    return origin + (address.empty() || address.front() != '/' ? "/" : "") + address;
}

std::string itemListPrefix(const std::string& userId) {
    return std::string(market::kListHost) +
           "/browse/0/n-7----------------------0-false-----------------------" + userId +
           "---------------80--coefp-";
}

} // namespace

SalesGathering::SalesGathering(std::filesystem::path database, std::vector<TDianBaseInfo> shops,
                               int itemsPerShop, std::shared_ptr<const THttpAgent> agent,
                               std::vector<SlotProgress*> gauges, GatherObserver& observer,
                               ProgressGauge* saveGauge)
    : database_(std::move(database)),
      shops_(std::move(shops)),
      itemsPerShop_(std::clamp(itemsPerShop, 1, kMaxItemsPerShop)),
      observer_(observer),
      saveGauge_(saveGauge),
      stages_(std::move(agent), std::move(gauges), observer) {}

SalesGathering::SalesGathering(std::filesystem::path database, UnfinishedRun unfinished,
                               std::shared_ptr<const THttpAgent> agent, std::vector<SlotProgress*> gauges,
                               GatherObserver& observer, ProgressGauge* saveGauge)
    : SalesGathering(std::move(database), std::move(unfinished.shops), unfinished.itemsPerShop,
                     std::move(agent), std::move(gauges), observer, saveGauge) {
    positions_ = std::move(unfinished.positions);
}

SalesGathering::~SalesGathering() {
    stop();
    wait();
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
        if (positions_.empty()) {
            recordSalesRun(db, shops_, itemsPerShop_);
            for (size_t i = 0; i < shops_.size(); ++i)
                positions_.push_back(int(i));
        }
        int done = 0;
        for (size_t i = 0; i < shops_.size() && end == JobEnd::Finished; ++i) {
            TDianBaseInfo& shop = shops_[i];
            observer_.shopStarted(int(i), int(shops_.size()), shop);
            shopTally_ = GatherTally(GatherKind::Sales);
            shopTally_.shops = 1;
            db.beginTransaction();
            try {
                gatherShop(shop, db);
                markSalesShopDone(db, positions_[i]);
                Stopwatch committing(stages_.timing().saveMicros);
                db.commit();
                committing.stop();
                saved_.shops += shopTally_.shops;
                saved_.items += shopTally_.items;
                saved_.sales += shopTally_.sales;
                observer_.shopFinished(++done, int(shops_.size()));
            } catch (...) {
                end = stages_.ended(detail);
            }
            if (end != JobEnd::Finished) db.rollback();
        }
    } catch (const std::exception& e) {
        observer_.statusLine(statusLineText(kGatherFailed));
        end = JobEnd::Failed;
        detail = e.what();
    }
    saved_.failures = stages_.failures();
    observer_.gatherEnded(end, detail, saved_);
}

void SalesGathering::gatherShop(TDianBaseInfo& shop, db::Database& db) {
    observer_.stageText("正在处理店铺资料");
    stages_.readShopPage(shop);
    Stopwatch saving(stages_.timing().saveMicros);
    saveShopBase(shop, db);
    std::string newest = readRatingBound(shop, RatingBound::Newest, db);
    shop.lastGathered = newest.empty() ? "1900-01-01" : newest;
    saving.stop();

    if (!shop.rateUrl.empty() && knownUserId(shop)) {
        observer_.stageText("正在处理信用评价");
        TRateBaseInfo summary = stages_.readRateSummary(shop);
        Stopwatch ratesSaving(stages_.timing().saveMicros);
        saveShopRates(summary, shop, db);
    }
    if (!knownUserId(shop)) return;

    observer_.stageText("正在处理宝贝列表");
    std::vector<TItemInfo> rows;
    std::mutex rowsMutex;
    auto list = stages_.job(itemListPrefix(shop.userId), "-all-0.htm#ListView", 3, 0,
                            std::max(1, shop.itemPageCount) - 1);
    // One list page at a time keeps the rows in list order.
    StageRunner::PageHandler onList = [&](std::int32_t, const std::string& page) {
        auto found = parseShopItemList(page);
        std::lock_guard lock(rowsMutex);
        for (auto& entry : found)
            rows.push_back(std::move(entry.record));
    };
    for (std::int32_t p = list.curPage, last = list.endPage; p <= last; ++p) {
        auto one = stages_.job(list.urlPrefix, list.urlSuffix, 3, p, p);
        stages_.run(one, 80, TDownCheck::kPlainMode, onList);
        if (int(rows.size()) >= itemsPerShop_) break;
    }
    for (size_t i = 0; i < rows.size() && int(i) < itemsPerShop_; ++i)
        gatherItem(rows[i], shop, db);
}

void SalesGathering::gatherItem(const TItemInfo& row, const TDianBaseInfo& shop, db::Database& db) {
    observer_.stageText("正在处理宝贝");
    TItemBaseInfo item;
    std::string buyerList;
    std::int32_t soldTotal = 0;
    auto itemPage = stages_.job(row.itemUrl, "", 4, 1, 1);
    stages_.run(itemPage, 1, TDownCheck::kPlainMode, [&](std::int32_t, const std::string& page) {
        item = TParseHtml::parseItemPage(page);
        soldTotal = TParseHtml::parseSoldTotal(page);
        buyerList = TParseHtml::buyerListUrl(page);
    });
    item.itemAutionUrl = row.itemUrl;

    RecordList<TAutionInfo> sales;
    if (!buyerList.empty()) {
        observer_.stageText("正在处理销售记录");
        std::vector<TAutionInfo> found;
        std::mutex foundMutex;
        int pages = std::clamp((soldTotal + 79) / 80, 1, kMaxBuyerListPages);
        auto buyers = stages_.job(absoluteAddress(buyerList, row.itemUrl), "&1=1", 5, 1, pages);
        stages_.run(buyers, 1, TDownCheck::kPlainMode, [&](std::int32_t, const std::string& page) {
            auto rows = parseSaleList(page);
            std::lock_guard lock(foundMutex);
            for (auto& entry : rows)
                found.push_back(std::move(entry.record));
        });
        // Pages arrive in order of completion; the save walks the sales newest first.
        auto when = [](const TAutionInfo& sale) {
            auto time = DateTime::parse(sale.sj);
            return time ? time->serialSeconds() : INT64_MIN;
        };
        std::stable_sort(found.begin(), found.end(),
                         [&](const TAutionInfo& a, const TAutionInfo& b) { return when(a) > when(b); });
        if (!found.empty()) item.saleFromDate = found.back().sj;
        for (auto& sale : found)
            sales.add(std::move(sale));
    }
    Stopwatch saving(stages_.timing().saveMicros);
    saveItem(item, shop, db);
    ++shopTally_.items;
    if (!sales.empty()) shopTally_.sales += saveSales(sales, item, saveGauge_, db);
    observer_.itemsGathered(++itemsGathered_);
}

} // namespace vantor
