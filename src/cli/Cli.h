#pragma once

#include "app/Config.h"
#include "app/Startup.h"
#include "base/DataFolder.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>

namespace vantor::cli {

// Ends a command with the program's message and the exit status of a failed job.
class JobFailed : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The server store cannot be reached: the command ends with its own exit status, kUnreachableStatus, and
// names the choices the desktop program offers as a question.
class StoreUnreachable : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};
inline constexpr int kUnreachableStatus = 3;

// What every command shares: the data folder named on the command line.
struct Context {
    std::optional<std::filesystem::path> dataDir;
    bool localFile = false; // --local-file: this run uses the data file whatever [Db] Url says

    DataFolder folder() const { return DataFolder::locate(dataDir); }
    db::Store store() const;
    // The store opened, the folder created. Raises StoreUnreachable, or JobFailed for the data file.
    std::unique_ptr<db::TDM> openStore() const;
    // Reads config.ini (creating it with the defaults when missing). Raises JobFailed.
    void loadConfig(TConfig& config) const;
};

// Prints what the core reports: messages and status lines go to standard error.
class StderrObserver : public app::StartupObserver {
public:
    void showMessage(const std::string& text) override;
    void showStatus(const std::string& text) override;
    app::ServerChoice askServerUnreachable(const std::string& text, const std::string& detail) override;
};

// A save's wait for another program's save, said once on standard error.
db::LockWait printedLockWait();

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
// watch: the competitor watch's list, rounds, report and schedule.
void addWatchCommands(CLI::App& app, Context& context);
// export and delete: the data views' tables, exports and deletes.
void addViewCommands(CLI::App& app, Context& context);

} // namespace vantor::cli
