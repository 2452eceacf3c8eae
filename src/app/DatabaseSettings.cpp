#include "DatabaseSettings.h"

#include "db/TDM.h"

namespace vantor::app {

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

std::optional<std::string> databaseProblem(const std::string& url) {
    if (auto refused = checkDatabaseUrl(url)) return refused;
    try {
        db::TDM(db::Store::postgres(url)).open();
    } catch (const std::exception& e) {
        return std::string("连接数据库失败：") + e.what();
    }
    return std::nullopt;
}

std::string testDatabase(const std::string& url) {
    return databaseProblem(url).value_or(kDatabaseTestPassed);
}

std::string unreachableSaveQuestion(const std::string& problem) {
    return problem + "\n\n仍然保存这个数据库设置吗？保存后，下次启动时如果仍然连接不上，程序会询问：重试、改"
                     "用本机数据文件或退出。";
}

} // namespace vantor::app
