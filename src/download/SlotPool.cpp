#include "SlotPool.h"

#include <algorithm>

namespace vantor::download {

SlotPool::SlotPool(std::vector<SlotProgress*> gauges) : gauges_(std::move(gauges)), taken_(gauges_.size()) {}

std::optional<size_t> SlotPool::acquire(const void* owner, std::function<void()> wake) {
    for (size_t i = 0; i < taken_.size(); ++i)
        if (!taken_[i]) {
            taken_[i] = true;
            return i;
        }
    const bool waiting = std::any_of(waiters_.begin(), waiters_.end(),
                                     [owner](const Waiter& waiter) { return waiter.owner == owner; });
    if (!waiting) waiters_.push_back({owner, std::move(wake)});
    return std::nullopt;
}

void SlotPool::release(size_t slot) {
    taken_[slot] = false;
    if (waiters_.empty()) return;
    Waiter next = std::move(waiters_.front());
    waiters_.pop_front();
    next.wake();
}

void SlotPool::forget(const void* owner) {
    std::erase_if(waiters_, [owner](const Waiter& waiter) { return waiter.owner == owner; });
}

} // namespace vantor::download
