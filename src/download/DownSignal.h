#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>

namespace vantor {

// Wakes a thread that polls download beans as soon as one of them changes, instead of letting it
// sleep out its polling interval. A notice given while nobody waits is kept for the next wait.
class DownSignal {
public:
    void notify() {
        {
            std::lock_guard lock(mutex_);
            pending_ = true;
        }
        changed_.notify_all();
    }

    // Returns at the latest after ceiling, at once on a notice or a stop request.
    void wait(std::chrono::milliseconds ceiling, std::stop_token stop) {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, stop, ceiling, [this] { return pending_; });
        pending_ = false;
    }

private:
    std::mutex mutex_;
    std::condition_variable_any changed_;
    bool pending_ = false;
};

} // namespace vantor
