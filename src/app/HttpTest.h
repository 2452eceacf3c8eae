#pragma once

#include "download/SlotProgress.h"
#include "download/TDownBean.h"
#include "download/THttpAgent.h"

#include <functional>
#include <memory>
#include <string>
#include <thread>

namespace vantor {

// The page the connection test fetches: a public page that answers quickly.
inline constexpr const char* kTestAddress = "http://www.baidu.com/";

// Texts of testState.
inline constexpr const char* kTestRunning = "正在连接测试,请稍等....";
inline constexpr const char* kTestPassed = "测试连接通过！";
inline constexpr const char* kTestFailed = "测试连接失败！";
// The verdict as the user reads it: a failed test names its reason ("测试连接失败！原因：连接被拒绝").
std::string testVerdict(const std::string& state, const TDownBean& bean);
inline constexpr const char* kTestStopped = "连接中止！";

// The connection test: one page download of the test address with the agent under test, on a thread of
// its own. The verdict is called once, on that thread, when the download has ended: the window passes
// it on to its own thread. A stopped test aborts its download and gives no verdict, so the window's
// "连接中止！" stays. Destroying the object stops the test and waits for its thread.
class THttpTest {
public:
    // testState is kTestPassed or kTestFailed; the bean holds the page or the failure.
    using Verdict = std::function<void(const std::string& testState, const TDownBean& bean)>;

    THttpTest(std::shared_ptr<const THttpAgent> httpAgent, std::string url, Verdict verdict,
              SlotProgress* gauge = nullptr);
    ~THttpTest();
    THttpTest(const THttpTest&) = delete;
    THttpTest& operator=(const THttpTest&) = delete;

    void requestStop() { thread_.request_stop(); }
    // Blocks until the test has ended; the bean may be read afterwards.
    void wait();
    const TDownBean& bean() const { return bean_; }

private:
    void run(std::stop_token stop);

    TDownBean bean_;
    std::shared_ptr<const THttpAgent> httpAgent_;
    std::string url_;
    Verdict verdict_;
    SlotProgress* gauge_;
    std::jthread thread_; // last: starts when everything else is in place
};

} // namespace vantor
