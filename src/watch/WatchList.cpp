#include "WatchList.h"

#include "gather/SalesGathering.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace vantor::watch {

std::optional<std::string> shopAddress(const std::string& typed) {
    std::string text = typed;
    text.erase(std::remove_if(text.begin(), text.end(), [](unsigned char c) { return std::isspace(c); }),
               text.end());
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    if (text.rfind("http://", 0) == 0)
        text.erase(0, 7);
    else if (text.rfind("https://", 0) == 0)
        text.erase(0, 8);
    const size_t slash = text.find('/');
    std::string host = text.substr(0, slash);
    const bool shopHost = host.rfind("shop", 0) == 0 && host.size() > 15 &&
                          host.compare(host.size() - 11, 11, ".taobao.com") == 0;
    if (!shopHost) return std::nullopt;
    return "http://" + host;
}

std::int64_t addWatched(db::Database& db, const std::string& address, int items, bool ratings,
                        const DateTime& now) {
    const auto shop = shopAddress(address);
    if (!shop) throw std::invalid_argument("不是店铺网址：" + address);
    items = std::clamp(items, 1, gather::kMaxItemsPerShop);
    auto known = db.prepare("select dianzhu, dianming from dianbase where lower(webaddr) = :webaddr "
                            "or lower(webaddr) = :slashed order by id limit 1");
    known.bind("webaddr", *shop).bind("slashed", *shop + "/");
    std::string nick, name;
    if (known.step()) {
        nick = known.text(0);
        name = known.text(1);
    }
    auto update =
        db.prepare("update watchShop set items = :items, ratings = :ratings where webaddr = :webaddr");
    update.bind("items", items).bind("ratings", int(ratings)).bind("webaddr", *shop);
    update.execute();
    if (db.changes() == 0) {
        auto insert = db.prepare("insert into watchShop (webaddr, dianzhu, dianming, items, ratings, added) "
                                 "values (:webaddr, :dianzhu, :dianming, :items, :ratings, :added)");
        insert.bind("webaddr", *shop)
            .bind("dianzhu", nick)
            .bind("dianming", name)
            .bind("items", items)
            .bind("ratings", int(ratings))
            .bind("added", now.toString());
        insert.execute();
    }
    auto id = db.prepare("select id from watchShop where webaddr = :webaddr");
    id.bind("webaddr", *shop);
    id.step();
    return id.integer(0);
}

bool removeWatched(db::Database& db, const std::string& idOrAddress) {
    std::int64_t id = 0;
    if (!idOrAddress.empty() && std::all_of(idOrAddress.begin(), idOrAddress.end(), ::isdigit)) {
        id = std::stoll(idOrAddress);
    } else if (const auto shop = shopAddress(idOrAddress)) {
        auto find = db.prepare("select id from watchShop where webaddr = :webaddr");
        find.bind("webaddr", *shop);
        if (find.step()) id = find.integer(0);
    }
    if (id == 0) return false;
    db.beginTransaction();
    try {
        for (const char* sql :
             {"delete from watchChange where watch_id = :id",
              "delete from watchItemSnap where watch_id = :id",
              "delete from watchShopSnap where watch_id = :id", "delete from watchShop where id = :id"}) {
            auto st = db.prepare(sql);
            st.bind("id", id);
            st.execute();
        }
        const bool removed = db.changes() > 0;
        db.commit();
        return removed;
    } catch (...) {
        db.rollback();
        throw;
    }
}

std::vector<WatchedShop> watchedShops(db::Database& db) {
    std::vector<WatchedShop> shops;
    auto st = db.prepare("select id, webaddr, dianzhu, dianming, items, ratings, added, lastRound, state "
                         "from watchShop order by id");
    while (st.step()) {
        WatchedShop shop;
        shop.id = st.integer(0);
        shop.address = st.text(1);
        shop.nick = st.text(2);
        shop.name = st.text(3);
        shop.items = int(st.integer(4));
        shop.ratings = st.integer(5) != 0;
        shop.added = st.text(6);
        shop.lastRound = st.text(7);
        shop.state = st.text(8);
        shops.push_back(std::move(shop));
    }
    return shops;
}

} // namespace vantor::watch
