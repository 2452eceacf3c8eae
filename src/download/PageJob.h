#pragma once

#include "DownStatus.h"
#include "FailureTally.h"
#include "SlotPool.h"
#include "SlotProgress.h"
#include "TDownParamBean.h"
#include "TransferLoop.h"

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace vantor::download {

// Drives one gathering job on the transfer loop: keeps one page download running per slot it can get
// (one slot per progress bar of the window), hands each finished page to the page handler, retries
// failed pages in their slot (after the pause a server asked for, or with a minimum interval set a
// growing pause), and gives up when the failures of the whole job exceed the agent's ConnectTime. Every
// handler runs on the loop's thread, as the pages arrive; nothing waits for them but wait().
class PageJob {
public:
    // Rating pages come from page 100 on from the history host; plain pages from their address alone.
    enum class Mode : std::int32_t { Rating = 1, Plain = 2 };
    static constexpr Mode kRatingMode = Mode::Rating;
    static constexpr Mode kPlainMode = Mode::Plain;

    // What a job does; any handler may be empty.
    struct Handlers {
        // Once for every page that arrived, in order of arrival, not of page number; the number is the
        // page's own (before the page step multiplies it into the address).
        std::function<void(PageKind pageKind, std::int32_t pageNumber, const std::string& htmlCode)> page;
        // Once when every page is done, or at once when there is nothing to fetch.
        std::function<void(PageKind pageKind)> finish;
        // Once when too many downloads failed, before the job is aborted.
        std::function<void()> failure;
        // Once after anything ended the run with an error (the run counts as stopped by then), with
        // what ended it: a handler's exception, the time-out, bad settings.
        std::function<void(Mode mode, const std::string& error)> error;
        // Last, once, however the run ended (a stop too), on the loop's thread: for an owner that does
        // not wait(). The job may not be destroyed from here; dispose() it.
        std::function<void()> ended;
    };

    // The job and the gauges stay owned by the caller and must outlive the driver; the gauge list's
    // length is the number of slots, a pool of the job's own. Nothing runs before start().
    PageJob(TDownParamBean& param, std::vector<SlotProgress*> gauges, std::int32_t pageStep, Mode mode,
            Handlers handlers);
    // A job that takes its slots from a pool shared with the other jobs of its gathering, one for each
    // page in flight; the pool must outlive the driver.
    PageJob(TDownParamBean& param, SlotPool& pool, std::int32_t pageStep, Mode mode, Handlers handlers);
    // Stops the run and waits for it.
    ~PageJob();
    PageJob(const PageJob&) = delete;
    PageJob& operator=(const PageJob&) = delete;

    // What replaces the first 11 characters of the address (scheme and start of the rating host) for
    // the pages from number 100 on, naming the rating-history host. Needed in rating mode only; set
    // before start().
    void setHistoryPrefix(std::string prefix) { historyPrefix_ = std::move(prefix); }
    // Where the job counts its failed downloads by reason; may be shared by several jobs. Set before
    // start(); must outlive the driver.
    void setFailureTally(FailureTally* tally) { failures_ = tally; }

    void start();
    // The window's stop: the run ends without calling another handler, and the downloads in flight are
    // aborted. From any thread.
    void requestStop();
    bool stopRequested() const { return stopSource_.stop_requested(); }
    // Blocks until the run has ended. Not on the loop's thread (a handler's).
    void wait();
    // Destroys an ended job once the loop no longer touches it; from any thread.
    static void dispose(std::unique_ptr<PageJob> job);

    bool getFinished() const { return finished_.load(std::memory_order_acquire); }
    CheckStatus status() const { return status_.load(std::memory_order_acquire); }
    std::string_view getStatus() const { return statusWord(status()); }

    std::int32_t pageStep() const { return pageStep_; }
    Mode mode() const { return mode_; }

private:
    // A page in a slot: its number, its address, how often it failed, its transfer.
    struct InFlight {
        std::int32_t number = 0;
        std::string url;
        int failures = 0;
        TransferLoop::Id transfer = 0;
    };

    // On the loop's thread.
    void begin();
    void fill();
    void send(size_t slot, InFlight page, std::chrono::milliseconds delay);
    void pageDone(size_t slot, PageResult&& result);
    void fail(const std::string& error);
    void end();
    void notifyIfIdle();
    // Runs a task on the loop's thread; wait() waits for the tasks posted as well as for the end.
    void post(std::function<void()> task);
    // Every way into the job on the loop's thread goes through here, so that wait() returns only once
    // the loop no longer touches the job.
    template <class Step> void enter(Step step);
    void setStatus(CheckStatus value) { status_.store(value, std::memory_order_release); }

    std::int32_t pageStep_;
    Mode mode_;
    std::unique_ptr<SlotPool> ownSlots_; // the slots of a job not given a shared pool
    SlotPool* pool_;
    TDownParamBean& param_;
    TransferLoop& loop_;
    std::atomic<bool> finished_ = false;
    std::atomic<CheckStatus> status_ = CheckStatus::Init;
    std::string historyPrefix_;
    FailureTally* failures_ = nullptr;
    std::stop_source stopSource_;
    Handlers handlers_;
    // The loop's: the run's state.
    std::map<size_t, InFlight> held_; // by pool slot
    std::string prefix_;
    bool onHistoryHost_ = false;
    std::int64_t pagesLeft_ = 0;
    std::int32_t failCount_ = 0;
    bool ended_ = false;
    // Shared with the waiting thread.
    mutable std::mutex mutex_;
    std::condition_variable endChanged_;
    bool started_ = false;
    bool over_ = false; // the run has ended
    int active_ = 0;    // tasks posted and not yet run, and steps under way on the loop's thread
};

// The job driver under the name the marketplace tool's readers know it by.
using TDownCheck = PageJob;

} // namespace vantor::download
