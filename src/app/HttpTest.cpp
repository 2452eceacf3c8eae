#include "HttpTest.h"

#include "download/TThreadDownHtmlCode.h"

#include <chrono>

namespace vantor {
namespace {

// The longest the test waits for its download before it looks at the bean again.
constexpr std::chrono::milliseconds kPollCeiling{10};

} // namespace

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

void THttpTest::run(std::stop_token stop) {
    PageStatus status;
    {
        TThreadDownHtmlCode download(url_, bean_, httpAgent_, gauge_, &signal_);
        while ((status = bean_.status()) != PageStatus::Finish && status != PageStatus::Stop) {
            if (stop.stop_requested()) return;
            signal_.wait(kPollCeiling, stop);
        }
    }
    if (!stop.stop_requested() && verdict_)
        verdict_(status == PageStatus::Finish ? kTestPassed : kTestFailed, bean_);
}

} // namespace vantor
