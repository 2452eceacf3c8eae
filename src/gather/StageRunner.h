#pragma once

#include "GatherTexts.h"
#include "download/PageJob.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace vantor {

// How a gathering job ended.
enum class JobEnd { Finished, TimedOut, Failed, Stopped };

// Runs the jobs of one gathering, each on the thread that asks for it; several threads may run jobs at
// the same time, and all of them share the gathering's slots (one per gauge), so the gauges are the
// ceiling of requests in flight. stop() may come from any thread and ends every job in flight and every
// job after them. A job that fails puts the moment and the reason on the main window's status line.
class StageRunner {
public:
    using PageHandler = std::function<void(std::int32_t pageNumber, const std::string& page)>;
    using StatusLine = std::function<void(const std::string& text)>;

    // The status line after too many failed downloads: the moment, then timedOutText. Every job counts
    // its failed downloads into failures, when given; it must outlive the runner.
    StageRunner(std::vector<SlotProgress*> gauges, StatusLine statusLine,
                const char* timedOutText = kConnectionTimedOut, FailureTally* failures = nullptr)
        : pool_(gauges),
          statusLine_(std::move(statusLine)),
          timedOutText_(timedOutText),
          failures_(failures) {}

    // How a job ended, and what ended a failed one.
    struct Outcome {
        JobEnd end = JobEnd::Finished;
        std::string error;
    };
    // Runs the job to its end. The page handler runs on the transfer loop's thread; when it throws, the
    // job ends as Failed with the handler's message.
    Outcome run(TDownParamBean& param, std::int32_t pageStep, PageJob::Mode mode, PageHandler page);

    void stop();
    bool stopped() const { return stopped_.load(std::memory_order_acquire); }
    size_t slotCount() const { return pool_.size(); }

private:
    SlotPool pool_;
    StatusLine statusLine_;
    const char* timedOutText_;
    FailureTally* failures_;
    std::atomic<bool> stopped_ = false;
    std::atomic<bool> timeOutSaid_ = false;
    mutable std::mutex mutex_;
    std::set<PageJob*> running_;
};

} // namespace vantor
