#include "market/CategoryTable.h"

#include <gtest/gtest.h>

using namespace vantor;

TEST(ShopSearchCategories, FiftyEightEntriesWithTheAllCategoriesEntryFirst) {
    const auto& table = shopSearchCategories();
    ASSERT_EQ(table.size(), 58u);
    EXPECT_EQ(table[0].name, "所有类目");
    EXPECT_EQ(table[0].id, "");
    EXPECT_EQ(table[1].name, "女装/女士精品 ");
    EXPECT_EQ(table[1].id, "16");
    EXPECT_EQ(table[8].id, "50011699\""); // sent with its quote, as the marketplace always got it
    EXPECT_EQ(table[11].id, "50012081");
    EXPECT_EQ(table[18].name, "闪存卡/U盘/移动存储  ");
    EXPECT_EQ(table[57].name, "演出/旅游/吃喝玩乐折扣券");
    EXPECT_EQ(table[57].id, "50008075");
}

TEST(CategoryBrowseCategories, SixtyThreeEntriesEachWithARealId) {
    const auto& table = categoryBrowseCategories();
    ASSERT_EQ(table.size(), 63u);
    EXPECT_EQ(table[0].name, "网络游戏点卡");
    EXPECT_EQ(table[0].id, "99");
    EXPECT_EQ(table[49].name, "保健食品");
    EXPECT_EQ(table[49].id, "50008825");
    EXPECT_EQ(table[61].name, "鲜花速递、蛋糕配送、园艺花艺\t\t\t\t\t\t\t");
    EXPECT_EQ(table[62].id, "50003754");
    for (const auto& entry : table)
        EXPECT_FALSE(entry.id.empty()) << entry.name;
}

TEST(CategoryTables, TheTwoTablesDisagreeOnSomeIdsAndEachKeepsItsOwn) {
    auto find = [](const std::vector<CategoryEntry>& table, const std::string& prefix) {
        for (const auto& entry : table)
            if (entry.name.rfind(prefix, 0) == 0) return entry.id;
        return std::string("<absent>");
    };
    EXPECT_EQ(find(shopSearchCategories(), "国货精品手机"), "50012081");
    EXPECT_EQ(find(categoryBrowseCategories(), "国货精品手机"), "50019321");
    EXPECT_EQ(find(shopSearchCategories(), "保健食品"), "50012472");
    EXPECT_EQ(find(categoryBrowseCategories(), "保健食品"), "50008825");
}
