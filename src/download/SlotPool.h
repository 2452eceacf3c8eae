#pragma once

#include "SlotProgress.h"

#include <cstddef>
#include <deque>
#include <functional>
#include <optional>
#include <vector>

namespace vantor::download {

// The download slots of a whole gathering, one per progress bar, shared by all the jobs it runs at the
// same time: a job takes a free slot for each page it starts and gives it back when the page is in, so
// the slots are the ceiling of requests in flight whichever jobs send them. Used on the transfer loop's
// thread only.
class SlotPool {
public:
    explicit SlotPool(std::vector<SlotProgress*> gauges);
    SlotPool(const SlotPool&) = delete;
    SlotPool& operator=(const SlotPool&) = delete;

    size_t size() const { return gauges_.size(); }
    SlotProgress* gauge(size_t slot) const { return gauges_[slot]; }

    // A free slot; or none, and then `wake` is called once a slot is given back (first come, first
    // served), unless the owner is forgotten before.
    std::optional<size_t> acquire(const void* owner, std::function<void()> wake);
    void release(size_t slot);
    // An owner that ended waits no longer.
    void forget(const void* owner);

private:
    struct Waiter {
        const void* owner;
        std::function<void()> wake;
    };
    std::vector<SlotProgress*> gauges_;
    std::vector<bool> taken_;
    std::deque<Waiter> waiters_;
};

} // namespace vantor::download
