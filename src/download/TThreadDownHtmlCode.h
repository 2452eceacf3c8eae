#pragma once

#include "DownSignal.h"
#include "SlotProgress.h"
#include "TDownBean.h"
#include "download/THttpAgent.h"

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

namespace vantor {

// Every request of the program's gathering carries this browser name.
inline constexpr const char* kUserAgent = "Mozilla/4.0 (compatible; MSIE 6.0; Windows 98; Maxthon)";

// Fetches a page with an HTTP GET on a thread of its own and leaves the result in the bean it was
// given, whose status is written last. The download starts as soon as the object exists. A slot that
// has more pages to fetch hands the next one to the same object with restart(): the thread and its
// connection to the server are then kept instead of being made anew for every page. Destroying the
// object aborts a download in flight and waits for the thread. Beans, gauge and signal must outlive
// the object; the agent is shared read-only.
class TThreadDownHtmlCode {
public:
    TThreadDownHtmlCode(std::string url, TDownBean& bean, std::shared_ptr<const THttpAgent> httpAgent,
                        SlotProgress* gauge = nullptr, DownSignal* signal = nullptr);
    // A slot's download thread with no page yet: restart() gives it its first.
    TThreadDownHtmlCode(std::shared_ptr<const THttpAgent> httpAgent, SlotProgress* gauge);
    ~TThreadDownHtmlCode();
    TThreadDownHtmlCode(const TThreadDownHtmlCode&) = delete;
    TThreadDownHtmlCode& operator=(const TThreadDownHtmlCode&) = delete;

    // The next download, once the last one has ended (its bean has left "init"), sent no sooner than
    // `delay` from now. Sets bean to "init". Its end is signalled to `signal`, or without one to the
    // signal the object was made with.
    void restart(std::string url, TDownBean& bean, std::chrono::milliseconds delay = {},
                 DownSignal* signal = nullptr);
    // Aborts the download in hand or waiting, and returns once the thread no longer touches its bean;
    // the thread and its connection stay for the next one.
    void abandon();

    // Aborts the transfer and ends the thread; the bean of a download in flight ends in "stop" with an
    // empty error code.
    void requestStop() { thread_.request_stop(); }
    void join();

private:
    struct Job {
        std::string url;
        TDownBean* bean;
        std::chrono::milliseconds delay{0};
        DownSignal* signal = nullptr;
    };
    class Connection;

    void run(std::stop_token stop);
    void download(const Job& job, Connection& connection, std::stop_token stop);
    // Waits out the job's delay and the host's minimum interval; false when a stop came first.
    bool waitToSend(const Job& job, std::stop_token stop) const;

    SlotProgress* gauge_;
    std::shared_ptr<const THttpAgent> httpAgent_;
    DownSignal* signal_;
    std::mutex mutex_;
    std::condition_variable_any jobReady_;
    std::condition_variable idle_;
    std::optional<Job> pending_;
    std::stop_source* inHand_ = nullptr; // aborts the download in hand; none while idle
    std::jthread thread_;                // last: the thread starts when everything else is in place
};

// One page fetched into the bean while the caller waits. A stop, or `abandon` turning true, aborts the
// transfer. True when the page arrived; otherwise the bean tells a failed download's reason.
bool fetchPage(std::string url, TDownBean& bean, std::shared_ptr<const THttpAgent> httpAgent,
               SlotProgress* gauge, std::stop_token stop, const std::function<bool()>& abandon = {});

} // namespace vantor
