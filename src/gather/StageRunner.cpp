#include "StageRunner.h"

#include "GatherTexts.h"
#include "market/MarketHosts.h"

namespace vantor {

StageRunner::Outcome StageRunner::run(TDownParamBean& param, std::int32_t pageStep, PageJob::Mode mode,
                                      PageHandler page) {
    if (stopped()) return {JobEnd::Stopped, {}};
    PageJob::Handlers handlers;
    handlers.page = [page = std::move(page)](PageKind, std::int32_t number, const std::string& html) {
        page(number, html);
    };
    // The driver calls the error handler after the failure handler too; the time-out is the news then.
    bool timedOut = false;
    handlers.failure = [this, &timedOut] {
        timedOut = true;
        // Shops on the wire together may time out together: the line says it once.
        if (!timeOutSaid_.exchange(true)) statusLine_(statusLineText(timedOutText_));
    };
    std::string failedWith;
    handlers.error = [this, &timedOut, &failedWith](PageJob::Mode, const std::string& error) {
        failedWith = error;
        if (!timedOut && !stopped()) statusLine_(statusLineText(kGatherFailed));
    };
    PageJob job(param, pool_, pageStep, mode, std::move(handlers));
    if (mode == PageJob::kRatingMode) job.setHistoryPrefix(market::kRateHistoryPrefix);
    job.setFailureTally(failures_);
    {
        std::lock_guard lock(mutex_);
        running_.insert(&job);
    }
    // A stop that came while the job was being built must still reach it.
    if (stopped()) job.requestStop();
    job.start();
    job.wait();
    {
        std::lock_guard lock(mutex_);
        running_.erase(&job);
    }
    if (job.getFinished()) return {JobEnd::Finished, {}};
    if (stopped()) return {JobEnd::Stopped, {}};
    // The driver's status word says only "failed" once the time-out has ended the run.
    if (timedOut) return {JobEnd::TimedOut, {}};
    if (failedWith.empty()) failedWith = std::string(job.getStatus().substr(1));
    return {JobEnd::Failed, std::move(failedWith)};
}

void StageRunner::stop() {
    stopped_.store(true, std::memory_order_release);
    std::lock_guard lock(mutex_);
    for (PageJob* job : running_)
        job->requestStop();
}

} // namespace vantor
