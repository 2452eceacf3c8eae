#pragma once

#include "LoopTask.h"
#include "download/TransferLoop.h"

#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <vector>

namespace vantor::gather {

// Fetches the shops of a run as tasks on the transfer loop, several at once, and hands them over in the
// run's order: one writer then saves them exactly as a run of one shop after the other would have,
// while the shops behind the one it waits for are already on the wire. No thread waits for their pages.
template <class Haul> class ShopPipeline {
public:
    using Fetch = std::function<LoopTask(size_t index, Haul& haul)>;

    ShopPipeline(size_t count, size_t width, Fetch fetch)
        : state_(std::make_shared<State>(count)),
          width_(std::max<size_t>(1, width)),
          fetch_(std::move(fetch)) {}
    // The tasks on the wire are the caller's to stop; their end is waited for here, as they use the
    // caller's objects.
    ~ShopPipeline() {
        cancel();
        std::unique_lock lock(state_->mutex);
        state_->done.wait(lock, [&] { return state_->unfinished == 0; });
    }
    ShopPipeline(const ShopPipeline&) = delete;
    ShopPipeline& operator=(const ShopPipeline&) = delete;

    // Shop i, the next in order, once fetched; rethrows what its fetch threw.
    Haul take(size_t i) {
        std::unique_lock lock(state_->mutex);
        startUpTo(std::min(state_->entries.size(), i + width_));
        if (i >= started_) throw std::logic_error("ShopPipeline: shop taken after cancel()");
        Entry& entry = state_->entries[i];
        state_->done.wait(lock, [&] { return entry.finished; });
        if (entry.failure) std::rethrow_exception(entry.failure);
        return std::move(*entry.haul);
    }
    // Starts no further shop; the caller stops the tasks of those on the wire.
    void cancel() {
        std::lock_guard lock(state_->mutex);
        cancelled_ = true;
    }

private:
    struct Entry {
        std::optional<Haul> haul;
        std::exception_ptr failure;
        bool finished = false;
    };
    struct State {
        explicit State(size_t count) : entries(count) {}
        std::mutex mutex;
        std::condition_variable done;
        std::vector<Entry> entries;
        size_t unfinished = 0;
    };

    // Under the state's lock.
    void startUpTo(size_t end) {
        for (; started_ < end && !cancelled_; ++started_) {
            ++state_->unfinished;
            download::TransferLoop::shared().post([state = state_, fetch = fetch_, index = started_] {
                // The haul lives in its entry, which no other thread touches until it is finished.
                Haul* haul;
                {
                    std::lock_guard lock(state->mutex);
                    haul = &state->entries[index].haul.emplace();
                }
                fetch(index, *haul).start([state, index](std::exception_ptr failure) {
                    {
                        std::lock_guard lock(state->mutex);
                        Entry& entry = state->entries[index];
                        entry.failure = failure;
                        if (failure) entry.haul.reset();
                        entry.finished = true;
                        --state->unfinished;
                    }
                    state->done.notify_all();
                });
            });
        }
    }

    std::shared_ptr<State> state_;
    size_t width_;
    size_t started_ = 0;
    bool cancelled_ = false;
    Fetch fetch_;
};

} // namespace vantor::gather
