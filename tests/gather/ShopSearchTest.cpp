#include "GatherTestSupport.h"
#include "gather/GatherTexts.h"
#include "market/CategoryTable.h"

#include <gtest/gtest.h>

using namespace vantor;
using namespace std::string_literals; // assigning literals trips a false GCC 12 -Wrestrict warning

TEST(ShopSearchAddress, IsBuiltPieceByPieceAsTheMarketplaceExpects) {
    ShopSearchQuery q;
    q.keyword = "连衣裙 a";
    q.inTitle = true;
    q.inTag = true;
    q.category = 8;
    q.location = "杭州";
    q.levels = {15, 3, 14};
    EXPECT_EQ(shopSearchAddress(q),
              "http://shopsearch.taobao.com/browse/shop_search.htm?1=1&cat=50011699\"&loc=%BA%BC%D6%DD"
              "&q=%C1%AC%D2%C2%C8%B9%20a&title=title&tag=tag&ratesum=3,14,15&soft=ratesum_desc&n=80&s=");
    ShopSearchQuery plain;
    plain.byPopularity = true;
    EXPECT_EQ(
        shopSearchAddress(plain),
        "http://shopsearch.taobao.com/browse/shop_search.htm?1=1&cat=&loc=&ratesum=&sort=default&n=80&s=");
    // The range gives the last page with its odd divisor.
    for (auto [range, endPage] : {std::pair{10, 0}, {80, 0}, {81, 1}, {161, 1}, {162, 2}, {400, 4}})
        EXPECT_EQ(shopSearchEndPage(range), endPage) << range;
}

TEST(ShopSearchAddress, ASearchNeedsAKeywordOrACategoryAndStaysInsideTheFormsLimits) {
    ShopSearchQuery q;
    EXPECT_EQ(validateShopSearch(q), std::optional<std::string>("请输入店铺名称或类别等条件进行搜索！"));
    q.category = 3;
    EXPECT_FALSE(validateShopSearch(q));
    q.category = 0;
    q.keyword = "x"s;
    EXPECT_FALSE(validateShopSearch(q));
    // The limits the window's controls have hold for the command line too.
    for (int range : {9, 401}) {
        q.range = range;
        EXPECT_TRUE(validateShopSearch(q)) << range;
    }
    q.range = 400;
    q.levels = {1, 20};
    EXPECT_FALSE(validateShopSearch(q));
    q.levels = {0};
    EXPECT_TRUE(validateShopSearch(q));
    q.levels = {};
    q.category = int(shopSearchCategories().size());
    EXPECT_EQ(validateShopSearch(q), std::optional<std::string>("类别不存在！"));
}

TEST(ShopSearchLog, NamesEveryCondition) {
    ShopSearchQuery q;
    q.keyword = "围巾";
    q.inNick = true;
    q.inTag = true;
    q.category = 1;
    q.location = "上海";
    q.levels = {2, 16};
    q.range = 120;
    EXPECT_EQ(shopSearchLog(q, 3, *DateTime::parse("2012-01-02 03:04:05")),
              "第3次搜索\n时间：2012-01-02 03:04:05\n关键字：围巾,掌柜名、主营项目\n类别：女装/女士精品 \n"
              "信用级别：2、16、\n所在地：上海\n按信用排序\n搜索范围：120\n");
}
