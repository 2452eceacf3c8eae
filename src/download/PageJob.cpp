#include "PageJob.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace vantor::download {
namespace {

// Rating pages from this number on live on the rating-history host.
constexpr std::int32_t kHistoryFirstPage = 100;
// How much of a rating address names the rating host ("http://rate"); the history prefix takes its place.
constexpr size_t kRatingHostLength = 11;

std::string pageAddress(const std::string& prefix, std::int32_t page, std::int32_t pageStep,
                        const std::string& suffix) {
    if (suffix.empty()) return prefix;
    return prefix + std::to_string(std::int64_t(page) * pageStep) + suffix;
}

} // namespace

PageJob::PageJob(TDownParamBean& param, std::vector<SlotProgress*> gauges, std::int32_t pageStep, Mode mode,
                 Handlers handlers)
    : pageStep_(pageStep <= 0 ? 1 : pageStep),
      mode_(mode),
      ownSlots_(std::make_unique<SlotPool>(std::move(gauges))),
      pool_(ownSlots_.get()),
      param_(param),
      loop_(TransferLoop::shared()),
      handlers_(std::move(handlers)) {
    if (pool_->size() == 0) setStatus(CheckStatus::BadGauges);
}

PageJob::PageJob(TDownParamBean& param, SlotPool& pool, std::int32_t pageStep, Mode mode, Handlers handlers)
    : pageStep_(pageStep <= 0 ? 1 : pageStep),
      mode_(mode),
      pool_(&pool),
      param_(param),
      loop_(TransferLoop::shared()),
      handlers_(std::move(handlers)) {
    if (pool.size() == 0) setStatus(CheckStatus::BadGauges);
}

PageJob::~PageJob() {
    requestStop();
    wait();
}

void PageJob::start() {
    {
        std::lock_guard lock(mutex_);
        if (started_) throw std::logic_error("PageJob::start called twice");
        started_ = true;
    }
    post([this] { begin(); });
}

void PageJob::requestStop() {
    stopSource_.request_stop();
    bool running;
    {
        std::lock_guard lock(mutex_);
        running = started_ && !over_;
    }
    if (running) post([this] { end(); });
}

void PageJob::wait() {
    if (loop_.onLoopThread()) {
        std::lock_guard lock(mutex_);
        // dispose() destroys a job on the loop only once it is idle: nothing to wait for.
        if (!started_ || (over_ && active_ == 0)) return;
        throw std::logic_error("PageJob::wait on the transfer loop's thread");
    }
    std::unique_lock lock(mutex_);
    endChanged_.wait(lock, [this] { return !started_ || (over_ && active_ == 0); });
}

template <class Step> void PageJob::enter(Step step) {
    {
        std::lock_guard lock(mutex_);
        ++active_;
    }
    step();
    // The last touch of the job: once the count is down, its owner may destroy it.
    std::lock_guard lock(mutex_);
    --active_;
    notifyIfIdle();
}

// Under the lock. Only the end is waited for: waking the waiter at every page would cost a thread
// switch per page.
void PageJob::notifyIfIdle() {
    if (over_ && active_ == 0) endChanged_.notify_all();
}

void PageJob::post(std::function<void()> task) {
    {
        std::lock_guard lock(mutex_);
        ++active_; // counted from now, so that wait() does not return before the task has run
    }
    loop_.post([this, task = std::move(task)] {
        enter(task);
        std::lock_guard lock(mutex_);
        --active_;
        notifyIfIdle();
    });
}

void PageJob::begin() {
    if (ended_) return;
    if (stopRequested()) return end();
    try {
        if (status() == CheckStatus::BadGauges) throw std::runtime_error(std::string(getStatus().substr(1)));
        if (mode_ != kRatingMode && mode_ != kPlainMode) return end();
        if (!param_.httpAgent) throw std::invalid_argument("PageJob: the job has no network settings");
        prefix_ = param_.urlPrefix;
        pagesLeft_ = std::max<std::int64_t>(std::int64_t(param_.endPage) - param_.curPage + 1, 0);
        setStatus(CheckStatus::Init);
        if (pagesLeft_ == 0) {
            if (handlers_.finish) handlers_.finish(param_.pageKind);
            finished_.store(true, std::memory_order_release);
            return end();
        }
        fill();
    } catch (const std::exception& e) {
        fail(e.what());
    }
}

void PageJob::fill() {
    while (!ended_ && param_.curPage <= param_.endPage) {
        // Every slot of the gathering busy: the pool calls back when one is given back.
        const auto slot = pool_->acquire(this, [this] { enter([this] { fill(); }); });
        if (!slot) return;
        // Checked at every start, so that no page from 100 on leaves for the old host.
        if (mode_ == kRatingMode && !onHistoryHost_ && param_.curPage >= kHistoryFirstPage) {
            if (historyPrefix_.empty()) {
                pool_->release(*slot);
                return fail("PageJob: rating mode without a history prefix");
            }
            prefix_ = historyPrefix_ + prefix_.substr(std::min(kRatingHostLength, prefix_.size()));
            onHistoryHost_ = true;
        }
        InFlight page;
        page.number = param_.curPage;
        page.url = pageAddress(prefix_, param_.curPage, pageStep_, param_.urlSuffix);
        ++param_.curPage;
        send(*slot, std::move(page), {});
    }
}

void PageJob::send(size_t slot, InFlight page, std::chrono::milliseconds delay) {
    PageRequest request;
    request.url = page.url;
    request.agent = param_.httpAgent;
    request.gauge = pool_->gauge(slot);
    request.notBefore = TransferLoop::Clock::now() + delay;
    request.done = [this, slot](PageResult&& result) { enter([&] { pageDone(slot, std::move(result)); }); };
    page.transfer = loop_.fetch(std::move(request));
    held_[slot] = std::move(page);
}

void PageJob::pageDone(size_t slot, PageResult&& result) {
    if (ended_) return;
    InFlight page = std::move(held_.at(slot));
    held_.erase(slot);
    if (result.arrived) {
        // The page is in: its slot serves other jobs while this one handles it.
        pool_->release(slot);
        try {
            if (handlers_.page) handlers_.page(param_.pageKind, page.number, result.body);
            if (ended_) return; // a stop from the handler
            if (--pagesLeft_ == 0) {
                setStatus(CheckStatus::Done);
                if (handlers_.finish) handlers_.finish(param_.pageKind);
                finished_.store(true, std::memory_order_release);
                return end();
            }
        } catch (const std::exception& e) {
            return fail(e.what());
        } catch (...) {
            return fail("unknown error");
        }
        return fill();
    }
    ++failCount_;
    if (failures_) failures_->add(result.failure);
    if (failCount_ > param_.httpAgent->ConnectTime) {
        pool_->release(slot);
        setStatus(CheckStatus::TimedOut);
        try {
            if (handlers_.failure) handlers_.failure();
        } catch (...) {
            // The time-out is reported below all the same.
        }
        return fail("连接超时");
    }
    const auto delay = retryDelay(result.failure, ++page.failures, param_.httpAgent->MinInterval);
    send(slot, std::move(page), delay);
}

void PageJob::fail(const std::string& error) {
    if (ended_) return;
    setStatus(CheckStatus::Failed);
    stopSource_.request_stop();
    end();
    try {
        if (handlers_.error) handlers_.error(mode_, error);
    } catch (...) {
        // The error handler is the last word of the run; nothing is left to report its failure to.
    }
}

void PageJob::end() {
    if (ended_) return;
    ended_ = true;
    pool_->forget(this);
    for (auto& [slot, page] : held_) {
        loop_.cancel(page.transfer);
        pool_->release(slot);
    }
    held_.clear();
    {
        std::lock_guard lock(mutex_);
        over_ = true;
        notifyIfIdle();
    }
    if (handlers_.ended) handlers_.ended();
}

void PageJob::dispose(std::unique_ptr<PageJob> job) {
    TransferLoop& loop = job->loop_;
    auto held = std::make_shared<std::unique_ptr<PageJob>>(std::move(job));
    loop.post([held, &loop] {
        PageJob& job = **held;
        bool idle;
        {
            std::lock_guard lock(job.mutex_);
            idle = !job.started_ || (job.over_ && job.active_ == 0);
        }
        // Still running a step or with tasks queued: after them.
        if (idle)
            held->reset();
        else
            loop.post([held] { dispose(std::move(*held)); });
    });
}

} // namespace vantor::download
