#include "SaleListParser.h"

#include "ParseSupport.h"
#include "ShopPageParser.h"

namespace vantor::parse {

RecordList<TAutionInfo> parseSaleList(std::string_view page) {
    const std::string text = detail::standardCleanup(page);
    return detail::collectRows<TAutionInfo>(
        *detail::compiled(Expression::SaleRow), text, [](const Match& row, RecordList<TAutionInfo>& list) {
            TAutionInfo sale;
            sale.buyerLink = row.text(1);
            sale.buyerName = row.text(2);
            sale.buyerId = userIdFromRateUrl(row.group(1));
            sale.buyerBadge = row.text(5);
            sale.itemLink = row.text(7);
            sale.itemTitle = row.text(8);
            sale.amount = detail::numberField(row.group(9));
            sale.buyNum = detail::numberField(row.group(10));
            sale.sj = row.text(11);
            sale.status = row.text(12);
            sale.tradeId = detail::firstGroup(row.group(0), Expression::TradeId, 1);
            detail::decodeText(sale);
            list.add(std::move(sale));
        });
}

} // namespace vantor::parse
