#pragma once

#include "db/Database.h"

#include "LoopTask.h"
#include "ShopPipeline.h"
#include "StageRunner.h"
#include "download/THttpAgent.h"
#include "market/Records.h"

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

namespace vantor::gather {

enum class GatherKind { Sales, Ratings };

// What a gathering saved. A sales gathering counts only committed shops; a rating gathering commits its
// whole run at once, so its counts are kept only when it finished.
struct GatherTally {
    explicit GatherTally(GatherKind kind = GatherKind::Sales) : kind(kind) {}
    GatherKind kind;
    int shops = 0;
    int items = 0;
    int sales = 0;
    int ratings = 0;
    int failedShops = 0; // shops that failed while the run went on; none were saved
    download::FailureCounts
        failures;                   // downloads that failed (retried or not) and pages that could not be read
    std::vector<std::string> notes; // what the user should know of single shops, one sentence each
};

// The words a finished, stopped or failed run leaves for the user: what was saved, and why it ended.
std::string gatherSummary(JobEnd end, const GatherTally& saved, const std::string& detail);

// What a running gathering reports. Called on the gathering's threads: a window passes the calls on to
// its own thread, the command line prints them.
class GatherObserver {
public:
    virtual ~GatherObserver() = default;
    virtual void shopStarted(int index, int count, const TDianBaseInfo& shop) {}
    virtual void stageText(const std::string& text) {}
    virtual void itemsGathered(int count) {} // the run's items so far
    // The items of the shop at `index` so far, and the run's: several shops are on the wire at once.
    virtual void shopItemsGathered(int index, int count, int total) {}
    virtual void ratingsGathered(int count) {}
    // The shop at `index` has done `done` of the `expected` pages it will read, as far as it knows yet.
    virtual void shopProgress(int index, int done, int expected) {}
    virtual void shopFinished(int done, int count) {}
    // The main window's status line after a failure.
    virtual void statusLine(const std::string& text) {}
    // A save's own message, shown before the gathering reports its failure.
    virtual void message(const std::string& text) {}
    // Last call: how the run ended, what it saved; detail names the failure.
    virtual void gatherEnded(JobEnd end, const std::string& detail, const GatherTally& saved) {}
};

// A gathering running on a thread of its own, as the windows and the command line hold it.
class GatherRun {
public:
    virtual ~GatherRun() = default;
    virtual void start() = 0;
    // From any thread: ends the job in flight and the run.
    virtual void stop() = 0;
    virtual void wait() = 0;
};

// Where a gathering's time went: handling pages (parsing) and writing the database; the rest of the
// run waited on the network.
struct GatherTiming {
    std::atomic<std::int64_t> parseMicros = 0;
    std::atomic<std::int64_t> saveMicros = 0;
    std::atomic<int> pages = 0;
};

// Adds the time from its start to its stop (or its end) to a total.
class Stopwatch {
public:
    explicit Stopwatch(std::atomic<std::int64_t>& total)
        : total_(total), start_(std::chrono::steady_clock::now()) {}
    ~Stopwatch() { stop(); }
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;
    void stop();

private:
    std::atomic<std::int64_t>& total_;
    std::chrono::steady_clock::time_point start_;
    bool stopped_ = false;
};

// A stage's job ended without finishing: the shop cannot be completed.
struct StageEnded : std::exception {
    StageEnded(JobEnd end, std::string error) : end(end), error(std::move(error)) {}
    const char* what() const noexcept override { return error.c_str(); }
    JobEnd end;
    std::string error; // what ended a failed job
};

// The stages every shop's chain is made of, one job each on the gathering's slots, timed.
class ShopStages {
public:
    ShopStages(std::shared_ptr<const THttpAgent> agent, std::vector<download::SlotProgress*> gauges,
               GatherObserver& observer);

    TDownParamBean job(std::string prefix, std::string suffix, download::PageKind kind, std::int32_t first,
                       std::int32_t last) const;
    // Runs one job to its end; a job that does not finish throws StageEnded.
    void run(TDownParamBean& param, std::int32_t pageStep, download::PageJob::Mode mode,
             const StageRunner::PageHandler& page);
    // The same awaited in a task, without a thread waiting: the task goes on when the job has ended.
    class Stage {
    public:
        Stage(ShopStages& stages, TDownParamBean param, std::int32_t pageStep, download::PageJob::Mode mode,
              StageRunner::PageHandler page)
            : stages_(stages),
              param_(std::move(param)),
              pageStep_(pageStep),
              mode_(mode),
              page_(std::move(page)) {}
        bool await_ready() const noexcept { return false; }
        void await_suspend(std::coroutine_handle<> task);
        void await_resume();

    private:
        ShopStages& stages_;
        TDownParamBean param_;
        std::int32_t pageStep_;
        download::PageJob::Mode mode_;
        StageRunner::PageHandler page_;
        StageRunner::Outcome outcome_;
    };
    Stage stage(TDownParamBean param, std::int32_t pageStep, download::PageJob::Mode mode,
                StageRunner::PageHandler page) {
        return Stage(*this, std::move(param), pageStep, mode, std::move(page));
    }

    // The shop's own page: what it knows better than the search row goes into the shop.
    LoopTask shopPage(TDianBaseInfo& shop);
    // The shop's rating summary page.
    LoopTask rateSummary(const TDianBaseInfo& shop, TRateBaseInfo& summary);

    // Inside a catch block: how what was thrown ends the run, with the detail that names the failure.
    // Failures also reach the status line, and a save's own message is shown.
    JobEnd ended(std::string& detail);

    // Fetches the shops several at once, and saves each in the run's order on the calling thread, as a
    // run of one shop after the other would; the observer hears of each shop when the run waits for it. A
    // shop whose fetch or save fails ends the run there, unless goOn is set: it is then counted in
    // failedShops (detail names the first failure) and the others go on. A stop always ends the run, and the
    // shops on the wire stop with it.
    // Each shop's fetch is a task on the transfer loop: no thread waits for its pages.
    template <class Haul>
    JobEnd
    inOrder(const std::vector<TDianBaseInfo>& shops, const std::function<LoopTask(size_t, Haul&)>& fetch,
            const std::function<void(size_t, Haul&)>& save, bool goOn, std::string& detail, int& failedShops);
    // How many shops are on the wire at once, and items of one shop: one slot gathers shop after shop
    // and item after item.
    size_t shopsAtOnce() const;
    size_t itemsAtOnce() const;

    void stop() { runner_.stop(); }
    bool stopped() const { return runner_.stopped(); }
    // How the gathering's saves wait for another program's save: visibly, and no longer than a stop.
    db::LockWait lockWait();
    GatherTiming& timing() { return timing_; }
    download::FailureCounts failures() const { return failures_.counts(); }

private:
    StageRunner::PageHandler timed(StageRunner::PageHandler page);

    std::shared_ptr<const THttpAgent> agent_;
    GatherObserver& observer_;
    download::FailureTally failures_; // before the runner, which counts into it
    StageRunner runner_;
    GatherTiming timing_;
};

template <class Haul>
JobEnd ShopStages::inOrder(const std::vector<TDianBaseInfo>& shops,
                           const std::function<LoopTask(size_t, Haul&)>& fetch,
                           const std::function<void(size_t, Haul&)>& save, bool goOn, std::string& detail,
                           int& failedShops) {
    JobEnd end = JobEnd::Finished;
    ShopPipeline<Haul> pipeline(shops.size(), shopsAtOnce(), fetch);
    for (size_t i = 0; i < shops.size(); ++i) {
        observer_.shopStarted(int(i), int(shops.size()), shops[i]);
        try {
            // A shop fetched before the stop came is not saved after it.
            if (runner_.stopped()) throw StageEnded{JobEnd::Stopped, {}};
            Haul haul = pipeline.take(i);
            save(i, haul);
        } catch (...) {
            std::string why;
            const JobEnd shopEnd = ended(why);
            if (shopEnd == JobEnd::Stopped || !goOn) {
                end = shopEnd;
                detail = why;
                break;
            }
            if (failedShops++ == 0) detail = why.empty() ? std::string("连接超时") : why;
        }
    }
    // The shops still on the wire end now, before the pipeline waits for their tasks.
    if (end != JobEnd::Finished) {
        pipeline.cancel();
        stop();
    }
    return end;
}

// How often a save that conflicts with another program's on a server store is tried.
inline constexpr int kSaveAttempts = 5;

// A user id the marketplace's rating and list addresses can be built on.
bool knownUserId(const TDianBaseInfo& shop);

} // namespace vantor::gather
