// The shop the analysis benchmarks analyse: shop 1 with its sales over two years, and shop 2 with a
// tenth as many that the statements must skip.
#pragma once

#include "base/DateTime.h"
#include "db/Database.h"

#include <random>
#include <string>

namespace vantor::bench {

inline constexpr int kItems = 300;
inline constexpr const char* kFrom = "2010-01-01";
inline constexpr const char* kTo = "2011-12-31";

inline void fill(db::Database& db, int sales) {
    std::mt19937 random(7);
    db.beginTransaction();
    db.exec("insert into dianbase(id,dianzhu,dianming,updateDate,salerCredit) values"
            "(1,'bench','压力测试店','2012-01-01 00:00:00',100),(2,'other','别家','2012-01-01 00:00:00',50)");
    auto item =
        db.prepare("insert into itemInfo(dian_id,itemId,itemTitle,curPrice) values(:shop,:id,:title,:price)");
    for (int i = 0; i < kItems * 2; ++i) {
        item.bind("shop", i < kItems ? 1 : 2)
            .bind("id", "item" + std::to_string(i))
            .bind("title", "测试商品 No." + std::to_string(i) + " & 配件")
            .bind("price", 5.0 + i % 97);
        item.execute();
        item.reset();
    }
    auto sale =
        db.prepare("insert into saleInfo(itemId,trade_id,itemTitle,amount,buyerName,sj,buyNum,getNum) "
                   "values(:item,:trade,'t',:amount,'buyer',:sj,:num,:num)");
    std::int64_t start = DateTime::parse("2010-01-01 00:00:00")->serialSeconds();
    std::int64_t span = DateTime::parse("2012-01-01 00:00:00")->serialSeconds() - start;
    int total = sales + sales / 10;
    for (int i = 0; i < total; ++i) {
        int shopItem = int(random() % kItems) + (i < sales ? 0 : kItems);
        double price = 5.0 + shopItem % 97 - (random() % 4 == 0 ? 1.5 : 0); // some sell at a discount
        sale.bind("item", "item" + std::to_string(shopItem))
            .bind("trade", std::to_string(i))
            .bind("amount", price)
            .bind("sj", DateTime::fromSerialSeconds(start + std::int64_t(random() % span)).toString())
            .bind("num", double(1 + random() % 3));
        sale.execute();
        sale.reset();
    }
    db.commit();
}

} // namespace vantor::bench
