#pragma once

#include <string_view>

namespace vantor::download {

// State of one page download, as a single-page fetch leaves it in its bean.
enum class PageStatus : unsigned char { Init, Run, Finish, Stop };

// The words the program stores for these states; compared as they stand.
inline constexpr std::string_view kPageInit = "init";
inline constexpr std::string_view kPageRun = "run";
inline constexpr std::string_view kPageFinish = "finish";
inline constexpr std::string_view kPageStop = "stop";

constexpr std::string_view statusWord(PageStatus status) {
    switch (status) {
    case PageStatus::Init:
        return kPageInit;
    case PageStatus::Run:
        return kPageRun;
    case PageStatus::Finish:
        return kPageFinish;
    case PageStatus::Stop:
        break;
    }
    return kPageStop;
}

// The error code a failed download leaves when nobody asked its thread to stop.
inline constexpr std::string_view kDownErrorCode = "100860";

// Status words of a gathering job: the first character says "0" normal or "1" failed, the rest is the
// text shown to the user.
enum class CheckStatus : unsigned char { Init, Done, BadGauges, TimedOut, Failed };

inline constexpr std::string_view kCheckInit = "0初始";
inline constexpr std::string_view kCheckDone = "0完成";
inline constexpr std::string_view kCheckBadGauges = "1下载参数(进度条)出错!";
inline constexpr std::string_view kCheckTimedOut = "1连接超时";
inline constexpr std::string_view kCheckFailed = "1下载出错";

constexpr std::string_view statusWord(CheckStatus status) {
    switch (status) {
    case CheckStatus::Init:
        return kCheckInit;
    case CheckStatus::Done:
        return kCheckDone;
    case CheckStatus::BadGauges:
        return kCheckBadGauges;
    case CheckStatus::TimedOut:
        return kCheckTimedOut;
    case CheckStatus::Failed:
        break;
    }
    return kCheckFailed;
}

} // namespace vantor::download
