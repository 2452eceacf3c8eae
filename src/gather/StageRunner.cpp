#include "StageRunner.h"

#include "GatherTexts.h"
#include "market/MarketHosts.h"

namespace vantor::gather {

void JobEndSignal::started() {
    std::lock_guard lock(mutex_);
    running_ = true;
}

void JobEndSignal::ended() {
    std::lock_guard lock(mutex_);
    running_ = false;
    changed_.notify_all();
}

void JobEndSignal::wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !running_; });
}

download::PageJob::Handlers StageRunner::handlers(PageHandler page, Verdict& verdict) {
    download::PageJob::Handlers handlers;
    handlers.page = [page = std::move(page)](download::PageKind, std::int32_t number,
                                             const std::string& html) { page(number, html); };
    // The driver calls the error handler after the failure handler too; the time-out is the news then.
    handlers.failure = [this, &verdict] {
        verdict.timedOut = true;
        // Shops on the wire together may time out together: the line says it once.
        if (!timeOutSaid_.exchange(true)) statusLine_(statusLineText(timedOutText_));
    };
    handlers.error = [this, &verdict](download::PageJob::Mode, const std::string& error) {
        verdict.failedWith = error;
        if (!verdict.timedOut && !stopped()) statusLine_(statusLineText(kGatherFailed));
    };
    return handlers;
}

StageRunner::Outcome StageRunner::outcome(const download::PageJob& job, Verdict& verdict) const {
    if (job.getFinished()) return {JobEnd::Finished, {}};
    if (stopped()) return {JobEnd::Stopped, {}};
    // The driver's status word says only "failed" once the time-out has ended the run.
    if (verdict.timedOut) return {JobEnd::TimedOut, {}};
    if (verdict.failedWith.empty()) verdict.failedWith = std::string(job.getStatus().substr(1));
    return {JobEnd::Failed, std::move(verdict.failedWith)};
}

StageRunner::Outcome StageRunner::run(TDownParamBean& param, std::int32_t pageStep,
                                      download::PageJob::Mode mode, PageHandler page) {
    if (stopped()) return {JobEnd::Stopped, {}};
    Verdict verdict;
    download::PageJob job(param, pool_, pageStep, mode, handlers(std::move(page), verdict));
    launch(job, mode);
    job.wait();
    forget(job);
    return outcome(job, verdict);
}

void StageRunner::launch(download::PageJob& job, download::PageJob::Mode mode) {
    if (mode == download::PageJob::kRatingMode) job.setHistoryPrefix(market::kRateHistoryPrefix);
    job.setFailureTally(failures_);
    {
        std::lock_guard lock(mutex_);
        running_.insert(&job);
    }
    // A stop that came while the job was being built must still reach it.
    if (stopped()) job.requestStop();
    job.start();
}

void StageRunner::forget(download::PageJob& job) {
    std::lock_guard lock(mutex_);
    running_.erase(&job);
}

void StageRunner::runAsync(TDownParamBean param, std::int32_t pageStep, download::PageJob::Mode mode,
                           PageHandler page, std::function<void(Outcome)> then) {
    // The job, its settings and what it learns live together until the end.
    struct Running {
        TDownParamBean param;
        Verdict verdict;
        std::unique_ptr<download::PageJob> job;
    };
    auto running = std::make_shared<Running>();
    running->param = std::move(param);
    download::PageJob::Handlers jobHandlers = handlers(std::move(page), running->verdict);
    jobHandlers.ended = [this, running, then = std::move(then)] {
        forget(*running->job);
        Outcome result = outcome(*running->job, running->verdict);
        download::PageJob::dispose(std::move(running->job));
        then(std::move(result));
    };
    running->job =
        std::make_unique<download::PageJob>(running->param, pool_, pageStep, mode, std::move(jobHandlers));
    launch(*running->job, mode);
}

void StageRunner::stop() {
    stopped_.store(true, std::memory_order_release);
    std::lock_guard lock(mutex_);
    for (download::PageJob* job : running_)
        job->requestStop();
}

} // namespace vantor::gather
