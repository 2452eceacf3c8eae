#pragma once

#include "download/DownSignal.h"
#include "download/SlotProgress.h"
#include "download/TDownBean.h"
#include "download/TThreadDownHtmlCode.h"

#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace vantor::test {

// Settings with short time-outs, so failures end quickly: the configured values add to bases of 60 s
// (connect) and 30 s (read), so negative values shorten them.
inline std::shared_ptr<const THttpAgent> quickAgent(THttpAgent agent = {}) {
    agent.ConnectTimeOut = -59000;
    agent.ReadTimeOut = -29000;
    if (agent.ConnectTime == 0) agent.ConnectTime = 3;
    return std::make_shared<const THttpAgent>(agent);
}

// Waits for a bean to leave "init", however long the download takes; its own time-outs end it.
inline void awaitEnd(const TDownBean& bean, DownSignal& signal) {
    while (bean.status() == PageStatus::Init)
        signal.wait(std::chrono::milliseconds(10), {});
}

// One download to its end, as a bean.
inline std::unique_ptr<TDownBean> fetch(const std::string& url, std::shared_ptr<const THttpAgent> agent,
                                        SlotProgress* gauge = nullptr) {
    auto bean = std::make_unique<TDownBean>();
    DownSignal signal;
    TThreadDownHtmlCode download(url, *bean, std::move(agent), gauge, &signal);
    awaitEnd(*bean, signal);
    return bean;
}

// Records what a slot's progress bar is told, as text: "begin 42", "advance 10", "end".
class GaugeLog : public SlotProgress {
public:
    void begin(std::int64_t announcedLength) override { add("begin " + std::to_string(announcedLength)); }
    void advance(std::int64_t received) override { add("advance " + std::to_string(received)); }
    void end() override { add("end"); }

    std::vector<std::string> entries() const {
        std::lock_guard lock(mutex_);
        return entries_;
    }

private:
    void add(std::string entry) {
        std::lock_guard lock(mutex_);
        entries_.push_back(std::move(entry));
    }
    mutable std::mutex mutex_;
    std::vector<std::string> entries_;
};

} // namespace vantor::test
