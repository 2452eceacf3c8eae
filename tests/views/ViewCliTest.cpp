#include "ViewsFixture.h"
#include "base/DateTime.h"
#include "base/GbkText.h"
#include "cli/RunCli.h"
#include "db/TDM.h"

#include <gtest/gtest.h>

using namespace vantor;

namespace {

class ViewCli : public ::testing::Test, protected test::CliFolder {
protected:
    void SetUp() override { test::createViewsFixture(dir / "lmd_pin.db", DateTime::now().year); }
};

} // namespace

TEST_F(ViewCli, TablesGoToStandardOutputWithTheWindowsTitlesInRfc4180Csv) {
    auto shops = run("export sales-shops");
    EXPECT_EQ(shops.status, 0) << shops.out;
    EXPECT_EQ(
        shops.out,
        "序号,店铺,掌柜,信用,信用级别,卖家好评率,创建日期,更新日期,网址\r\n"
        "1,三号小店,张三,1500,1钻,99.5,2008-05-06 00:00:00,2011-03-01 10:00:00,http://shop1.taobao.com\r\n"
        "2,\"奥尼尔,精品\",O'Neil,300,3心,98.25,2009-01-01 00:00:00,2011-04-01 08:00:00,"
        "http://shop2.taobao.com\r\n");

    auto sales = run("export sales-records --item 1001");
    EXPECT_EQ(sales.status, 0) << sales.out;
    EXPECT_EQ(sales.out, "商品标题,价格,买家,购买时间,购买数量,成交数量,成交状态\r\n"
                         "\"春装 新款,连衣裙\",20.00,buyerB,2011-02-03 12:30:00,1,1,成交\r\n"
                         "\"春装 新款,连衣裙\",1000.00,buyerA,2011-02-02 18:00:00,3,3,成交\r\n"
                         "\"春装 新款,连衣裙\",10.50,buyerA,2011-02-01 09:00:00,2,2,成交\r\n");

    auto items = run("export sales-items --shop 2");
    EXPECT_EQ(items.out, "排名,商品,价格,累计售出,销售额,开始日期,截止日期,收藏人数,网址\r\n"
                         "1,Wool Scarf 羊毛围巾,120.00,1,120.00,2011-03-30 16:00:00,2011-04-01 08:00:00,2,"
                         "http://item.taobao.com/2001\r\n");

    auto ratings = run("export ratings --shop 2");
    EXPECT_EQ(
        ratings.out,
        "评价,评价时间,价格,评价人,宝贝标题\r\n好评,2011-04-02 00:00:00,120.00,x,Wool Scarf 羊毛围巾\r\n");

    auto ranking = run("export ranking --category 0 --month 4");
    EXPECT_EQ(ranking.status, 0) << ranking.out;
    EXPECT_NE(ranking.out.find("\r\n1,"), std::string::npos) << ranking.out;
    EXPECT_NE(ranking.out.find(",卖家丁,四月点卡,10.00,0.00,7,70.00,1,北京,"), std::string::npos)
        << ranking.out;

    auto ratingShops = run("export rating-shops");
    EXPECT_EQ(ratingShops.status, 0) << ratingShops.out;
    EXPECT_NE(ratingShops.out.find(
                  "\r\n2,O'Neil,\"奥尼尔,精品\",300,3心,98.25,1,1,2,3,4,http://shop2.taobao.com\r\n"),
              std::string::npos)
        << ratingShops.out;
}

TEST_F(ViewCli, OutWritesTheProgramsGbkExport) {
    auto ratings = run("export ratings --shop 2 --out " + (dir / "ratings.csv").string());
    EXPECT_EQ(ratings.status, 0) << ratings.out;
    EXPECT_NE(ratings.out.find("已保存 1/1"), std::string::npos) << ratings.out;
    const std::string ratingLines =
        "序号,评价,评价时间,价格,评价人,商品,评语,解释\r\n"
        "1,5,2,好评,,x,2001,WoolScarf羊毛围巾,2011-04-0200:00:00,120.00,好,,R5,好,\r\n";
    EXPECT_EQ(gbkToUtf8(test::readFile(dir / "ratings.csv")), ratingLines);
    EXPECT_NE(ratings.out.find("已导出到 " + (dir / "ratings.csv").string() + "\n"), std::string::npos)
        << ratings.out;

    // The same lines for spreadsheet programs: UTF-8 behind its byte-order mark.
    auto utf8 = run("export ratings --shop 2 --encoding utf8 --out " + (dir / "ratings8.csv").string());
    EXPECT_EQ(utf8.status, 0) << utf8.out;
    EXPECT_EQ(test::readFile(dir / "ratings8.csv"), "\xEF\xBB\xBF" + ratingLines);
    EXPECT_EQ(run("export ratings --shop 2 --encoding latin1 --out x.csv").status, 2);
}

TEST_F(ViewCli, FormatStandardWritesTheGridsColumnsAndRefusesAnEncoding) {
    const auto file = dir / "sales.csv";
    auto sales = run("export sales-records --item 1001 --format standard --out " + file.string());
    EXPECT_EQ(sales.status, 0) << sales.out;
    EXPECT_NE(sales.out.find("已导出到 " + file.string() + "\n"), std::string::npos) << sales.out;
    EXPECT_EQ(test::readFile(file), "\xEF\xBB\xBF"
                                    "商品标题,价格,买家,购买时间,购买数量,成交数量,成交状态\r\n"
                                    "\"春装 新款,连衣裙\",20.00,buyerB,2011-02-03 12:30:00,1,1,成交\r\n"
                                    "\"春装 新款,连衣裙\",1000.00,buyerA,2011-02-02 18:00:00,3,3,成交\r\n"
                                    "\"春装 新款,连衣裙\",10.50,buyerA,2011-02-01 09:00:00,2,2,成交\r\n");

    // The rating grid's five columns, not the program's fifteen fields.
    auto ratings = run("export ratings --shop 2 --out " + (dir / "r.csv").string() + " --format standard");
    EXPECT_EQ(ratings.status, 0) << ratings.out;
    EXPECT_EQ(test::readFile(dir / "r.csv"), "\xEF\xBB\xBF评价,评价时间,价格,评价人,宝贝标题\r\n好评,2011-04-"
                                             "02 00:00:00,120.00,x,Wool Scarf 羊毛围巾\r\n");

    // program is the default and can be named.
    auto program = run("export ratings --shop 2 --format program --out " + (dir / "p.csv").string());
    EXPECT_EQ(program.status, 0) << program.out;
    EXPECT_TRUE(gbkToUtf8(test::readFile(dir / "p.csv")).starts_with("序号,评价,评价时间,价格,"));

    auto refused = run("export ratings --shop 2 --format standard --encoding utf8 --out " +
                       (dir / "refused.csv").string());
    EXPECT_NE(refused.status, 0);
    EXPECT_NE(refused.out.find("--encoding 只用于程序的导出格式"), std::string::npos) << refused.out;
    EXPECT_FALSE(std::filesystem::exists(dir / "refused.csv"));
    auto printed = run("export ratings --shop 2 --format standard --encoding gbk");
    EXPECT_NE(printed.status, 0);
    EXPECT_EQ(printed.out.find("评价时间"), std::string::npos) << printed.out;
    EXPECT_EQ(run("export ratings --shop 2 --format excel --out x.csv").status, 2);
}

TEST_F(ViewCli, AnOutFileThatCannotBeOpenedFailsWithTheWarning) {
    const auto held = dir / "held.csv";
    std::filesystem::create_directory(held);
    auto r = run("export sales-shops --out " + held.string());
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find(held.string() + "文件可能已被打开或损坏，重新选择或关闭文件！"), std::string::npos)
        << r.out;

    auto nothing = run("export sales-records --item 1003 --out " + (dir / "none.csv").string());
    EXPECT_EQ(nothing.status, 0);
    EXPECT_FALSE(std::filesystem::exists(dir / "none.csv"));
}

TEST_F(ViewCli, DeleteTakesAShopWithEverythingOfItOrOneItemWithItsSales) {
    {
        db::TDM dm(dir / "lmd_pin.db");
        dm.cn1().exec(
            "CREATE TRIGGER keep BEFORE DELETE ON dianbase BEGIN SELECT RAISE(ABORT, '只读'); END;");
    }
    auto refused = run("delete shop 1");
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.out.find("删除数据出错，请联系官方网站! 数据不符合数据库的约束，未能保存（只读）"),
              std::string::npos)
        << refused.out;
    EXPECT_EQ(count("select count(*) from saleInfo"), 5); // rolled back
    db::TDM(dir / "lmd_pin.db").cn1().exec("DROP TRIGGER keep");

    auto item = run("delete item 1001");
    EXPECT_EQ(item.status, 0) << item.out;
    EXPECT_EQ(count("select count(*) from saleInfo where itemId='1001'"), 0);
    EXPECT_EQ(count("select count(*) from itemInfo"), 3);

    auto shop = run("delete shop 1");
    EXPECT_EQ(shop.status, 0) << shop.out;
    EXPECT_EQ(count("select count(*) from dianbase where id=1"), 0);
    EXPECT_EQ(count("select count(*) from itemInfo where dian_id=1"), 0);
    EXPECT_EQ(count("select count(*) from saleInfo where itemId in ('1002','1003')"), 0);
    EXPECT_EQ(count("select count(*) from pjinfo where dian_id=1"), 0);
    EXPECT_EQ(count("select count(*) from pjinfo"), 1);

    auto missing = run("delete shop 1");
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.out.find("店铺不存在：1"), std::string::npos) << missing.out;
}

TEST_F(ViewCli, BadArgumentsExitWithTwo) {
    for (const char* arguments : {"export", "export sales-items", "export ranking --category 0 --month 13",
                                  "export ranking --category 63 --month 1", "delete shop abc", "delete"})
        EXPECT_EQ(run(arguments).status, 2) << arguments;
}
