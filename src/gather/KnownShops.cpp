#include "KnownShops.h"

namespace vantor::gather {

namespace {

TDianBaseInfo fromRow(db::Statement& row) {
    TDianBaseInfo shop;
    shop.dianzhu = row.text(0);
    shop.dianming = row.text(1);
    shop.loc = row.text(2);
    shop.webaddr = row.text(3);
    shop.salerCredit = std::int32_t(row.integer(4));
    shop.addr = row.text(5);
    shop.commodityNum = std::int32_t(row.integer(6));
    return shop;
}

constexpr const char* kShopColumns =
    "select dianzhu,dianming,loc,webaddr,salerCredit,addr,commodityNum from dianbase ";

} // namespace

TDianBaseInfo shopFromAddress(db::Database& db, const std::string& address) {
    auto find = db.prepare(std::string(kShopColumns) + "where webaddr=:webaddr or webaddr=:slashed order by "
                                                       "updateDate desc limit 1");
    std::string trimmed = address;
    while (!trimmed.empty() && trimmed.back() == '/')
        trimmed.pop_back();
    find.bind("webaddr", trimmed).bind("slashed", trimmed + "/");
    if (find.step()) {
        TDianBaseInfo shop = fromRow(find);
        shop.webaddr = address;
        return shop;
    }
    TDianBaseInfo shop;
    shop.webaddr = address;
    return shop;
}

TDianBaseInfo shopFromDatabase(db::Database& db, std::int64_t shopId) {
    auto find = db.prepare(std::string(kShopColumns) + "where id=:id");
    find.bind("id", shopId);
    return find.step() ? fromRow(find) : TDianBaseInfo{};
}

} // namespace vantor::gather
