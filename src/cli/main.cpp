#include "Cli.h"

#include "base/Version.h"

#include <iostream>

using namespace vantor;

namespace vantor::cli {

void Context::loadConfig(TConfig& config) const {
    DataFolder data = folder();
    try {
        data.create();
        ConfigFile(data.config()).load(config);
    } catch (const std::exception& e) {
        throw JobFailed(std::string(kConfigFileError) + " " + e.what());
    }
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
    app.add_option("--data-dir", context.dataDir,
                   "数据目录（默认：程序目录旁的 ../data，或 VANTOR_DATA_DIR）");

    cli::addConfigCommands(app, context);
    cli::addCompactCommand(app, context);
    cli::addDbCommand(app, context);
    cli::addNetworkCommands(app, context);
    cli::addAnalyseCommand(app, context);
    cli::addGatherCommands(app, context);
    cli::addRankingCommands(app, context);
    cli::addViewCommands(app, context);
    cli::addUpdateCommands(app, context);
    app.set_version_flag("--version", std::string("vantor-cli ") + kVersion);

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        int status = app.exit(e);
        return status == 0 ? 0 : 2;
    } catch (const cli::JobFailed& e) {
        std::cerr << e.what() << '\n';
        return 1;
    } catch (const std::exception& e) {
        std::cerr << e.what() << '\n';
        return 1;
    }
    return 0;
}
