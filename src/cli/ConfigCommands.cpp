#include "Cli.h"

#include "app/Compaction.h"
#include "base/DateTime.h"

#include <iostream>

namespace vantor::cli {

void addConfigCommands(CLI::App& app, Context& context) {
    auto* config = app.add_subcommand("config", "查看或修改设置")->require_subcommand(1);
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
                  << "[Other]\n"
                  << "optimize=" << settings.optimize << '\n'
                  << "lastTimeOpt=" << settings.lastTimeOpt << '\n'
                  << "; " << context.folder().config().string() << '\n';
    });
}

void addCompactCommand(CLI::App& app, Context& context) {
    app.add_subcommand("compact", "立即优化（压缩）数据库")->callback([&context] {
        TConfig settings;
        context.loadConfig(settings);
        DataFolder data = context.folder();
        std::cerr << kCompactingStatus << '\n';
        try {
            settings.lastTimeOpt =
                compactDatabase(data.database(), data.temporaryDatabase(), DateTime::now());
        } catch (const CompactionError& e) {
            throw JobFailed(std::string(kCompactionFailed) + " " + e.what());
        }
        try {
            ConfigFile(data.config()).saveLastTimeOpt(settings.lastTimeOpt);
        } catch (const std::exception& e) {
            throw JobFailed(std::string(kConfigFileError) + " " + e.what());
        }
        std::cerr << (settings.lastTimeOpt.empty() ? "没有数据文件，无需优化。" : "数据优化完成。") << '\n';
    });
}

} // namespace vantor::cli
