#pragma once

#include "Config.h"
#include "base/DataFolder.h"
#include "base/DateTime.h"
#include "db/TDM.h"

#include <string>

namespace vantor::app {

inline constexpr const char* kDataFileError = "数据文件出错，系统将退出！";

// What the user may do when the server store cannot be reached at start. The data file is never taken
// instead without asking: gathering beside the team's data would split it.
enum class ServerChoice { Retry, FileThisRun, FileFromNowOn, Exit };
// The choices as the question names them, in ServerChoice's order.
inline constexpr const char* kServerChoiceTexts[] = {"重试", "改用本机数据文件（仅本次）",
                                                     "改用本机数据文件（以后都用）", "退出"};
// The question's text: the failure in the user's words, then the server it concerns.
std::string serverUnreachableText(const std::string& failure, const std::string& url);

// What the start-up work tells the user; the windows show it in message boxes and the status line,
// the command line prints it.
class StartupObserver {
public:
    virtual ~StartupObserver() = default;
    virtual void showMessage(const std::string& text) = 0;
    virtual void showStatus(const std::string& text) = 0;
    // The server store cannot be reached: asks what to do, the engine's own message as the detail.
    virtual ServerChoice askServerUnreachable(const std::string& text, const std::string& detail) = 0;
};

enum class StartupOutcome { Ready, Exit };

// The main window's start-up work on the data folder, in order: load the settings (a failure is shown
// and start-up goes on), reach a server store (asking what to do while it cannot be reached), compact
// the database when due, write lastTimeOpt back (a failure ends the program), open the data file (a
// failure ends the program).
StartupOutcome prepareData(const DataFolder& folder, TConfig& config, db::TDM& dm, StartupObserver& observer,
                           const DateTime& now);

} // namespace vantor::app
