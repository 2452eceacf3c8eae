#include "FailureTally.h"

#include <algorithm>

namespace vantor::download {

namespace {

constexpr std::int64_t kLongestAskedPauseMs = 120000;
constexpr std::int64_t kFirstPauseMs = 500;
constexpr std::int64_t kLongestPauseMs = 30000;

std::string word(FailReason reason, int httpStatus) {
    switch (reason) {
    case FailReason::Refused:
        return "连接被拒绝";
    case FailReason::TimedOut:
        return "超时";
    case FailReason::HttpStatus:
        return "HTTP " + std::to_string(httpStatus);
    case FailReason::CutShort:
        return "传输中断";
    case FailReason::Closed:
        return "连接断开";
    case FailReason::Unresolved:
        return "无法解析主机";
    case FailReason::Parse:
        return "解析出错";
    case FailReason::None:
    case FailReason::Other:
        break;
    }
    return "其他错误";
}

} // namespace

std::string failureText(const DownFailure& failure) {
    return word(failure.reason, failure.httpStatus);
}

int FailureCounts::total() const {
    int sum = 0;
    for (const auto& [key, n] : byReason)
        sum += n;
    return sum;
}

int FailureCounts::count(FailReason reason, int httpStatus) const {
    auto found = byReason.find({reason, httpStatus});
    return found == byReason.end() ? 0 : found->second;
}

std::string FailureCounts::text() const {
    std::string out;
    for (const auto& [key, n] : byReason) {
        std::string name = word(key.first, key.second);
        if (!out.empty()) out += "，";
        // A status number and the count would run together.
        out += name + (key.first == FailReason::HttpStatus ? " " : "") + std::to_string(n) + "次";
    }
    return out;
}

void FailureTally::add(const DownFailure& failure) {
    FailReason reason = failure.reason == FailReason::None ? FailReason::Other : failure.reason;
    std::lock_guard lock(mutex_);
    ++counts_.byReason[{reason, reason == FailReason::HttpStatus ? failure.httpStatus : 0}];
}

void FailureTally::add(FailReason reason) {
    add(DownFailure{reason});
}

FailureCounts FailureTally::counts() const {
    std::lock_guard lock(mutex_);
    return counts_;
}

std::chrono::milliseconds retryDelay(const DownFailure& failure, int failuresOfPage,
                                     std::int64_t minIntervalMs) {
    using std::chrono::milliseconds;
    const bool asked = failure.httpStatus == 429 || failure.httpStatus == 503;
    if (asked && failure.retryAfterMs >= 0)
        return milliseconds(std::min(failure.retryAfterMs, kLongestAskedPauseMs));
    if (minIntervalMs <= 0) return milliseconds(0);
    const int doublings = std::clamp(failuresOfPage - 1, 0, 16);
    return milliseconds(std::min(kFirstPauseMs << doublings, kLongestPauseMs));
}

} // namespace vantor::download
