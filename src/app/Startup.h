#pragma once

#include "Config.h"
#include "base/DataFolder.h"
#include "base/DateTime.h"
#include "db/TDM.h"

#include <string>

namespace vantor {

inline constexpr const char* kDataFileError = "数据文件出错，系统将退出！";
// A server store that cannot be reached: the program ends rather than gather beside the team's data.
inline constexpr const char* kServerStoreError =
    "无法连接数据库服务器，系统将退出！请检查网络，或用 vantor-cli config db --sqlite 改回本机数据文件。";

// What the start-up work tells the user; the windows show it in message boxes and the status line,
// the command line prints it.
class StartupObserver {
public:
    virtual ~StartupObserver() = default;
    virtual void showMessage(const std::string& text) = 0;
    virtual void showStatus(const std::string& text) = 0;
};

enum class StartupOutcome { Ready, Exit };

// The main window's start-up work on the data folder, in order: load the settings (a failure is shown
// and start-up goes on), compact the database when due, write lastTimeOpt back (a failure ends the
// program), open the database (a failure ends the program).
StartupOutcome prepareData(const DataFolder& folder, TConfig& config, db::TDM& dm, StartupObserver& observer,
                           const DateTime& now);

} // namespace vantor
