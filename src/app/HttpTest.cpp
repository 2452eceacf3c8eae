#include "HttpTest.h"

namespace vantor::app {

THttpTest::THttpTest(std::shared_ptr<const THttpAgent> httpAgent, std::string url, Verdict verdict,
                     download::SlotProgress* gauge)
    : verdict_(std::move(verdict)) {
    bean_.setStatus(download::PageStatus::Init);
    download::PageRequest request;
    request.url = std::move(url);
    request.agent = std::move(httpAgent);
    request.gauge = gauge;
    request.done = [this](download::PageResult&& result) { arrived(std::move(result)); };
    transfer_ = download::TransferLoop::shared().fetch(std::move(request));
}

THttpTest::~THttpTest() {
    requestStop();
}

void THttpTest::requestStop() {
    // After the cancel the callback has run or never will.
    download::TransferLoop::shared().cancel(transfer_);
    std::lock_guard lock(mutex_);
    if (over_) return;
    bean_.setErrorInfo("Aborted-the download was stopped");
    bean_.setErrorCode("");
    bean_.setStatus(download::PageStatus::Stop);
    over_ = true;
    ended_.notify_all();
}

void THttpTest::wait() {
    std::unique_lock lock(mutex_);
    ended_.wait(lock, [this] { return over_; });
}

void THttpTest::arrived(download::PageResult&& result) {
    const bool passed = result.arrived;
    download::fillBean(bean_, std::move(result), false);
    if (verdict_) verdict_(passed ? kTestPassed : kTestFailed, bean_);
    std::lock_guard lock(mutex_);
    over_ = true;
    ended_.notify_all();
}

std::string testVerdict(const std::string& state, const TDownBean& bean) {
    if (state != kTestFailed) return state;
    const std::string reason = bean.failure().reason == download::FailReason::None ||
                                       bean.failure().reason == download::FailReason::Other
                                   ? bean.getErrorInfo()
                                   : download::failureText(bean.failure());
    return reason.empty() ? state : state + "原因：" + reason;
}

} // namespace vantor::app
