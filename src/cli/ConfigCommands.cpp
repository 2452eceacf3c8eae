#include "Cli.h"

#include "app/Compaction.h"
#include "base/DateTime.h"
#include "db/StoreCopy.h"

#include <iostream>

namespace vantor::cli {

namespace {

void addDatabaseCommand(CLI::App& config, Context& context) {
    auto url = std::make_shared<std::string>();
    auto sqlite = std::make_shared<bool>(false);
    auto* db =
        config.add_subcommand("db", "数据存放位置：PostgreSQL 数据库（--url）或本机数据文件（--sqlite）");
    auto* urlOption = db->add_option(
        "--url", *url, "postgresql://用户@主机:端口/数据库（密码写在 ~/.pgpass 或 PGPASSWORD）");
    db->add_flag("--sqlite", *sqlite, "使用数据目录中的数据文件")->excludes(urlOption);
    db->require_option(1);
    db->callback([&context, url, sqlite] {
        TConfig settings;
        context.loadConfig(settings);
        if (!*sqlite) {
            if (auto refused = app::checkDatabaseUrl(*url)) throw CLI::ValidationError(*refused);
            // A server that cannot be reached, or refuses, is said before anything is saved.
            try {
                db::TDM(db::Store::postgres(*url)).open();
            } catch (const std::exception& e) {
                throw JobFailed(std::string("无法使用数据库：") + e.what());
            }
        }
        try {
            app::ConfigFile(context.folder().config()).saveDatabase(*sqlite ? std::string() : *url);
        } catch (const std::exception& e) {
            throw JobFailed(std::string(app::kConfigSaveError) + " " + e.what());
        }
        std::cerr << (*sqlite ? "数据存放在本机数据文件中。" : "数据存放在数据库 " + *url + " 中。") << '\n';
    });
}

} // namespace

void addConfigCommands(CLI::App& app, Context& context) {
    auto* config = app.add_subcommand("config", "查看或修改设置")->require_subcommand(1);
    addDatabaseCommand(*config, context);
    config->add_subcommand("show", "显示当前设置")->callback([&context] {
        TConfig settings;
        context.loadConfig(settings);
        auto agent = settings.getHttpAgent();
        std::cout << "[Net]\n"
                  << "AgentType=" << (agent->AgentType ? "true" : "false") << '\n'
                  << "Server=" << agent->Server << '\n'
                  << "Port=" << agent->Port << '\n'
                  << "User=" << agent->User << '\n'
                  << "Password=" << (agent->Password.empty() ? "" : "******") << '\n'
                  << "Domain=" << agent->Domain << '\n'
                  << "ReadTimeOut=" << agent->ReadTimeOut << '\n'
                  << "ConnectTimeOut=" << agent->ConnectTimeOut << '\n'
                  << "ConnectTime=" << agent->ConnectTime << '\n'
                  << "MinInterval=" << agent->MinInterval << '\n'
                  << "Slots=" << agent->Slots << '\n'
                  << "[Other]\n"
                  << "optimize=" << settings.optimize << '\n'
                  << "lastTimeOpt=" << settings.lastTimeOpt << '\n'
                  << "[Db]\n"
                  << "Url=" << settings.dbUrl << '\n'
                  << "; " << context.folder().config().string() << '\n';
    });
}

void addDbCommand(CLI::App& app, Context& context) {
    auto* db = app.add_subcommand("db", "数据库")->require_subcommand(1);
    auto to = std::make_shared<std::string>(), from = std::make_shared<std::string>();
    auto* copy =
        db->add_subcommand("copy", "在本机数据文件和 PostgreSQL 数据库之间复制全部数据（目标须为空）");
    auto* toOption =
        copy->add_option("--to", *to, "把数据文件复制到这个数据库：postgresql://用户@主机:端口/数据库");
    copy->add_option("--from", *from, "把这个数据库复制到数据文件")->excludes(toOption);
    copy->require_option(1);
    copy->callback([&context, to, from] {
        const std::string& url = to->empty() ? *from : *to;
        if (auto refused = app::checkDatabaseUrl(url)) throw CLI::ValidationError(*refused);
        DataFolder data = context.folder();
        data.create();
        const db::Store file(data.database()), server = db::Store::postgres(url);
        try {
            db::copyStore(
                to->empty() ? server : file, to->empty() ? file : server,
                [](const std::string& table, std::int64_t copied, std::int64_t total) {
                    std::cerr << "\r正在复制 " << table << "：" << copied << "/" << total
                              << (copied == total ? "\n" : "") << std::flush;
                },
                printedLockWait());
        } catch (const std::exception& e) {
            throw JobFailed(std::string("复制失败，目标数据库没有改动：") + e.what());
        }
        std::cerr << "复制完成，各表行数一致。" << (to->empty() ? "" : "用 config db --url 改用这个数据库。")
                  << '\n';
    });
}

void addCompactCommand(CLI::App& app, Context& context) {
    app.add_subcommand("compact", "立即优化（压缩）数据库")->callback([&context] {
        TConfig settings;
        context.loadConfig(settings);
        DataFolder data = context.folder();
        std::cerr << app::kCompactingStatus << '\n';
        try {
            settings.lastTimeOpt =
                settings.dbUrl.empty()
                    ? app::compactDatabase(data.database(), data.temporaryDatabase(), DateTime::now())
                    : app::vacuumServerStore(settings.dbUrl, DateTime::now());
        } catch (const app::CompactionError& e) {
            throw JobFailed(std::string(app::kCompactionFailed) + " " + e.what());
        }
        try {
            app::ConfigFile(data.config()).saveLastTimeOpt(settings.lastTimeOpt);
        } catch (const std::exception& e) {
            throw JobFailed(std::string(app::kConfigFileError) + " " + e.what());
        }
        std::cerr << (settings.lastTimeOpt.empty() ? "没有数据文件，无需优化。" : "数据优化完成。") << '\n';
    });
}

} // namespace vantor::cli
