#include "RatingGathering.h"

#include "GatherPersistence.h"
#include "GatherTexts.h"
#include "db/TDM.h"
#include "market/MarketHosts.h"
#include "parse/Expressions.h"
#include "parse/TParseHtml.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>

namespace vantor::gather {

namespace {

constexpr const char* kListParameters =
    "--detailed%7C1--goodNeutralOrBad%7C--receivedOrPosted%7C0--buyerOrSeller%7C0--ismore%7C1--showContent%7C"
    "--auctionId%7C--lastModified%7C--snapId%7C0--currentPage%7C";
constexpr const char* kHistoryParameters =
    "--isarchive%7Ctrue--buyerOrSeller%7C0--receivedOrPosted%7C--goodNeutralOrBad%7C--timeLine%7C-211"
    "--detailed%7C1--ismore%7C1--showContent%7C--auctionId%7C--lastModified%7C--snapId%7C0--currentPage%7C";
// Without the summary's count the list's end shows only as an empty page: the pages are asked for in
// runs that double up to this many, so a shop with no ratings costs one page and a long list still
// keeps the slots busy.
constexpr int kLongestRun = 20;

int pageOf(int rating) {
    return (rating + kRatingsPerPage - 1) / kRatingsPerPage;
}

} // namespace

std::optional<std::string> validateRatingRange(int from, int to) {
    if (from >= to) return std::string("下载范围数据输入错误，起始量要小于结束量！");
    return std::nullopt;
}

RatingPages ratingPages(int from, int to, int ratingCount) {
    RatingPages pages{pageOf(std::max(from, 1)), pageOf(std::max(to, 0))};
    if (ratingCount > 0) pages.last = std::min(pages.last, pageOf(ratingCount));
    return pages;
}

std::string ratingListPrefix(const std::string& userId, int timeLine) {
    return std::string(market::kRateHost) + "/user-rate-" + userId + "--timeLine%7C-" +
           std::to_string(timeLine) + kListParameters;
}

std::string ratingHistoryPrefix(const std::string& userId) {
    return std::string(market::kRateHost) + "/user-rate-" + userId + kHistoryParameters;
}

RatingGathering::RatingGathering(db::Store database, std::vector<TDianBaseInfo> shops, int from, int to,
                                 std::shared_ptr<const THttpAgent> agent,
                                 std::vector<download::SlotProgress*> gauges, GatherObserver& observer,
                                 ProgressGauge* saveGauge)
    : database_(std::move(database)),
      shops_(std::move(shops)),
      from_(from),
      to_(to),
      observer_(observer),
      saveGauge_(saveGauge),
      stages_(std::move(agent), std::move(gauges), observer) {}

RatingGathering::~RatingGathering() {
    stop();
    wait();
}

void RatingGathering::setTimeLine(int days) {
    if (days >= 1 && days <= 210) timeLine_ = days;
}

void RatingGathering::start() {
    thread_ = std::jthread([this] { run(); });
}

void RatingGathering::wait() {
    if (thread_.joinable()) thread_.join();
}

void RatingGathering::run() {
    JobEnd end = JobEnd::Finished;
    std::string detail;
    GatherTally tally(GatherKind::Ratings);
    try {
        RatingStage stage;
        const int count = int(shops_.size());
        int failedShops = 0;
        end = stages_.inOrder<ShopRatings>(
            shops_, [this](size_t i, ShopRatings& haul) { return fetchShop(i, haul); },
            [&](size_t i, ShopRatings& haul) {
                stage.add(haul);
                observer_.shopFinished(int(i) + 1, count);
            },
            false, detail, failedShops);
        if (end == JobEnd::Finished) end = saveAll(stage);
        if (end == JobEnd::Finished) {
            tally = saved_;
            tally.notes = notes_;
        }
    } catch (const std::exception& e) {
        observer_.statusLine(statusLineText(kGatherFailed));
        end = JobEnd::Failed;
        detail = e.what();
    }
    tally.failures = stages_.failures();
    observer_.gatherEnded(end, detail, tally);
}

JobEnd RatingGathering::saveAll(RatingStage& stage) {
    db::Database db = db::TDM(database_).openConnection();
    db.setLockWait(stages_.lockWait());
    for (int attempt = 1;; ++attempt) {
        saved_ = GatherTally(GatherKind::Ratings);
        try {
            db.beginTransaction();
            for (size_t i = 0; i < stage.size(); ++i) {
                if (stages_.stopped()) {
                    db.rollback();
                    return JobEnd::Stopped;
                }
                ShopRatings haul = stage.read(i);
                saveShop(haul, db);
                ++saved_.shops;
            }
            Stopwatch committing(timing().saveMicros);
            db.commit();
            return JobEnd::Finished;
        } catch (const db::DbError& e) {
            db.rollback();
            if (stages_.stopped()) return JobEnd::Stopped;
            // Another program saved one of the shops on the server meanwhile: the run starts its save over.
            if (!e.conflict() || attempt == kSaveAttempts) throw;
        } catch (...) {
            db.rollback();
            throw;
        }
    }
}

// The shop's pages as one sequence on the transfer loop: no thread waits for them.
LoopTask RatingGathering::fetchShop(size_t index, ShopRatings& haul) {
    TDianBaseInfo shop = shops_[index];
    // The shop page and the rating summary come before the list; until the summary counts the list,
    // one page of it is expected.
    constexpr int kHead = 2;
    observer_.stageText("正在处理店铺资料");
    co_await stages_.shopPage(shop);
    observer_.shopProgress(int(index), 1, kHead + 1);
    if (knownUserId(shop)) {
        observer_.stageText("正在处理信用评价");
        co_await stages_.rateSummary(shop, haul.summary);
        const RatingPages pages = ratingPages(from_, to_, haul.summary.rateCount);
        const int expected = kHead + std::max(pages.last - pages.first + 1, 1);
        int read = kHead;
        observer_.shopProgress(int(index), kHead, expected);
        const std::function<void()> pageRead = [&] {
            const int now = ++read;
            observer_.shopProgress(int(index), now, std::max(expected, now));
        };
        const int recentLast = std::min(pages.last, kFirstHistoryPage - 1);
        const bool countKnown = haul.summary.rateCount > 0;
        std::set<std::string> held;
        if (onlyNew_) {
            db::Database db = db::TDM(database_).openConnection();
            auto st = db.prepare("select p.trade_id from pjinfo p join dianbase d on d.id = p.dian_id "
                                 "where d.dianzhu = :dianzhu");
            st.bind("dianzhu", shop.dianzhu);
            while (st.step())
                held.insert(st.text(0));
        }
        const std::set<std::string>* known = onlyNew_ ? &held : nullptr;
        bool listEnded = false;
        if (pages.first <= recentLast)
            co_await fetchPages(shop, {pages.first, recentLast}, false, countKnown, known, haul.runs,
                                pageRead, listEnded);
        if (!listEnded && pages.last >= kFirstHistoryPage)
            co_await fetchPages(shop, {std::max(pages.first, kFirstHistoryPage), pages.last}, true,
                                countKnown, known, haul.runs, pageRead, listEnded);
        const bool nothingKept = std::all_of(haul.runs.begin(), haul.runs.end(),
                                             [](const PageRun& run) { return run.ratings.empty(); });
        // Nothing in the range although the list was read to its end: the shop has fewer ratings than
        // the range starts with. (A watch round ends at the first page with nothing new instead.)
        if (!onlyNew_ && nothingKept && (countKnown ? haul.summary.rateCount < from_ : listEnded))
            noteShortShop(shop, countKnown ? haul.summary.rateCount : -1);
    }
    haul.shop = std::move(shop);
}

LoopTask RatingGathering::fetchPages(const TDianBaseInfo& shop, RatingPages pages, bool history,
                                     bool countKnown, const std::set<std::string>* held,
                                     std::vector<PageRun>& runs, const std::function<void()>& pageRead,
                                     bool& listEnded) {
    const std::string prefix =
        history ? ratingHistoryPrefix(shop.userId) : ratingListPrefix(shop.userId, timeLine_);
    // A known count fixes the end: one job keeps every slot busy to the last page. Looking for what is new,
    // the first page that holds nothing new ends the list instead.
    int run = countKnown && !held ? pages.last - pages.first + 1 : 1;
    for (int start = pages.first; start <= pages.last; start += run, run = std::min(run * 2, kLongestRun)) {
        const int end = std::min(pages.last, start + run - 1);
        std::map<int, RecordList<TRateInfo>> byPage;
        observer_.stageText(history ? "正在下载历史资料" : "正在下载最近资料");
        co_await stages_.stage(
            stages_.job(prefix, ".htm", download::PageKind::List, start, end), 1,
            download::PageJob::kRatingMode, [&](std::int32_t number, const std::string& page) {
                byPage[number] =
                    TParseHtml::parseRateList(page, parse::expression(parse::Expression::RatingRow));
                pageRead();
            });

        // Kept in page order, so that the lower id of a repeated trade id is the newer page's.
        PageRun& kept = runs.emplace_back();
        kept.history = history;
        for (auto& [number, list] : byPage) {
            const bool nothingNew = held && std::all_of(list.begin(), list.end(), [&](const auto& entry) {
                                        return held->count(entry.record.tradeId) > 0;
                                    });
            if (list.empty() || nothingNew) {
                listEnded = true;
                break;
            }
            // Pages are read whole; only the ratings from..to of the list are kept.
            int position = (number - 1) * kRatingsPerPage;
            for (auto& entry : list) {
                ++position;
                if (position >= from_ && position <= to_)
                    kept.ratings.add(std::move(entry.text), std::move(entry.record));
            }
        }
        fetched_ += int(kept.ratings.size());
        observer_.ratingsGathered(fetched_);
        if (listEnded) co_return;
    }
}

void RatingGathering::noteShortShop(const TDianBaseInfo& shop, int ratingCount) {
    const std::string held =
        ratingCount >= 0 ? "只有" + std::to_string(ratingCount) + "条评价，" : std::string("的评价");
    std::lock_guard lock(notesMutex_);
    notes_.push_back("掌柜" + shop.dianzhu + held + "不到下载范围的起始第" + std::to_string(from_) +
                     "条，未下载评价");
}

void RatingGathering::saveShop(ShopRatings& haul, db::Database& db) {
    TDianBaseInfo& shop = haul.shop;
    Stopwatch saving(timing().saveMicros);
    saveShopBase(shop, db);
    if (!knownUserId(shop)) return;
    saveShopRates(haul.summary, shop, db);
    const int held = countRatings(shop, db);
    for (PageRun& run : haul.runs) {
        observer_.stageText(run.history ? "正在保存历史资料，请稍等..." : "正在保存资料，请稍等...");
        if (!run.ratings.empty()) saveRatings(run.ratings, shop, saveGauge_, db);
    }
    updateRatingBounds(shop, db);
    saved_.ratings += countRatings(shop, db) - held;
}

} // namespace vantor::gather
