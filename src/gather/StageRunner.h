#pragma once

#include "GatherTexts.h"
#include "download/PageJob.h"

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <set>
#include <string>

namespace vantor::gather {

// That a job started with runAsync has ended, for an owner waiting on another thread. It is told under
// its lock, so the owner may be destroyed as soon as wait() returns, while the loop leaves the call.
class JobEndSignal {
public:
    void started();
    void ended();
    void wait();

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool running_ = false;
};

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
    StageRunner(std::vector<download::SlotProgress*> gauges, StatusLine statusLine,
                const char* timedOutText = kConnectionTimedOut, download::FailureTally* failures = nullptr)
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
    Outcome run(TDownParamBean& param, std::int32_t pageStep, download::PageJob::Mode mode, PageHandler page);
    // The same without waiting: `then` hears the outcome on the loop's thread when the job has ended.
    // The job is the runner's until then; the runner must outlive it.
    void runAsync(TDownParamBean param, std::int32_t pageStep, download::PageJob::Mode mode, PageHandler page,
                  std::function<void(Outcome)> then);

    void stop();
    bool stopped() const { return stopped_.load(std::memory_order_acquire); }
    size_t slotCount() const { return pool_.size(); }

private:
    // The handlers every job of the runner has; the outcome is read from `verdict` after the end.
    struct Verdict {
        bool timedOut = false;
        std::string failedWith;
    };
    download::PageJob::Handlers handlers(PageHandler page, Verdict& verdict);
    Outcome outcome(const download::PageJob& job, Verdict& verdict) const;
    // Starts a job where stop() reaches it; forget() when it has ended.
    void launch(download::PageJob& job, download::PageJob::Mode mode);
    void forget(download::PageJob& job);

    download::SlotPool pool_;
    StatusLine statusLine_;
    const char* timedOutText_;
    download::FailureTally* failures_;
    std::atomic<bool> stopped_ = false;
    std::atomic<bool> timeOutSaid_ = false;
    mutable std::mutex mutex_;
    std::set<download::PageJob*> running_;
};

} // namespace vantor::gather
