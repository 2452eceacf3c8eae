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
#include <thread>
#include <vector>

namespace vantor {

// A shop of a pipeline: what its fetch gave or threw, once it is over.
template <class Haul> struct FetchedShop {
    std::optional<Haul> haul;
    std::exception_ptr failure;
    bool finished = false;
};

// Fetches the shops of a run on threads of their own, several at once, and hands them over in the run's
// order: one writer then saves them exactly as a run of one shop after the other would have, while the
// shops behind the one it waits for are already on the wire.
template <class Haul> class ShopPipeline {
public:
    using Fetch = std::function<Haul(size_t index)>;

    // At most `width` shops are fetched or wait for the writer at any time.
    ShopPipeline(size_t count, size_t width, Fetch fetch)
        : entries_(count), width_(std::max<size_t>(1, width)), fetch_(std::move(fetch)) {}
    ~ShopPipeline() {
        cancel();
        for (Entry& entry : entries_)
            if (entry.thread.joinable()) entry.thread.join();
    }
    ShopPipeline(const ShopPipeline&) = delete;
    ShopPipeline& operator=(const ShopPipeline&) = delete;

    // Shop i, the next in order, once fetched; rethrows what its fetch threw.
    Haul take(size_t i) {
        std::unique_lock lock(mutex_);
        startUpTo(std::min(entries_.size(), i + width_));
        if (i >= started_) throw std::logic_error("ShopPipeline: shop taken after cancel()");
        done_.wait(lock, [&] { return entries_[i].finished; });
        lock.unlock();
        Entry& entry = entries_[i];
        entry.thread.join();
        if (entry.failure) std::rethrow_exception(entry.failure);
        return std::move(*entry.haul);
    }

    // Starts no further shop; the caller stops the jobs of those on the wire.
    void cancel() {
        std::lock_guard lock(mutex_);
        cancelled_ = true;
    }

private:
    struct Entry : FetchedShop<Haul> {
        std::thread thread;
    };

    void startUpTo(size_t end) {
        for (; started_ < end && !cancelled_; ++started_) {
            Entry& entry = entries_[started_];
            entry.thread = std::thread([this, &entry, index = started_] {
                std::optional<Haul> haul;
                std::exception_ptr failure;
                try {
                    haul.emplace(fetch_(index));
                } catch (...) {
                    failure = std::current_exception();
                }
                {
                    std::lock_guard lock(mutex_);
                    entry.haul = std::move(haul);
                    entry.failure = failure;
                    entry.finished = true;
                }
                done_.notify_all();
            });
        }
    }

    std::mutex mutex_;
    std::condition_variable done_;
    std::vector<Entry> entries_;
    size_t width_;
    size_t started_ = 0;
    bool cancelled_ = false;
    Fetch fetch_;
};

// ShopPipeline for shops fetched by tasks on the transfer loop: starting a shop posts its task there, and
// no thread waits for its pages; the writer still takes the shops in the run's order.
template <class Haul> class LoopPipeline {
public:
    using Fetch = std::function<LoopTask(size_t index, Haul& haul)>;

    LoopPipeline(size_t count, size_t width, Fetch fetch)
        : state_(std::make_shared<State>(count)),
          width_(std::max<size_t>(1, width)),
          fetch_(std::move(fetch)) {}
    // The tasks on the wire are the caller's to stop; their end is waited for here, as they use the
    // caller's objects.
    ~LoopPipeline() {
        cancel();
        std::unique_lock lock(state_->mutex);
        state_->done.wait(lock, [&] { return state_->unfinished == 0; });
    }
    LoopPipeline(const LoopPipeline&) = delete;
    LoopPipeline& operator=(const LoopPipeline&) = delete;

    // Shop i, the next in order, once fetched; rethrows what its fetch threw.
    Haul take(size_t i) {
        std::unique_lock lock(state_->mutex);
        startUpTo(std::min(state_->entries.size(), i + width_));
        if (i >= started_) throw std::logic_error("LoopPipeline: shop taken after cancel()");
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
    using Entry = FetchedShop<Haul>;
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
            TransferLoop::shared().post([state = state_, fetch = fetch_, index = started_] {
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

// Runs work(0) .. work(count - 1), at most `width` at once; when one throws, no further one starts, and
// once those running have ended the failure of the lowest index is rethrown.
inline void forEachAtOnce(size_t count, size_t width, const std::function<void(size_t)>& work) {
    std::mutex mutex;
    size_t next = 0;
    std::vector<std::exception_ptr> failures(count);
    bool failed = false;
    auto worker = [&] {
        for (;;) {
            size_t i;
            {
                std::lock_guard lock(mutex);
                if (failed || next == count) return;
                i = next++;
            }
            try {
                work(i);
            } catch (...) {
                std::lock_guard lock(mutex);
                failures[i] = std::current_exception();
                failed = true;
            }
        }
    };
    std::vector<std::thread> threads;
    for (size_t t = 1; t < std::min(std::max<size_t>(1, width), count); ++t)
        threads.emplace_back(worker);
    worker();
    for (std::thread& thread : threads)
        thread.join();
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
}

} // namespace vantor
