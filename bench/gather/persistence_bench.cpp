// Saving gathered sales and ratings: rows per second inside one transaction, against the sqlite3
// command line importing the same rows into the same schema.
#include "../BenchSupport.h"
#include "base/DateTime.h"
#include "db/TDM.h"
#include "gather/GatherPersistence.h"

#include <cstdio>
#include <fstream>

using namespace vantor;
using namespace vantor::bench;

namespace {

std::string stamp(int i) {
    // Newest first, one sale every 13 seconds.
    return DateTime::parse("2012-06-30 23:59:59")->addSeconds(-13LL * i).toString();
}

double importSeconds(const fs::path& dir, const std::string& table, const fs::path& csv) {
    fs::path file = dir / ("import-" + table + ".db");
    fs::remove(file);
    {
        db::TDM dm(file);
        dm.open();
    }
    std::string command =
        "sqlite3 " + file.string() + " \".mode csv\" \".import " + csv.string() + " " + table + "\"";
    int status = 0;
    double wall = measure([&] { status = std::system(command.c_str()); }).wall;
    if (status == 0) return wall;
    std::fprintf(stderr, "sqlite3 import failed: %s\n", command.c_str());
    return -1;
}

std::string csvField(const std::string& text) {
    return "\"" + text + "\"";
}

} // namespace

int main(int argc, char** argv) {
    const int rows = argument(argc, argv, 1, 100000);
    fs::path dir = scratchFolder("vantor-bench-persistence");

    RecordList<TAutionInfo> sales;
    RecordList<TRateInfo> ratings;
    for (int i = 0; i < rows; ++i) {
        TAutionInfo sale;
        sale.buyerName = "买家" + std::to_string(i % 5000);
        sale.buyerId = std::to_string(100000 + i % 5000);
        sale.itemTitle = "2012新款韩版修身连衣裙 雪纺 碎花 " + std::to_string(i % 7) + "号色";
        sale.tradeId = std::to_string(900000000 + i);
        sale.amount = 59 + i % 40;
        sale.buyNum = 1 + i % 3;
        sale.sj = stamp(i);
        sale.status = "成交";
        sales.add(sale);

        TRateInfo rating;
        rating.pj = "好评";
        rating.pjName = "买家" + std::to_string(i % 5000);
        rating.itemTitle = sale.itemTitle;
        rating.itemId = "1234567890";
        rating.tradeId = sale.tradeId;
        rating.pjsj = sale.sj;
        rating.jg = sale.amount;
        rating.pjInfo = "质量很好，物流很快，和描述的一样，下次还来！";
        ratings.add(rating);
    }

    db::TDM dm(dir / "lmd_pin.db");
    auto& db = dm.cn1();
    TDianBaseInfo shop;
    shop.dianzhu = "测试掌柜";
    gather::saveShopBase(shop, db);
    TItemBaseInfo item;
    item.itemId = "1234567890";
    item.saleFromDate = "2000-01-01 00:00:00";

    // Each list is saved in one transaction, as a gathering saves a shop.
    auto inTransaction = [&](const std::function<void()>& save) {
        return measure([&] {
                   db.beginTransaction();
                   save();
                   db.commit();
               })
            .wall;
    };
    double salesTime = inTransaction([&] { gather::saveSales(sales, item, nullptr, db); });
    double ratingsTime = inTransaction([&] { gather::saveRatings(ratings, shop, nullptr, db); });

    // The same rows as the sqlite3 command line imports them: CSV, every column of the table.
    fs::path salesCsv = dir / "sales.csv", ratingsCsv = dir / "ratings.csv";
    {
        std::ofstream s(salesCsv), r(ratingsCsv);
        int id = 0;
        for (const auto& [text, sale] : sales) {
            ++id;
            s << id << ",1234567890," << sale.tradeId << ',' << csvField(sale.itemTitle) << ',' << sale.amount
              << ',' << csvField(sale.buyerName) << ',' << sale.buyerId << ',' << sale.sj << ','
              << sale.buyNum << ',' << sale.buyNum << ',' << csvField(sale.status) << '\n';
        }
        id = 0;
        for (const auto& [text, rating] : ratings) {
            ++id;
            r << id << ",1," << csvField(rating.pj) << ",0," << csvField(rating.pjName) << ','
              << rating.itemId << ',' << csvField(rating.itemTitle) << ',' << rating.pjsj << ',' << rating.jg
              << ',' << csvField(rating.pjInfo) << ",," << rating.tradeId << '\n';
        }
    }
    double salesImport = importSeconds(dir, "saleInfo", salesCsv);
    double ratingsImport = importSeconds(dir, "pjinfo", ratingsCsv);

    std::printf("rows per list: %d\n", rows);
    std::printf(
        "sales:   saveSales  %8.3f s  %10.0f rows/s | sqlite3 .import %8.3f s  %10.0f rows/s | ratio %.2fx\n",
        salesTime, rows / salesTime, salesImport, rows / salesImport, salesTime / salesImport);
    std::printf("ratings: saveRatings %7.3f s  %10.0f rows/s | sqlite3 .import %8.3f s  %10.0f rows/s | "
                "ratio %.2fx\n",
                ratingsTime, rows / ratingsTime, ratingsImport, rows / ratingsImport,
                ratingsTime / ratingsImport);
    fs::remove_all(dir);
    return 0;
}
