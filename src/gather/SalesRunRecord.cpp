#include "SalesRunRecord.h"

namespace vantor::gather {

void recordSalesRun(db::Database& db, const std::string& owner, const std::vector<TDianBaseInfo>& shops,
                    int itemsPerShop) {
    db.beginTransaction();
    try {
        db.prepare("delete from salesRun where owner=:owner").bind("owner", owner).execute();
        auto insert = db.prepare(
            "insert into salesRun "
            "(owner,pos,items,webaddr,rateUrl,addr,dianming,dianzhu,userId,commodityNum,loc,"
            "salerCredit,buyerCredit,favorite,createDate) values (:owner,:pos,:items,:webaddr,:rateUrl,:addr,"
            ":dianming,:dianzhu,:userId,:commodityNum,:loc,:salerCredit,:buyerCredit,:favorite,:createDate)");
        for (size_t i = 0; i < shops.size(); ++i) {
            const TDianBaseInfo& shop = shops[i];
            insert.reset();
            insert.bind("owner", owner)
                .bind("pos", int(i))
                .bind("items", itemsPerShop)
                .bind("webaddr", shop.webaddr)
                .bind("rateUrl", shop.rateUrl)
                .bind("addr", shop.addr)
                .bind("dianming", shop.dianming)
                .bind("dianzhu", shop.dianzhu)
                .bind("userId", shop.userId)
                .bind("commodityNum", shop.commodityNum)
                .bind("loc", shop.loc)
                .bind("salerCredit", shop.salerCredit)
                .bind("buyerCredit", shop.buyerCredit)
                .bind("favorite", shop.favorite)
                .bind("createDate", shop.createDate);
            insert.execute();
        }
        db.commit();
    } catch (...) {
        db.rollback();
        throw;
    }
}

void markSalesShopDone(db::Database& db, const std::string& owner, int pos) {
    auto mark = db.prepare("update salesRun set done=1 where owner=:owner and pos=:pos");
    mark.bind("owner", owner).bind("pos", pos);
    mark.execute();
}

std::optional<UnfinishedRun> unfinishedSalesRun(db::Database& db, const std::string& owner) {
    auto rows = db.prepare("select pos,items,webaddr,rateUrl,addr,dianming,dianzhu,userId,commodityNum,loc,"
                           "salerCredit,buyerCredit,favorite,createDate from salesRun where owner=:owner and "
                           "done=0 order by pos");
    rows.bind("owner", owner);
    UnfinishedRun run;
    while (rows.step()) {
        TDianBaseInfo shop;
        run.positions.push_back(int(rows.integer(0)));
        run.itemsPerShop = int(rows.integer(1));
        shop.webaddr = rows.text(2);
        shop.rateUrl = rows.text(3);
        shop.addr = rows.text(4);
        shop.dianming = rows.text(5);
        shop.dianzhu = rows.text(6);
        shop.userId = rows.text(7);
        shop.commodityNum = std::int32_t(rows.integer(8));
        shop.loc = rows.text(9);
        shop.salerCredit = std::int32_t(rows.integer(10));
        shop.buyerCredit = std::int32_t(rows.integer(11));
        shop.favorite = std::int32_t(rows.integer(12));
        shop.createDate = rows.text(13);
        run.shops.push_back(std::move(shop));
    }
    if (run.shops.empty()) return std::nullopt;
    return run;
}

} // namespace vantor::gather
