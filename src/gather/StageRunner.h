#pragma once

#include "GatherTexts.h"
#include "download/TDownCheck.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace vantor {

// How a gathering job ended.
enum class JobEnd { Finished, TimedOut, Failed, Stopped };

// Runs the jobs of one gathering, one after the other, on the calling thread; stop() may come from any
// thread and ends the job in flight and every job after it. A job that fails puts the moment and the
// reason on the main window's status line.
class StageRunner {
public:
    using PageHandler = std::function<void(std::int32_t pageNumber, const std::string& page)>;
    using StatusLine = std::function<void(const std::string& text)>;

    // The status line after too many failed downloads: the moment, then timedOutText. Every job counts
    // its failed downloads into failures, when given; it must outlive the runner.
    StageRunner(std::vector<SlotProgress*> gauges, StatusLine statusLine,
                const char* timedOutText = kConnectionTimedOut, FailureTally* failures = nullptr)
        : gauges_(std::move(gauges)),
          statusLine_(std::move(statusLine)),
          timedOutText_(timedOutText),
          failures_(failures) {}

    // Runs the job to its end. The page handler runs on the driver thread; when it throws, the job ends
    // as Failed and error() holds the message.
    JobEnd run(TDownParamBean& param, std::int32_t pageStep, std::int32_t mode, PageHandler page);

    void stop();
    bool stopped() const { return stopped_.load(std::memory_order_acquire); }
    std::string error() const { return error_; }

    const std::vector<SlotProgress*>& gauges() const { return gauges_; }

private:
    std::vector<SlotProgress*> gauges_;
    StatusLine statusLine_;
    const char* timedOutText_;
    FailureTally* failures_;
    std::atomic<bool> stopped_ = false;
    std::mutex mutex_;
    TDownCheck* current_ = nullptr;
    std::string error_;
};

} // namespace vantor
