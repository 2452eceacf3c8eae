#pragma once

#include "MarketTime.h"

#include <array>
#include <cstdint>
#include <map>
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
    std::vector<int> items; // indexes into MarketModel::items(), in list order
    int ratingCount = 0;    // ratings received as seller, all on the rating pages
    // Whether the shop's ratings change after its rating summary was first visited: two newer good
    // ratings on top, and the seller's explanation changed on some existing trades.
    bool ratingsChange = false;
    // Whether the shop bought credit: ratings from a few raters, bursts of good ratings on cheap
    // trades on a few days, many automatic good ratings.
    bool boughtCredit = false;
    int newRatings = 0;                      // of ratingCount, the newer ones a revised view adds
    std::array<PeriodCounts, 3> sellerRates; // by Grade
    std::array<PeriodCounts, 3> buyerRates;
    std::array<std::string, 3> scores; // item as described, service, shipping speed: "4.8"
    double virtualShare = 0;           // percent of trades in virtual goods
    double realShare = 0;
    double sellerGoodRate = 100; // percent
    double buyerGoodRate = 100;
    std::uint64_t seed = 0;

    int level() const;               // 0 (no credit) .. 20, the marketplace's credit levels
    std::string webAddress() const;  // "http://shop<no>.taobao.com"
    std::string rateAddress() const; // the rating summary: ".../user-rate-<userId>.htm"
};

struct Item {
    int index = 0;
    int shopIndex = 0;
    std::string id; // decimal digits
    std::string title;
    std::string location;
    double price = 0;
    double secondPrice = 0; // the upper end of a price range; 0 for one price
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

    std::string address() const; // "http://item.taobao.com/item.htm?id=<id>"
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

// The whole market, generated from a seed. Shops and items are held; the long lists (an item's
// sales, a shop's ratings) are generated again on each call, identically for the same seed.
class MarketModel {
public:
    static constexpr int kShopCount = 320;
    static constexpr int kRatingsPerPage = 20;
    static constexpr int kListPageSize = 80;
    // Shops and items the special cases live at.
    static constexpr int kBigRatingShop = 0;        // more than 100 rating pages
    static constexpr int kNoRatingLinkShop = 1;     // its shop page has no rating link
    static constexpr int kOddItemsShop = 2;         // items 0, 1, 2: no buyer list, no id, no 30-day figure
    static constexpr int kChangingRatingsEvery = 8; // shops 3, 11, 19, ...: ratings change between visits
    static constexpr int kBoughtCreditEvery = 8;    // shops 6, 14, 22, ...: bought credit

    explicit MarketModel(std::uint64_t seed, CivilDate today = localToday());

    std::uint64_t seed() const { return seed_; }
    const MarketCalendar& calendar() const { return calendar_; }
    const std::vector<Shop>& shops() const { return shops_; }
    const std::vector<Item>& items() const { return items_; }
    const Item& itemOf(const Shop& shop, int position) const { return items_[shop.items[position]]; }

    const Shop* shopByNo(const std::string& shopNo) const;
    const Shop* shopByUserId(const std::string& userId) const;
    const Item* itemById(const std::string& id) const;

    // Newest first.
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

private:
    std::uint64_t seed_;
    MarketCalendar calendar_;
    std::vector<Shop> shops_;
    std::vector<Item> items_;
    std::map<std::string, int> shopByNo_, shopByUserId_, itemById_;
};

} // namespace vantor::demo
