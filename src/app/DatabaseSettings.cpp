#include "DatabaseSettings.h"

#include "db/TDM.h"

namespace vantor {

std::optional<std::string> saveDatabasePage(int type, const std::string& url, const ConfigFile& file,
                                            TConfig& config) {
    if (type == kServerStore)
        if (auto refused = checkDatabaseUrl(url)) return refused;
    const std::string saved = type == kServerStore ? url : std::string();
    try {
        file.saveDatabase(saved);
    } catch (const std::exception&) {
        return std::string(kConfigSaveError);
    }
    config.dbUrl = saved;
    return std::nullopt;
}

std::string testDatabase(const std::string& url) {
    if (auto refused = checkDatabaseUrl(url)) return *refused;
    try {
        db::TDM(db::Store::postgres(url)).open();
    } catch (const std::exception& e) {
        return std::string("连接数据库失败：") + e.what();
    }
    return kDatabaseTestPassed;
}

} // namespace vantor
