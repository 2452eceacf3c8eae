#include "WatchRound.h"

#include "gather/GatherTexts.h"
#include "gather/RatingGathering.h"
#include "parse/ShopPageParser.h"

#include <cstdlib>
#include <memory>
#include <set>

namespace vantor::watch {

namespace {

// One round at a time, whichever program of those sharing the store starts it; held for the round.
class RoundLock {
public:
    explicit RoundLock(const db::Store& store)
        : connection_(db::TDM(store).openConnection()), lock_(connection_.tryLock("watch")) {}
    bool held() const { return lock_ != nullptr; }

private:
    db::Database connection_; // declared first: the lock goes before its connection
    std::unique_ptr<db::StoreLock> lock_;
};

std::optional<ShopSeen> previousRound(std::int64_t watchId, std::int64_t round, db::Database& db) {
    auto snap = db.prepare("select round_id, sj, salerCredit, salerGoodRate, itemCount, lastSale, lastRating "
                           "from watchShopSnap "
                           "where watch_id = :watch and round_id < :round order by round_id desc limit 1");
    snap.bind("watch", watchId).bind("round", round);
    if (!snap.step()) return std::nullopt;
    ShopSeen seen;
    const std::int64_t before = snap.integer(0);
    seen.time = snap.text(1);
    seen.credit = int(snap.integer(2));
    seen.goodRate = snap.real(3);
    seen.itemCount = int(snap.integer(4));
    seen.lastSale = snap.text(5).empty() ? seen.time : snap.text(5);
    seen.lastRating = snap.text(6).empty() ? seen.time : snap.text(6);
    auto items = db.prepare("select itemId, title, price, monthSale, favorite, followed from watchItemSnap "
                            "where watch_id = :watch and round_id = :round");
    items.bind("watch", watchId).bind("round", before);
    while (items.step()) {
        ItemSeen item;
        item.id = items.text(0);
        item.title = items.text(1);
        item.price = items.real(2);
        item.monthSale = int(items.integer(3));
        item.favorite = int(items.integer(4));
        item.followed = items.integer(5) != 0;
        seen.items[item.id] = item;
    }
    return seen;
}

} // namespace

// Passes a gathering's progress on; how each gathering ends is the round's to tell.
class WatchRound::Relay : public gather::GatherObserver {
public:
    explicit Relay(GatherObserver& next) : next_(next) {}
    void shopStarted(int index, int count, const TDianBaseInfo& shop) override {
        next_.shopStarted(index, count, shop);
    }
    void stageText(const std::string& text) override { next_.stageText(text); }
    void itemsGathered(int count) override { next_.itemsGathered(count); }
    void shopItemsGathered(int index, int count, int total) override {
        next_.shopItemsGathered(index, count, total);
    }
    void ratingsGathered(int count) override { next_.ratingsGathered(count); }
    void shopFinished(int done, int count) override { next_.shopFinished(done, count); }
    void statusLine(const std::string& text) override { next_.statusLine(text); }
    void message(const std::string& text) override { next_.message(text); }
    void gatherEnded(gather::JobEnd how, const std::string& why, const gather::GatherTally& tally) override {
        end = how;
        detail = why;
        saved = tally;
    }
    gather::JobEnd end = gather::JobEnd::Finished;
    std::string detail;
    gather::GatherTally saved;

private:
    gather::GatherObserver& next_;
};

std::string roundSummary(const RoundOutcome& outcome) {
    std::string counts =
        "店铺" + std::to_string(outcome.shopsSaved) + "家，变化" + std::to_string(outcome.changes) +
        "条（提醒" + std::to_string(outcome.alerts.size()) + "条），新销售记录" +
        std::to_string(outcome.sales) + "条，新评价" + std::to_string(outcome.ratings) + "条";
    if (outcome.end == gather::JobEnd::Finished && outcome.shopsSaved == outcome.shops)
        return "店铺监控更新完成：" + counts + "。";
    if (outcome.end == gather::JobEnd::Stopped) return "店铺监控更新已中止：已保存" + counts + "。";
    return "店铺监控更新未全部完成（" + std::to_string(outcome.shops - outcome.shopsSaved) + "家店铺失败" +
           (outcome.detail.empty() ? "" : "：" + outcome.detail) + "）：已保存" + counts + "。";
}

WatchRound::WatchRound(db::Store store, std::shared_ptr<const THttpAgent> agent,
                       std::vector<download::SlotProgress*> gauges, gather::GatherObserver& observer,
                       AlertRules rules, DateTime now)
    : store_(std::move(store)),
      agent_(std::move(agent)),
      gauges_(std::move(gauges)),
      observer_(observer),
      rules_(rules),
      now_(now) {}

WatchRound::~WatchRound() {
    stop();
    wait();
}

void WatchRound::start() {
    thread_ = std::jthread([this] { run(); });
}

void WatchRound::stop() {
    stopped_ = true;
    std::lock_guard lock(innerMutex_);
    if (inner_) inner_->stop();
}

void WatchRound::wait() {
    if (thread_.joinable()) thread_.join();
}

void WatchRound::runInner(gather::GatherRun& job) {
    {
        std::lock_guard lock(innerMutex_);
        inner_ = &job;
        if (stopped_) job.stop();
    }
    job.start();
    job.wait();
    std::lock_guard lock(innerMutex_);
    inner_ = nullptr;
}

void WatchRound::run() {
    RoundOutcome& out = outcome_;
    try {
        RoundLock lock(store_);
        if (!lock.held()) throw std::runtime_error(kRoundBusy);
        db::Database db = db::TDM(store_).openConnection();
        db.setLockWait({});
        const std::vector<WatchedShop> shops = watchedShops(db);
        out.shops = int(shops.size());
        if (shops.empty()) throw std::runtime_error(kNothingWatched);
        const std::int64_t round = beginRound(db);

        std::vector<TDianBaseInfo> all, rated;
        std::vector<int> items;
        for (const WatchedShop& shop : shops) {
            TDianBaseInfo row;
            row.webaddr = shop.address;
            row.dianzhu = shop.nick;
            row.dianming = shop.name;
            all.push_back(row);
            items.push_back(shop.items);
            if (shop.ratings) rated.push_back(row);
        }
        // Ratings first, so a shop's report sees the ratings of this round.
        if (!rated.empty() && !stopped_) {
            Relay relay(observer_);
            gather::RatingGathering ratings(store_, rated, gather::kDefaultRatingFrom,
                                            gather::kDefaultRatingTo, agent_, gauges_, relay);
            ratings.onlyNew();
            runInner(ratings);
            out.ratings = relay.saved.ratings;
            for (const auto& [reason, count] : relay.saved.failures.byReason)
                out.failures.byReason[reason] += count;
            if (relay.end != gather::JobEnd::Finished) {
                out.end = relay.end;
                out.detail = relay.detail;
            }
        }
        std::set<size_t> saved;
        if (!stopped_) {
            Relay relay(observer_);
            gather::SalesGathering sales(store_, all, gather::kDefaultItemsPerShop, agent_, gauges_, relay);
            sales.goOnAfterFailures();
            sales.follow({items, [&](size_t i, const gather::SalesGathering::FollowedShop& seen,
                                     db::Database& shopDb) {
                              recordShop(round, shops[i], seen, shopDb);
                              saved.insert(i);
                          }});
            runInner(sales);
            out.sales = relay.saved.sales;
            for (const auto& [reason, count] : relay.saved.failures.byReason)
                out.failures.byReason[reason] += count;
            if (relay.end != gather::JobEnd::Finished || relay.saved.failedShops > 0) {
                if (out.end == gather::JobEnd::Finished)
                    out.end = relay.end == gather::JobEnd::Finished ? gather::JobEnd::Failed : relay.end;
                if (out.detail.empty()) out.detail = relay.detail;
            }
        }
        if (stopped_) out.end = gather::JobEnd::Stopped;
        out.shopsSaved = int(saved.size());
        for (size_t i = 0; i < shops.size(); ++i) {
            if (saved.count(i)) continue;
            auto failed = db.prepare("update watchShop set state = :state where id = :id");
            failed.bind("state", out.end == gather::JobEnd::Stopped ? "本轮已中止" : "本轮更新失败")
                .bind("id", shops[i].id);
            failed.execute();
        }
        {
            // A statement left open would hold a read of the file from before the shops' saves.
            auto changes = db.prepare("select count(*) from watchChange where round_id = :round");
            changes.bind("round", round);
            changes.step();
            out.changes = int(changes.integer(0));
        }
        ReportFilter thisRound;
        thisRound.round = round;
        out.alerts = readReport(db, thisRound);
        std::erase_if(out.alerts, [&](const ChangeLine& line) { return !line.alert; });
        auto end = db.prepare("update watchRound set ended = :ended, state = :state where id = :round");
        end.bind("ended", DateTime::now().toString())
            .bind("state",
                  out.end == gather::JobEnd::Finished && out.shopsSaved == out.shops ? "完成" : "未全部完成")
            .bind("round", round);
        end.execute();
    } catch (const std::exception& e) {
        out.end = gather::JobEnd::Failed;
        out.detail = e.what();
    }
    gather::GatherTally tally;
    tally.shops = out.shopsSaved;
    tally.sales = int(out.sales);
    tally.ratings = int(out.ratings);
    tally.failures = out.failures;
    observer_.gatherEnded(out.end, out.detail, tally);
}

std::int64_t WatchRound::beginRound(db::Database& db) {
    auto begin = db.prepare("insert into watchRound (started, state) values (:started, '更新中')");
    begin.bind("started", now_.toString());
    begin.execute();
    auto last = db.prepare("select max(id) from watchRound");
    last.step();
    return last.integer(0);
}

void WatchRound::recordShop(std::int64_t round, const WatchedShop& watched,
                            const gather::SalesGathering::FollowedShop& seen, db::Database& db) {
    const std::optional<ShopSeen> before = previousRound(watched.id, round, db);
    ShopSeen now;
    now.time = now_.toString();
    now.credit = seen.shop.salerCredit;
    auto rate = db.prepare("select salerGoodRate from dianbase where id = :id");
    rate.bind("id", seen.shop.id);
    if (rate.step()) now.goodRate = rate.real(0);
    for (const TItemInfo& row : seen.listing) {
        ItemSeen item;
        item.id = parse::itemIdFromAddress(row.itemUrl);
        if (item.id.empty()) continue;
        item.title = row.itemTitle;
        item.price = std::strtod(row.price.c_str(), nullptr);
        now.items[item.id] = item;
    }
    for (size_t i = 0; i < seen.items.size(); ++i) {
        const TItemBaseInfo* page = seen.items[i];
        if (page->itemId.empty()) continue;
        ItemSeen& item = now.items[page->itemId];
        item.id = page->itemId;
        item.title = page->itemTitle;
        item.price = page->curPrice;
        item.monthSale = page->monthSale;
        item.favorite = page->favorite;
        item.followed = true;
    }
    now.itemCount = int(now.items.size());

    std::vector<NewSales> sales;
    std::vector<NewRating> ratings;
    DaySales day;
    if (before) {
        auto sold = db.prepare("select count(*), coalesce(sum(getNum), 0), coalesce(sum(getNum * amount), 0) "
                               "from saleInfo where itemId = :item and sj > :since");
        for (const auto& [id, item] : now.items) {
            if (!item.followed) continue;
            sold.bind("item", id).bind("since", before->lastSale);
            sold.step();
            sales.push_back({id, item.title, int(sold.integer(0)), sold.real(1), sold.real(2)});
            sold.reset();
        }
        if (watched.ratings) {
            auto rated = db.prepare("select pj, itemId, itemTitle, pjInfo from pjinfo where dian_id = :dian "
                                    "and pjsj > :since and pj in ('中评', '差评') order by pjsj desc, id");
            rated.bind("dian", seen.shop.id).bind("since", before->lastRating);
            while (rated.step())
                ratings.push_back({rated.text(0), rated.text(1), rated.text(2), rated.text(3)});
        }
        const std::string today = now.time.substr(0, 10);
        const std::string weekAgo = now_.addDays(-7).toString().substr(0, 10);
        auto days =
            db.prepare("select sum(case when s.sj >= :today then 1 else 0 end), "
                       "sum(case when s.sj < :today then 1 else 0 end) from saleInfo s "
                       "join itemInfo i on i.itemId = s.itemId where i.dian_id = :dian and s.sj >= :weekAgo "
                       "and s.sj <= :now");
        days.bind("today", today).bind("weekAgo", weekAgo).bind("dian", seen.shop.id).bind("now", now.time);
        if (days.step()) {
            day.today = int(days.integer(0));
            day.weekMean = days.real(1) / 7.0;
        }
    }
    std::vector<ChangeLine> lines = compareRounds(before, now, sales, ratings, day, rules_);
    // "Dated after the previous round" means after what that round held: a sale listed late still counts.
    auto newest =
        db.prepare("select (select max(s.sj) from saleInfo s join itemInfo i on i.itemId = s.itemId "
                   "where i.dian_id = :dian), (select max(pjsj) from pjinfo where dian_id = :dian)");
    newest.bind("dian", seen.shop.id);
    newest.step();
    now.lastSale = newest.text(0);
    now.lastRating = newest.text(1);
    newest.reset();

    auto shopSnap =
        db.prepare("insert into watchShopSnap (round_id, watch_id, dian_id, sj, salerCredit, "
                   "salerGoodRate, itemCount, lastSale, lastRating) values (:round, :watch, :dian, :sj, "
                   ":credit, :rate, :count, :lastSale, :lastRating)");
    shopSnap.bind("round", round)
        .bind("watch", watched.id)
        .bind("dian", seen.shop.id)
        .bind("sj", now.time)
        .bind("credit", now.credit)
        .bind("rate", now.goodRate)
        .bind("count", now.itemCount)
        .bind("lastSale", now.lastSale)
        .bind("lastRating", now.lastRating);
    shopSnap.execute();
    auto itemSnap =
        db.prepare("insert into watchItemSnap (round_id, watch_id, itemId, followed, title, price, "
                   "monthSale, favorite) values (:round, :watch, :item, :followed, :title, :price, "
                   ":monthSale, :favorite)");
    for (const auto& [id, item] : now.items) {
        itemSnap.bind("round", round)
            .bind("watch", watched.id)
            .bind("item", id)
            .bind("followed", int(item.followed))
            .bind("title", item.title)
            .bind("price", item.price)
            .bind("monthSale", item.monthSale)
            .bind("favorite", item.favorite);
        itemSnap.execute();
        itemSnap.reset();
    }
    auto change =
        db.prepare("insert into watchChange (round_id, watch_id, sj, kind, itemId, itemTitle, oldValue, "
                   "newValue, note, alert) values (:round, :watch, :sj, :kind, :itemId, :itemTitle, "
                   ":oldValue, :newValue, :note, :alert)");
    for (const ChangeLine& line : lines) {
        change.bind("round", round)
            .bind("watch", watched.id)
            .bind("sj", now.time)
            .bind("kind", line.kind)
            .bind("itemId", line.itemId)
            .bind("itemTitle", line.item)
            .bind("oldValue", line.oldValue)
            .bind("newValue", line.newValue)
            .bind("note", line.note)
            .bind("alert", int(line.alert));
        change.execute();
        change.reset();
    }
    auto shop =
        db.prepare("update watchShop set dianzhu = :dianzhu, dianming = :dianming, lastRound = :last, "
                   "state = '已更新' where id = :id");
    shop.bind("dianzhu", seen.shop.dianzhu)
        .bind("dianming", seen.shop.dianming)
        .bind("last", now.time)
        .bind("id", watched.id);
    shop.execute();
}

} // namespace vantor::watch
