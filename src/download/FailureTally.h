#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <utility>

namespace vantor::download {

// Why a page download failed, in the order the outcome lines name them.
enum class FailReason : unsigned char {
    None,
    Refused,    // connection refused
    TimedOut,   // connect or read time-out
    HttpStatus, // the server answered with an error status
    CutShort,   // the body ended before the end its head announced
    Closed,     // the connection went before any answer
    Unresolved, // the host name could not be resolved
    Parse,      // the page arrived but could not be read
    Other,
};

// What a failed download leaves in its bean besides the message.
struct DownFailure {
    FailReason reason = FailReason::None;
    int httpStatus = 0;
    std::int64_t retryAfterMs = -1; // the pause a 429 or 503 asked for; -1: none asked
};

// A failure's reason in the user's words: "连接被拒绝", "超时", "HTTP 503" ….
std::string failureText(const DownFailure& failure);

// Failures counted by reason (and status); a value, to keep and to print.
struct FailureCounts {
    std::map<std::pair<FailReason, int>, int> byReason;

    bool empty() const { return byReason.empty(); }
    int total() const;
    int count(FailReason reason, int httpStatus = 0) const;
    // "超时3次，HTTP 503 2次"; empty when nothing failed.
    std::string text() const;
};

// The failures of a job or of a whole gathering; its jobs' threads add to it concurrently.
class FailureTally {
public:
    void add(const DownFailure& failure);
    void add(FailReason reason);
    FailureCounts counts() const;

private:
    mutable std::mutex mutex_;
    FailureCounts counts_;
};

// How long a failed page waits before its next try: what a 429 or 503 asked for (at most two minutes),
// else nothing, or with a minimum interval set a pause that doubles from half a second to 30 seconds
// with the page's failures.
std::chrono::milliseconds retryDelay(const DownFailure& failure, int failuresOfPage,
                                     std::int64_t minIntervalMs);

} // namespace vantor::download
