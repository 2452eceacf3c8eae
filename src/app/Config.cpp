#include "Config.h"

#include "base/IniFile.h"
#include "base/TextNumbers.h"

#include <algorithm>
#include <optional>
#include <unistd.h>

namespace vantor::app {
namespace {

constexpr const char* kNet = "Net";
constexpr const char* kOther = "Other";
constexpr const char* kDb = "Db";

IniFile loadIni(const std::filesystem::path& path) {
    try {
        return IniFile::load(path);
    } catch (const std::exception& e) {
        throw ConfigError(e.what());
    }
}

void saveIni(const IniFile& ini, const std::filesystem::path& path) {
    try {
        ini.save(path);
    } catch (const std::exception& e) {
        throw ConfigError(e.what());
    }
}

template <typename T> T require(std::optional<T> value, const char* key, const std::string& text) {
    if (!value) throw ConfigError(std::string("'") + text + "' is not a valid value for " + key);
    return *value;
}

} // namespace

std::shared_ptr<const THttpAgent> TConfig::getHttpAgent() const {
    std::lock_guard lock(mutex_);
    return agent_;
}

void TConfig::setHttpAgent(std::shared_ptr<const THttpAgent> agent) {
    std::lock_guard lock(mutex_);
    agent_ = std::move(agent);
}

void ConfigFile::load(TConfig& config) const {
    std::error_code ec;
    bool exists = std::filesystem::exists(path_, ec);
    if (ec) throw ConfigError("cannot reach " + path_.string() + ": " + ec.message());
    if (!exists) {
        IniFile ini;
        ini.write(kNet, "AgentType", "false");
        ini.write(kNet, "Server", "");
        ini.write(kNet, "Port", "0");
        ini.write(kNet, "User", "");
        ini.write(kNet, "Password", "");
        ini.write(kNet, "Domain", "");
        ini.write(kNet, "ReadTimeOut", "0");
        ini.write(kNet, "ConnectTimeOut", "0");
        ini.write(kNet, "ConnectTime", "3");
        ini.write(kNet, "MinInterval", "0");
        ini.write(kNet, "Slots", std::to_string(download::kDefaultSlots));
        ini.write(kOther, "optimize", "1");
        ini.write(kOther, "lastTimeOpt", "");
        saveIni(ini, path_);
    }

    IniFile ini = loadIni(path_);
    THttpAgent agent = *config.getHttpAgent();
    auto text = [&](const char* key, const char* fallback) { return ini.read(kNet, key, fallback); };
    auto number = [&](const char* key, const char* fallback) {
        auto t = text(key, fallback);
        return require(parseInt32(t), key, t);
    };
    try {
        auto agentType = text("AgentType", "false");
        agent.AgentType = require(parseBool(agentType), "AgentType", agentType);
        agent.Server = text("Server", "");
        agent.Port = number("Port", "0");
        agent.User = text("User", "");
        agent.Password = text("Password", "");
        agent.Domain = text("Domain", "");
        agent.ReadTimeOut = number("ReadTimeOut", "0");
        agent.ConnectTimeOut = number("ConnectTimeOut", "0");
        agent.ConnectTime = number("ConnectTime", "3");
        // Files written before the key existed read as no interval.
        auto interval = text("MinInterval", "0");
        agent.MinInterval = require(parseInt64(interval), "MinInterval", interval);
        // A count outside what the engine runs is taken at its nearest bound.
        agent.Slots = std::clamp(number("Slots", "4"), download::kMinSlots, download::kMaxSlots);
    } catch (...) {
        // Start-up goes on with what was read before the bad value.
        config.setHttpAgent(std::make_shared<const THttpAgent>(agent));
        throw;
    }
    config.setHttpAgent(std::make_shared<const THttpAgent>(agent));
    config.optimize = ini.read(kOther, "optimize", "1");
    config.lastTimeOpt = ini.read(kOther, "lastTimeOpt", "");
    config.dbUrl = ini.read(kDb, "Url", "");
    require(parseInt32(config.optimize), "optimize", config.optimize);
}

void ConfigFile::saveNetwork(const THttpAgent& agent, TConfig& config) const {
    IniFile ini = loadIni(path_);
    ini.write(kNet, "AgentType", agent.AgentType ? "-1" : "0");
    ini.write(kNet, "Server", agent.Server);
    ini.write(kNet, "Port", std::to_string(agent.Port));
    ini.write(kNet, "User", agent.User);
    ini.write(kNet, "Password", agent.Password);
    ini.write(kNet, "Domain", agent.Domain);
    ini.write(kNet, "ReadTimeOut", std::to_string(agent.ReadTimeOut));
    ini.write(kNet, "ConnectTimeOut", std::to_string(agent.ConnectTimeOut));
    ini.write(kNet, "ConnectTime", std::to_string(agent.ConnectTime));
    ini.write(kNet, "MinInterval", std::to_string(agent.MinInterval));
    ini.write(kNet, "Slots", std::to_string(agent.Slots));
    saveIni(ini, path_);
    config.setHttpAgent(std::make_shared<const THttpAgent>(agent));
}

void ConfigFile::saveSchedule(int optimizeIndex) const {
    IniFile ini = loadIni(path_);
    ini.write(kOther, "optimize", std::to_string(optimizeIndex));
    ini.write(kOther, "lastTimeOpt", "");
    saveIni(ini, path_);
}

void ConfigFile::saveDatabase(const std::string& url) const {
    IniFile ini = loadIni(path_);
    ini.write(kDb, "Url", url);
    saveIni(ini, path_);
}

std::string ConfigFile::skippedUpdate() const {
    try {
        return IniFile::load(path_).read("Update", "Skipped", "");
    } catch (const std::exception&) {
        return {};
    }
}

void ConfigFile::saveSkippedUpdate(const std::string& version) const {
    IniFile ini = loadIni(path_);
    ini.write("Update", "Skipped", version);
    saveIni(ini, path_);
}

db::Store configuredStore(const DataFolder& folder) {
    try {
        std::string url = IniFile::load(folder.config()).read(kDb, "Url", "");
        if (!url.empty() && !checkDatabaseUrl(url)) {
            db::Store store = db::Store::postgres(url);
            char host[256] = {};
            gethostname(host, sizeof host - 1);
            store.client = std::string(host) + ":" + std::filesystem::absolute(folder.root()).string();
            return store;
        }
    } catch (const std::exception&) {
        // Start-up says what is wrong with the file; the data stays where it always was.
    }
    return db::Store(folder.database());
}

std::optional<std::string> checkDatabaseUrl(const std::string& url) {
    const bool postgres = url.rfind("postgresql://", 0) == 0 || url.rfind("postgres://", 0) == 0;
    if (!postgres) return "数据库地址应为 postgresql://用户@主机:端口/数据库";
    // "user:password@" before the host, or a password parameter behind it.
    const size_t start = url.find("://") + 3;
    const size_t at = url.find('@', start);
    const size_t end = url.find_first_of("/?", start);
    const bool inUser = at != std::string::npos && (end == std::string::npos || at < end) &&
                        url.substr(start, at - start).find(':') != std::string::npos;
    if (inUser || url.find("password=") != std::string::npos)
        return "密码不写入配置文件，请写在 ~/.pgpass 或环境变量 PGPASSWORD 中";
    return std::nullopt;
}

void ConfigFile::saveLastTimeOpt(const std::string& lastTimeOpt) const {
    IniFile ini = loadIni(path_);
    ini.write(kOther, "lastTimeOpt", lastTimeOpt);
    saveIni(ini, path_);
}

} // namespace vantor::app
