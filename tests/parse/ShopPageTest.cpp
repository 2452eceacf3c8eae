#include "ParseError.h"
#include "parse/ShopPageParser.h"
#include "parse/fixtures/PageFixtures.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace vantor;

TEST(ShopPage, FirstLayoutGivesEveryField) {
    const TDianBaseInfo shop = parseShopPage(fixtures::shopPage(fixtures::ShopPage{}));
    // This layout does not show the shop's address (webaddr).
    EXPECT_EQ(std::tie(shop.rateUrl, shop.userId, shop.dianzhu, shop.webaddr, shop.firstPageUrl),
              std::tuple("http://rate.taobao.com/user-rate-a1b2c3d4.htm", "a1b2c3d4", "甜心小铺mary", "",
                         "http://shop35792146.taobao.com/?search=y"));
    EXPECT_EQ(std::tie(shop.salerCredit, shop.buyerCredit, shop.favorite, shop.createDate, shop.commodityNum,
                       shop.addr, shop.loc),
              std::tuple(2345, 67, 890, "2008-05-06", 321, "浙江 杭州", "女装/女士精品"));
}

TEST(ShopPage, SecondLayoutAlsoGivesTheShopAddress) {
    fixtures::ShopPage fields;
    fields.secondForm = true;
    fields.keeper = "關門  小店";
    fields.rateUrl = "http://rate.taobao.com/user-rate-QQ77.htm";
    fields.firstPage = "http://shop35792146.taobao.com/index.htm";
    const TDianBaseInfo shop = parseShopPage(fixtures::shopPage(fields));
    EXPECT_EQ(std::tie(shop.rateUrl, shop.userId, shop.dianzhu, shop.webaddr, shop.firstPageUrl),
              std::tuple("http://rate.taobao.com/user-rate-qq77.htm", "qq77", "關門小店",
                         "http://shop35792146.taobao.com/", "http://shop35792146.taobao.com/index.htm"));
    EXPECT_EQ(shop.salerCredit, 2345);
}

TEST(ShopPage, UserIdFromTheScriptOrTheMarker) {
    fixtures::ShopPage fields;
    fields.rateUrl = "";
    fields.scriptUserId = "889900";
    TDianBaseInfo shop = parseShopPage(fixtures::shopPage(fields));
    EXPECT_EQ(shop.rateUrl, "");
    EXPECT_EQ(shop.userId, "889900");
    // A rating address without the user-rate part leaves the script to speak.
    fields.rateUrl = "http://rate.taobao.com/rate.htm?id=5";
    EXPECT_EQ(parseShopPage(fixtures::shopPage(fields)).userId, "889900");
    // Neither: the marker, also on an empty page.
    fields.scriptUserId = "";
    EXPECT_EQ(parseShopPage(fixtures::shopPage(fields)).userId, kNoUserId);
    EXPECT_EQ(parseShopPage("").userId, kNoUserId);
}

TEST(ShopPage, AddressLineStandsInForAMissingLocation) {
    fixtures::ShopPage fields;
    fields.location = "";
    EXPECT_EQ(parseShopPage(fixtures::shopPage(fields)).addr, "杭州市西湖区文三路 1 号");
}

TEST(ShopPage, AnItemCountThatIsNoNumberRaises) {
    fixtures::ShopPage fields;
    fields.itemCount = "三百";
    EXPECT_EQ(test::parseError([&] { parseShopPage(fixtures::shopPage(fields)); }), "“三百”不是有效的整数！");
}

TEST(UserIdFromRateUrl, TakesWhatFollowsUserRateUpToTheDot) {
    EXPECT_EQ(userIdFromRateUrl("http://rate.taobao.com/user-rate-abc123.htm"), "abc123");
    EXPECT_EQ(userIdFromRateUrl("http://rate.taobao.com/user-rate-abc"), "abc");
    EXPECT_EQ(userIdFromRateUrl("http://rate.taobao.com/rate.htm"), "");
}
