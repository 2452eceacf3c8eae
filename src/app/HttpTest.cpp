#include "HttpTest.h"

#include "download/TransferLoop.h"

namespace vantor {

THttpTest::THttpTest(std::shared_ptr<const THttpAgent> httpAgent, std::string url, Verdict verdict,
                     SlotProgress* gauge)
    : httpAgent_(std::move(httpAgent)), url_(std::move(url)), verdict_(std::move(verdict)), gauge_(gauge) {
    thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
}

THttpTest::~THttpTest() {
    thread_.request_stop();
    wait();
}

void THttpTest::wait() {
    if (thread_.joinable()) thread_.join();
}

std::string testVerdict(const std::string& state, const TDownBean& bean) {
    if (state != kTestFailed) return state;
    const std::string reason =
        bean.failure().reason == FailReason::None || bean.failure().reason == FailReason::Other
            ? bean.getErrorInfo()
            : failureText(bean.failure());
    return reason.empty() ? state : state + "原因：" + reason;
}

void THttpTest::run(std::stop_token stop) {
    const bool arrived = fetchPage(url_, bean_, httpAgent_, gauge_, stop);
    if (!stop.stop_requested() && verdict_) verdict_(arrived ? kTestPassed : kTestFailed, bean_);
}

} // namespace vantor
