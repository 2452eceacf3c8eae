#include "ItemSearchParser.h"

#include "Expressions.h"
#include "ParseSupport.h"
#include "THTMLTools.h"

namespace vantor::parse {

RecordList<TItemInfo> parseItemSearchList(std::string_view page) {
    const detail::ItemRowGroups groups{
        .itemUrl = 1, .itemTitle = 2, .place = 6, .shipping = 9, .price = 8, .dianzhu = 15, .cell22 = 5};
    return detail::readItemRows(detail::standardCleanup(page), *detail::compiled(Expression::ItemSearchRow),
                                groups);
}

std::int32_t parseItemSearchTotal(std::string_view page) {
    return THTMLTools::matchInt(page, expression(Expression::ItemSearchTotal));
}

} // namespace vantor::parse
