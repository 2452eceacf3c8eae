#pragma once

#include "base/DateTime.h"

#include <string>

namespace vantor::gather {

// Texts of the gathering windows, shared by the windows and the command line.
inline constexpr const char* kConnectionTimedOut =
    "连接超时.....！请检查你的网络状态是否良好？或通过工具选项增加连接时间。";
// The item ranking's own words for the same time-out.
inline constexpr const char* kRankingTimedOut = "连接超时，请检查网络情况，或重新到选项中设置连接参数！";
inline constexpr const char* kGatherFinished = "采集完成";
inline constexpr const char* kGatherFailed = "异常出错.....！";
inline constexpr const char* kSearchStopped = "用户中止搜索！";
inline constexpr const char* kGatherStopped = "用户中止下载！";
inline constexpr const char* kNoShopTicked = "请选择需要采集的店铺！";
// A save that waits for another program's save to the same data file to end.
inline constexpr const char* kWaitingForLock = "正在等待其他采集保存…";
// Where the sales window offers to continue a run cut short, the rating window says why it cannot.
inline constexpr const char* kRatingRunRestarts = "评价采集整批保存：中断后须重新开始。";

// What a stop loses, asked before a stop or a close. A sales gathering commits shop by shop; a rating
// gathering commits its whole batch at the end; a category ranking commits category by category.
inline std::string salesStopLoss(int saved, int count) {
    return "已保存的" + std::to_string(saved) + "家店铺保留，其余" + std::to_string(count - saved) +
           "家店铺不会保存，以后可继续采集。";
}
inline std::string ratingStopLoss(int fetched, int count) {
    return "评价采集整批保存：本次已下载的" + std::to_string(fetched) + "家店铺（共" + std::to_string(count) +
           "家）的评价全部不会保存，须重新开始。";
}
inline std::string categoryStopLoss(int saved) {
    return "已保存的" + std::to_string(saved) + "个类目保留，正在采集的类目不会保存。";
}
inline constexpr const char* kItemRankingStopLoss = "本次排行结果不会保留。";
inline constexpr const char* kWatchStopLoss = "本轮已更新的店铺保留，其余店铺等下一轮更新。";

// The offer to continue a sales gathering cut short, with the shops it has left.
inline std::string resumeOfferText(size_t shopsLeft) {
    return "继续上次未完成的采集（剩余" + std::to_string(shopsLeft) + "家店铺）";
}

// The main window's status line: the moment, then what happened.
inline std::string statusLineText(const char* what, const DateTime& when = DateTime::now()) {
    return when.toString() + what;
}

} // namespace vantor::gather
