#include "THTMLTools.h"

#include "ParseSupport.h"
#include "base/GbkText.h"

namespace vantor::parse {

std::string THTMLTools::decodeEntities(std::string_view text) {
    std::string out = lowerAscii(text);
    detail::decodeEntityPasses(out);
    return out;
}

std::string THTMLTools::replaceAll(std::string_view pattern, std::string_view subject, bool lowerCase,
                                   std::string_view replacement) {
    if (!lowerCase) return detail::compiled(pattern)->replaceAll(subject, replacement);
    return detail::compiled(lowerPattern(pattern))->replaceAll(lowerAscii(subject), replacement);
}

std::int32_t THTMLTools::matchInt(std::string_view page, std::string_view pattern) {
    const std::string text = detail::standardCleanup(page);
    const auto match = detail::compiled(lowerPattern(pattern))->firstMatch(text);
    return match ? detail::intField(match->group(2)) : 0;
}

RecordList<TItemInfo> THTMLTools::parseItemList(std::string_view page, std::string_view rowExpression) {
    // This page kind breaks lines with "<br>", not "<br/>".
    const std::string text =
        detail::cleanPage(page, {Expression::LineBreakNoSlash, Expression::WhitespaceRun}, true);
    const detail::ItemRowGroups groups{.itemUrl = 1,
                                       .itemTitle = 2,
                                       .place = 7,
                                       .shipping = 17,
                                       .price = 16,
                                       .dianzhu = 20,
                                       .cell22 = 22,
                                       .cell23 = 23};
    return detail::readItemRows(text, *detail::compiled(lowerPattern(rowExpression)), groups);
}

std::string THTMLTools::cleanPage(std::string_view page) {
    return detail::standardCleanup(page);
}

} // namespace vantor::parse
