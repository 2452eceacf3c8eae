#pragma once

#include "download/SlotProgress.h"
#include "download/TDownBean.h"
#include "download/THttpAgent.h"
#include "download/TransferLoop.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>

namespace vantor::app {

// The page the connection test fetches: a public page that answers quickly.
inline constexpr const char* kTestAddress = "http://www.baidu.com/";

// Texts of testState.
inline constexpr const char* kTestRunning = "正在连接测试,请稍等....";
inline constexpr const char* kTestPassed = "测试连接通过！";
inline constexpr const char* kTestFailed = "测试连接失败！";
// The verdict as the user reads it: a failed test names its reason ("测试连接失败！原因：连接被拒绝").
std::string testVerdict(const std::string& state, const TDownBean& bean);
inline constexpr const char* kTestStopped = "连接中止！";

// The connection test: one page download of the test address with the agent under test, on the
// transfer loop. The verdict is called once, on the loop's thread, when the download has ended: the
// window passes it on to its own thread. A stopped test aborts its download and gives no verdict, so the
// window's "连接中止！" stays. Destroying the object stops the test.
class THttpTest {
public:
    // testState is kTestPassed or kTestFailed; the bean holds the page or the failure.
    using Verdict = std::function<void(const std::string& testState, const TDownBean& bean)>;

    THttpTest(std::shared_ptr<const THttpAgent> httpAgent, std::string url, Verdict verdict,
              download::SlotProgress* gauge = nullptr);
    ~THttpTest();
    THttpTest(const THttpTest&) = delete;
    THttpTest& operator=(const THttpTest&) = delete;

    // From any thread but the loop's: once it returns, no verdict comes.
    void requestStop();
    // Blocks until the test has ended; the bean may be read afterwards.
    void wait();
    const TDownBean& bean() const { return bean_; }

private:
    void arrived(download::PageResult&& result);

    TDownBean bean_;
    Verdict verdict_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool over_ = false;
    download::TransferLoop::Id transfer_ = 0;
};

} // namespace vantor::app

// The module keeps its name where the rest of the program meets it.
namespace vantor {
using app::THttpTest;
} // namespace vantor
