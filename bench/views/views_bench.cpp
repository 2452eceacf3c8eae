// The data views over a data file with a million sale records of one item and a hundred thousand
// ratings of one shop: the time each grid takes to show its first rows and to hold all of them, a
// title-click sort, the filters, and the export of the million sale records next to the sqlite3
// command line writing the same rows as CSV from the same file.
//
// views_bench [sales [ratings]]   (default 1000000 100000)
#include "../BenchSupport.h"
#include "db/TDM.h"
#include "views/CsvExport.h"
#include "views/RatingDataView.h"
#include "views/SalesDataView.h"

#include <cstdio>
#include <unistd.h>

using namespace vantor;
using namespace vantor::bench;
using namespace vantor::views;

namespace {

constexpr const char* kBigItem = "1000000001";
constexpr auto kBackground = QueryReader::Mode::Background;

void print(const char* what, Timing t, const char* goal = "") {
    std::printf("%-44s %8.3f s wall %8.3f s cpu  %s\n", what, t.wall, t.cpu, goal);
}

// Twenty shops with an item each; shop 1 has fifty items, one of which holds every sale, and every
// rating.
void fill(db::Database& db, int sales, int ratings) {
    db.beginTransaction();
    db.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 20) "
            "INSERT INTO dianbase (id, dianzhu, dianming, webaddr, updateDate, createDate, salerCredit, "
            "  salelevel, salerGoodRate, loc, commodityNum, salerGood1, salerBad1, salerNotBad1) "
            "SELECT i, '掌柜' || i, '测试店铺' || i, 'http://shop' || i || '.taobao.com', "
            "  '2012-01-01 00:00:00', '2008-01-01 00:00:00', 1000 * i, i % 15, 99.5, '女装', 50, i, 0, 0 "
            "FROM n");
    db.exec("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 69) "
            "INSERT INTO itemInfo (dian_id, itemId, itemTitle, itemAutionUrl, updateDate, curPrice, "
            "  monthSale, favorite) "
            "SELECT CASE WHEN i <= 50 THEN 1 ELSE i - 49 END, CAST(1000000000 + i AS TEXT), "
            "  '韩版修身长袖连衣裙 ' || i, 'http://item.taobao.com/' || i, '2012-01-01 00:00:00', 99.5, i, i "
            "FROM n");
    auto insertSales =
        db.prepare("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :count) "
                   "INSERT INTO saleInfo (itemId, trade_id, itemTitle, amount, buyerName, buyerId, sj, "
                   "  buyNum, getNum, status) "
                   "SELECT :item, printf('%012d', i), '韩版修身长袖连衣裙 春装新款', 50 + (i % 200) * 0.5, "
                   "  '买家' || (i * 7919 % 50000), printf('%d', 100000 + i % 50000), "
                   "  strftime('%Y-%m-%d %H:%M:%S', 1262304000 + i * 60, 'unixepoch'), "
                   "  1 + i % 3, 1 + i % 3, '交易成功' "
                   "FROM n");
    insertSales.bind("count", sales).bind("item", kBigItem);
    insertSales.execute();
    auto insertRatings =
        db.prepare("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < :count) "
                   "INSERT INTO pjinfo (dian_id, pj, pjName, itemId, itemTitle, pjsj, jg, pjInfo, pjjs, "
                   "  trade_id) "
                   "SELECT 1, CASE i % 10 WHEN 0 THEN '差评' WHEN 1 THEN '中评' ELSE '好评' END, "
                   "  'buyer' || (i * 31 % 20000), '1000000001', '韩版修身长袖连衣裙', "
                   "  strftime('%Y-%m-%d %H:%M:%S', 1262304000 + i * 600, 'unixepoch'), 20 + i % 300, "
                   "  '质量很好, 物流很快 ' || i, '', 'R' || i "
                   "FROM n");
    insertRatings.bind("count", ratings);
    insertRatings.execute();
    db.commit();
}

// Opens a dataset as a window does, then waits for the reader's last row.
void openAndLoad(Dataset& rows, const char* what) {
    Timing shown = measure([&] { rows.open(); });
    std::printf("%-44s %8.3f s wall %8.3f s cpu  (%zu rows shown)\n", what, shown.wall, shown.cpu,
                rows.rowCount());
    Timing all = measure([&] { rows.loadAll(); });
    std::printf("%-44s %8.3f s wall %8.3f s cpu  (%zu rows)\n", "  ... every row held after", all.wall,
                all.cpu, rows.rowCount());
}

} // namespace

int main(int argc, char** argv) {
    const int sales = argument(argc, argv, 1, 1000000);
    const int ratings = argument(argc, argv, 2, 100000);
    const fs::path folder = scratchFolder("views_bench_" + std::to_string(getpid()));
    const fs::path file = folder / "lmd_pin.db";
    db::TDM dm(file);
    dm.open();
    Timing filled = measure([&] { fill(dm.cn1(), sales, ratings); });
    std::printf("data file: %d sale records of one item, %d ratings of one shop (%.1f s to write)\n\n", sales,
                ratings, filled.wall);

    std::printf("Grids (shown: the first block is on screen; every row: the reader is done)\n");
    SalesDataView salesView(dm, kBackground);
    openAndLoad(salesView.shops(), "sales view, shops (saleShopList)");
    salesView.items().setParameter("dianid", 1);
    openAndLoad(salesView.items(), "sales view, 50 items of the shop (itemInfo_v)");
    salesView.sales().setParameter("item_Id", kBigItem);
    openAndLoad(salesView.sales(), "sales view, sale records (itemAution_q)");
    RatingDataView ratingView(dm, kBackground);
    openAndLoad(ratingView.shops(), "rating view, shops (dianBase_v)");
    ratingView.ratings().setParameter("id", 1);
    openAndLoad(ratingView.ratings(), "rating view, ratings (rateInfo_q)");
    std::printf("peak memory with every grid held: %ld MB\n\n", long(peakMegabytes()));

    std::printf("Title-click sorts of the %d sale records\n", sales);
    Dataset& saleRows = salesView.sales();
    GridTitles& saleGrid = salesView.saleGrid();
    print("买家 (text), descending", measure([&] { saleGrid.titleClick(2, saleRows); }), "goal < 1 s");
    print("买家 (text), ascending", measure([&] { saleGrid.titleClick(2, saleRows); }), "goal < 1 s");
    print("价格 (number), descending", measure([&] { saleGrid.titleClick(1, saleRows); }), "goal < 1 s");
    print("购买时间 (date), descending", measure([&] { saleGrid.titleClick(3, saleRows); }), "goal < 1 s");
    std::printf("\nFilters\n");
    RatingFilterInput input;
    input.pjName = "buyer1";
    input.jg1 = 100;
    print("ratings: 评价人 and 价格 (rating filter)", measure([&] { ratingView.filterRatings(input); }));
    std::printf("%-44s %zu of %d rows\n", "", ratingView.ratings().rowCount(), ratings);
    print("sale records: keyword in 买家",
          measure([&] { filterByKeyword(saleRows, "buyerName", "买家123"); }));
    std::printf("%-44s %zu of %d rows\n", "", saleRows.rowCount(), sales);
    print("sale records: empty box, filter stays",
          measure([&] { filterByKeyword(saleRows, "buyerName", ""); }));
    saleRows.setFiltered(false);
    saleRows.setSort("");

    std::printf("\nExport of the %d sale records (7 columns, GBK, CR LF)\n", sales);
    const fs::path ours = folder / "export.csv";
    const fs::path theirs = folder / "sqlite3.csv";
    Timing exported = bestOf(3, [&] { exportToFile(salesView.saleExport(DateTime::now()), ours, nullptr); });
    print("export from the open grid", exported);
    Timing whole = bestOf(3, [&] {
        SalesDataView fresh(dm, QueryReader::Mode::Now);
        fresh.sales().setParameter("item_Id", kBigItem);
        fresh.sales().open();
        exportToFile(fresh.saleExport(DateTime::now()), ours, nullptr);
    });
    print("read the rows, then export", whole);
    const std::string command =
        "sqlite3 -csv " + file.string() +
        " \"select itemTitle,amount,buyerName,sj,buyNum,getNum,status from saleInfo where itemId='" +
        kBigItem + "' order by sj desc\" > " + theirs.string();
    bool peer = true;
    Timing sqlite = bestOf(
        3, [&] { peer = std::system(command.c_str()) == 0 && peer; }, RUSAGE_CHILDREN);
    if (peer) {
        print("sqlite3 -csv, the same rows", sqlite);
        std::printf("%-44s %8.2f x wall %8.2f x cpu  goal <= 2 x\n", "export from the grid / sqlite3",
                    exported.wall / sqlite.wall, exported.cpu / sqlite.cpu);
        std::printf("%-44s %8.2f x wall %8.2f x cpu\n", "read and export / sqlite3", whole.wall / sqlite.wall,
                    whole.cpu / sqlite.cpu);
        std::printf("%-44s %8.1f MB ours, %.1f MB sqlite3\n", "file sizes", double(fs::file_size(ours)) / 1e6,
                    double(fs::file_size(theirs)) / 1e6);
    } else {
        std::printf("sqlite3 command line not found: no ratio\n");
    }
    fs::remove_all(folder);
    return 0;
}
