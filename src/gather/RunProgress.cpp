#include "RunProgress.h"

#include <algorithm>

namespace vantor::gather {

namespace {
// An estimate from the first seconds or the first hundredth of a run swings too far to show.
constexpr auto kJudgeAfter = std::chrono::seconds(3);
constexpr double kJudgeFrom = 0.01;
} // namespace

void RunProgress::start(int parts, Clock::time_point now) {
    parts_ = std::max(parts, 0);
    finished_ = 0;
    onTheWire_.clear();
    started_ = now;
}

void RunProgress::step(int index, int done, int expected) {
    if (index < finished_ || index >= parts_ || expected <= 0) return;
    onTheWire_[index] = std::clamp(double(done) / expected, 0.0, 1.0);
}

void RunProgress::finished(int done) {
    finished_ = std::clamp(std::max(done, finished_), 0, parts_);
    onTheWire_.erase(onTheWire_.begin(), onTheWire_.lower_bound(finished_));
}

double RunProgress::fraction() const {
    if (parts_ == 0) return 0;
    double done = finished_;
    for (const auto& [index, part] : onTheWire_)
        done += part;
    return std::min(done / parts_, 1.0);
}

std::optional<std::chrono::seconds> RunProgress::remaining(Clock::time_point now) const {
    const double done = fraction();
    const auto elapsed = now - started_;
    if (done < kJudgeFrom || elapsed < kJudgeAfter) return std::nullopt;
    const double seconds = std::chrono::duration<double>(elapsed).count() * (1 - done) / done;
    return std::chrono::seconds(std::int64_t(seconds + 0.5));
}

std::string remainingText(std::optional<std::chrono::seconds> remaining) {
    if (!remaining) return "正在估算剩余时间…";
    const std::int64_t seconds = remaining->count();
    if (seconds < 60) return "预计还需不到1分钟";
    // Rounded up: "约2分钟" for 61 s would promise too little.
    const std::int64_t minutes = (seconds + 59) / 60;
    if (minutes < 60) return "预计还需约" + std::to_string(minutes) + "分钟";
    const std::int64_t hours = minutes / 60, rest = minutes % 60;
    return "预计还需约" + std::to_string(hours) + "小时" + (rest ? std::to_string(rest) + "分钟" : "");
}

} // namespace vantor::gather
