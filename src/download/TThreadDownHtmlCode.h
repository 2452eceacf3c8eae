#pragma once

#include "DownSignal.h"
#include "SlotProgress.h"
#include "TDownBean.h"
#include "app/THttpAgent.h"

#include <memory>
#include <string>
#include <thread>

namespace vantor {

// Every request of the program's gathering carries this browser name.
inline constexpr const char* kUserAgent = "Mozilla/4.0 (compatible; MSIE 6.0; Windows 98; Maxthon)";

// Fetches one page with an HTTP GET on a thread of its own and leaves the result in its bean, whose
// status is written last. The download starts as soon as the object exists; destroying the object
// stops a download still in flight and waits for its thread. The bean, the gauge and the signal must
// outlive the object; the agent is shared read-only.
class TThreadDownHtmlCode {
public:
    TThreadDownHtmlCode(std::string url, TDownBean& bean, std::shared_ptr<const THttpAgent> httpAgent,
                        SlotProgress* gauge = nullptr, DownSignal* signal = nullptr);
    ~TThreadDownHtmlCode();
    TThreadDownHtmlCode(const TThreadDownHtmlCode&) = delete;
    TThreadDownHtmlCode& operator=(const TThreadDownHtmlCode&) = delete;

    // Aborts the transfer; the bean then ends in "stop" with an empty error code.
    void requestStop() { thread_.request_stop(); }
    void join();

private:
    void run(std::stop_token stop);

    std::string htmlCode_;
    std::string errorCode_;
    std::string errorInfo_;
    PageStatus status_ = PageStatus::Init;
    std::string url_;
    TDownBean& bean_;
    SlotProgress* gauge_;
    std::shared_ptr<const THttpAgent> httpAgent_;
    DownSignal* signal_;
    std::jthread thread_; // last: the thread starts when everything else is in place
};

} // namespace vantor
