#pragma once

#include "market/Records.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantor::parse {

// The user id of a shop whose page names none; the shop is still saved, under this text.
inline constexpr const char* kNoUserId = "do not get userId";

// A shop's own page, in either of the marketplace's two layouts: rating page address, shopkeeper
// (and, in the second layout, the shop address), credits, bookmarks, creation date, item count,
// location, main business and the first-page link. The user id comes from the rating page address,
// else from the page's script, else it is kNoUserId.
TDianBaseInfo parseShopPage(std::string_view page);

// The paging facts of a shop's item list page; 0 or empty where the page shows none.
struct ItemListPaging {
    std::int32_t pageCount = 0;
    std::int32_t total = 0;
    std::string formAction;
};
ItemListPaging parseItemListPaging(std::string_view page);

// The rows of a shop's item list page: url, title (spans removed), location, price, seller, and the
// hidden inputs: auction id in cell22, user id in cell23. Shipping is not shown there and is "0".
RecordList<TItemInfo> parseShopItemList(std::string_view page);

// "…/user-rate-<id>.htm" → "<id>"; empty text when the address has no such part.
// The id an item address carries ("…item.htm?id=123"); empty when it carries none.
std::string itemIdFromAddress(std::string_view address);
std::string userIdFromRateUrl(std::string_view rateUrl);

} // namespace vantor::parse
