#include "Cli.h"
#include "CsvTable.h"

#include "db/TDM.h"
#include "gather/CategoryRanking.h"
#include "gather/ItemRanking.h"

#include <iostream>
#include <mutex>

namespace vantor::cli {

namespace {

struct RankingProgress : gather::ItemRankingObserver {
    std::mutex mutex;
    std::string status;
    gather::JobEnd end = gather::JobEnd::Finished;
    std::vector<TItemInfo> rows;
    int total = 0;

    void itemsRead(int count) override {
        std::lock_guard lock(mutex);
        std::cerr << "正在采集：" << count << "个商品\n";
    }
    void statusLine(const std::string& text) override {
        std::lock_guard lock(mutex);
        status = text;
    }
    void rankingEnded(gather::JobEnd how, const std::vector<TItemInfo>& ranked, int found) override {
        std::lock_guard lock(mutex);
        end = how;
        rows = ranked;
        total = found;
    }
};

struct CategoryProgress : gather::CategoryRankingObserver {
    std::mutex mutex;
    gather::JobEnd end = gather::JobEnd::Finished;
    std::string summary;
    std::vector<gather::RankedItem> rows;

    void categoryStarted(int index, int count, const std::string& name) override {
        std::lock_guard lock(mutex);
        std::cerr << "正在采集第" << index + 1 << "/" << count << "个类目：" << name << '\n';
    }
    void categorySaved(const std::string& name, const std::vector<TItemInfo>& ranked) override {
        std::lock_guard lock(mutex);
        for (gather::RankedItem& row : gather::rankedCategory(name, ranked))
            rows.push_back(std::move(row));
    }
    void statusLine(const std::string& text) override {
        std::lock_guard lock(mutex);
        std::cerr << text << '\n';
    }
    void message(const std::string& text) override { statusLine(text); }
    void rankingEnded(gather::JobEnd how, int categories, int items, const std::string& detail) override {
        std::lock_guard lock(mutex);
        end = how;
        summary = gather::categoryRankingSummary(how, categories, items, detail);
    }
};

} // namespace

void addRankingCommands(CLI::App& app, Context& context) {
    auto* items = app.add_subcommand("rank-items", "指定商品销售排行：按 30 天销量列出搜索到的商品，不保存");
    auto query = std::make_shared<gather::ItemRankingQuery>();
    auto out = std::make_shared<std::string>();
    items->add_option("--name", query->name, "商品名");
    items->add_option("--low", query->low, "价格大于");
    items->add_option("--high", query->high, "价格小于");
    items->add_option("--loc", query->location, "所在地");
    items->add_option("--range", query->range, "排名范围 10..100");
    items->add_option("--out", *out, "按窗口的导出格式（GBK）写入此文件");
    items->callback([&context, query, out] {
        if (auto refused = gather::validateItemRanking(*query)) throw CLI::ValidationError(*refused);
        TConfig config;
        context.loadConfig(config);
        Slots slots(config.getHttpAgent()->Slots);
        RankingProgress progress;
        std::cerr << gather::itemRankingLog(*query, 1, DateTime::now());
        gather::ItemRankingJob job(*query, config.getHttpAgent(), slots.list(), progress);
        job.start();
        job.wait();
        std::cerr << gather::itemRankingSummary(progress.end, progress.total) << '\n';
        if (progress.end != gather::JobEnd::Finished)
            throw JobFailed(progress.status.empty() ? itemRankingSummary(progress.end, 0) : progress.status);
        if (!out->empty()) {
            if (exportToFile(gather::itemRankingExport(progress.rows), *out, nullptr) ==
                ExportOutcome::Locked)
                throw JobFailed(lockedWarning(*out));
            return;
        }
        printCsvRow(std::cout, gather::itemRankingColumns());
        for (size_t i = 0; i < progress.rows.size(); ++i)
            printCsvRow(std::cout, gather::itemRankingRow(int(i) + 1, progress.rows[i]));
    });

    auto* category =
        app.add_subcommand("rank-category", "按类目采集热卖商品：按销量读取类目页面，保存为本月排行并输出");
    auto categories = std::make_shared<std::vector<int>>();
    auto depth = std::make_shared<int>(gather::kDefaultRankingDepth);
    category->add_option("--category", *categories, "类目（类目表中的位置，从 0 起，可多次给出）")
        ->required();
    category->add_option("--depth", *depth, "每个类目采集前 N 个商品，20..400");
    category->callback([&context, categories, depth] {
        if (auto refused = gather::validateCategoryRanking(*categories, *depth))
            throw CLI::ValidationError(*refused);
        TConfig config;
        context.loadConfig(config);
        auto dm = context.openStore();
        Slots slots(config.getHttpAgent()->Slots);
        CategoryProgress progress;
        const DateTime now = DateTime::now();
        gather::CategoryRanking job(dm->store(), *categories, *depth, config.getHttpAgent(), slots.list(),
                                    progress, now);
        job.start();
        job.wait();
        std::cerr << progress.summary << '\n';
        printCsvRow(std::cout, gather::categoryRankingColumns());
        for (const gather::RankedItem& row : progress.rows)
            printCsvRow(std::cout, categoryRankingRow(row, now));
        if (progress.end != gather::JobEnd::Finished) throw JobFailed(progress.summary);
    });
}

} // namespace vantor::cli
