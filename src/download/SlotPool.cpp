#include "SlotPool.h"

namespace vantor {

SlotPool::SlotPool(std::vector<SlotProgress*> gauges) {
    for (SlotProgress* gauge : gauges)
        slots_.push_back({gauge, nullptr, nullptr});
}

SlotPool::~SlotPool() {
    for (Slot& slot : slots_)
        if (slot.download) slot.download->requestStop();
}

std::optional<size_t> SlotPool::tryAcquire(DownSignal& waiter) {
    std::lock_guard lock(mutex_);
    for (size_t i = 0; i < slots_.size(); ++i)
        if (!slots_[i].taken) {
            slots_[i].taken = true;
            waiters_.erase(&waiter);
            return i;
        }
    waiters_.insert(&waiter);
    return std::nullopt;
}

void SlotPool::send(size_t slot, std::string url, TDownBean& bean,
                    const std::shared_ptr<const THttpAgent>& agent, DownSignal& signal,
                    std::chrono::milliseconds delay) {
    // Only the holder touches a taken slot, so no lock is needed here.
    Slot& s = slots_[slot];
    if (s.download && s.agent == agent) {
        s.download->restart(std::move(url), bean, delay, &signal);
        return;
    }
    // The first page of the slot, or settings changed since its last one.
    s.download.reset();
    s.agent = agent;
    s.download = std::make_unique<TThreadDownHtmlCode>(agent, s.gauge);
    s.download->restart(std::move(url), bean, delay, &signal);
}

void SlotPool::release(size_t slot) {
    // Waits until the download has let go of the holder's bean and signal.
    if (slots_[slot].download) slots_[slot].download->abandon();
    std::set<DownSignal*> waiting;
    {
        std::lock_guard lock(mutex_);
        slots_[slot].taken = false;
        waiting.swap(waiters_);
    }
    for (DownSignal* waiter : waiting)
        waiter->notify();
}

} // namespace vantor
