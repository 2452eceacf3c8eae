// One entry per parser for libFuzzer. Each feeds the input as a page to its parsers: a parse may
// reject the page with TParseException, anything else (a crash, a sanitizer report, a broken
// invariant, another exception) is a finding.

#include "FuzzTargets.h"

#include "base/GbkText.h"
#include "base/TDateTools.h"
#include "parse/Expressions.h"
#include "parse/ItemSearchParser.h"
#include "parse/RateSummaryParser.h"
#include "parse/RefCodecs.h"
#include "parse/SaleListParser.h"
#include "parse/ShopPageParser.h"
#include "parse/THTMLTools.h"
#include "parse/TParseException.h"
#include "parse/TParseHtml.h"
#include "parse/fixtures/PageFixtures.h"

#include <algorithm>
#include <cstdlib>
#include <string>

namespace vantor::fuzz {
namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

template <class Parse> void tolerate(Parse parse) {
    try {
        parse();
    } catch (const TParseException&) {
    }
}

} // namespace

void shopList(std::string_view page) {
    tolerate([&] {
        const auto list = TParseHtml::parseShopList(page);
        for (size_t i = 0; i < list.size(); ++i)
            check(list.text(i) == std::to_string(i));
    });
}

void itemLists(std::string_view page) {
    tolerate([&] { THTMLTools::parseItemList(page, fixtures::fullRowExpression()); });
    tolerate([&] { TParseHtml::parseItemListShort(page, expression(parse::Expression::ItemSearchRow)); });
    tolerate([&] {
        for (const auto& entry : parse::parseItemSearchList(page))
            check(!entry.record.price.empty() && !entry.record.shipping.empty());
    });
    tolerate([&] { parse::parseShopItemList(page); });
    tolerate([&] { parse::parseItemListPaging(page); });
    tolerate([&] { parse::parseItemSearchTotal(page); });
    tolerate([&] { TParseHtml::parseBracketCount(page); });
}

void itemPage(std::string_view page) {
    tolerate([&] {
        const TItemBaseInfo item = TParseHtml::parseItemPage(page);
        check(!item.itemId.empty() && !item.itemTitle.empty());
    });
    tolerate([&] {
        const std::string url = TParseHtml::buyerListUrl(page);
        check(url.empty() || url.ends_with("&page_size=80&&bid_page="));
    });
    tolerate([&] { TParseHtml::parseSoldTotal(page); });
    tolerate([&] { TParseHtml::parseShopEntry(page); });
}

void rateList(std::string_view page) {
    tolerate([&] {
        for (const auto& entry : TParseHtml::parseRateList(page, expression(parse::Expression::RatingRow)))
            check(entry.text == entry.record.pjsj);
    });
}

void shopPage(std::string_view page) {
    tolerate([&] { check(!parse::parseShopPage(page).userId.empty()); });
}

void rateSummary(std::string_view page) {
    tolerate([&] {
        // Scores are cut to six characters; the record holds them in UTF-8.
        const auto characters = [](const std::string& text) {
            return std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; });
        };
        const TRateBaseInfo info = parse::parseRateSummary(page);
        check(characters(info.itemGoal) <= 6 && characters(info.serviceGoal) <= 6 &&
              characters(info.consignGoal) <= 6);
    });
}

void saleList(std::string_view page) {
    tolerate([&] { parse::parseSaleList(page); });
}

void textTools(std::string_view text) {
    const std::string lowered = lowerAscii(text);
    check(lowerAscii(lowered) == lowered);
    if (text.find('&') == std::string_view::npos) check(parse::fromHexRefs(parse::toHexRefs(text)) == text);
    parse::fromDecimalRefs(text);
    gbkToUtf8(text);
    tolerate([&] { THTMLTools::decodeEntities(text); });
    tolerate([&] { THTMLTools::cleanPage(text); });
    const size_t half = text.size() / 2;
    const auto a = DateTime::parse(text.substr(0, half)), b = DateTime::parse(text.substr(half));
    if (a && b) TDateTools::difference(TDateTools::Days, *a, *b);
}

} // namespace vantor::fuzz
