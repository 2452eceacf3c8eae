// The same data on the SQLite file and on a PostgreSQL server of the benchmark's own, side by side: the
// three sales analysis windows over one shop, the sales data view's grids (the shop's items, and the
// sale records of its busiest item) read whole, the copy of the file to the server and back, and the saves of
// a sales gathering (items with their sales, a transaction per shop) into each.
//
// store_bench [sales]   (default 1000000; the server needs about 1 GB for 10000000)
#include "../BenchSupport.h"
#include "../charts/SalesShop.h"
#include "charts/SalesAnalysis.h"
#include "db/StoreCopy.h"
#include "db/TDM.h"
#include "gather/GatherPersistence.h"
#include "support/PgServer.h"
#include "views/QueryReader.h"

#include <cstdio>
#include <cstdlib>

using namespace vantor;
using namespace vantor::bench;

namespace {

struct Silent : charts::AnalysisObserver {
    void showMessage(const std::string& text) override { std::fprintf(stderr, "%s\n", text.c_str()); }
    void documentWritten(const fs::path&) override {}
};

// The best of three runs of an analysis window.
Timing analyse(db::TDM& dm, const charts::Gallery& gallery, const charts::Analysis& analysis) {
    return bestOf(3, [&] {
        Silent silent;
        auto result = charts::runAnalysis(dm.cn1(), gallery, analysis,
                                          charts::AnalysisRequest{1, "压力测试店", kFrom, kTo}, silent);
        if (result.outcome != charts::AnalysisOutcome::Written) {
            std::fprintf(stderr, "analysis failed: %s\n", result.error.c_str());
            std::exit(1);
        }
    });
}

// A grid of a standing query read whole, as the data view holds it; the rows it held.
Timing grid(db::TDM& dm, const char* query, const views::Parameters& parameters, size_t& rows) {
    return bestOf(3, [&] {
        views::QueryReader reader(dm.openConnection(), db::TDM::standingQuery(query).sql, parameters);
        reader.readRest();
        rows = 0;
        for (auto& block : reader.finish())
            rows += block->rowCount();
    });
}

// A gathering's saves as its writer makes them: `shops` shops of 20 items with 500 sales each, a
// transaction per shop.
double savedPerSecond(db::TDM& dm, int shops) {
    db::Database db = dm.openConnection();
    int saved = 0;
    const double seconds =
        measure([&] {
            for (int s = 0; s < shops; ++s) {
                db.beginTransaction();
                TDianBaseInfo shop;
                shop.dianzhu = "saved" + std::to_string(s);
                shop.webaddr = "http://shop" + std::to_string(s) + ".taobao.com";
                gather::saveShopBase(shop, db);
                gather::SalesBatch batch(db);
                for (int i = 0; i < 20; ++i) {
                    TItemBaseInfo item;
                    item.itemId = "s" + std::to_string(s * 100 + i);
                    item.itemTitle = "保存测试商品";
                    item.saleFromDate = "2011-01-01 00:00:00";
                    gather::saveItem(item, shop, db);
                    RecordList<TAutionInfo> sales;
                    for (int k = 0; k < 500; ++k) {
                        TAutionInfo sale;
                        sale.sj = DateTime::fromSerialSeconds(
                                      DateTime::parse("2011-12-31 00:00:00")->serialSeconds() - k * 3600)
                                      .toString();
                        sale.tradeId = item.itemId + "-" + std::to_string(k);
                        sale.amount = 9.5;
                        sale.buyNum = 1;
                        sales.add(std::move(sale));
                    }
                    saved += batch.replace(sales, item, nullptr);
                }
                batch.finish();
                db.commit();
            }
        }).wall;
    return saved / seconds;
}

void row(const char* what, Timing file, Timing server) {
    std::printf("  %-28s %9.3f s %9.3f s   %5.2f\n", what, file.wall, server.wall, server.wall / file.wall);
}

} // namespace

int main(int argc, char** argv) {
    const int sales = argument(argc, argv, 1, 1000000);
    fs::path dir = scratchFolder("vantor-bench-store");
    DataFolder data(dir / "data");
    data.create();
    db::TDM file(data.database());
    Timing filled = measure([&] {
        fill(file.cn1(), sales);
        file.cn1().exec("ANALYZE");
    });
    std::printf("data: %d sales of the shop (+%d of another), written to the file in %.1f s\n", sales,
                sales / 10, filled.wall);
    if (std::getenv("VANTOR_BENCH_FILL_ONLY")) return 0; // the file stays, to look into

    test::PgServer server;
    db::TDM onServer(db::Store::postgres(server.url("bench")));
    const Timing copied = measure([&] {
        db::copyStore(file.store(), onServer.store(), [](const std::string&, std::int64_t, std::int64_t) {});
    });
    const double rows = sales + sales / 10 + 2 * kItems;
    std::printf("copy of the file to the server: %.1f s, %.0f rows/s\n", copied.wall, rows / copied.wall);
    DataFolder back(dir / "back");
    back.create();
    const Timing returned = measure([&] {
        db::copyStore(onServer.store(), back.database(),
                      [](const std::string&, std::int64_t, std::int64_t) {});
    });
    std::printf("copy of the server to a new file: %.1f s, %.0f rows/s\n", returned.wall,
                rows / returned.wall);

    charts::Gallery gallery(data);
    // The copy leaves every sum of the server's marked: the first analysis sums the shop anew.
    const Timing first = measure([&] {
        Silent silent;
        charts::runAnalysis(onServer.cn1(), gallery, charts::salesTrend(),
                            charts::AnalysisRequest{1, "压力测试店", kFrom, kTo}, silent);
    });
    std::printf("first analysis on the server after the copy (its sums made): %.2f s\n", first.wall);
    std::printf("%-30s %11s %11s   %s\n", "", "file", "server", "server/file");
    for (const charts::Analysis* analysis : charts::salesAnalyses())
        row(("analysis " + std::string(analysis->name)).c_str(), analyse(file, gallery, *analysis),
            analyse(onServer, gallery, *analysis));
    size_t items = 0, records = 0;
    const views::Parameters shop{{"dianid", std::int64_t(1)}}, item{{"item_Id", std::string("item0")}};
    row("grid: the shop's items", grid(file, "itemInfo_v", shop, items),
        grid(onServer, "itemInfo_v", shop, items));
    row("grid: an item's sale records", grid(file, "itemAution_q", item, records),
        grid(onServer, "itemAution_q", item, records));
    std::printf("  (%zu items, %zu sale records)\n", items, records);
    std::printf("gathering's saves: file %.0f sales/s, server %.0f sales/s\n", savedPerSecond(file, 10),
                savedPerSecond(onServer, 10));
    fs::remove_all(dir);
    return 0;
}
