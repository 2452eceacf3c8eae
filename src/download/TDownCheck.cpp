#include "TDownCheck.h"

#include "TDownException.h"
#include "TThreadDownHtmlCode.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <utility>

namespace vantor {
namespace {

// Rating pages from this number on live on the rating-history host.
constexpr std::int32_t kHistoryFirstPage = 100;
// How much of a rating address names the rating host ("http://rate"); the history prefix takes its place.
constexpr size_t kRatingHostLength = 11;
// The longest the driver waits for a download to change before it looks at its slots again.
constexpr std::chrono::milliseconds kPollCeiling{10};

std::string pageAddress(const std::string& prefix, std::int32_t page, std::int32_t pageStep,
                        const std::string& suffix) {
    if (suffix.empty()) return prefix;
    return prefix + std::to_string(std::int64_t(page) * pageStep) + suffix;
}

struct Slot {
    std::unique_ptr<TDownBean> bean; // the page in hand; none while the slot is free
    std::int32_t number = 0;         // the page number of the bean
    int failures = 0;                // of this page
    std::optional<size_t> lease;     // the pool's slot that carries the page
};

// The slots of one run. Leaving the run, however it ends, gives every pool slot it holds back, which
// aborts a download still in flight there.
class SlotTable {
public:
    SlotTable(size_t count, SlotPool& pool) : slots_(count), pool_(pool) {}
    ~SlotTable() {
        for (Slot& slot : slots_)
            if (slot.lease) pool_.release(*slot.lease);
    }
    SlotTable(const SlotTable&) = delete;
    SlotTable& operator=(const SlotTable&) = delete;

    size_t size() const { return slots_.size(); }
    Slot& operator[](size_t i) { return slots_[i]; }

private:
    std::vector<Slot> slots_;
    SlotPool& pool_;
};

} // namespace

TDownCheck::TDownCheck(TDownParamBean& param, std::vector<SlotProgress*> gauges, std::int32_t pageStep,
                       std::int32_t mode, Handlers handlers)
    : pageStep_(pageStep <= 0 ? 1 : pageStep),
      mode_(mode),
      ownSlots_(std::make_unique<SlotPool>(std::move(gauges))),
      pool_(ownSlots_.get()),
      param_(param),
      handlers_(std::move(handlers)) {
    if (pool_->size() == 0) setStatus(CheckStatus::BadGauges);
}

TDownCheck::TDownCheck(TDownParamBean& param, SlotPool& pool, std::int32_t pageStep, std::int32_t mode,
                       Handlers handlers)
    : pageStep_(pageStep <= 0 ? 1 : pageStep),
      mode_(mode),
      pool_(&pool),
      param_(param),
      handlers_(std::move(handlers)) {
    if (pool.size() == 0) setStatus(CheckStatus::BadGauges);
}

TDownCheck::~TDownCheck() {
    stopAndWait();
}

void TDownCheck::start() {
    if (thread_.joinable()) throw std::logic_error("TDownCheck::start called twice");
    thread_ = std::jthread([this] { run(stopSource_.get_token()); });
}

void TDownCheck::wait() {
    if (thread_.joinable()) thread_.join();
}

std::string TDownCheck::lastError() const {
    std::lock_guard lock(errorMutex_);
    return lastError_;
}

void TDownCheck::stopAndWait() {
    requestStop();
    wait();
}

void TDownCheck::run(std::stop_token stop) {
    try {
        std::string_view word = getStatus();
        if (!word.empty() && word.front() != '0') throw TDownException(std::string(word.substr(1)));
        if (mode_ == kRatingMode || mode_ == kPlainMode) loop(stop);
    } catch (...) {
        setStatus(CheckStatus::Failed);
        stopSource_.request_stop();
        try {
            if (handlers_.error) handlers_.error(mode_);
        } catch (...) {
            // The error handler is the last word of the run; nothing is left to report its failure to.
        }
    }
}

void TDownCheck::loop(std::stop_token stop) {
    TDownParamBean& param = param_;
    std::string prefix = param.urlPrefix;
    const std::string suffix = param.urlSuffix;
    const std::shared_ptr<const THttpAgent> agent = param.httpAgent;
    const std::int32_t pageKind = param.pageKind;
    if (!agent) throw std::invalid_argument("TDownCheck: the job has no network settings");
    std::int64_t doneCount = param.curPage;
    std::int32_t failCount = 0;
    SlotTable slots(pool_->size(), *pool_);
    bool onHistoryHost = false;
    setStatus(CheckStatus::Init);

    if (param.curPage > param.endPage) {
        if (handlers_.finish) handlers_.finish(pageKind);
        finished_.store(true, std::memory_order_release);
        return;
    }

    for (bool done = false; !done;) {
        if (stop.stop_requested()) return;
        bool changed = false;
        for (size_t i = 0; i < slots.size() && !done; ++i) {
            if (stop.stop_requested()) return;
            Slot& slot = slots[i];
            if (!slot.bean && param.curPage <= param.endPage) {
                // Every slot of the gathering busy: the pool wakes this job when one is given back.
                if (!slot.lease && !(slot.lease = pool_->tryAcquire(signal_))) continue;
                // Checked at every start, so that no page from 100 on leaves for the old host even when
                // several slots start pages in one pass.
                if (mode_ == kRatingMode && !onHistoryHost && param.curPage >= kHistoryFirstPage) {
                    if (historyPrefix_.empty())
                        throw std::logic_error("TDownCheck: rating mode without a history prefix");
                    prefix = historyPrefix_ + prefix.substr(std::min(kRatingHostLength, prefix.size()));
                    onHistoryHost = true;
                }
                slot.bean = std::make_unique<TDownBean>();
                slot.number = param.curPage;
                slot.failures = 0;
                std::string url = pageAddress(prefix, param.curPage, pageStep_, suffix);
                pool_->send(*slot.lease, std::move(url), *slot.bean, agent, signal_, {});
                ++param.curPage;
            } else if (slot.bean && slot.bean->status() == PageStatus::Finish) {
                // The page is in: its slot serves other jobs while this one handles it.
                pool_->release(*std::exchange(slot.lease, std::nullopt));
                if (handlers_.page) try {
                        handlers_.page(pageKind, slot.number, slot.bean->getHtmlCode());
                    } catch (const std::exception& e) {
                        std::lock_guard lock(errorMutex_);
                        lastError_ = e.what();
                        throw;
                    }
                slot.bean.reset();
                ++doneCount;
            } else if (slot.bean && slot.bean->status() == PageStatus::Stop) {
                ++failCount;
                const DownFailure failure = slot.bean->failure();
                if (failures_) failures_->add(failure);
                const auto delay = retryDelay(failure, ++slot.failures, agent->MinInterval);
                pool_->send(*slot.lease, slot.bean->getUrl(), *slot.bean, agent, signal_, delay);
            } else {
                continue;
            }
            changed = true;
            if (doneCount > param.endPage) {
                setStatus(CheckStatus::Done);
                done = true;
            } else if (failCount > agent->ConnectTime) {
                if (handlers_.failure) handlers_.failure();
                setStatus(CheckStatus::TimedOut);
                throw TDownException("连接超时");
            }
        }
        // Nothing moved: sleep until a download ends, but look again after the ceiling regardless.
        if (!changed && !done) signal_.wait(kPollCeiling, stop);
    }
    if (handlers_.finish) handlers_.finish(pageKind);
    finished_.store(true, std::memory_order_release);
}

} // namespace vantor
