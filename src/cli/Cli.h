#pragma once

#include "app/Config.h"
#include "app/Startup.h"
#include "base/DataFolder.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>

namespace vantor::cli {

// Ends a command with the program's message and the exit status of a failed job.
class JobFailed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// What every command shares: the data folder named on the command line.
struct Context {
    std::optional<std::filesystem::path> dataDir;

    DataFolder folder() const { return DataFolder::locate(dataDir); }
    // Reads config.ini (creating it with the defaults when missing). Raises JobFailed.
    void loadConfig(TConfig& config) const;
};

// Prints what the core reports: messages and status lines go to standard error.
class StderrObserver : public StartupObserver {
public:
    void showMessage(const std::string& text) override;
    void showStatus(const std::string& text) override;
};

void addConfigCommands(CLI::App& app, Context& context);
void addCompactCommand(CLI::App& app, Context& context);
// db copy: the data file into a PostgreSQL database, or back.
void addDbCommand(CLI::App& app, Context& context);
// Adds proxy, net and optimize to the config command, which must exist already, and test-connection.
void addNetworkCommands(CLI::App& app, Context& context);
void addAnalyseCommand(CLI::App& app, Context& context);
void addGatherCommands(CLI::App& app, Context& context);
// rank-items and rank-category: the item sales ranking and the category rankings.
void addRankingCommands(CLI::App& app, Context& context);
// check-update and update: the program's own updates.
void addUpdateCommands(CLI::App& app, Context& context);
// export and delete: the data views' tables, exports and deletes.
void addViewCommands(CLI::App& app, Context& context);

} // namespace vantor::cli
