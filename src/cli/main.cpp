#include "Cli.h"

#include "base/Version.h"
#include "gather/GatherTexts.h"

#include <iostream>

using namespace vantor;

namespace vantor::cli {

void Context::loadConfig(TConfig& config) const {
    DataFolder data = folder();
    try {
        data.create();
        app::ConfigFile(data.config()).load(config);
    } catch (const std::exception& e) {
        throw JobFailed(std::string(app::kConfigFileError) + " " + e.what());
    }
}

db::Store Context::store() const {
    return localFile ? db::Store(folder().database()) : app::configuredStore(folder());
}

std::unique_ptr<db::TDM> Context::openStore() const {
    DataFolder data = folder();
    auto dm = std::make_unique<db::TDM>(store());
    try {
        data.create();
        dm->open();
    } catch (const db::DbError& e) {
        if (!dm->store().isPostgres()) throw JobFailed(std::string(app::kDataFileError) + " " + e.what());
        throw StoreUnreachable(e.what() + std::string("\n数据库：") + dm->store().url + "\n详细信息：" +
                               e.detail() +
                               "\n重试：再次运行本命令；仅本次改用本机数据文件：加 --local-file；"
                               "以后都用本机数据文件：vantor-cli config db --sqlite");
    } catch (const std::exception& e) {
        throw JobFailed(std::string(app::kDataFileError) + " " + e.what());
    }
    return dm;
}

db::LockWait printedLockWait() {
    db::LockWait wait;
    wait.notice = [] { std::cerr << gather::kWaitingForLock << '\n'; };
    return wait;
}

app::ServerChoice StderrObserver::askServerUnreachable(const std::string& text, const std::string& detail) {
    std::cerr << text << '\n' << detail << '\n';
    return app::ServerChoice::Exit;
}

void StderrObserver::showMessage(const std::string& text) {
    std::cerr << text << '\n';
}
void StderrObserver::showStatus(const std::string& text) {
    std::cerr << text << '\n';
}

} // namespace vantor::cli

int main(int argc, char** argv) {
    CLI::App app{"Vantor: 淘宝市场数据采集与分析（命令行）", "vantor-cli"};
    app.require_subcommand(1);
    cli::Context context;
    // The help names the folder this very program uses, installed or not.
    app.add_option("--data-dir", context.dataDir,
                   "数据目录（默认：" + DataFolder::locate().root().string() +
                       "；环境变量 VANTOR_DATA_DIR 可另指定）");
    app.add_flag("--local-file", context.localFile, "本次使用本机数据文件，即使设置了数据库服务器");

    cli::addConfigCommands(app, context);
    cli::addCompactCommand(app, context);
    cli::addDbCommand(app, context);
    cli::addNetworkCommands(app, context);
    cli::addAnalyseCommand(app, context);
    cli::addGatherCommands(app, context);
    cli::addRankingCommands(app, context);
    cli::addViewCommands(app, context);
    cli::addUpdateCommands(app, context);
    cli::addWatchCommands(app, context);
    app.set_version_flag("--version", std::string("vantor-cli ") + kVersion);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        int status = app.exit(e);
        return status == 0 ? 0 : 2;
    } catch (const cli::StoreUnreachable& e) {
        std::cerr << e.what() << '\n';
        return cli::kUnreachableStatus;
    } catch (const cli::JobFailed& e) {
        std::cerr << e.what() << '\n';
        return 1;
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
        return 1;
    }
    return 0;
}
