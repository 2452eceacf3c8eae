#include "ShopPageParser.h"

#include "ParseSupport.h"

namespace vantor::parse {

using detail::firstGroup;
using detail::firstMatch;

TDianBaseInfo parseShopPage(std::string_view page) {
    const std::string text = detail::standardCleanup(page);
    TDianBaseInfo shop;

    if (const auto link = firstMatch(text, Expression::RateLinkFirstForm))
        shop.rateUrl = link->text(2);
    else
        shop.rateUrl = firstGroup(text, Expression::RateLinkSecondForm, 1);

    if (const auto keeper = firstMatch(text, Expression::ShopkeeperSecondForm)) {
        shop.webaddr = keeper->text(1);
        shop.dianzhu = keeper->text(2);
    } else {
        shop.dianzhu = firstGroup(text, Expression::ShopkeeperFirstForm, 1);
    }

    if (const auto credit = firstMatch(text, Expression::SellerCredit))
        shop.salerCredit = detail::intField(credit->group(2));
    if (const auto credit = firstMatch(text, Expression::BuyerCredit))
        shop.buyerCredit = detail::intField(credit->group(2));
    if (const auto favorite = firstMatch(text, Expression::ShopFavorite))
        shop.favorite = detail::intField(favorite->group(2));
    shop.createDate = firstGroup(text, Expression::ShopCreateDate, 1);
    shop.dianming = firstGroup(text, Expression::ShopName, 1);
    if (const auto count = firstMatch(text, Expression::ShopItemCount))
        shop.commodityNum = detail::intField(count->group(1));
    shop.addr = firstGroup(text, Expression::ShopLocation, 1);
    if (shop.addr.empty()) shop.addr = firstGroup(text, Expression::ShopAddress, 1);
    shop.loc = firstGroup(text, Expression::CategoryTrail, 3);
    shop.firstPageUrl = firstGroup(text, Expression::FirstPageFirstForm, 1);
    if (shop.firstPageUrl.empty()) shop.firstPageUrl = firstGroup(text, Expression::FirstPageSecondForm, 1);

    shop.userId = userIdFromRateUrl(shop.rateUrl);
    if (shop.userId.empty()) shop.userId = firstGroup(text, Expression::UserIdFromScript, 1);
    if (shop.userId.empty()) shop.userId = kNoUserId;
    detail::decodeText(shop);
    return shop;
}

ItemListPaging parseItemListPaging(std::string_view page) {
    const std::string text = detail::standardCleanup(page);
    ItemListPaging paging;
    if (const auto pages = firstMatch(text, Expression::ItemListPageCount))
        paging.pageCount = detail::intField(pages->group(1));
    if (const auto total = firstMatch(text, Expression::ItemListTotal))
        paging.total = detail::intField(total->group(1));
    paging.formAction = firstGroup(text, Expression::ItemListFormAction, 1);
    return paging;
}

RecordList<TItemInfo> parseShopItemList(std::string_view page) {
    const detail::ItemRowGroups groups{
        .itemUrl = 1, .itemTitle = 2, .place = 8, .price = 11, .dianzhu = 16, .cell22 = 18, .cell23 = 19};
    return detail::readItemRows(detail::standardCleanup(page), *detail::compiled(Expression::ShopItemRow),
                                groups);
}

std::string itemIdFromAddress(std::string_view address) {
    size_t at = address.find("?id=");
    if (at == std::string_view::npos) at = address.find("&id=");
    if (at == std::string_view::npos) return {};
    size_t end = at + 4;
    while (end < address.size() && address[end] >= '0' && address[end] <= '9')
        ++end;
    return std::string(address.substr(at + 4, end - at - 4));
}

std::string userIdFromRateUrl(std::string_view rateUrl) {
    return firstGroup(rateUrl, Expression::UserIdFromRateUrl, 1);
}

} // namespace vantor::parse
