#include "Cli.h"
#include "CsvTable.h"
#include "DemoMarketProcess.h"

#include "base/TextNumbers.h"
#include "db/TDM.h"
#include "gather/GatherTexts.h"
#include "gather/KnownShops.h"
#include "gather/RatingGathering.h"
#include "gather/SalesGathering.h"
#include "gather/SalesRunRecord.h"
#include "gather/ShopSearchJob.h"

#include <condition_variable>
#include <iostream>
#include <mutex>
#include <sstream>

namespace vantor::cli {

namespace {

// The search options the window's advanced search page has.
struct SearchOptions {
    std::string keyword;
    std::string in;
    int category = 0;
    std::string levels;
    std::string location;
    std::string order = "credit";
    int range = gather::kDefaultSearchRange;
    bool ratingOrderKeys = false;

    void addTo(CLI::App* command) {
        command->add_option("--keyword", keyword, "关键字");
        command->add_option("--in", in, "关键字查找范围：title,nick,tag（店铺名、掌柜名、主营项目）");
        command->add_option("--category", category, "类别：类别表中的序号（0 为所有类目）");
        command->add_option("--levels", levels, "掌柜级别，如 1,3,15");
        command->add_option("--loc", location, "所在地");
        command->add_option("--order", order, "排序：credit（按信誉）或 popularity（按人气）")
            ->check(CLI::IsMember({"credit", "popularity"}));
        command->add_option("--range", range, "搜索范围 10..400");
    }

    gather::ShopSearchQuery query() const {
        gather::ShopSearchQuery q;
        q.keyword = keyword;
        std::stringstream fields(in);
        std::string field;
        while (std::getline(fields, field, ',')) {
            if (field == "title")
                q.inTitle = true;
            else if (field == "nick")
                q.inNick = true;
            else if (field == "tag")
                q.inTag = true;
            else if (!field.empty())
                throw CLI::ValidationError("--in", "只能是 title、nick、tag");
        }
        q.category = category;
        std::stringstream list(levels);
        std::string level;
        while (std::getline(list, level, ',')) {
            if (level.empty()) continue;
            const auto value = parseInt32(level);
            if (!value) throw CLI::ValidationError("--levels", "不是级别：" + level);
            q.levels.insert(*value);
        }
        q.location = location;
        q.byPopularity = order == "popularity";
        q.range = range;
        q.ratingOrderKeys = ratingOrderKeys;
        if (auto refused = gather::validateShopSearch(q)) throw CLI::ValidationError(*refused);
        return q;
    }
};

// Prints progress to standard error and waits for the end of a search or a gathering.
struct Progress : gather::ShopSearchObserver, gather::GatherObserver {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<TDianBaseInfo> shops;
    int total = -1;
    std::string status;
    bool ended = false;
    gather::JobEnd end = gather::JobEnd::Finished;
    gather::GatherTally saved;
    std::string detail;

    void searchTotal(int found) override {
        std::lock_guard lock(mutex);
        total = found;
    }
    void shopsFound(const std::vector<TDianBaseInfo>& found) override {
        std::lock_guard lock(mutex);
        shops.insert(shops.end(), found.begin(), found.end());
    }
    void statusLine(const std::string& text) override {
        std::lock_guard lock(mutex);
        status = text;
    }
    void searchEnded(gather::JobEnd how, int, const std::string& why) override { finish(how, why); }
    void shopStarted(int index, int count, const TDianBaseInfo& shop) override {
        std::lock_guard lock(mutex);
        std::cerr << "[" << index + 1 << "/" << count << "] "
                  << (shop.dianzhu.empty() ? shop.webaddr : shop.dianzhu) << '\n';
    }
    void shopItemsGathered(int index, int count, int total) override {
        std::lock_guard lock(mutex);
        std::cerr << "  [" << index + 1 << "] 已采集商品" << count << "个（本次共" << total << "个）\n";
    }
    void ratingsGathered(int count) override {
        std::lock_guard lock(mutex);
        std::cerr << "  已采集评价" << count << "条\n";
    }
    void stageText(const std::string& text) override {
        std::lock_guard lock(mutex);
        if (text.find("请稍等") != std::string::npos) std::cerr << "  " << text << '\n';
    }
    void shopFinished(int done, int count) override {
        std::lock_guard lock(mutex);
        std::cerr << "已下载：" << done << "/" << count << "家店铺\n";
    }
    void message(const std::string& text) override {
        std::lock_guard lock(mutex);
        std::cerr << text << '\n';
    }
    void gatherEnded(gather::JobEnd how, const std::string& why, const gather::GatherTally& tally) override {
        {
            std::lock_guard lock(mutex);
            saved = tally;
        }
        finish(how, why);
    }
    void finish(gather::JobEnd how, const std::string& why) {
        std::lock_guard lock(mutex);
        end = how;
        detail = why;
        ended = true;
    }

    // A failed job: the status line's text, then the underlying error.
    void failIfNeeded(const char* stoppedText) {
        if (end == gather::JobEnd::Finished) return;
        std::string text = end == gather::JobEnd::Stopped ? std::string(stoppedText) : status;
        if (!detail.empty()) text += (text.empty() ? "" : " ") + detail;
        throw JobFailed(text.empty() ? std::string(gather::kGatherFailed) : text);
    }
};

std::vector<TDianBaseInfo> runSearch(const gather::ShopSearchQuery& query,
                                     std::shared_ptr<const THttpAgent> agent) {
    Slots slots(agent->Slots);
    Progress progress;
    gather::ShopSearchJob job(query, std::move(agent), slots.list(), progress);
    std::cerr << gather::shopSearchLog(query, 1, DateTime::now());
    job.start();
    job.wait();
    std::cerr << gather::searchSummary(progress.end, int(progress.shops.size()), std::max(progress.total, 0))
              << '\n';
    progress.failIfNeeded(gather::kSearchStopped);
    return progress.shops;
}

void printShops(const std::vector<TDianBaseInfo>& shops) {
    printCsvRow(std::cout, gather::searchGridColumns());
    for (size_t i = 0; i < shops.size(); ++i)
        printCsvRow(std::cout, gather::searchGridRow(int(i) + 1, shops[i]));
}

std::vector<TDianBaseInfo> pickShops(const std::vector<TDianBaseInfo>& shops, const std::string& choice) {
    if (choice == "all") return shops;
    std::vector<TDianBaseInfo> picked;
    std::stringstream list(choice);
    std::string number;
    while (std::getline(list, number, ',')) {
        size_t n = 0;
        try {
            n = std::stoul(number);
        } catch (...) {
        }
        if (n < 1 || n > shops.size()) throw CLI::ValidationError("--pick", "搜索结果中没有序号 " + number);
        picked.push_back(shops[n - 1]);
    }
    return picked;
}

using MakeGathering = std::function<std::unique_ptr<gather::GatherRun>(
    const db::Store& database, std::vector<download::SlotProgress*> slots, gather::GatherObserver& observer)>;

// Runs a gathering into the data folder's database, its progress and outcome on standard error.
void gather(const Context& context, size_t shops, const MakeGathering& make) {
    if (shops == 0) throw JobFailed(gather::kNoShopTicked);
    auto store = context.openStore();
    db::TDM& dm = *store;
    TConfig settings;
    context.loadConfig(settings);
    Slots slots(settings.getHttpAgent()->Slots);
    Progress progress;
    std::cerr << "共需下载：" << shops << "家店铺\n";
    auto gathering = make(dm.store(), slots.list(), progress);
    gathering->start();
    gathering->wait();
    const std::string summary = gather::gatherSummary(progress.end, progress.saved, progress.detail);
    if (progress.end == gather::JobEnd::Finished) {
        std::cerr << summary << '\n';
        return;
    }
    // The summary, with what was kept and the failures by reason, stays the last line.
    try {
        progress.failIfNeeded(gather::kGatherStopped);
    } catch (const JobFailed& failed) {
        throw JobFailed(std::string(failed.what()) + "\n" + summary);
    }
}

void gatherSales(const Context& context, std::vector<TDianBaseInfo> shops, int items,
                 std::shared_ptr<const THttpAgent> agent) {
    const size_t count = shops.size();
    gather(context, count, [&](const db::Store& database, auto slots, gather::GatherObserver& observer) {
        return std::make_unique<gather::SalesGathering>(database, std::move(shops), items, agent,
                                                        std::move(slots), observer);
    });
}

// Continues the sales gathering the data folder's database holds unfinished; false when there is none.
bool resumeSales(const Context& context, std::shared_ptr<const THttpAgent> agent) {
    auto dm = context.openStore();
    std::optional<gather::UnfinishedRun> unfinished =
        gather::unfinishedSalesRun(dm->cn1(), dm->store().client);
    if (!unfinished) return false;
    std::cerr << gather::resumeOfferText(unfinished->shops.size()) << '\n';
    gather(context, unfinished->shops.size(),
           [&](const db::Store& database, auto slots, gather::GatherObserver& observer) {
               return std::make_unique<gather::SalesGathering>(database, std::move(*unfinished), agent,
                                                               std::move(slots), observer);
           });
    return true;
}

void printStored(const Context& context) {
    auto dm = context.openStore();
    auto st = dm->cn1().prepare(
        "select d.id,d.dianzhu,d.dianming,d.salerCredit,count(distinct i.itemId),"
        "(select count(*) from saleInfo s join itemInfo j on s.itemId=j.itemId where "
        "j.dian_id=d.id) from dianbase d left join itemInfo i on i.dian_id=d.id group by d.id "
        "order by d.id");
    printCsvRow(std::cout, {"序号", "掌柜", "店铺名", "信用", "宝贝数", "销售记录数"});
    while (st.step())
        printCsvRow(std::cout, {st.text(0), st.text(1), st.text(2), st.text(3), st.text(4), st.text(5)});
}

void printStoredRatings(const Context& context) {
    auto dm = context.openStore();
    auto st = dm->cn1().prepare(
        "select d.id,d.dianzhu,d.dianming,d.salerCredit,count(p.id),d.pjupdate1,d.pjupdate2 "
        "from dianbase d left join pjinfo p on p.dian_id=d.id group by d.id order by d.id");
    printCsvRow(std::cout, {"序号", "掌柜", "店铺名", "信用", "评价数", "最新评价", "最早评价"});
    while (st.step())
        printCsvRow(std::cout,
                    {st.text(0), st.text(1), st.text(2), st.text(3), st.text(4), st.text(5), st.text(6)});
}

// The shops of a gathering command: by address, or picked from a search.
struct ShopChoice {
    std::shared_ptr<SearchOptions> search = std::make_shared<SearchOptions>();
    std::shared_ptr<std::vector<std::string>> addresses = std::make_shared<std::vector<std::string>>();
    std::shared_ptr<std::string> pick = std::make_shared<std::string>();

    void addTo(CLI::App* command) {
        auto* shopOption = command->add_option("--shop", *addresses, "店铺网址（可多次给出）");
        search->addTo(command);
        auto* pickOption = command->add_option("--pick", *pick, "按搜索结果的序号选择：all 或 1,4,7");
        shopOption->excludes(pickOption);
    }

    std::vector<TDianBaseInfo> shops(const Context& context, const TConfig& config) const {
        std::vector<TDianBaseInfo> chosen;
        if (!addresses->empty()) {
            auto dm = context.openStore();
            for (const auto& address : *addresses)
                chosen.push_back(gather::shopFromAddress(dm->cn1(), address));
            return chosen;
        }
        if (pick->empty()) throw CLI::ValidationError("请给出 --shop 网址，或搜索条件和 --pick");
        return pickShops(runSearch(search->query(), config.getHttpAgent()), *pick);
    }
};

} // namespace

void addGatherCommands(CLI::App& app, Context& context) {
    auto* search = app.add_subcommand("search-shops", "搜索店铺，结果以 CSV 输出");
    auto searchOptions = std::make_shared<SearchOptions>();
    searchOptions->addTo(search);
    search->callback([&context, searchOptions] {
        gather::ShopSearchQuery query = searchOptions->query();
        TConfig config;
        context.loadConfig(config);
        printShops(runSearch(query, config.getHttpAgent()));
    });

    auto* sales = app.add_subcommand("gather-sales", "采集店铺的资料、宝贝和销售记录");
    ShopChoice salesShops;
    salesShops.addTo(sales);
    auto items = std::make_shared<int>(gather::kDefaultItemsPerShop);
    auto* itemsOption = sales->add_option("--items", *items, "每家店铺下载前 N 名商品的销售记录（1..200）")
                            ->check(CLI::Range(1, gather::kMaxItemsPerShop));
    auto resume = std::make_shared<bool>(false);
    sales->add_flag("--resume", *resume, "继续上次未完成的采集：已保存的店铺不再下载，中断的店铺重新开始")
        ->excludes(itemsOption)
        ->excludes("--shop")
        ->excludes("--pick");
    sales->callback([&context, salesShops, items, resume] {
        TConfig config;
        context.loadConfig(config);
        if (*resume) {
            if (!resumeSales(context, config.getHttpAgent())) std::cerr << "没有未完成的采集。\n";
        } else {
            gatherSales(context, salesShops.shops(context, config), *items, config.getHttpAgent());
        }
        printStored(context);
    });

    auto* ratings = app.add_subcommand("gather-ratings", "采集店铺的资料、信用和评价");
    ShopChoice ratingShops;
    ratingShops.search->ratingOrderKeys = true;
    ratingShops.addTo(ratings);
    auto range = std::make_shared<std::pair<int, int>>(gather::kDefaultRatingFrom, gather::kDefaultRatingTo);
    ratings->add_option("--from", range->first, "下载数据范围：从第 N 条评价（1..1000000）")
        ->check(CLI::Range(gather::kMinRatingRange, gather::kMaxRatingFrom));
    ratings->add_option("--to", range->second, "下载数据范围：到第 M 条评价（1..100000）")
        ->check(CLI::Range(gather::kMinRatingRange, gather::kMaxRatingTo));
    ratings->callback([&context, ratingShops, range] {
        if (auto refused = gather::validateRatingRange(range->first, range->second))
            throw CLI::ValidationError(*refused);
        TConfig config;
        context.loadConfig(config);
        auto shops = ratingShops.shops(context, config);
        const size_t count = shops.size();
        auto agent = config.getHttpAgent();
        gather(context, count, [&](const db::Store& database, auto slots, gather::GatherObserver& observer) {
            return std::make_unique<gather::RatingGathering>(
                database, std::move(shops), range->first, range->second, agent, std::move(slots), observer);
        });
        printStoredRatings(context);
    });

    auto* demo = app.add_subcommand("demo", "在本机的演示市场上搜索并采集几家店铺，然后输出采集到的数据");
    demo->callback([&context] {
        DemoMarketProcess market(DemoMarketProcess::besideThisProgram());
        std::cerr << "演示市场：http://127.0.0.1:" << market.port() << '\n';
        auto agent = std::make_shared<THttpAgent>();
        agent->AgentType = true;
        agent->Server = "127.0.0.1";
        agent->Port = market.port();
        agent->ConnectTime = 3;
        gather::ShopSearchQuery query;
        query.category = 1;
        query.range = gather::kDefaultSearchRange;
        auto found = runSearch(query, agent);
        std::vector<TDianBaseInfo> shops(found.begin(), found.begin() + std::min<size_t>(3, found.size()));
        gatherSales(context, std::move(shops), 3, agent);
        printStored(context);
    });
}

} // namespace vantor::cli
