#include "demo-market/DemoMarket.h"
#include "gather/GatherTestSupport.h"
#include "gather/GatherTexts.h"
#include "support/TempDir.h"
#include "watch/WatchRound.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using namespace vantor;
using namespace vantor::watch;

namespace {

std::vector<std::string> kinds(const std::vector<ChangeLine>& lines) {
    std::vector<std::string> made;
    for (const ChangeLine& line : lines)
        made.push_back(line.kind);
    return made;
}

ItemSeen item(const char* id, const char* title, double price) {
    ItemSeen seen;
    seen.id = id;
    seen.title = title;
    seen.price = price;
    seen.followed = true;
    return seen;
}

} // namespace

TEST(ChangeReport, AFirstRoundSetsTheBaselineOnly) {
    ShopSeen now;
    now.time = "2026-11-20 21:00:00";
    now.credit = 1238;
    now.items = {{"1", item("1", "a", 10)}, {"2", item("2", "b", 20)}};
    const auto lines =
        compareRounds(std::nullopt, now, {{"1", "a", 5, 5, 50}}, {{"差评", "1", "a", "x"}}, {}, {});
    ASSERT_EQ(kinds(lines), std::vector<std::string>{kStarted});
    EXPECT_EQ(lines[0].date, "2026-11-20");
    EXPECT_EQ(lines[0].note, "基线：2件商品，信用1238");
    EXPECT_FALSE(lines[0].alert);
}

TEST(ChangeReport, EveryKindOfChangeBetweenTwoRoundsWithTheAlertsItsRulesMark) {
    ShopSeen before, now;
    before.time = "2026-11-20 21:00:00";
    before.credit = 100;
    before.items = {
        {"1", item("1", "连衣裙", 10)}, {"2", item("2", "针织衫", 20)}, {"3", item("3", "围巾", 30)}};
    now.time = "2026-11-27 21:00:00";
    now.credit = 103;
    now.items = {{"1", item("1", "连衣裙", 12)}, {"3", item("3", "围巾", 31)}, {"4", item("4", "帽子", 5)}};
    AlertRules rules;
    rules.pricePercent = 15;
    rules.salesFactor = 3;
    const std::vector<NewSales> sales = {{"1", "连衣裙", 3, 4, 48}, {"3", "围巾", 0, 0, 0}};
    const std::vector<NewRating> ratings = {{"中评", "1", "连衣裙", "偏小"}, {"差评", "3", "围巾", "起球"}};
    const auto lines = compareRounds(before, now, sales, ratings, {9, 2.5}, rules);

    EXPECT_EQ(kinds(lines), (std::vector<std::string>{kNewItem, kWithdrawn, kPriceChange, kPriceChange,
                                                      kSales, kNewRating, kNewRating, kCreditChange}));
    auto find = [&](const char* kind, const char* itemId) {
        return *std::find_if(lines.begin(), lines.end(),
                             [&](const ChangeLine& l) { return l.kind == kind && l.itemId == itemId; });
    };
    EXPECT_EQ(find(kNewItem, "4").newValue, "5.00");
    EXPECT_TRUE(find(kNewItem, "4").alert);
    EXPECT_EQ(find(kWithdrawn, "2").oldValue, "20.00");
    const ChangeLine dress = find(kPriceChange, "1");
    EXPECT_EQ(dress.oldValue + "→" + dress.newValue + " " + dress.note, "10.00→12.00 +20.00%");
    EXPECT_TRUE(dress.alert);                    // 20 % is past the 15 % rule
    EXPECT_FALSE(find(kPriceChange, "3").alert); // 3.3 % is not
    const ChangeLine sold = find(kSales, "1");
    EXPECT_EQ(sold.newValue, "3");
    EXPECT_EQ(sold.note, "数量4，金额48.00元；当日9笔，近7日日均2.50笔");
    EXPECT_TRUE(sold.alert); // 9 is at least 3 × 2.5
    EXPECT_FALSE(find(kNewRating, "1").alert);
    EXPECT_TRUE(find(kNewRating, "3").alert);
    EXPECT_EQ(find(kNewRating, "3").note, "起球");
    EXPECT_EQ(lines.back().oldValue + "→" + lines.back().newValue, "100→103");

    // Below the spike factor, and with the item rules off, nothing is marked.
    rules.newItem = false;
    rules.badRating = false;
    rules.pricePercent = 50;
    const auto quiet = compareRounds(before, now, sales, ratings, {7, 2.5}, rules);
    EXPECT_TRUE(std::none_of(quiet.begin(), quiet.end(), [](const ChangeLine& l) { return l.alert; }));
}

TEST(Schedule, ReadsWritesAndTellsTheNextRoundAndTheTimer) {
    for (const char* text : {"daily 08:30", "every 6", "off"})
        EXPECT_EQ(Schedule::parse(text)->text(), text);
    for (const char* bad : {"daily 24:00", "daily 8", "every 0", "every 25", "weekly"})
        EXPECT_FALSE(Schedule::parse(bad)) << bad;

    const auto daily = *Schedule::parse("daily 08:30");
    const auto at = [](const char* text) { return *DateTime::parse(text); };
    EXPECT_EQ(daily.next(std::nullopt, at("2026-11-26 07:00:00"))->toString(), "2026-11-26 08:30:00");
    EXPECT_EQ(daily.next(at("2026-11-26 08:31:00"), at("2026-11-26 09:00:00"))->toString(),
              "2026-11-27 08:30:00");
    // Missed while the program was closed: due at once.
    EXPECT_EQ(daily.next(at("2026-11-20 08:30:00"), at("2026-11-26 09:00:00"))->toString(),
              "2026-11-26 08:30:00");
    const auto hourly = *Schedule::parse("every 6");
    EXPECT_EQ(hourly.next(at("2026-11-26 01:00:00"), at("2026-11-26 02:00:00"))->toString(),
              "2026-11-26 07:00:00");
    EXPECT_FALSE(Schedule().next(std::nullopt, at("2026-11-26 02:00:00")));
    EXPECT_EQ(daily.onCalendar(), "*-*-* 08:30:00");
    EXPECT_EQ(hourly.onCalendar(), "*-*-* 00/6:00:00");

    const TimerUnits units = timerUnits(daily, "/opt/vantor 1/bin/vantor-cli", "/home/a/数据");
    EXPECT_NE(units.service.find(
                  "ExecStart=\"/opt/vantor 1/bin/vantor-cli\" --data-dir \"/home/a/数据\" watch run"),
              std::string::npos)
        << units.service;
    EXPECT_NE(units.timer.find("OnCalendar=*-*-* 08:30:00\nPersistent=true\n"), std::string::npos)
        << units.timer;
    EXPECT_NE(units.timer.find("WantedBy=timers.target"), std::string::npos);
}

TEST(WatchList, AShopIsWatchedOnceByItsAddressAndRemovedWithWhatItsRoundsKept) {
    EXPECT_EQ(shopAddress(" HTTP://Shop123.taobao.com/index.htm "), "http://shop123.taobao.com");
    EXPECT_EQ(shopAddress("shop9.taobao.com"), "http://shop9.taobao.com");
    EXPECT_FALSE(shopAddress("http://item.taobao.com/item.htm?id=1"));
    EXPECT_FALSE(shopAddress("shop.taobao.com.evil.example"));

    test::TempDir dir;
    db::TDM dm(dir / "w.db");
    dm.open();
    db::Database& db = dm.cn1();
    db.exec("insert into dianbase (webaddr, dianzhu, dianming) values ('http://shop123.taobao.com', 'kele', "
            "'缤纷')");
    const DateTime now = *DateTime::parse("2026-11-26 10:00:00");
    const auto id = addWatched(db, "shop123.taobao.com", 5, false, now);
    EXPECT_EQ(addWatched(db, "http://shop123.taobao.com/", 8, true, now), id);
    const auto id2 = addWatched(db, "http://shop456.taobao.com", 500, false, now);
    auto shops = watchedShops(db);
    ASSERT_EQ(shops.size(), 2u);
    EXPECT_EQ(shops[0].name + "|" + shops[0].nick + "|" + std::to_string(shops[0].items), "缤纷|kele|8");
    EXPECT_TRUE(shops[0].ratings);
    EXPECT_EQ(shops[1].items, gather::kMaxItemsPerShop);
    EXPECT_THROW(addWatched(db, "http://www.taobao.com", 5, false, now), std::invalid_argument);

    db.exec("insert into watchChange (watch_id, kind) values (" + std::to_string(id) + ", '开始监控')");
    EXPECT_TRUE(removeWatched(db, std::to_string(id)));
    EXPECT_TRUE(removeWatched(db, "shop456.taobao.com"));
    EXPECT_FALSE(removeWatched(db, std::to_string(id2)));
    auto left = db.prepare("select (select count(*) from watchShop) + (select count(*) from watchChange)");
    left.step();
    EXPECT_EQ(left.integer(0), 0);
}

namespace {

// Records how a round ends.
struct Ending : gather::GatherObserver {
    void gatherEnded(gather::JobEnd how, const std::string& why, const gather::GatherTally&) override {
        end = how;
        detail = why;
        ++ends;
    }
    gather::JobEnd end = gather::JobEnd::Finished;
    std::string detail;
    int ends = 0;
};

class WatchRounds : public ::testing::Test {
protected:
    void SetUp() override { dm.open(); }
    std::shared_ptr<const THttpAgent> agent() const { return test::demoAgent(market); }
    RoundOutcome round(const DateTime& now, Ending& ending) {
        download::NoSlotProgress bars[4];
        WatchRound run(dm.store(), agent(), {&bars[0], &bars[1], &bars[2], &bars[3]}, ending, AlertRules{},
                       now);
        run.start();
        run.wait();
        return run.outcome();
    }
    // Shops with a few items and ratings, past the special ones.
    std::vector<const demo::Shop*> shops(size_t count) const {
        std::vector<const demo::Shop*> found;
        for (const demo::Shop& shop : market.model().shops())
            if (shop.index >= 20 && !shop.ratingsChange && shop.items.size() >= 3 && shop.ratingCount > 40 &&
                found.size() < count)
                found.push_back(&shop);
        return found;
    }
    demo::DemoMarket market;
    test::TempDir dir;
    db::TDM dm{dir / "lmd_pin.db"};
};

} // namespace

TEST_F(WatchRounds, ASecondRoundReadsOnlyTheFirstPageOfEachListAndFindsNothingNew) {
    const auto watched = shops(2);
    ASSERT_EQ(watched.size(), 2u);
    const DateTime now = DateTime::now();
    addWatched(dm.cn1(), watched[0]->webAddress(), 3, true, now);
    addWatched(dm.cn1(), watched[1]->webAddress(), 2, false, now);

    // The buyer-list and rating-list pages a round asks for.
    auto lists = [&](size_t from) {
        const auto asked = market.requests();
        std::pair<int, int> counted{0, 0};
        for (size_t i = from; i < asked.size(); ++i) {
            counted.first += asked[i].find("show_buyer_list") != std::string::npos;
            counted.second += asked[i].find("--currentPage%7C") != std::string::npos;
        }
        return counted;
    };
    Ending first;
    const size_t before = market.requests().size();
    const RoundOutcome one = round(now, first);
    const auto firstLists = lists(before);
    EXPECT_EQ(first.end, gather::JobEnd::Finished) << first.detail;
    EXPECT_EQ(first.ends, 1);
    EXPECT_EQ(one.shopsSaved, 2);
    EXPECT_GT(one.ratings, 0);
    const auto report = readReport(dm.cn1(), {});
    ASSERT_EQ(kinds(report), (std::vector<std::string>{kStarted, kStarted}));
    // A shop added by address takes its name from its page.
    const auto list = watchedShops(dm.cn1());
    EXPECT_EQ(list[0].name, watched[0]->name);
    EXPECT_EQ(list[0].nick, watched[0]->nick);
    EXPECT_EQ(list[1].state, "已更新");
    EXPECT_FALSE(list[1].lastRound.empty());

    Ending second;
    const size_t between = market.requests().size();
    const RoundOutcome two = round(now.addSeconds(3600), second);
    const auto secondLists = lists(between);
    EXPECT_EQ(second.end, gather::JobEnd::Finished) << second.detail;
    EXPECT_EQ(two.sales, 0);
    EXPECT_EQ(two.ratings, 0);
    EXPECT_EQ(two.changes, 0);
    // Nothing new: one buyer-list page for each of the five followed items, one rating page for the shop
    // whose ratings are followed, where the first round read them all.
    EXPECT_GE(firstLists.first, 5);
    EXPECT_EQ(secondLists.first, 5);
    EXPECT_GT(firstLists.second, 1);
    EXPECT_EQ(secondLists.second, 1);
    auto items = dm.cn1().prepare("select count(*) from watchItemSnap where followed = 1");
    items.step();
    EXPECT_EQ(items.integer(0), 2 * (3 + 2));
}

TEST_F(WatchRounds, OneRoundAtATimeAndAnEmptyListIsSaid) {
    Ending empty;
    round(DateTime::now(), empty);
    EXPECT_EQ(empty.end, gather::JobEnd::Failed);
    EXPECT_EQ(empty.detail, kNothingWatched);

    addWatched(dm.cn1(), shops(1)[0]->webAddress(), 2, false, DateTime::now());
    market.faults().add(demo::parseFaultRule("kind=delay&ms=300"));
    Ending slow, second;
    download::NoSlotProgress bars[2];
    WatchRound first(dm.store(), agent(), {&bars[0], &bars[1]}, slow, AlertRules{}, DateTime::now());
    first.start();
    while (market.requests().empty())
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    round(DateTime::now(), second);
    EXPECT_EQ(second.end, gather::JobEnd::Failed);
    EXPECT_EQ(second.detail, kRoundBusy);
    first.wait();
    EXPECT_EQ(slow.end, gather::JobEnd::Finished) << slow.detail;
}

// A lively shop watched on a day and a week later, against two markets of one seed: the report says
// line by line what the market model changed in between.
TEST(WatchWeek, AWeekLaterTheReportSaysWhatTheMarketChanged) {
    const demo::CivilDate day1{2026, 11, 2}, day8{2026, 11, 9};
    demo::DemoMarketOptions first, second;
    first.today = day1;
    second.today = day8;
    demo::DemoMarket before(first), after(second);
    const demo::MarketModel& a = before.model();
    const demo::MarketModel& b = after.model();
    const demo::Shop* shop = nullptr;
    for (const demo::Shop& candidate : a.shops())
        if (candidate.lively && candidate.index >= 20 && !candidate.ratingsChange &&
            !candidate.boughtCredit) {
            shop = &candidate;
            break;
        }
    ASSERT_NE(shop, nullptr);
    const demo::Shop& later = b.shops()[size_t(shop->index)];
    constexpr int kFollowed = 5;

    test::TempDir dir;
    db::TDM dm(dir / "lmd_pin.db");
    dm.open();
    addWatched(dm.cn1(), shop->webAddress(), kFollowed, true, *DateTime::parse("2026-11-02 09:00:00"));
    auto roundOn = [&](const demo::DemoMarket& market, const char* now) {
        auto agent = test::demoAgent(market);
        download::NoSlotProgress bars[4];
        Ending ending;
        WatchRound run(dm.store(), agent, {&bars[0], &bars[1], &bars[2], &bars[3]}, ending, AlertRules{},
                       *DateTime::parse(now));
        run.start();
        run.wait();
        EXPECT_EQ(ending.end, gather::JobEnd::Finished) << ending.detail;
        return run.outcome();
    };
    roundOn(before, "2026-11-02 21:00:00");
    auto held = dm.cn1().prepare("select lastSale, lastRating from watchShopSnap");
    ASSERT_TRUE(held.step());
    const std::string lastSale = held.text(0), lastRating = held.text(1);
    held.reset();
    const RoundOutcome week = roundOn(after, "2026-11-09 21:00:00");

    // What the two models say, in the report's words.
    const std::int64_t dayA = a.calendar().today(), dayB = b.calendar().today();
    auto listing = [](const demo::MarketModel& model, const demo::Shop& s) {
        std::vector<const demo::Item*> items;
        for (size_t place = 0; place < s.items.size(); ++place)
            items.push_back(&model.itemOf(s, int(place)));
        return items;
    };
    const auto listedA = listing(a, *shop), listedB = listing(b, later);
    auto listedIn = [](const std::vector<const demo::Item*>& items, const std::string& id) {
        return std::any_of(items.begin(), items.end(), [&](const demo::Item* i) { return i->id == id; });
    };
    std::multiset<std::string> expected;
    for (const demo::Item* item : listedB)
        if (!listedIn(listedA, item->id))
            expected.insert(std::string(kNewItem) + "|" + item->id + "||" + money(item->priceOn(dayB)));
    for (const demo::Item* item : listedA)
        if (!listedIn(listedB, item->id))
            expected.insert(std::string(kWithdrawn) + "|" + item->id + "|" + money(item->priceOn(dayA)) +
                            "|");
    for (const demo::Item* item : listedB)
        if (listedIn(listedA, item->id) && money(item->priceOn(dayA)) != money(item->priceOn(dayB)))
            expected.insert(std::string(kPriceChange) + "|" + item->id + "|" + money(item->priceOn(dayA)) +
                            "|" + money(item->priceOn(dayB)));
    for (size_t place = 0; place < kFollowed && place < listedB.size(); ++place) {
        const auto sold = b.sales(*listedB[place]);
        const auto records =
            std::count_if(sold.begin(), sold.end(), [&](const demo::Sale& s) { return s.time > lastSale; });
        if (records > 0)
            expected.insert(std::string(kSales) + "|" + listedB[place]->id + "||" + std::to_string(records));
    }
    for (const demo::Rating& rating : b.ratings(later))
        if (rating.time > lastRating && rating.grade != demo::Grade::Good)
            expected.insert(std::string(kNewRating) + "|" + rating.itemTitle + "||" +
                            demo::gradeText(rating.grade));
    if (shop->sellerCredit != later.sellerCredit)
        expected.insert(std::string(kCreditChange) + "||" + std::to_string(shop->sellerCredit) + "|" +
                        std::to_string(later.sellerCredit));

    ReportFilter secondRound;
    secondRound.since = "2026-11-09";
    std::multiset<std::string> reported;
    for (const ChangeLine& line : readReport(dm.cn1(), secondRound))
        // A rating names its item by title only.
        reported.insert(line.kind + "|" + (line.kind == kNewRating ? line.item : line.itemId) + "|" +
                        line.oldValue + "|" + line.newValue);
    EXPECT_EQ(reported, expected);
    // The week's rules: item 1's price moved, item 3 was replaced, a 中评 or 差评 came, sales came.
    for (const char* kind : {kPriceChange, kNewItem, kWithdrawn, kNewRating, kSales})
        EXPECT_TRUE(std::any_of(reported.begin(), reported.end(), [&](const std::string& line) {
            return line.rfind(kind, 0) == 0;
        })) << kind;
    // The new item is an alert, listed first, and so the round tells it.
    EXPECT_FALSE(week.alerts.empty());
    EXPECT_EQ(readReport(dm.cn1(), secondRound).front().alert, true);
}
