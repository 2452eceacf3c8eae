#pragma once

#include <algorithm>
#include <coroutine>
#include <cstddef>
#include <exception>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

namespace vantor::gather {

// A step of a gathering written as one sequence, that waits for its pages without holding a thread: it
// runs on the transfer loop's thread and is resumed there when the job it waits for ends. A task either
// is awaited by another (which resumes when it ends, and receives what it threw) or is started on its
// own with a callback that hears how it ended.
class LoopTask {
public:
    struct promise_type {
        std::coroutine_handle<> awaiter;
        std::function<void(std::exception_ptr)> onEnd;
        std::exception_ptr failure;

        LoopTask get_return_object() { return LoopTask(Handle::from_promise(*this)); }
        std::suspend_always initial_suspend() noexcept { return {}; }
        struct Final {
            bool await_ready() noexcept { return false; }
            std::coroutine_handle<> await_suspend(std::coroutine_handle<promise_type> done) noexcept {
                promise_type& promise = done.promise();
                if (promise.awaiter) return promise.awaiter;
                // Started on its own: the frame goes before the callback hears of the end.
                auto onEnd = std::move(promise.onEnd);
                auto failure = promise.failure;
                done.destroy();
                if (onEnd) onEnd(failure);
                return std::noop_coroutine();
            }
            void await_resume() noexcept {}
        };
        Final final_suspend() noexcept { return {}; }
        void return_void() {}
        void unhandled_exception() { failure = std::current_exception(); }
    };
    using Handle = std::coroutine_handle<promise_type>;

    LoopTask(LoopTask&& other) noexcept : handle_(std::exchange(other.handle_, {})) {}
    LoopTask& operator=(LoopTask&&) = delete;
    ~LoopTask() {
        if (handle_) handle_.destroy();
    }

    // Runs the task from here on its own; onEnd hears what it threw, or nothing.
    void start(std::function<void(std::exception_ptr)> onEnd) && {
        Handle handle = std::exchange(handle_, {});
        handle.promise().onEnd = std::move(onEnd);
        handle.resume();
    }

    // Awaited by another task: runs now, resumes the awaiter when it ends, and rethrows its failure.
    bool await_ready() const noexcept { return false; }
    std::coroutine_handle<> await_suspend(std::coroutine_handle<> awaiter) noexcept {
        handle_.promise().awaiter = awaiter;
        return handle_;
    }
    void await_resume() {
        Handle handle = std::exchange(handle_, {});
        std::exception_ptr failure = handle.promise().failure;
        handle.destroy();
        if (failure) std::rethrow_exception(failure);
    }

private:
    explicit LoopTask(Handle handle) : handle_(handle) {}
    Handle handle_;
};

// Runs work(0) .. work(count - 1) as tasks, at most `width` at once; when one throws, no further one
// starts, and once those running have ended the failure of the lowest index is rethrown. Awaited on the
// loop's thread.
class AllAtOnce {
public:
    AllAtOnce(size_t count, size_t width, std::function<LoopTask(size_t)> work)
        : state_(std::make_shared<State>()) {
        state_->count = count;
        state_->width = std::max<size_t>(1, width);
        state_->work = std::move(work);
        state_->failures.resize(count);
    }

    bool await_ready() const noexcept { return state_->count == 0; }
    bool await_suspend(std::coroutine_handle<> awaiter) {
        state_->awaiter = awaiter;
        // A task may end while the first ones are being started: the awaiter is resumed only after.
        state_->starting = true;
        for (size_t i = 0; i < state_->width; ++i)
            next(state_);
        state_->starting = false;
        if (state_->running > 0) return true;
        state_->awaiter = {};
        return false; // all over already: go on at once
    }
    void await_resume() {
        for (auto& failure : state_->failures)
            if (failure) std::rethrow_exception(failure);
    }

private:
    struct State {
        size_t count = 0, width = 1, started = 0, running = 0;
        bool failed = false, starting = false;
        std::function<LoopTask(size_t)> work;
        std::vector<std::exception_ptr> failures;
        std::coroutine_handle<> awaiter;
    };

    static void next(const std::shared_ptr<State>& state) {
        if (state->failed || state->started == state->count) {
            if (state->running == 0 && state->awaiter && !state->starting)
                std::exchange(state->awaiter, {}).resume();
            return;
        }
        const size_t index = state->started++;
        ++state->running;
        state->work(index).start([state, index](std::exception_ptr failure) {
            --state->running;
            if (failure) {
                state->failures[index] = failure;
                state->failed = true;
            }
            next(state);
        });
    }

    std::shared_ptr<State> state_;
};

} // namespace vantor::gather
