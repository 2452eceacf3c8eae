#include "demo-market/MarketModel.h"
#include "demo-market/Gbk.h"

#include <gtest/gtest.h>

#include <set>

namespace vantor::demo {
namespace {

class MarketModelTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { model = new MarketModel(1, {2026, 3, 15}); }
    static void TearDownTestSuite() { delete model; }
    static MarketModel* model;
};
MarketModel* MarketModelTest::model = nullptr;

TEST_F(MarketModelTest, HundredsOfShopsThousandsOfItemsWithUniqueKeys) {
    EXPECT_GE(model->shops().size(), 200u);
    EXPECT_GE(model->items().size(), 2000u);
    std::set<std::string> nicks, itemIds;
    for (const Shop& s : model->shops()) {
        EXPECT_TRUE(nicks.insert(s.nick).second) << s.nick;
        // The lookups find each shop itself, so user ids and shop numbers are unique too.
        EXPECT_EQ(model->shopByUserId(s.userId), &s);
        EXPECT_EQ(model->shopByNo(s.shopNo), &s);
        EXPECT_FALSE(s.items.empty());
    }
    for (const Item& it : model->items())
        EXPECT_TRUE(itemIds.insert(it.id).second) << it.id;
}

TEST_F(MarketModelTest, TextsAreWhatTheProgramSeesAndFitGbk) {
    const auto check = [](const std::string& text) {
        for (char c : text) {
            EXPECT_FALSE(c >= 'A' && c <= 'Z') << text;
            EXPECT_FALSE(c == '"' || c == '<' || c == '>') << text;
        }
        EXPECT_EQ(text.find("  "), std::string::npos) << text;
        EXPECT_NO_THROW(utf8ToGbk(text)) << text;
    };
    for (const Shop& s : model->shops())
        for (const std::string* t : {&s.nick, &s.name, &s.mainBusiness, &s.location, &s.street})
            check(*t);
    for (const Item& it : model->items())
        check(it.title);
    for (const Rating& r : model->ratings(model->shops()[MarketModel::kBigRatingShop]))
        for (const std::string* t : {&r.comment, &r.explanation, &r.raterName, &r.itemTitle})
            check(*t);
}

TEST_F(MarketModelTest, SalesSpreadOverTwoYearsAndAgreeWithTheItemFigures) {
    const std::string now = formatDateTime(model->calendar().now);
    const std::string monthAgo = formatDate(model->calendar().now - 29 * kSecondsPerDay);
    const std::string monthStart = now.substr(0, 8) + "01";
    std::set<std::string> years, months, hours, tradeIds;
    std::set<int> weekdays;
    for (size_t i = 0; i < model->items().size(); i += 7) {
        const Item& it = model->items()[i];
        const auto sales = model->sales(it);
        ASSERT_EQ(sales.size(), static_cast<size_t>(it.saleCount));
        int recent = 0, current = 0;
        for (size_t k = 0; k < sales.size(); ++k) {
            const Sale& sale = sales[k];
            const std::string& t = sale.time;
            EXPECT_GE(sales[k > 0 ? k - 1 : 0].time, t) << "newest first";
            EXPECT_LE(t, now);
            EXPECT_GE(t, formatDateTime(model->calendar().start));
            years.insert(t.substr(0, 4));
            months.insert(t.substr(5, 2));
            hours.insert(t.substr(11, 2));
            weekdays.insert(weekdayOfDays(daysFromCivil(
                {std::stoi(t.substr(0, 4)), std::stoi(t.substr(5, 2)), std::stoi(t.substr(8, 2))})));
            recent += t >= monthAgo;
            current += t >= monthStart;
            EXPECT_TRUE(tradeIds.insert(sale.tradeId).second) << sale.tradeId;
            EXPECT_GE(sale.quantity, 1);
            EXPECT_TRUE(sale.price == it.price || sale.price == it.secondPrice);
        }
        EXPECT_EQ(recent, it.monthSale) << it.id;
        EXPECT_EQ(current, it.curSale) << it.id;
    }
    EXPECT_GT(tradeIds.size(), 10000u);
    // Two years that end on the model's day: the default analysis range (1 January .. today) has sales.
    EXPECT_EQ(years, (std::set<std::string>{"2024", "2025", "2026"}));
    EXPECT_EQ(months.size(), 12u);
    EXPECT_EQ(weekdays.size(), 7u);
    EXPECT_EQ(hours.size(), 24u);
}

TEST_F(MarketModelTest, RatingSummaryCountsTheRatingList) {
    for (int index : {MarketModel::kBigRatingShop, 3, 4, 17}) {
        const Shop& s = model->shops()[static_cast<size_t>(index)];
        const auto ratings = model->ratings(s);
        ASSERT_EQ(ratings.size(), static_cast<size_t>(s.ratingCount));
        int good = 0, bad = 0;
        std::set<std::string> trades;
        for (size_t k = 0; k < ratings.size(); ++k) {
            good += ratings[k].grade == Grade::Good;
            bad += ratings[k].grade == Grade::Bad;
            trades.insert(ratings[k].tradeId);
            EXPECT_GE(ratings[k > 0 ? k - 1 : 0].time, ratings[k].time) << "newest first";
        }
        EXPECT_EQ(trades.size(), ratings.size());
        EXPECT_EQ(s.sellerRates[0].total, good);
        EXPECT_EQ(s.sellerRates[2].total, bad);
        EXPECT_EQ(s.sellerCredit, std::max(0, good - bad));
        for (const PeriodCounts& c : s.sellerRates) {
            EXPECT_LE(c.period[0], c.period[1]);
            EXPECT_LE(c.period[1], c.period[2]);
            EXPECT_EQ(c.total, c.period[2] + c.period[3]);
        }
    }
    EXPECT_GT(model->ratingPageCount(model->shops()[MarketModel::kBigRatingShop]), 100);
}

TEST_F(MarketModelTest, ItemSearchSortsBySalesAndFiltersPrice) {
    const auto found = model->findItems({.words = "连衣裙", .low = 50, .high = 300, .location = ""});
    ASSERT_FALSE(found.empty());
    for (size_t k = 0; k < found.size(); ++k) {
        EXPECT_NE(found[k]->title.find("连衣裙"), std::string::npos);
        EXPECT_GE(found[k]->price, 50);
        EXPECT_LE(found[k]->price, 300);
        EXPECT_GE(found[k > 0 ? k - 1 : 0]->monthSale, found[k]->monthSale) << "most sold first";
    }
}

} // namespace
} // namespace vantor::demo
