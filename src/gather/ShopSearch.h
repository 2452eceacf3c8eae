#pragma once

#include "base/DateTime.h"
#include "market/Records.h"

#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::gather {

inline constexpr const char* kSearchConditionMissing = "请输入店铺名称或类别等条件进行搜索！";

// The form's limits: the window's controls and the command line's checks take them from here.
inline constexpr int kCreditLevels = 20;
inline constexpr int kMinSearchRange = 10;
inline constexpr int kMaxSearchRange = 400;
inline constexpr int kDefaultSearchRange = 80;

// What the user asks the shop search for. Texts are UTF-8 as typed.
struct ShopSearchQuery {
    std::string keyword;
    bool inTitle = false; // "店铺名"
    bool inNick = false;  // "掌柜名"
    bool inTag = false;   // "主营项目"
    int category = 0;     // position in the shop search's category table
    std::string location;
    std::set<int> levels;      // credit levels 1..kCreditLevels
    bool byPopularity = false; // "按人气排序"; otherwise "按信用排序"
    // The rating gathering writes the order keys the other way round ("&sort=ratesum_desc" for
    // popularity, "&soft=default" for credit); the marketplace has always been asked so.
    bool ratingOrderKeys = false;
    int range = kDefaultSearchRange; // how many shops, kMinSearchRange..kMaxSearchRange
};

// The message that refuses the search, or nothing when it may run: the one check of the form, for the
// window and the command line alike.
std::optional<std::string> validateShopSearch(const ShopSearchQuery& query);

// The search address without the page offset: the job appends 80 × page, then a blank.
std::string shopSearchAddress(const ShopSearchQuery& query);

// The last page of the search: pages 0..range div 81 are fetched.
inline int shopSearchEndPage(int range) {
    return range / 81;
}

// The search log's block for the n-th search since the window opened.
std::string shopSearchLog(const ShopSearchQuery& query, int searchNumber, const DateTime& now);

// Text typed by the user as the marketplace expects it in an address: GBK bytes, percent-encoded.
std::string gbkQueryText(std::string_view utf8);

} // namespace vantor::gather

namespace vantor::gather {

// The columns of the search result grid, and one shop as a row of it (UTF-8): running number, empty
// selection, shopkeeper, shop name, credit points ("信用"), seller level ("信用级别", "3钻"), main
// business, address, item count, location.
const std::vector<std::string>& searchGridColumns();
std::vector<std::string> searchGridRow(int number, const TDianBaseInfo& shop);

} // namespace vantor::gather
