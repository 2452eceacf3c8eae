#include "ShopStages.h"

#include "GatherPersistence.h"
#include "GatherTexts.h"
#include "market/MarketHosts.h"
#include "parse/RateSummaryParser.h"
#include "parse/ShopPageParser.h"
#include "parse/TParseException.h"

#include <algorithm>

namespace vantor::gather {

namespace {

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

std::string counts(const GatherTally& saved) {
    if (saved.kind == GatherKind::Ratings)
        return "店铺" + std::to_string(saved.shops) + "家，评价" + std::to_string(saved.ratings) + "条";
    return "店铺" + std::to_string(saved.shops) + "家，商品" + std::to_string(saved.items) + "个，销售记录" +
           std::to_string(saved.sales) + "条";
}

// The failures of the run behind what it says, as one more sentence.
std::string withFailures(std::string text, const download::FailureCounts& failures) {
    if (failures.empty()) return text;
    if (!text.ends_with("。")) text += "。";
    return text + "失败：" + failures.text();
}

std::string withNotes(std::string text, const std::vector<std::string>& notes) {
    for (const std::string& note : notes)
        text += note + "。";
    return text;
}

std::string endOfRun(JobEnd end, const GatherTally& saved, const std::string& detail) {
    if (end == JobEnd::Finished && saved.failedShops > 0)
        return withNotes("采集完成：已保存" + counts(saved) + "；" + std::to_string(saved.failedShops) +
                             "家店铺采集失败，未保存" + (detail.empty() ? "" : "（" + detail + "）") + "。",
                         saved.notes);
    if (end == JobEnd::Finished) return withNotes("采集完成：已保存" + counts(saved) + "。", saved.notes);
    // A rating run is one transaction: an end before its last shop keeps none of it.
    const std::string kept = saved.kind == GatherKind::Ratings
                                 ? std::string("本次采集的资料均未保存。")
                                 : "已保存" + counts(saved) + "；正在采集的店铺未保存。";
    if (end == JobEnd::Stopped) return std::string(kGatherStopped) + kept;
    std::string why = detail.empty() && end == JobEnd::TimedOut ? std::string("连接超时") : detail;
    return "采集失败：" + kept + (why.empty() ? "" : "原因：" + why);
}

} // namespace

std::string gatherSummary(JobEnd end, const GatherTally& saved, const std::string& detail) {
    return withFailures(endOfRun(end, saved, detail), saved.failures);
}

void Stopwatch::stop() {
    if (stopped_) return;
    stopped_ = true;
    auto spent = std::chrono::steady_clock::now() - start_;
    total_ += std::chrono::duration_cast<std::chrono::microseconds>(spent).count();
}

bool knownUserId(const TDianBaseInfo& shop) {
    return !shop.userId.empty() && shop.userId != parse::kNoUserId;
}

ShopStages::ShopStages(std::shared_ptr<const THttpAgent> agent, std::vector<download::SlotProgress*> gauges,
                       GatherObserver& observer)
    : agent_(std::move(agent)),
      observer_(observer),
      runner_(
          std::move(gauges), [&observer](const std::string& text) { observer.statusLine(text); },
          kConnectionTimedOut, &failures_) {}

TDownParamBean ShopStages::job(std::string prefix, std::string suffix, download::PageKind kind,
                               std::int32_t first, std::int32_t last) const {
    TDownParamBean param;
    param.curPage = first;
    param.endPage = last;
    param.urlPrefix = std::move(prefix);
    param.urlSuffix = std::move(suffix);
    param.pageKind = kind;
    param.httpAgent = agent_;
    return param;
}

StageRunner::PageHandler ShopStages::timed(StageRunner::PageHandler page) {
    return [this, page = std::move(page)](std::int32_t number, const std::string& html) {
        Stopwatch watch(timing_.parseMicros);
        ++timing_.pages;
        try {
            page(number, html);
        } catch (const TParseException&) {
            failures_.add(download::FailReason::Parse);
            throw;
        }
    };
}

void ShopStages::run(TDownParamBean& param, std::int32_t pageStep, download::PageJob::Mode mode,
                     const StageRunner::PageHandler& page) {
    auto [end, error] = runner_.run(param, pageStep, mode, timed(page));
    if (end != JobEnd::Finished) throw StageEnded{end, std::move(error)};
}

void ShopStages::Stage::await_suspend(std::coroutine_handle<> task) {
    stages_.runner_.runAsync(std::move(param_), pageStep_, mode_, stages_.timed(std::move(page_)),
                             [this, task](StageRunner::Outcome outcome) {
                                 outcome_ = std::move(outcome);
                                 task.resume();
                             });
}

void ShopStages::Stage::await_resume() {
    if (outcome_.end != JobEnd::Finished) throw StageEnded{outcome_.end, std::move(outcome_.error)};
}

namespace {
TDownParamBean shopPageJob(const ShopStages& stages, const TDianBaseInfo& shop) {
    return stages.job(shop.webaddr, "", download::PageKind::ShopPage, 1, 1);
}
TDownParamBean rateSummaryJob(const ShopStages& stages, const TDianBaseInfo& shop) {
    return stages.job(std::string(market::kRateHost) + "/user-rate-" + shop.userId + ".htm", "",
                      download::PageKind::RateSummary, 1, 1);
}
} // namespace

LoopTask ShopStages::shopPage(TDianBaseInfo& shop) {
    TDianBaseInfo fromPage;
    co_await stage(shopPageJob(*this, shop), 1, download::PageJob::kPlainMode,
                   [&](std::int32_t, const std::string& page) { fromPage = parse::parseShopPage(page); });
    takeShopPage(shop, fromPage);
}

LoopTask ShopStages::rateSummary(const TDianBaseInfo& shop, TRateBaseInfo& summary) {
    co_await stage(rateSummaryJob(*this, shop), 1, download::PageJob::kPlainMode,
                   [&](std::int32_t, const std::string& page) { summary = parse::parseRateSummary(page); });
}

// As many shops as slots: a shop's head (shop page, rating summary, item list) is one page at a time,
// and the other shops' pages fill the slots meanwhile. The one writer still saves them in order.
size_t ShopStages::shopsAtOnce() const {
    return std::max<size_t>(runner_.slotCount(), 1);
}

size_t ShopStages::itemsAtOnce() const {
    return std::max<size_t>(runner_.slotCount(), 1);
}

JobEnd ShopStages::ended(std::string& detail) {
    try {
        throw;
    } catch (const StageEnded& stage) {
        detail = stage.end == JobEnd::Failed ? stage.error : "";
        return stage.end;
    } catch (const TSaveException& e) {
        observer_.message(e.what());
        detail = e.what();
    } catch (const std::exception& e) {
        detail = e.what();
    }
    observer_.statusLine(statusLineText(kGatherFailed));
    return JobEnd::Failed;
}

db::LockWait ShopStages::lockWait() {
    db::LockWait wait;
    wait.notice = [this] {
        observer_.stageText(kWaitingForLock);
        observer_.statusLine(statusLineText(kWaitingForLock));
    };
    wait.keepWaiting = [this] { return !stopped(); };
    return wait;
}

} // namespace vantor::gather
