#include "Cli.h"
#include "CsvTable.h"

#include "base/CsvFile.h"
#include "gather/GatherTexts.h"
#include "watch/WatchRound.h"

#include <cstdlib>
#include <fstream>
#include <iostream>
#include <mutex>
#include <unistd.h>

namespace vantor::cli {

namespace {

// A round's progress on standard error.
struct RoundProgress : gather::GatherObserver {
    std::mutex mutex;
    void shopStarted(int index, int count, const TDianBaseInfo& shop) override {
        std::lock_guard lock(mutex);
        std::cerr << "[" << index + 1 << "/" << count << "] "
                  << (shop.dianming.empty() ? shop.webaddr : shop.dianming) << '\n';
    }
    void stageText(const std::string& text) override {
        if (text != gather::kWaitingForLock) return;
        std::lock_guard lock(mutex);
        std::cerr << text << '\n';
    }
};

std::filesystem::path thisProgram() {
    std::error_code error;
    auto path = std::filesystem::read_symlink("/proc/self/exe", error);
    return error ? std::filesystem::path("vantor-cli") : path;
}

std::filesystem::path userUnitFolder() {
    const char* config = std::getenv("XDG_CONFIG_HOME");
    const char* home = std::getenv("HOME");
    const std::filesystem::path base = config && *config
                                           ? std::filesystem::path(config)
                                           : std::filesystem::path(home ? home : ".") / ".config";
    return base / "systemd" / "user";
}

void writeText(const std::filesystem::path& file, const std::string& text) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    out << text;
    if (!out) throw JobFailed("无法写入 " + file.string());
}

// systemctl --user with the arguments; whether it succeeded.
bool systemctl(const std::string& arguments) {
    const std::string command = "systemctl --user " + arguments + " >/dev/null 2>&1";
    return std::system(command.c_str()) == 0;
}

void schedule(const Context& context, const watch::Schedule& wanted) {
    const DataFolder data = context.folder();
    data.create();
    watch::WatchSettingsFile(data.config()).saveSchedule(wanted);
    const std::filesystem::path units = userUnitFolder();
    const std::string timer = std::string(watch::kTimerName) + ".timer";
    if (wanted.kind == watch::Schedule::Kind::Off) {
        systemctl("disable --now " + timer);
        std::error_code error;
        std::filesystem::remove(units / timer, error);
        std::filesystem::remove(units / (std::string(watch::kTimerName) + ".service"), error);
        systemctl("daemon-reload");
        std::cerr << "店铺监控不再自动更新。\n";
        return;
    }
    std::filesystem::create_directories(units);
    const auto made = watch::timerUnits(wanted, thisProgram(), std::filesystem::absolute(data.root()));
    writeText(units / (std::string(watch::kTimerName) + ".service"), made.service);
    writeText(units / timer, made.timer);
    std::cerr << "已写入 " << (units / timer).string() << "（" << wanted.description() << "）。\n";
    if (systemctl("daemon-reload") && systemctl("enable --now " + timer)) {
        std::cerr << "已启用：systemctl --user list-timers " << timer << " 可查看下次运行时间。\n";
    } else {
        std::cerr << "此处无法启用用户定时器（没有 systemd 用户会话）。请在登录的桌面中运行：\n"
                  << "  systemctl --user daemon-reload && systemctl --user enable --now " << timer << '\n'
                  << "程序打开时也会按此设置自动更新。\n";
    }
}

} // namespace

void addWatchCommands(CLI::App& app, Context& context) {
    auto* watchCommand =
        app.add_subcommand("watch", "店铺监控：定期重新采集所监控的店铺并报告变化")->require_subcommand(1);

    auto* add = watchCommand->add_subcommand("add", "加入监控的店铺");
    auto shops = std::make_shared<std::vector<std::string>>();
    auto items = std::make_shared<int>(gather::kDefaultItemsPerShop);
    auto ratings = std::make_shared<bool>(false);
    add->add_option("--shop", *shops, "店铺网址（可多次给出）")->required();
    add->add_option("--items", *items, "每家店铺跟踪前 N 个商品（1..200）")
        ->check(CLI::Range(1, gather::kMaxItemsPerShop));
    add->add_flag("--ratings", *ratings, "同时跟踪店铺的评价");
    add->callback([&context, shops, items, ratings] {
        auto dm = context.openStore();
        db::Database db = dm->openConnection();
        for (const std::string& shop : *shops)
            if (!watch::shopAddress(shop)) throw CLI::ValidationError("--shop", "不是店铺网址：" + shop);
        for (const std::string& shop : *shops)
            std::cerr << "已加入监控：" << *watch::shopAddress(shop) << "（序号"
                      << watch::addWatched(db, shop, *items, *ratings, DateTime::now()) << "）\n";
    });

    watchCommand->add_subcommand("list", "列出监控的店铺（CSV）")->callback([&context] {
        auto dm = context.openStore();
        const watch::Schedule plan = watch::WatchSettingsFile(context.folder().config()).schedule();
        printCsvRow(std::cout, {"序号", "店铺名", "掌柜", "网址", "跟踪商品数", "跟踪评价", "加入时间",
                                "上次更新", "下次更新", "状态"});
        for (const watch::WatchedShop& shop : watch::watchedShops(dm->cn1())) {
            const auto last = DateTime::parse(shop.lastRound);
            const auto next = plan.next(last, DateTime::now());
            printCsvRow(std::cout,
                        {std::to_string(shop.id), shop.name, shop.nick, shop.address,
                         std::to_string(shop.items), shop.ratings ? "是" : "否", shop.added, shop.lastRound,
                         next ? next->toString() : "", shop.state.empty() ? "等待首次更新" : shop.state});
        }
    });

    auto* remove = watchCommand->add_subcommand("remove", "不再监控一家店铺（连同它的监控记录）");
    auto which = std::make_shared<std::string>();
    remove->add_option("--shop", *which, "监控序号或店铺网址")->required();
    remove->callback([&context, which] {
        auto dm = context.openStore();
        db::Database db = dm->openConnection();
        if (!watch::removeWatched(db, *which)) throw JobFailed("监控列表中没有这家店铺：" + *which);
        std::cerr << "已不再监控：" << *which << '\n';
    });

    watchCommand->add_subcommand("run", "立即更新一轮：重新采集所有监控的店铺，只取新的资料")
        ->callback([&context] {
            TConfig config;
            context.loadConfig(config);
            auto dm = context.openStore();
            Slots slots(config.getHttpAgent()->Slots);
            RoundProgress progress;
            watch::WatchRound round(dm->store(), config.getHttpAgent(), slots.list(), progress,
                                    watch::WatchSettingsFile(context.folder().config()).alertRules(),
                                    DateTime::now());
            round.start();
            round.wait();
            const watch::RoundOutcome& outcome = round.outcome();
            for (const watch::ChangeLine& alert : outcome.alerts)
                std::cerr << "提醒：" << alert.shop << " " << alert.kind << " " << alert.item << " "
                          << alert.oldValue << (alert.oldValue.empty() ? "" : " → ") << alert.newValue << " "
                          << alert.note << '\n';
            const std::string failures = outcome.failures.text();
            const std::string summary =
                watch::roundSummary(outcome) + (failures.empty() ? std::string() : "失败：" + failures);
            const bool whole = outcome.end == gather::JobEnd::Finished && outcome.shopsSaved == outcome.shops;
            if (!whole) throw JobFailed(summary);
            std::cerr << summary << '\n';
        });

    auto* report = watchCommand->add_subcommand("report", "变化报告（CSV）");
    auto filter = std::make_shared<watch::ReportFilter>();
    auto out = std::make_shared<std::string>();
    report->add_option("--since", filter->since, "从这一天起（yyyy-MM-dd）");
    report->add_option("--shop", filter->shop, "只看这家店铺（监控序号）");
    report->add_option("--out", *out, "按程序的导出格式写入此文件（GBK）");
    report->callback([&context, filter, out] {
        if (!filter->since.empty() && !DateTime::parse(filter->since + " 00:00:00"))
            throw CLI::ValidationError("--since", "日期应为 yyyy-MM-dd：" + filter->since);
        auto dm = context.openStore();
        std::vector<watch::ChangeLine> lines = watch::readReport(dm->cn1(), *filter);
        if (out->empty()) {
            printCsvRow(std::cout, watch::reportColumns());
            for (const watch::ChangeLine& line : lines)
                printCsvRow(std::cout, watch::reportCells(line));
            return;
        }
        switch (exportToFile(watch::reportExport(std::move(lines), DateTime::now()), *out, nullptr)) {
        case ExportOutcome::Locked:
            throw JobFailed(lockedWarning(*out));
        case ExportOutcome::NoRows:
            std::cerr << "没有数据，没有写文件。\n";
            break;
        case ExportOutcome::Written:
            std::cerr << "已导出到 " << std::filesystem::absolute(*out).string() << '\n';
            break;
        }
    });

    auto* plan =
        watchCommand->add_subcommand("schedule", "自动更新：每天定时或每隔 N 小时（systemd 用户定时器）");
    auto daily = std::make_shared<std::string>();
    auto hours = std::make_shared<int>(0);
    auto off = std::make_shared<bool>(false);
    auto* dailyOption = plan->add_option("--daily", *daily, "每天 HH:MM");
    auto* hoursOption =
        plan->add_option("--every-hours", *hours, "每隔 N 小时（1..24）")->check(CLI::Range(1, 24));
    auto* offOption = plan->add_flag("--off", *off, "不再自动更新");
    dailyOption->excludes(hoursOption)->excludes(offOption);
    hoursOption->excludes(offOption);
    plan->require_option(1);
    plan->callback([&context, daily, hours, off] {
        std::optional<watch::Schedule> wanted;
        if (*off)
            wanted = watch::Schedule{};
        else if (*hours > 0)
            wanted = watch::Schedule::parse("every " + std::to_string(*hours));
        else
            wanted = watch::Schedule::parse("daily " + *daily);
        if (!wanted) throw CLI::ValidationError("--daily", "时间应为 HH:MM：" + *daily);
        schedule(context, *wanted);
    });
}

} // namespace vantor::cli
