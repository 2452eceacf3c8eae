// The demo market as one world from day to day: models of one seed built for different days show the
// same history, each up to its own day, and the market moves on every day.
#include "demo-market/MarketModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <tuple>
#include <vector>

namespace vantor::demo {
namespace {

constexpr std::uint64_t kSeed = 11;

std::int64_t dayNumber(const std::string& time) {
    return daysFromCivil(
        {std::stoi(time.substr(0, 4)), std::stoi(time.substr(5, 2)), std::stoi(time.substr(8, 2))});
}

// The records dated from `from` to `to`, both included ("yyyy-MM-dd HH:mm:ss" compare as text).
template <typename Record>
std::vector<Record> datedIn(const std::vector<Record>& records, const std::string& from,
                            const std::string& to) {
    std::vector<Record> found;
    for (const Record& r : records)
        if (r.time >= from && r.time <= to) found.push_back(r);
    return found;
}

auto fields(const Sale& s) {
    return std::tie(s.buyerName, s.buyerId, s.itemTitle, s.tradeId, s.time, s.status, s.quantity, s.price);
}
auto fields(const Rating& r) {
    return std::tie(r.grade, r.counts, r.comment, r.explanation, r.time, r.raterName, r.raterId, r.itemId,
                    r.itemTitle, r.tradeId, r.price);
}
// What an item is, whatever the day.
auto identity(const Item& it) {
    return std::tie(it.id, it.shopIndex, it.place, it.generation, it.title, it.location, it.shipping,
                    it.favorite, it.hasBuyerList, it.hasItemId, it.showsMonthSale, it.browseCategory,
                    it.listedDay, it.withdrawnDay, it.basePrice, it.pricePeriod, it.pricePhase, it.priceRange,
                    it.priceCycle);
}
// What a shop is, whatever the day.
auto profile(const Shop& s) {
    return std::tie(s.index, s.shopNo, s.userId, s.nick, s.name, s.mainBusiness, s.categoryId, s.location,
                    s.street, s.createDate, s.favorite, s.hasRatingLink, s.places, s.ratingsChange,
                    s.boughtCredit, s.lively, s.scores, s.virtualShare, s.realShare, s.seed);
}

template <typename Record>
void expectSameRecords(const std::vector<Record>& a, const std::vector<Record>& b) {
    ASSERT_EQ(a.size(), b.size());
    for (size_t i = 0; i < a.size(); ++i)
        EXPECT_EQ(fields(a[i]), fields(b[i])) << i;
}

std::map<std::string, const Item*> listedItems(const MarketModel& model, const Shop& shop) {
    std::map<std::string, const Item*> items;
    for (int k = 0; k < static_cast<int>(shop.items.size()); ++k)
        items[model.itemOf(shop, k).id] = &model.itemOf(shop, k);
    return items;
}

bool isLively(int index) {
    return index % MarketModel::kLivelyEvery == MarketModel::kLivelyRemainder;
}

// Two models of one seed a week apart: D1 and D2 = D1 + 7.
class MarketDaysTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        before = new MarketModel(kSeed, {2026, 3, 10});
        after = new MarketModel(kSeed, {2026, 3, 17});
    }
    static void TearDownTestSuite() {
        delete before;
        delete after;
    }
    static const Shop& shopBefore(size_t i) { return before->shops()[i]; }
    static const Shop& shopAfter(size_t i) { return after->shops()[i]; }
    // The overlap of the two calendars, and the week after D1's now.
    static std::string overlapStart() { return formatDateTime(after->calendar().start); }
    static std::string firstNow() { return formatDateTime(before->calendar().now); }
    static std::string secondNow() { return formatDateTime(after->calendar().now); }

    static MarketModel* before;
    static MarketModel* after;
};
MarketModel* MarketDaysTest::before = nullptr;
MarketModel* MarketDaysTest::after = nullptr;

TEST_F(MarketDaysTest, EachCalendarIsTwoYearsToAQuarterPastEightOnItsDay) {
    EXPECT_EQ(firstNow(), "2026-03-10 20:15:00");
    EXPECT_EQ(secondNow(), "2026-03-17 20:15:00");
    EXPECT_EQ(after->calendar().today() - before->calendar().today(), 7);
    EXPECT_EQ(after->calendar().firstDay(), after->calendar().today() - (MarketCalendar::kDays - 1));
}

TEST_F(MarketDaysTest, ShopsKeepTheirProfiles) {
    ASSERT_EQ(before->shops().size(), after->shops().size());
    for (size_t i = 0; i < before->shops().size(); ++i)
        EXPECT_EQ(profile(shopBefore(i)), profile(shopAfter(i))) << i;
}

TEST_F(MarketDaysTest, RatingsOfTheDaysBothShowAreTheSameInBoth) {
    for (size_t i = 0; i < before->shops().size(); ++i) {
        SCOPED_TRACE(i);
        const auto older = before->ratings(shopBefore(i));
        const auto newer = after->ratings(shopAfter(i));
        expectSameRecords(datedIn(older, overlapStart(), firstNow()),
                          datedIn(newer, overlapStart(), firstNow()));
        // Nothing of the later days shows on the earlier one.
        if (!older.empty()) {
            EXPECT_LE(older.front().time, firstNow());
        }
    }
}

TEST_F(MarketDaysTest, SalesOfTheDaysBothShowAreTheSameInBothEvenForItemsWithdrawnMeanwhile) {
    int withdrawn = 0;
    for (const Item& item : before->items()) {
        if (item.shopIndex % 3 != 0 && !isLively(item.shopIndex))
            continue; // a part of the market keeps it fast
        SCOPED_TRACE(item.id);
        const auto older = before->sales(item);
        // The later model gives the sales of an item of the earlier one, listed there or not.
        const auto newer = after->sales(item);
        expectSameRecords(datedIn(older, overlapStart(), firstNow()),
                          datedIn(newer, overlapStart(), firstNow()));
        if (!older.empty()) {
            EXPECT_LE(older.front().time, firstNow());
        }
        const Item* now = after->itemById(item.id);
        if (!now) {
            ++withdrawn;
            EXPECT_LE(item.withdrawnDay, after->calendar().today());
            for (const Sale& sale : newer)
                EXPECT_LT(dayNumber(sale.time), item.withdrawnDay) << sale.time;
        } else {
            EXPECT_EQ(newer.size(), static_cast<size_t>(now->saleCount));
        }
    }
    EXPECT_GT(withdrawn, 0);
}

TEST_F(MarketDaysTest, ItemsOnBothListsAreTheSameItemsAndTheOthersCameOrWentInTheWeek) {
    const std::int64_t day1 = before->calendar().today(), day2 = after->calendar().today();
    int same = 0, added = 0, withdrawn = 0;
    for (size_t i = 0; i < before->shops().size(); ++i) {
        SCOPED_TRACE(i);
        const auto older = listedItems(*before, shopBefore(i));
        const auto newer = listedItems(*after, shopAfter(i));
        for (const auto& [id, item] : newer) {
            EXPECT_TRUE(item->listedOn(day2));
            const auto was = older.find(id);
            if (was == older.end()) {
                ++added;
                EXPECT_GT(item->listedDay, day1);
                continue;
            }
            ++same;
            EXPECT_EQ(identity(*was->second), identity(*item));
            EXPECT_EQ(was->second->price, item->priceOn(day1));
            EXPECT_EQ(item->price, was->second->priceOn(day2));
        }
        for (const auto& [id, item] : older)
            if (!newer.count(id)) {
                ++withdrawn;
                EXPECT_GT(item->withdrawnDay, day1);
                EXPECT_LE(item->withdrawnDay, day2);
            }
        // The places that never change are the first three and the last of both lists.
        for (int k = 0; k < MarketModel::kSteadyItems; ++k)
            EXPECT_EQ(before->itemOf(shopBefore(i), k).id, after->itemOf(shopAfter(i), k).id);
        EXPECT_EQ(before->items()[size_t(shopBefore(i).items.back())].id,
                  after->items()[size_t(shopAfter(i).items.back())].id);
        // Both lists are in place order.
        for (const MarketModel* model : {before, after}) {
            const Shop& s = model->shops()[i];
            for (size_t k = 1; k < s.items.size(); ++k)
                EXPECT_LT(model->itemOf(s, int(k) - 1).place, model->itemOf(s, int(k)).place);
        }
    }
    EXPECT_GT(same, 1000);
    EXPECT_GT(added, 0);
    EXPECT_GT(withdrawn, 0);
}

TEST_F(MarketDaysTest, SummariesMoveByTheNewRatingsAndThoseThatLeftTheCalendar) {
    for (size_t i = 0; i < before->shops().size(); ++i) {
        SCOPED_TRACE(i);
        const Shop& s1 = shopBefore(i);
        const Shop& s2 = shopAfter(i);
        const auto newer = after->ratings(s2);
        const auto older = before->ratings(s1);
        std::array<int, 3> expected{};
        for (size_t g = 0; g < 3; ++g)
            expected[g] = s1.sellerRates[g].total;
        for (const Rating& r : newer)
            expected[static_cast<size_t>(r.grade)] += r.time > firstNow();
        for (const Rating& r : older)
            expected[static_cast<size_t>(r.grade)] -= r.time < overlapStart();
        for (size_t g = 0; g < 3; ++g)
            EXPECT_EQ(s2.sellerRates[g].total, expected[g]) << "grade " << g;
        EXPECT_EQ(s2.sellerCredit, std::max(0, expected[0] - expected[2]));
        EXPECT_EQ(s2.ratingCount, static_cast<int>(newer.size()));
        // The week column of the later summary counts its week's ratings exactly.
        const std::string weekStart =
            formatDateTime(after->calendar().now - 6 * kSecondsPerDay).substr(0, 10);
        std::array<int, 3> week{};
        for (const Rating& r : newer)
            week[static_cast<size_t>(r.grade)] += r.time >= weekStart;
        for (size_t g = 0; g < 3; ++g)
            EXPECT_EQ(s2.sellerRates[g].period[0], week[g]) << "grade " << g;
    }
}

TEST_F(MarketDaysTest, EveryShopSellsOnEveryDayOnItsLastItem) {
    const std::int64_t day1 = before->calendar().today(), day2 = after->calendar().today();
    for (const Shop& shop : after->shops()) {
        SCOPED_TRACE(shop.index);
        const Item& last = after->itemOf(shop, static_cast<int>(shop.items.size()) - 1);
        EXPECT_TRUE(last.hasBuyerList);
        std::set<std::int64_t> days;
        for (const Sale& sale : datedIn(after->sales(last), firstNow(), secondNow()))
            if (sale.time > firstNow()) days.insert(dayNumber(sale.time));
        for (std::int64_t day = day1 + 1; day <= day2; ++day)
            EXPECT_TRUE(days.count(day)) << formatDate(day * kSecondsPerDay);
    }
}

TEST_F(MarketDaysTest, ManyItemsSellOnEachDayOfTheWeek) {
    const std::int64_t day1 = before->calendar().today(), day2 = after->calendar().today();
    std::map<std::int64_t, int> itemsSelling;
    for (const Item& item : after->items()) {
        std::set<std::int64_t> days;
        for (const Sale& sale : datedIn(after->sales(item), firstNow(), secondNow()))
            if (sale.time > firstNow()) days.insert(dayNumber(sale.time));
        for (std::int64_t day : days)
            ++itemsSelling[day];
    }
    // Many more than the last items, which sell every day.
    for (std::int64_t day = day1 + 1; day <= day2; ++day)
        EXPECT_GT(itemsSelling[day], 2 * MarketModel::kShopCount) << formatDate(day * kSecondsPerDay);
}

TEST_F(MarketDaysTest, OtherShopsChangeNowAndThen) {
    int priceChanges = 0, added = 0, withdrawn = 0, badRatings = 0;
    for (size_t i = 0; i < before->shops().size(); ++i) {
        if (isLively(static_cast<int>(i))) continue;
        const auto older = listedItems(*before, shopBefore(i));
        const auto newer = listedItems(*after, shopAfter(i));
        for (const auto& [id, item] : newer) {
            const auto was = older.find(id);
            if (was == older.end())
                ++added;
            else
                priceChanges += was->second->price != item->price;
        }
        for (const auto& [id, item] : older)
            withdrawn += !newer.count(id);
        for (const Rating& r : datedIn(after->ratings(shopAfter(i)), firstNow(), secondNow()))
            badRatings += r.time > firstNow() && r.grade != Grade::Good;
    }
    EXPECT_GT(priceChanges, 0);
    EXPECT_GT(added, 0);
    EXPECT_GT(withdrawn, 0);
    EXPECT_GT(badRatings, 0);
}

// The lively shops' weekly changes, for a D1 on each day of a week (so every weekday and phase) and
// D2 = D1 + 7, across a month's end.
TEST(LivelyShops, ChangeAPriceListAnItemWithdrawOneAndGetABadRatingInAnyWeek) {
    std::vector<std::unique_ptr<MarketModel>> models;
    const std::int64_t first = daysFromCivil({2026, 4, 26});
    for (std::int64_t day = first; day < first + 14; ++day)
        models.push_back(std::make_unique<MarketModel>(kSeed, civilFromDays(day)));
    for (size_t d1 = 0; d1 < 7; ++d1) {
        const MarketModel& before = *models[d1];
        const MarketModel& after = *models[d1 + 7];
        const std::string firstNow = formatDateTime(before.calendar().now);
        SCOPED_TRACE(firstNow);
        int lively = 0;
        for (const Shop& shop : after.shops()) {
            if (!isLively(shop.index)) continue;
            ++lively;
            SCOPED_TRACE(shop.index);
            const Shop& was = before.shops()[static_cast<size_t>(shop.index)];
            EXPECT_TRUE(shop.lively);
            // Item 1: the same item at another price.
            const Item& item1 = after.itemOf(shop, 1);
            EXPECT_EQ(item1.id, before.itemOf(was, 1).id);
            EXPECT_NE(item1.price, before.itemOf(was, 1).price);
            // Item 3: a new item in place of the one D1 listed, which is gone.
            const Item& item3 = after.itemOf(shop, 3);
            const Item& gone = before.itemOf(was, 3);
            EXPECT_EQ(item3.place, 3);
            EXPECT_EQ(listedItems(before, was).count(item3.id), 0u) << item3.id;
            EXPECT_EQ(listedItems(after, shop).count(gone.id), 0u) << gone.id;
            EXPECT_EQ(after.itemById(gone.id), nullptr);
            // A 中评 or 差评 with a comment.
            bool bad = false;
            for (const Rating& r :
                 datedIn(after.ratings(shop), firstNow, formatDateTime(after.calendar().now)))
                bad = bad || (r.time > firstNow && r.grade != Grade::Good && !r.comment.empty());
            EXPECT_TRUE(bad);
        }
        EXPECT_EQ(lively, MarketModel::kShopCount / MarketModel::kLivelyEvery);
    }
}

TEST(LivelyShops, ItemOnesPriceChangesOnceAWeekAndItsSalesFollowIt) {
    const MarketModel before(kSeed, {2026, 7, 1});
    const MarketModel after(kSeed, {2026, 7, 8});
    const std::int64_t day1 = before.calendar().today(), day2 = after.calendar().today();
    const std::string firstNow = formatDateTime(before.calendar().now);
    int sold = 0;
    for (const Shop& shop : after.shops()) {
        if (!shop.lively) continue;
        SCOPED_TRACE(shop.index);
        const Item& item = after.itemOf(shop, 1);
        const Item& was = before.itemOf(before.shops()[size_t(shop.index)], 1);
        EXPECT_EQ(item.priceOn(day1), was.price);
        EXPECT_EQ(item.priceOn(day2), item.price);
        int changes = 0;
        for (std::int64_t day = day1 + 1; day <= day2; ++day)
            changes += item.priceOn(day) != item.priceOn(day - 1);
        EXPECT_EQ(changes, 1);
        for (const Sale& sale : datedIn(after.sales(item), firstNow, formatDateTime(after.calendar().now))) {
            const std::int64_t day = dayNumber(sale.time);
            EXPECT_TRUE(sale.price == item.priceOn(day) || sale.price == item.secondPriceOn(day))
                << sale.time;
            sold += sale.time > firstNow;
        }
    }
    EXPECT_GT(sold, 0);
}

// The special shops keep their ways on any day, and each model's summaries count its own lists.
TEST(MarketOnAnyDay, SpecialShopsAndSummariesHoldOnEveryDay) {
    for (const CivilDate day :
         {CivilDate{2024, 2, 29}, CivilDate{2026, 12, 31}, CivilDate{2027, 1, 1}, CivilDate{2031, 7, 15}}) {
        const MarketModel model(kSeed, day);
        SCOPED_TRACE(formatDate(model.calendar().now));
        const Shop& big = model.shops()[MarketModel::kBigRatingShop];
        EXPECT_GT(model.ratingPageCount(big), 100);
        EXPECT_GT(big.items.size(), 2u * MarketModel::kListPageSize) << "three list pages";
        EXPECT_FALSE(model.shops()[MarketModel::kNoRatingLinkShop].hasRatingLink);
        const Shop& odd = model.shops()[MarketModel::kOddItemsShop];
        EXPECT_FALSE(model.itemOf(odd, 0).hasBuyerList);
        EXPECT_FALSE(model.itemOf(odd, 1).hasItemId);
        EXPECT_FALSE(model.itemOf(odd, 2).showsMonthSale);
        for (const Shop& shop : model.shops()) {
            SCOPED_TRACE(shop.index);
            const auto ratings = model.ratings(shop);
            ASSERT_EQ(ratings.size(), static_cast<size_t>(shop.ratingCount));
            std::array<int, 3> totals{};
            std::set<std::string> trades;
            for (const Rating& r : ratings) {
                ++totals[static_cast<size_t>(r.grade)];
                trades.insert(r.tradeId);
                EXPECT_GE(r.time, formatDateTime(model.calendar().start));
            }
            EXPECT_EQ(trades.size(), ratings.size());
            for (size_t g = 0; g < 3; ++g)
                EXPECT_EQ(shop.sellerRates[g].total, totals[g]);
            if (shop.ratingsChange) {
                const Shop view = model.revised(shop);
                const auto revised = model.ratings(view);
                ASSERT_EQ(revised.size(), ratings.size() + 2);
                EXPECT_EQ(revised[0].time, formatDateTime(model.calendar().now));
                EXPECT_EQ(view.sellerRates[0].period[0], shop.sellerRates[0].period[0] + 2);
            }
            if (shop.boughtCredit) {
                // Bursts: a day with ten or more good ratings on cheap trades by the hired raters.
                std::map<std::string, int> cheapByDay;
                for (const Rating& r : ratings)
                    cheapByDay[r.time.substr(0, 10)] += r.grade == Grade::Good && r.price < 10;
                EXPECT_GE(std::max_element(cheapByDay.begin(), cheapByDay.end(),
                                           [](auto& a, auto& b) { return a.second < b.second; })
                              ->second,
                          10);
            }
        }
    }
}

TEST(MarketOnAnyDay, TheSameSeedAndDayGiveTheSameMarketAndAnotherSeedAnother) {
    const MarketModel a(kSeed, {2026, 5, 5}), b(kSeed, {2026, 5, 5}), c(kSeed + 1, {2026, 5, 5});
    ASSERT_EQ(a.items().size(), b.items().size());
    for (size_t i = 0; i < a.items().size(); ++i)
        EXPECT_EQ(identity(a.items()[i]), identity(b.items()[i]));
    const Shop& shop = a.shops()[9];
    expectSameRecords(a.ratings(shop), b.ratings(b.shops()[9]));
    EXPECT_NE(a.shops()[9].nick, c.shops()[9].nick);
}

} // namespace
} // namespace vantor::demo
