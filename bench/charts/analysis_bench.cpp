// The three sales analysis windows over one shop with a million sale records: the time each window
// takes to write its documents, against the sqlite3 command line running the same statements with
// its built-in date expressions (strftime) on the same file. Then the two rating analysis windows over
// one shop with a million ratings, against sqlite3 reading the rows they read.
//
// analysis_bench [sales] [ratings]   (defaults 1000000 and 1000000; VANTOR_BENCH_KEEP=1 keeps the data
// folder in the temporary folder for a look at it afterwards)
#include "../BenchSupport.h"
#include "SalesShop.h"
#include "charts/RatingAnalysis.h"
#include "charts/SalesAnalysis.h"
#include "db/TDM.h"

#include <cstdio>
#include <fstream>
#include <random>

using namespace vantor;
using namespace vantor::bench;

namespace {

// Ratings of shop 1 over the two years: a tenth from a few hundred returning raters, prices from 1 to
// 600 yuan, one in twenty "[不计分]", a few automatic comments; shop 2 holds a tenth as many.
void fillRatings(db::Database& db, int ratings) {
    std::mt19937 random(11);
    db.beginTransaction();
    auto rating = db.prepare("insert into pjinfo(dian_id,pj,pjsj,trade_id,itemTitle,pjName,jg,pjInfo) "
                             "values(:shop,:pj,:sj,:trade,'测试商品',:name,:price,:comment)");
    auto noEffect = db.prepare("insert into pjNoEffect(dian_id,trade_id) values(1,:trade)");
    std::int64_t start = DateTime::parse("2010-01-01 00:00:00")->serialSeconds();
    std::int64_t span = DateTime::parse("2012-01-01 00:00:00")->serialSeconds() - start;
    const char* grades[] = {"好评", "好评", "好评", "好评", "好评", "好评", "好评", "好评", "中评", "差评"};
    for (int i = 0, total = ratings + ratings / 10; i < total; ++i) {
        std::string trade = "r"; // appended, not "r" + …: GCC 12 warns wrongly on the sum
        trade += std::to_string(i);
        const unsigned draw = random();
        rating.bind("shop", i < ratings ? 1 : 2)
            .bind("pj", grades[draw % 10])
            .bind("sj", DateTime::fromSerialSeconds(start + std::int64_t(random() % span)).toString())
            .bind("trade", trade)
            .bind("name", draw % 10 == 0 ? "回头客" + std::to_string(draw % 300) : "买家" + std::to_string(i))
            .bind("price", 1.0 + draw % 600)
            .bind("comment", draw % 7 == 0 ? "评价方未及时做出评价,系统默认好评!" : "很好");
        rating.execute();
        rating.reset();
        if (i < ratings && draw % 20 == 3) {
            noEffect.bind("trade", trade);
            noEffect.execute();
            noEffect.reset();
        }
    }
    db.commit();
}

// The statement as the sqlite3 command line runs it: the date functions of the desktop database
// become strftime expressions, the parameters literals.
std::string forSqlite3(std::string sql) {
    const std::pair<const char*, const char*> rewrites[] = {
        {"datepart('ww',sj)",
         "((cast(strftime('%j',sj) as integer)+cast(strftime('%w',sj,'start of year') as "
         "integer)-1)/7+1)"},
        {"weekday(sj)", "(cast(strftime('%w',sj) as integer)+1)"},
        {"year(sj)", "cast(strftime('%Y',sj) as integer)"},
        {"month(sj)", "cast(strftime('%m',sj) as integer)"},
        {"day(sj)", "cast(strftime('%d',sj) as integer)"},
        {"hour(sj)", "cast(strftime('%H',sj) as integer)"},
        {":id", "1"},
        {":sj1", "'2010-01-01 00:00:00'"},
        {":sj2", "'2011-12-31 00:00:00'"},
    };
    for (auto [from, to] : rewrites)
        for (size_t at; (at = sql.find(from)) != std::string::npos;)
            sql.replace(at, std::string_view(from).size(), to);
    return sql;
}

struct Silent : charts::AnalysisObserver {
    void showMessage(const std::string& text) override { std::fprintf(stderr, "%s\n", text.c_str()); }
    void documentWritten(const fs::path&) override {}
};

// Rows of all the window's charts: the set lines of its chart documents.
long pointsWritten(const charts::Gallery& gallery, const charts::Analysis& analysis) {
    long points = 0;
    for (const auto& chart : analysis.charts) {
        std::ifstream in(gallery.document(chart.chartFile), std::ios::binary);
        for (std::string line; std::getline(in, line);)
            points += line.rfind("<set ", 0) == 0;
    }
    return points;
}

// Three runs of a window for shop 1 over the two years; none when a run fails.
std::vector<Timing> runWindow(db::TDM& dm, const charts::Gallery& gallery, const charts::Analysis& analysis) {
    Silent silent;
    std::vector<Timing> runs;
    for (int run = 0; run < 3; ++run) {
        charts::AnalysisResult result;
        runs.push_back(measure([&] {
            result = charts::runAnalysis(dm.cn1(), gallery, analysis,
                                         charts::AnalysisRequest{1, "压力测试店", kFrom, kTo}, silent);
        }));
        if (result.outcome != charts::AnalysisOutcome::Written) {
            std::fprintf(stderr, "run failed: %s\n", result.error.c_str());
            return {};
        }
    }
    return runs;
}

} // namespace

int main(int argc, char** argv) {
    const int sales = argument(argc, argv, 1, 1000000);
    const int ratings = argument(argc, argv, 2, 1000000);
    fs::path dir = scratchFolder("vantor-bench-analysis");
    DataFolder data(dir / "data");
    data.create();
    db::TDM dm(data.database());
    dm.open();

    Timing filled = measure([&] {
        fill(dm.cn1(), sales);
        dm.cn1().exec("ANALYZE");
    });
    std::printf("data: %d sales of the shop (+%d of another) in %.1f s\n", sales, sales / 10, filled.wall);

    charts::Gallery gallery(data);
    std::printf("%-8s %21s %21s %13s %s\n", "window", "vantor wall/cpu [s]", "sqlite3 wall/cpu [s]",
                "ratio wall/cpu", "points");
    for (const charts::Analysis* analysis : charts::salesAnalyses()) {
        std::vector<Timing> ours = runWindow(dm, gallery, *analysis), theirs;
        if (ours.empty()) return 1;

        fs::path script = dir / (std::string(analysis->name) + ".sql");
        {
            std::ofstream out(script);
            for (const auto& chart : analysis->charts)
                out << forSqlite3(std::string(chart.statement)) << ";\n";
        }
        fs::path output = dir / (std::string(analysis->name) + ".out");
        std::string command =
            "sqlite3 " + data.database().string() + " < " + script.string() + " > " + output.string();
        for (int run = 0; run < 3; ++run) {
            int status = 0;
            theirs.push_back(measure([&] { status = std::system(command.c_str()); }, RUSAGE_CHILDREN));
            if (status != 0) {
                std::fprintf(stderr, "sqlite3 failed: %s\n", command.c_str());
                return 1;
            }
        }
        long theirRows = 0;
        std::ifstream rows(output);
        for (std::string line; std::getline(rows, line);)
            ++theirRows;
        long ourRows = pointsWritten(gallery, *analysis);
        Timing us = medianOf(ours), them = medianOf(theirs);
        std::printf("%-8s %10.3f / %-8.3f %10.3f / %-8.3f %5.2f / %-5.2f %ld%s\n",
                    std::string(analysis->name).c_str(), us.wall, us.cpu, them.wall, them.cpu,
                    us.wall / them.wall, us.cpu / them.cpu, ourRows,
                    ourRows == theirRows ? "" : " (sqlite3 returned a different number of rows!)");
    }

    Timing ratingsFilled = measure([&] {
        fillRatings(dm.cn1(), ratings);
        dm.cn1().exec("ANALYZE");
    });
    std::printf("\ndata: %d ratings of the shop (+%d of another) in %.1f s\n", ratings, ratings / 10,
                ratingsFilled.wall);
    // What both rating windows read: the shop's ratings of the range with their "[不计分]" mark.
    const std::string read =
        "select p.pjsj,p.pj,p.pjName,p.jg,p.pjInfo,p.itemTitle,exists(select 1 from "
        "pjNoEffect n where n.dian_id=p.dian_id and n.trade_id=p.trade_id) from pjinfo p "
        "where p.dian_id=1 and p.pjsj>='2010-01-01 00:00:00' and p.pjsj<'2012-01-01 "
        "00:00:00' order by p.pjsj;\n";
    fs::path script = dir / "ratings.sql";
    std::ofstream(script) << read;
    const std::string command = "sqlite3 " + data.database().string() + " < " + script.string() + " > " +
                                (dir / "ratings.out").string();
    std::printf("%-13s %21s %21s %13s\n", "window", "vantor wall/cpu [s]", "sqlite3 read wall/cpu [s]",
                "ratio wall/cpu");
    for (const charts::Analysis* analysis : {&charts::creditGrowth(), &charts::ratingCheck()}) {
        std::vector<Timing> ours = runWindow(dm, gallery, *analysis), theirs;
        if (ours.empty()) return 1;
        for (int run = 0; run < 3; ++run)
            theirs.push_back(measure([&] { (void)std::system(command.c_str()); }, RUSAGE_CHILDREN));
        Timing us = medianOf(ours), them = medianOf(theirs);
        std::printf("%-13s %10.3f / %-8.3f %10.3f / %-8.3f %5.2f / %-5.2f\n",
                    std::string(analysis->name).c_str(), us.wall, us.cpu, them.wall, them.cpu,
                    us.wall / them.wall, us.cpu / them.cpu);
    }
    if (!std::getenv("VANTOR_BENCH_KEEP")) fs::remove_all(dir);
    return 0;
}
