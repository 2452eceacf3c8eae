#pragma once

#include "Config.h"

#include <optional>
#include <string>

namespace vantor::app {

// The choices of the database page's dbType, by index.
inline constexpr int kDataFileStore = 0; // "本机数据文件"
inline constexpr int kServerStore = 1;   // "PostgreSQL 数据库"

inline constexpr const char* kDatabaseSaved = "数据库设置已保存，重新启动程序后生效。";
inline constexpr const char* kDatabaseTestRunning = "正在连接数据库,请稍等....";
inline constexpr const char* kDatabaseTestPassed = "连接数据库成功！";

// "应用" of the database page: writes [Db] Url (empty for the data file) and keeps it in config, whose
// store changes at the next start. The message to show when the address is refused or the file cannot
// be written, or nothing.
std::optional<std::string> saveDatabasePage(int type, const std::string& url, const ConfigFile& file,
                                            TConfig& config);

// "连接测试" of the database page: connects and makes the tables on first use. Its verdict, to show.
std::string testDatabase(const std::string& url);
// Why the server cannot be used now, or nothing: the same connection the test makes.
std::optional<std::string> databaseProblem(const std::string& url);
// The question before a server whose connection fails is saved anyway.
std::string unreachableSaveQuestion(const std::string& problem);

} // namespace vantor::app
