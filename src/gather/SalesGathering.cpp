#include "SalesGathering.h"

#include "GatherTexts.h"
#include "db/TDM.h"
#include "gather/GatherPersistence.h"
#include "market/MarketHosts.h"
#include "parse/RateSummaryParser.h"
#include "parse/SaleListParser.h"
#include "parse/ShopPageParser.h"
#include "parse/TParseHtml.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <mutex>

namespace vantor {

namespace {

// Adds the time from its start to its stop (or its end) to a total.
class Stopwatch {
public:
    explicit Stopwatch(std::atomic<std::int64_t>& total)
        : total_(total), start_(std::chrono::steady_clock::now()) {}
    ~Stopwatch() { stop(); }
    void stop() {
        if (stopped_) return;
        stopped_ = true;
        auto spent = std::chrono::steady_clock::now() - start_;
        total_ += std::chrono::duration_cast<std::chrono::microseconds>(spent).count();
    }

private:
    std::atomic<std::int64_t>& total_;
    std::chrono::steady_clock::time_point start_;
    bool stopped_ = false;
};

// A stage's job ended without finishing: the shop cannot be completed.
struct StageEnded {
    JobEnd end;
};

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

// Fields the shop page knows better than the search row; the row's name and shopkeeper stay when the
// page shows none.
void takeShopPage(TDianBaseInfo& shop, const TDianBaseInfo& page) {
    auto take = [](std::string& into, const std::string& from) {
        if (!from.empty()) into = from;
    };
    take(shop.rateUrl, page.rateUrl);
    if (shop.dianzhu.empty()) shop.dianzhu = page.dianzhu;
    take(shop.userId, page.userId);
    take(shop.addr, page.addr);
    if (shop.loc.empty()) shop.loc = page.loc;
    take(shop.createDate, page.createDate);
    take(shop.firstPageUrl, page.firstPageUrl);
    if (shop.dianming.empty()) shop.dianming = page.dianming;
    shop.salerCredit = page.salerCredit;
    shop.buyerCredit = page.buyerCredit;
    shop.favorite = page.favorite;
    if (page.commodityNum > 0) shop.commodityNum = page.commodityNum;
    shop.itemPageCount = page.itemPageCount;
}

} // namespace

std::string gatherSummary(JobEnd end, const GatherTally& saved, const std::string& detail) {
    const std::string counts = "店铺" + std::to_string(saved.shops) + "家，商品" +
                               std::to_string(saved.items) + "个，销售记录" + std::to_string(saved.sales) +
                               "条";
    if (end == JobEnd::Finished) return "采集完成：已保存" + counts + "。";
    const std::string kept = "已保存" + counts + "；正在采集的店铺未保存。";
    if (end == JobEnd::Stopped) return std::string(kGatherStopped) + kept;
    std::string why = detail.empty() && end == JobEnd::TimedOut ? std::string("连接超时") : detail;
    return "采集失败：" + kept + (why.empty() ? "" : "原因：" + why);
}

SalesGathering::SalesGathering(std::filesystem::path database, std::vector<TDianBaseInfo> shops,
                               int itemsPerShop, std::shared_ptr<const THttpAgent> agent,
                               std::vector<SlotProgress*> gauges, SalesGatherObserver& observer,
                               ProgressGauge* saveGauge)
    : database_(std::move(database)),
      shops_(std::move(shops)),
      itemsPerShop_(std::clamp(itemsPerShop, 1, kMaxItemsPerShop)),
      agent_(std::move(agent)),
      observer_(observer),
      saveGauge_(saveGauge),
      runner_(std::move(gauges), [&observer](const std::string& text) { observer.statusLine(text); }) {}

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

TDownParamBean SalesGathering::job(std::string prefix, std::string suffix, std::int32_t kind,
                                   std::int32_t first, std::int32_t last) const {
    TDownParamBean param;
    param.curPage = first;
    param.endPage = last;
    param.urlPrefix = std::move(prefix);
    param.urlSuffix = std::move(suffix);
    param.pageKind = kind;
    param.httpAgent = agent_;
    param.extra = 2500;
    return param;
}

void SalesGathering::runStage(TDownParamBean& param, std::int32_t pageStep,
                              const StageRunner::PageHandler& page) {
    auto timed = [this, &page](std::int32_t kind, const std::string& html) {
        Stopwatch watch(timing_.parseMicros);
        ++timing_.pages;
        page(kind, html);
    };
    JobEnd end = runner_.run(param, pageStep, TDownCheck::kPlainMode, timed);
    if (end != JobEnd::Finished) throw StageEnded{end};
}

void SalesGathering::run() {
    JobEnd end = JobEnd::Finished;
    std::string detail;
    try {
        db::Database db = db::TDM(database_).openConnection();
        int done = 0;
        for (size_t i = 0; i < shops_.size() && end == JobEnd::Finished; ++i) {
            TDianBaseInfo& shop = shops_[i];
            observer_.shopStarted(int(i), int(shops_.size()), shop);
            shopTally_ = {1, 0, 0};
            db.beginTransaction();
            try {
                gatherShop(shop, db);
                Stopwatch committing(timing_.saveMicros);
                db.commit();
                committing.stop();
                saved_.shops += shopTally_.shops;
                saved_.items += shopTally_.items;
                saved_.sales += shopTally_.sales;
                observer_.shopFinished(++done, int(shops_.size()));
            } catch (const StageEnded& stage) {
                end = stage.end;
                detail = end == JobEnd::Failed ? runner_.error() : "";
            } catch (const TSaveException& e) {
                observer_.message(e.what());
                observer_.statusLine(statusLineText(kGatherFailed));
                end = JobEnd::Failed;
                detail = e.what();
            } catch (const std::exception& e) {
                observer_.statusLine(statusLineText(kGatherFailed));
                end = JobEnd::Failed;
                detail = e.what();
            }
            if (end != JobEnd::Finished) db.rollback();
        }
    } catch (const std::exception& e) {
        observer_.statusLine(statusLineText(kGatherFailed));
        end = JobEnd::Failed;
        detail = e.what();
    }
    observer_.gatherEnded(end, detail, saved_);
}

void SalesGathering::gatherShop(TDianBaseInfo& shop, db::Database& db) {
    observer_.stageText("正在处理店铺资料");
    TDianBaseInfo fromPage;
    auto profile = job(shop.webaddr, "", 1, 1, 1);
    runStage(profile, 1, [&](std::int32_t, const std::string& page) { fromPage = parseShopPage(page); });
    takeShopPage(shop, fromPage);
    Stopwatch saving(timing_.saveMicros);
    saveShopBase(shop, db);
    std::string newest = readRatingBound(shop, RatingBound::Newest, db);
    shop.lastGathered = newest.empty() ? "1900-01-01" : newest;
    saving.stop();

    bool knownUser = !shop.userId.empty() && shop.userId != kNoUserId;
    if (!shop.rateUrl.empty() && knownUser) {
        observer_.stageText("正在处理信用评价");
        TRateBaseInfo summary;
        auto rates = job(std::string(market::kRateHost) + "/user-rate-" + shop.userId + ".htm", "", 2, 1, 1);
        runStage(rates, 1, [&](std::int32_t, const std::string& page) { summary = parseRateSummary(page); });
        Stopwatch ratesSaving(timing_.saveMicros);
        saveShopRates(summary, shop, db);
    }
    if (!knownUser) return;

    observer_.stageText("正在处理宝贝列表");
    std::vector<TItemInfo> rows;
    std::mutex rowsMutex;
    auto list =
        job(itemListPrefix(shop.userId), "-all-0.htm#ListView", 3, 0, std::max(1, shop.itemPageCount) - 1);
    // One list page at a time keeps the rows in list order.
    StageRunner::PageHandler onList = [&](std::int32_t, const std::string& page) {
        auto found = parseShopItemList(page);
        std::lock_guard lock(rowsMutex);
        for (auto& entry : found)
            rows.push_back(std::move(entry.record));
    };
    for (std::int32_t p = list.curPage, last = list.endPage; p <= last; ++p) {
        auto one = job(list.urlPrefix, list.urlSuffix, 3, p, p);
        runStage(one, 80, onList);
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
    auto itemPage = job(row.itemUrl, "", 4, 1, 1);
    runStage(itemPage, 1, [&](std::int32_t, const std::string& page) {
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
        auto buyers = job(absoluteAddress(buyerList, row.itemUrl), "&1=1", 5, 1, pages);
        runStage(buyers, 1, [&](std::int32_t, const std::string& page) {
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
    Stopwatch saving(timing_.saveMicros);
    saveItem(item, shop, db);
    ++shopTally_.items;
    if (!sales.empty()) shopTally_.sales += saveSales(sales, item, saveGauge_, db);
    observer_.itemsGathered(++itemsGathered_);
}

} // namespace vantor
