#include "ViewsFixture.h"

#include "db/TDM.h"

namespace vantor::test {

void fillViewsFixture(db::Database& db, int year) {
    db.exec(R"sql(
INSERT INTO dianbase (id, dianzhu, dianming, webaddr, updateDate, createDate, salerCredit, salelevel,
    salerGoodRate, addr, loc, commodityNum, flag, favorite, itemGoal, serviceGoal, consignGoal,
    salerGood1, salerBad1, salerNotBad1, salerGood2, salerBad2, salerNotBad2,
    salerGood3, salerBad3, salerNotBad3, salerGood4, salerBad4, salerNotBad4)
VALUES
 (1, '张三', '三号小店', 'http://shop1.taobao.com', '2011-03-01 10:00:00', '2008-05-06 00:00:00', 1500, 6,
  99.5, '浙江 杭州', '女装', 120, 0, 33, '4.8', '4.9', '4.7', 5, 1, 2, 20, 2, 3, 100, 4, 6, 900, 9, 11),
 (2, 'O''Neil', '奥尼尔,精品', 'http://shop2.taobao.com', '2011-04-01 08:00:00', '2009-01-01 00:00:00', 300, 3,
  98.25, '上海', '围巾', 8, 0, 2, '4.5', '4.5', '4.5', 1, 0, 0, 2, 0, 0, 3, 0, 0, 4, 0, 0),
 (3, '李四', '无商品店', 'http://shop3.taobao.com', '2010-12-01 09:00:00', '2010-01-01 00:00:00', 20, 1,
  100, '北京', '杂货', 0, 1, 0, '', '', '', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0);

INSERT INTO itemInfo (dian_id, itemId, itemTitle, itemAutionUrl, updateDate, curPrice, monthSale, favorite, addr)
VALUES
 (1, '1001', '春装 新款,连衣裙', 'http://item.taobao.com/1001', '2011-03-01 10:00:00', 88.5, 30, 12, '杭州'),
 (1, '1002', '短袖T恤', 'http://item.taobao.com/1002', '2011-03-01 10:00:00', 25, 30, 40, '杭州'),
 (1, '1003', '无销售', 'http://item.taobao.com/1003', '2011-03-01 10:00:00', 9.9, 5, 1, '杭州'),
 (2, '2001', 'Wool Scarf 羊毛围巾', 'http://item.taobao.com/2001', '2011-04-01 08:00:00', 120, 3, 2, '上海');

INSERT INTO saleInfo (itemId, trade_id, itemTitle, amount, buyerName, buyerId, sj, buyNum, getNum, status)
VALUES
 ('1001', 'T1', '春装 新款,连衣裙', 10.5, 'buyerA', 'a1', '2011-02-01 09:00:00', 2, 2, '成交'),
 ('1001', 'T2', '春装 新款,连衣裙', 20, 'buyerB', 'b1', '2011-02-03 12:30:00', 1, 1, '成交'),
 ('1001', 'T3', '春装 新款,连衣裙', 1000, 'buyerA', 'a1', '2011-02-02 18:00:00', 3, 3, '成交'),
 ('1002', 'T4', '短袖T恤', 25, 'buyerC', 'c1', '2011-01-15 11:00:00', 1, 1, '成交'),
 ('2001', 'T5', 'Wool Scarf 羊毛围巾', 120, 'buyerD', 'd1', '2011-03-30 16:00:00', 1, 1, '成交');

INSERT INTO pjinfo (dian_id, pj, pjName, itemId, itemTitle, pjsj, jg, pjInfo, pjjs, trade_id)
VALUES
 (1, '好评', 'buyerA', '1001', '春装 新款,连衣裙', '2011-01-05 10:00:00', 88.5, '很好, 非常
满意', '谢谢', 'R1'),
 (1, '中评', 'Buyer_B', '1002', '短袖T恤', '2011-02-10 08:00:00', 25, '一般', '', 'R2'),
 (1, '差评', 'o''brien', '1002', '短袖T恤', '2011-03-15 20:00:00', 5, '差', 'sorry', 'R3'),
 (1, '好评', 'buyerA', '2001', 'Wool Scarf', '2011-03-20 00:00:00', 120, NULL, NULL, 'R4'),
 (2, '好评', 'x', '2001', 'Wool Scarf 羊毛围巾', '2011-04-02 00:00:00', 120, '好', '', 'R5');
)sql");

    // Y and P stand for `year` and the year before, put in below.
    db.exec(R"sql(
INSERT INTO itemTop (typeId, dianzhu, itemTitle, shipping, favorite, monthSale, amount, place, updateDate)
VALUES
 ('99', '卖家甲', '点卡 100元', 0, 10, 500, 98.5, '浙江', 'Y-03-10 08:00:00'),
 ('99', '卖家乙', '点卡, 50元', 5, 30, 800, 48, '广东', 'Y-03-12 09:30:00'),
 ('99', '卖家丙', '点卡 30元', 0, 20, 800, 29, '上海', 'Y-03-15 10:00:00'),
 ('99', '卖家丁', '四月点卡', 0, 1, 7, 10, '北京', 'Y-04-01 00:00:00'),
 ('99', '去年卖家', '去年点卡', 0, 1, 9999, 10, '北京', 'P-03-10 00:00:00'),
 ('16', '女装卖家', '连衣裙', 10, 5, 50, 199, '杭州', 'Y-03-10 00:00:00');
)sql");
    db.exec("UPDATE itemTop SET itemUrl = 'http://item.taobao.com/top/' || itemTitle, updateDate = "
            "replace(replace(updateDate, 'Y-', '" +
            std::to_string(year) + "-'), 'P-', '" + std::to_string(year - 1) + "-')");
}

void createViewsFixture(const std::filesystem::path& file, int year) {
    db::TDM dm(file);
    dm.open();
    fillViewsFixture(dm.cn1(), year);
}

} // namespace vantor::test
