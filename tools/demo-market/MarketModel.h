#pragma once

#include "MarketTime.h"

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vantor::demo {

// All texts are UTF-8 exactly as the program sees them after its page clean-up: ASCII letters in
// lower case (the program lower-cases every page), no double blanks, no quotes or angle brackets.
// The pages write them in GBK with entities, upper-case tags and line breaks around.

// Rating classes in page order.
enum class Grade { Good = 0, Neutral = 1, Bad = 2 };
const char* gradeText(Grade grade); // "好评", "中评", "差评"

// Ratings of one class in the four periods of a rating summary. The periods are cumulative, as the
// marketplace counts them: the last week, the last month, the last half year; the fourth holds
// what is older than half a year, and the total is the half year plus that.
struct PeriodCounts {
    std::array<int, 4> period{};
    int total = 0;
};

struct Shop {
    int index = 0;
    std::string shopNo; // the shop's host is "shop" + shopNo + ".taobao.com"
    std::string userId; // decimal digits
    std::string nick;   // shopkeeper's nickname, unique
    std::string name;   // shop name
    std::string mainBusiness;
    std::string categoryId; // an id of the shop search's category list
    std::string location;   // "浙江 杭州"
    std::string street;     // the shop page's "地址"
    std::string createDate; // "yyyy-MM-dd"
    int favorite = 0;
    int sellerCredit = 0; // good minus bad ratings received as seller
    int buyerCredit = 0;
    bool hasRatingLink = true;
    // Places in the shop's catalogue; each holds one item for a while (see MarketModel).
    int places = 0;
    std::vector<int> items; // indexes into MarketModel::items(): the items listed today, in list order
    int ratingCount = 0;    // ratings received as seller, all on the rating pages
    // Whether the shop's ratings change after its rating summary was first visited: two newer good
    // ratings on top, and the seller's explanation changed on some existing trades.
    bool ratingsChange = false;
    // Whether the shop bought credit: ratings from a few raters, bursts of good ratings on cheap
    // trades on a few days, many automatic good ratings.
    bool boughtCredit = false;
    // Whether the shop changes within any week (see MarketModel::kLivelyEvery).
    bool lively = false;
    int newRatings = 0;                      // of ratingCount, the newer ones a revised view adds
    std::array<PeriodCounts, 3> sellerRates; // by Grade
    std::array<PeriodCounts, 3> buyerRates;
    std::array<std::string, 3> scores; // item as described, service, shipping speed: "4.8"
    double virtualShare = 0;           // percent of trades in virtual goods
    double realShare = 0;
    double sellerGoodRate = 100; // percent
    double buyerGoodRate = 100;
    std::uint64_t seed = 0;
    // Ratings a day, before the day's weight, on top of the lively shops' weekly ones and the bought
    // bursts.
    double ratingRate = 0;
    double buyerRatingRate = 0;

    int level() const;               // 0 (no credit) .. 20, the marketplace's credit levels
    std::string webAddress() const;  // "http://shop<no>.taobao.com"
    std::string rateAddress() const; // the rating summary: ".../user-rate-<userId>.htm"
};

struct Item {
    // Days an item is listed for good: listed since before any history, never withdrawn.
    static constexpr std::int64_t kAlwaysListed = INT64_MIN / 2;
    static constexpr std::int64_t kNeverWithdrawn = INT64_MAX / 2;

    int index = 0; // position in MarketModel::items() of the model it came from
    int shopIndex = 0;
    int place = 0;      // its place in the shop's catalogue
    int generation = 0; // the items that held the place before it, counted from some day long ago
    std::string id;     // decimal digits
    std::string title;
    std::string location;
    double price = 0;       // today's price
    double secondPrice = 0; // today's upper end of a price range; 0 for one price
    double shipping = 0;
    int favorite = 0;
    int saleCount = 0;          // trades on the buyer list
    int monthSale = 0;          // trades in the last 30 days ("30天售出", "最近售出")
    int curSale = 0;            // trades in the current calendar month ("本期售出")
    bool hasBuyerList = true;   // false: the item page has no buyer-list button
    bool hasItemId = true;      // false: the item page lacks the embedded item id
    bool showsMonthSale = true; // false: the item page hides the 30-day figure
    int browseCategory = 0;     // position in the program's category-browse table
    int categorySale = 0;       // the 30-day sales the category pages show this month
    std::uint64_t seed = 0;

    // Days as days since 1970-01-01 (daysFromCivil).
    std::int64_t listedDay = kAlwaysListed;      // the first day it is listed
    std::int64_t withdrawnDay = kNeverWithdrawn; // the first day it is no longer listed
    // The price changes on the days d with (d - pricePhase) % pricePeriod == 0, to another price than
    // the one before; it is the same for the whole day (from 00:00).
    double basePrice = 0;
    int pricePeriod = 1;
    int pricePhase = 0;
    bool priceRange = false; // the item has a second price, 1.5 times the first
    int priceCycle = 0;      // > 0: the price steps through this many prices in turn; 0: at random
    double saleRate = 0;     // sales a day, before the day's weight
    double saleSwing = 0;    // each 32-day block's rate is scaled by a factor within 1 +- this
    bool dailySale = false;  // one more sale every day, before 20:15

    std::string address() const; // "http://item.taobao.com/item.htm?id=<id>"
    bool listedOn(std::int64_t day) const { return day >= listedDay && day < withdrawnDay; }
    double priceOn(std::int64_t day) const;
    double secondPriceOn(std::int64_t day) const; // 0 for one price
};

// One trade on an item's buyer list.
struct Sale {
    std::string buyerName;
    std::string buyerId; // empty for a buyer shown without a link
    std::string itemTitle;
    std::string tradeId;
    std::string time; // "yyyy-MM-dd HH:mm:ss"
    std::string status;
    int quantity = 1;
    double price = 0; // unit price paid
};

// One rating a shop received as seller.
struct Rating {
    Grade grade = Grade::Good;
    bool counts = true; // false: shown with "[不计分]"
    std::string comment;
    std::string explanation; // the seller's, may be empty
    std::string time;        // "yyyy-MM-dd HH:mm:ss"
    std::string raterName;   // plain text; the page writes its Chinese characters as "&#NNNNN;"
    std::string raterId;     // empty for a rater shown without a link
    std::string itemId;
    std::string itemTitle;
    std::string tradeId;
    double price = 0;
};

struct ShopQuery {
    std::string categoryId;                                  // empty: every category
    std::string location;                                    // part of the shop's location; empty: anywhere
    std::string keyword;                                     // empty: every shop
    bool inName = false, inNick = false, inBusiness = false; // none set: all three
    std::vector<int> levels;                                 // empty: every level
    bool byCredit = true;                                    // else by popularity (bookmarks)
};

struct ItemQuery {
    std::string words; // every blank-separated word must be in the title
    std::optional<double> low, high;
    std::string location;
};

// Shop search categories of the demo market: ids of the program's category list.
struct Category {
    std::string id;
    std::string name;
    std::string shopWord;           // word of shop names
    std::vector<std::string> nouns; // words of item titles
};
const std::vector<Category>& marketCategories();

// The whole market, generated from a seed. Shops and today's items are held; the long lists (an item's
// sales, a shop's ratings) are generated again on each call, identically for the same seed.
//
// The market has one history for a seed, day by day: what happens on a calendar day (its sales and
// ratings, an item's price that day, which items a shop lists) is drawn from that day's own streams,
// never from the day the model is built for. A model for today T shows the last
// MarketCalendar::kDays days of it, from calendar().start (00:00 on T - 729) to calendar().now (20:15 on
// T): an item's buyer list and a shop's rating list hold the events dated in that window, and the
// item figures (saleCount, monthSale, curSale), the rating summaries and the credits count exactly
// those. So, for models A (today D1) and B (today D2 > D1) of one seed:
// - an event dated from B's start to A's now is in both lists alike, every field the same (trade ids
//   too); those dated after A's now are B's news; those before B's start have left B's window.
// - each shop keeps its profile (all but the items, the credits and the rating figures). Its seller
//   rating totals in B are A's, plus the ratings dated after A's now, less A's ratings dated before B's
//   start (per grade); the credit is good minus bad of those totals, and never below 0.
// - an item listed on both days is the same item (id, title, location, shipping, favorite, place,
//   generation and the flags); its price on a day is priceOn(day) in both.
// - sales(item) takes an item of another model of the seed too (e.g. one withdrawn meanwhile): it gives
//   that item's sales within this model's window, up to its withdrawal.
//
// A shop's catalogue has `places`. The first kSteadyItems places and the last hold one item for good;
// they are always items 0, 1 and 2 and the last item of the list. Every other place passes from one
// item to the next: its item is withdrawn on some day and, after a gap of days or on the same day, a
// new item with a new id is listed in the place. The list shows the items of the occupied places in
// place order. A withdrawn item is gone from the model (items(), itemById()): its page and its buyer
// list answer 404 as for an unknown id, so a later visit cannot mistake it for a listed one. Prices
// change on days of their own (Item::priceOn); a sale's price and a rating's price are the item's
// price on their day.
//
// Every day, up to 20:15:
// - every shop sells at least once on the last item of its list (which has a buyer list in every shop),
//   besides the sales of many other items;
// - ratings arrive, a few of them 中评 or 差评 with comments.
// Lively shops (index % kLivelyEvery == kLivelyRemainder: 1, 5, 9, ...) have at least kLivelyPlaces
// places and, for any days D1 < D2 with D2 >= D1 + kLivelyDays:
// - item 1's price changed on a day after D1 (it changes once every kLivelyDays days, through a cycle
//   of 10 distinct prices): its price on D2 differs from that on D1 while D2 < D1 + 10 * kLivelyDays;
// - place 3, always item 3 of the list, is held by a new item (withdrawn and listed on the same day,
//   once every kLivelyDays days): D2's list has an item D1's had not, and lacks one D1's had;
// - the shop got a 中评 or a 差评, with a comment, dated after D1's now (one every kLivelyDays days,
//   before 20:15).
// Other shops change at random: a price now and then, items coming and going, a bad rating at times.
//
// The special shops below keep their special behaviour on every day. A revised view (revised()) adds two
// ratings that belong to the visits of one served market, not to the history: a model of a later day
// does not hold them.
class MarketModel {
public:
    static constexpr int kShopCount = 320;
    static constexpr int kRatingsPerPage = 20;
    static constexpr int kListPageSize = 80;
    // Shops and items the special cases live at.
    static constexpr int kBigRatingShop = 0;        // more than 100 rating pages, 170 items (3 list pages)
    static constexpr int kNoRatingLinkShop = 1;     // its shop page has no rating link
    static constexpr int kOddItemsShop = 2;         // items 0, 1, 2: no buyer list, no id, no 30-day figure
    static constexpr int kChangingRatingsEvery = 8; // shops 3, 11, 19, ...: ratings change between visits
    static constexpr int kBoughtCreditEvery = 8;    // shops 6, 14, 22, ...: bought credit
    // The day-by-day rules above.
    static constexpr int kSteadyItems = 3;
    static constexpr int kLivelyEvery = 4;
    static constexpr int kLivelyRemainder = 1;
    static constexpr int kLivelyDays = 7;
    static constexpr int kLivelyPlaces = 10;

    explicit MarketModel(std::uint64_t seed, CivilDate today = localToday());

    std::uint64_t seed() const { return seed_; }
    const MarketCalendar& calendar() const { return calendar_; }
    const std::vector<Shop>& shops() const { return shops_; }
    const std::vector<Item>& items() const { return items_; }
    const Item& itemOf(const Shop& shop, int position) const { return items_[shop.items[position]]; }

    const Shop* shopByNo(const std::string& shopNo) const;
    const Shop* shopByUserId(const std::string& userId) const;
    const Item* itemById(const std::string& id) const;

    // Newest first, within the calendar. An item of another model of the same seed may be given.
    std::vector<Sale> sales(const Item& item) const;
    std::vector<Rating> ratings(const Shop& shop) const;
    int ratingPageCount(const Shop& shop) const;
    // The shop as a later visit sees it: for a shop whose ratings change, two more ratings, counted in
    // its summary, and changed explanations; any other shop as it is.
    Shop revised(const Shop& shop) const;

    std::vector<const Shop*> findShops(const ShopQuery& query) const;
    // Sorted by 30-day sales, most first.
    std::vector<const Item*> findItems(const ItemQuery& query) const;
    // The items of a category of the category-browse table (by id), best sellers of this month first.
    std::vector<const Item*> categoryItems(const std::string& browseId) const;

    // The weights of the days of the calendar, in 32-day blocks (defined in MarketModel.cpp).
    class DayWeights;

private:
    // The item of the shop's place that is the generation-th to hold it; without today's figures.
    Item makeItem(const Shop& shop, int place, std::int64_t generation) const;

    std::uint64_t seed_;
    MarketCalendar calendar_;
    std::shared_ptr<const DayWeights> weights_;
    std::vector<Shop> shops_;
    std::vector<Item> items_;
    std::map<std::string, int> shopByNo_, shopByUserId_, itemById_;
};

} // namespace vantor::demo
