#include "Cli.h"

#include "base/Version.h"

#include <iostream>

using namespace vantor;

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
