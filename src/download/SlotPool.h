#pragma once

#include "DownSignal.h"
#include "SlotProgress.h"
#include "TDownBean.h"
#include "TThreadDownHtmlCode.h"
#include "download/THttpAgent.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace vantor {

// The download slots of a whole gathering, one per progress bar, shared by all the jobs it runs at the
// same time: a job takes a free slot for each page it starts and gives it back when the page is in,
// so the slots are the ceiling of requests in flight whichever jobs send them. Each slot keeps its
// thread and connection from page to page.
class SlotPool {
public:
    explicit SlotPool(std::vector<SlotProgress*> gauges);
    ~SlotPool();
    SlotPool(const SlotPool&) = delete;
    SlotPool& operator=(const SlotPool&) = delete;

    size_t size() const { return slots_.size(); }

    // A free slot, or none; then waiter is notified when one is given back.
    std::optional<size_t> tryAcquire(DownSignal& waiter);
    // Starts the page in a slot the caller holds; its end is signalled to signal.
    void send(size_t slot, std::string url, TDownBean& bean, const std::shared_ptr<const THttpAgent>& agent,
              DownSignal& signal, std::chrono::milliseconds delay);
    // Gives a slot back; a download still in hand is abandoned, and its bean is not touched afterwards.
    void release(size_t slot);

private:
    struct Slot {
        SlotProgress* gauge;
        std::shared_ptr<const THttpAgent> agent;
        std::unique_ptr<TThreadDownHtmlCode> download;
        bool taken = false;
    };

    std::mutex mutex_;
    std::vector<Slot> slots_;
    std::set<DownSignal*> waiters_;
};

} // namespace vantor
