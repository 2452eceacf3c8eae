#include "TParseHtml.h"

#include "ParseSupport.h"
#include "TParseException.h"
#include "base/GbkText.h"

namespace vantor::parse {
namespace {

using detail::compiled;
using detail::intField;

void replaceEvery(std::string& text, std::string_view from, std::string_view to) {
    for (size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

// "[2010.01.12 10:11:12]" becomes "2010-01-12 10:11:12"; the second byte of a double-byte character
// is never taken for a dot or a bracket.
std::string normaliseRatingTime(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (isGbkLead(static_cast<unsigned char>(c)) && i + 1 < text.size()) {
            out += c;
            out += text[++i];
        } else if (c == '.') {
            out += '-';
        } else if (c != '[' && c != ']') {
            out += c;
        }
    }
    return out;
}

} // namespace

RecordList<TDianBaseInfo> TParseHtml::parseShopList(std::string_view page) {
    // The search word is highlighted with <em class="h">; the highlight goes before matching.
    const std::string text = detail::cleanPage(page,
                                               {Expression::LineBreak, Expression::WhitespaceRun,
                                                Expression::HighlightOpen, Expression::HighlightClose},
                                               true);
    return detail::collectRows<TDianBaseInfo>(*compiled(Expression::ShopSearchRow), text,
                                              [](const Match& row, RecordList<TDianBaseInfo>& list) {
                                                  TDianBaseInfo shop;
                                                  shop.webaddr = row.text(2);
                                                  shop.dianming = row.text(3);
                                                  shop.loc = row.text(7);
                                                  shop.commodityNum = intField(row.group(10));
                                                  shop.dianzhu = row.text(12);
                                                  shop.addr = row.text(14);
                                                  shop.salerCredit = intField(row.group(15));
                                                  shop.rateUrl = row.text(17);
                                                  detail::decodeText(shop);
                                                  list.add(std::move(shop));
                                              });
}

RecordList<TItemInfo> TParseHtml::parseItemListShort(std::string_view page, std::string_view rowExpression) {
    const detail::ItemRowGroups groups{
        .itemUrl = 1, .itemTitle = 2, .place = 6, .shipping = 9, .price = 8, .dianzhu = 15};
    return detail::readItemRows(detail::standardCleanup(page), *compiled(lowerPattern(rowExpression)),
                                groups);
}

std::int32_t TParseHtml::parseBracketCount(std::string_view page) {
    const std::string text =
        detail::cleanPage(page, {Expression::LineBreak, Expression::WhitespaceRun}, false);
    const auto match = detail::firstMatch(text, Expression::BracketCount);
    return match ? intField(match->group(1)) : 0;
}

TItemBaseInfo TParseHtml::parseItemPage(std::string_view page) {
    const std::string text = detail::standardCleanup(page);
    TItemBaseInfo item;
    // The id comes from the page's embedded data, never from its address.
    const auto id = detail::firstMatch(text, Expression::ItemId);
    item.itemId = id ? id->text(1) : "000000000000000";
    const auto title = detail::firstMatch(text, Expression::ItemTitle);
    item.itemTitle = title ? title->text(1) : "xxxxxxxxxxxxxxxxxxx";
    if (const auto match = detail::firstMatch(text, Expression::ItemCurSale))
        item.curSale = intField(match->group(1));
    if (const auto match = detail::firstMatch(text, Expression::ItemMonthSale))
        item.monthSale = intField(match->group(1));
    if (const auto match = detail::firstMatch(text, Expression::ItemFavorite))
        item.favorite = intField(match->group(1));
    item.addr = detail::firstGroup(text, Expression::ItemAddr, 1);
    if (const auto match = detail::firstMatch(text, Expression::ItemPrice))
        item.curPrice = detail::numberField(match->group(1));
    detail::decodeText(item);
    return item;
}

std::string TParseHtml::buyerListUrl(std::string_view page) {
    const std::string text = detail::standardCleanup(page);
    const auto button = detail::firstMatch(text, Expression::BuyerListButton);
    if (!button) return {};
    const auto params = detail::firstMatch(button->group(0), Expression::BuyerListParams);
    if (!params) throw TParseException("商品交易链接解析出错！");
    // The page asks for 15 sales from a later start; the list is read 80 at a time from the first.
    // Decoded before the tail goes on, so a broken byte at its end cannot swallow the tail.
    std::string url = gbkToUtf8(params->text(1));
    replaceEvery(url, "is_start=false", "is_start=true");
    replaceEvery(url, "&bid_page=1&page_size=15", "");
    url += "&page_size=80&&bid_page=";
    return url;
}

std::int32_t TParseHtml::parseSoldTotal(std::string_view page) {
    const auto match = detail::firstMatch(page, Expression::SoldTotal);
    return match ? intField(match->group(1)) : 0;
}

std::string TParseHtml::parseShopEntry(std::string_view page) {
    return gbkToUtf8(detail::firstGroup(detail::standardCleanup(page), Expression::ShopEntry, 1));
}

RecordList<TRateInfo> TParseHtml::parseRateList(std::string_view page, std::string_view rowExpression) {
    const std::string text = detail::standardCleanup(page);
    return detail::collectRows<TRateInfo>(
        *compiled(rowExpression), text, [](const Match& row, RecordList<TRateInfo>& list) {
            TRateInfo rate;
            rate.pj = row.text(1);
            rate.pjInfo = row.text(4);
            rate.pjjs = row.text(6);
            rate.pjsj = normaliseRatingTime(row.group(7));
            // A rater shown with a link has the name in group 10, one shown without in group 13.
            rate.pjName = row.group(10).empty() ? row.text(13) : row.text(10);
            rate.raterLink = row.text(9);
            rate.tradeId = row.text(14);
            rate.itemTitle = row.text(15);
            rate.jg = detail::numberField(row.group(17));
            rate.counts = row.group(2).empty();
            detail::decodeText(rate);
            std::string time = rate.pjsj;
            list.add(std::move(time), std::move(rate));
        });
}

} // namespace vantor::parse
