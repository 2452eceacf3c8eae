#pragma once

#include "MarketModel.h"
#include "Markup.h"

#include <string>

namespace vantor::demo {

// One writer per page kind. Each returns the page in GBK, written so that the program's
// expressions for that page find every record with the model's values in the right groups.

// Shop search results: the total in brackets before a closing div, rows from offset on.
std::string shopSearchPage(const MarketModel& model, const ShopQuery& query, int offset, int pageSize,
                           Markup& markup);
// The shop's own page: profile, credits, category trail, links to its rating page and item lists.
std::string shopPage(const MarketModel& model, const Shop& shop, Markup& markup);
// Rows of the shop's item list from offset on, 80 to a page, with the page count.
std::string itemListPage(const MarketModel& model, const Shop& shop, int offset, Markup& markup);
// The item page: embedded id, title, sales figures, price block, buyer-list button, shop link.
std::string itemPage(const MarketModel& model, const Item& item, Markup& markup);
// One page (from 1) of 80 trades of the item's buyer list, newest first.
std::string buyerListPage(const MarketModel& model, const Item& item, int page, Markup& markup);
// Item search sorted by 30-day sales: the total and rows from offset on.
std::string itemSearchPage(const MarketModel& model, const ItemQuery& query, int offset, int pageSize,
                           Markup& markup);
// A category's browse page sorted by this month's sales: rows from offset on, 80 to a page, each with
// its rank, 30-day sales and bookmarks.
std::string categoryBrowsePage(const MarketModel& model, const std::string& browseId, int offset,
                               Markup& markup);
// The shop's credit summary: seller and buyer tables, cumulative credits, scores, good-rating rates.
std::string rateSummaryPage(const MarketModel& model, const Shop& shop, Markup& markup);
// One page (from 1) of 20 ratings, newest first. The rating host holds pages 1 to 99, the
// rating-history host pages from 100 on; elsewhere the page lists no ratings.
std::string rateListPage(const MarketModel& model, const Shop& shop, int page, bool historyHost,
                         Markup& markup);

// Addresses the pages link to.
// The buyer list as the item page's button gives it (before the program adds its paging keys).
std::string buyerListParams(const MarketModel& model, const Item& item);
// The list host's item list of the shop at an offset, as the program builds it.
std::string itemListAddress(const Shop& shop, int offset);
// A rating list page of the shop on the rating host.
std::string rateListAddress(const Shop& shop, int page);

} // namespace vantor::demo
