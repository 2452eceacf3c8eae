#pragma once

#include "market/Records.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace vantor::parse {

// The page parsers of the shop search, item list, item and rating pages. Stateless; every operation
// cleans the page itself. Pages are GBK bytes; the records and addresses it returns are UTF-8.
// Failures raise TParseException.
class TParseHtml {
public:
    // One shop per search result row, in page order, under "0", "1", ….
    static RecordList<TDianBaseInfo> parseShopList(std::string_view page);

    // Item list rows with the short-row layout: url 1, title 2 (spans removed), place 6, price 8,
    // shipping 9, seller 15. The row expression needs at least 15 groups.
    static RecordList<TItemInfo> parseItemListShort(std::string_view page, std::string_view rowExpression);

    // The count in "( N )</div>", 0 when the page shows none.
    static std::int32_t parseBracketCount(std::string_view page);

    // Id, title, sales, bookmarks, location and price of an item page. An item without an id or a
    // title gets "000000000000000" or "xxxxxxxxxxxxxxxxxxx".
    static TItemBaseInfo parseItemPage(std::string_view page);

    // The address of the item's buyer list without its page number, or empty text when the page has no
    // buyer-list button. A button without "detail:params" raises "商品交易链接解析出错！".
    static std::string buyerListUrl(std::string_view page);

    // "sold_total_num=N" of the raw page, 0 when absent.
    static std::int32_t parseSoldTotal(std::string_view page);

    // The "进入掌柜的店铺" link, or empty text.
    static std::string parseShopEntry(std::string_view page);

    // One rating per row, each under its normalised rating time (texts may repeat). The row expression
    // is used as given.
    static RecordList<TRateInfo> parseRateList(std::string_view page, std::string_view rowExpression);
};

} // namespace vantor::parse

// The module keeps its name where the rest of the program meets it.
namespace vantor {
using parse::TParseHtml;
} // namespace vantor
