#pragma once

#include "base/DataFolder.h"
#include "db/TDM.h"
#include "download/THttpAgent.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>

namespace vantor::app {

// The process-wide settings. The agent is shared immutably: a download keeps the agent it started
// with alive while a new one is installed.
class TConfig {
public:
    TConfig() : agent_(std::make_shared<const THttpAgent>()) {}

    std::shared_ptr<const THttpAgent> getHttpAgent() const;
    void setHttpAgent(std::shared_ptr<const THttpAgent> agent);

    std::string optimize;
    std::string lastTimeOpt;
    std::string dbUrl; // [Db] Url: a PostgreSQL server's database; empty: the data folder's file

private:
    mutable std::mutex mutex_;
    std::shared_ptr<const THttpAgent> agent_;
};

// A settings file that cannot be created, read or written, or that holds a value the program
// cannot read back.
class ConfigError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The store the settings name: the server's database of [Db] Url, or the data folder's file (also when
// the settings file is missing or unreadable, which start-up reports on its own).
db::Store configuredStore(const DataFolder& folder);

// Why a database address cannot be saved, or nothing: it must be a PostgreSQL URL, and it carries no
// password (libpq's password file ~/.pgpass or PGPASSWORD hold that).
std::optional<std::string> checkDatabaseUrl(const std::string& url);

// Messages of the settings file, as the windows show them.
inline constexpr const char* kConfigFileError = "配置文件出错，系统将退出！";
inline constexpr const char* kConfigSaveError = "保存配置文件出错！";

// The compaction schedule: the index of "每天一次", "每周一次", "每月一次".
enum class Optimize { Daily = 0, Weekly = 1, Monthly = 2 };

// Reading and writing config.ini. Every operation opens and closes the file.
class ConfigFile {
public:
    explicit ConfigFile(std::filesystem::path path) : path_(std::move(path)) {}
    const std::filesystem::path& path() const { return path_; }

    // Start-up load: writes the first-start defaults when the file is missing, then reads every key in
    // order into config, field by field, so that a failure leaves the fields read before it in place.
    // Raises ConfigError.
    void load(TConfig& config) const;

    // Writes the network keys, then installs the agent, so downloads started afterwards use it.
    // Raises ConfigError; config is then unchanged.
    void saveNetwork(const THttpAgent& agent, TConfig& config) const;

    // Writes the schedule and empties lastTimeOpt, so the next start compacts at once.
    void saveSchedule(int optimizeIndex) const;

    void saveLastTimeOpt(const std::string& lastTimeOpt) const;

    // Writes [Db] Url; empty: back to the data file. The URL must have passed checkDatabaseUrl.
    void saveDatabase(const std::string& url) const;

    // [Update] Skipped: the version whose update failed, not offered again. Empty when none or unreadable.
    std::string skippedUpdate() const;
    void saveSkippedUpdate(const std::string& version) const;

private:
    std::filesystem::path path_;
};

} // namespace vantor::app

// The module keeps its name where the rest of the program meets it.
namespace vantor {
using app::TConfig;
} // namespace vantor
