#include "Fetching.h"
#include "download/TDownCheck.h"
#include "support/HttpServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <map>
#include <set>
#include <stdexcept>

using namespace vantor;
using namespace vantor::test;

namespace {

// A driver that writes down every handler call: "page:<kind>:<body>", "finish:<kind>", "failure",
// "error:<mode>" (with ":stopped" when the run already counted as stopped).
class RecordingCheck {
public:
    RecordingCheck(TDownParamBean& param, std::vector<SlotProgress*> gauges, std::int32_t pageStep,
                   std::int32_t mode)
        : check_(param, std::move(gauges), pageStep, mode, handlers()) {}

    std::function<void(const std::string&)> onPage; // runs inside the page handler

    void start() { check_.start(); }
    void wait() { check_.wait(); }
    void requestStop() { check_.requestStop(); }
    void setHistoryPrefix(std::string prefix) { check_.setHistoryPrefix(std::move(prefix)); }
    std::string_view getStatus() const { return check_.getStatus(); }
    bool getFinished() const { return check_.getFinished(); }
    std::int32_t pageStep() const { return check_.pageStep(); }
    void runToEnd() {
        start();
        wait();
    }

    std::vector<std::string> events() const {
        std::lock_guard lock(mutex_);
        return events_;
    }
    std::vector<std::string> pages() const {
        std::vector<std::string> bodies;
        for (const auto& event : events())
            if (event.starts_with("page:")) bodies.push_back(event.substr(event.find(':', 5) + 1));
        std::sort(bodies.begin(), bodies.end());
        return bodies;
    }

private:
    TDownCheck::Handlers handlers() {
        return {[this](std::int32_t pageKind, const std::string& htmlCode) {
                    add("page:" + std::to_string(pageKind) + ":" + htmlCode);
                    if (onPage) onPage(htmlCode);
                },
                [this](std::int32_t pageKind) { add("finish:" + std::to_string(pageKind)); },
                [this] { add("failure"); },
                [this](std::int32_t mode) {
                    add("error:" + std::to_string(mode) + (check_.stopRequested() ? ":stopped" : ""));
                }};
    }

    void add(std::string event) {
        std::lock_guard lock(mutex_);
        events_.push_back(std::move(event));
    }
    mutable std::mutex mutex_;
    std::vector<std::string> events_;
    TDownCheck check_; // last: its run ends before the events it writes go
};

// Every page answers with its own path.
HttpReply echoPath(const HttpRequest& request) {
    return HttpReply::page(request.path());
}

TDownParamBean job(std::string prefix, std::int32_t first, std::int32_t last, std::string suffix = ".htm",
                   THttpAgent agent = {}) {
    TDownParamBean param;
    param.urlPrefix = std::move(prefix);
    param.curPage = first;
    param.endPage = last;
    param.urlSuffix = std::move(suffix);
    param.pageKind = 7;
    param.httpAgent = quickAgent(agent);
    return param;
}

// Settings that send every request to the server as the proxy, whatever host the address names.
THttpAgent proxiedBy(const HttpServer& server) {
    THttpAgent agent;
    agent.AgentType = true;
    agent.Server = "127.0.0.1";
    agent.Port = server.port();
    return agent;
}

std::vector<SlotProgress*> gaugesOf(std::vector<GaugeLog>& logs) {
    std::vector<SlotProgress*> gauges;
    for (auto& log : logs)
        gauges.push_back(&log);
    return gauges;
}

} // namespace

TEST(Driver, OnePageInOneSlot) {
    HttpServer server(echoPath);
    auto param = job(server.url("/list-"), 1, 1);
    std::vector<GaugeLog> gauges(1);
    RecordingCheck check(param, gaugesOf(gauges), 1, TDownCheck::kPlainMode);
    EXPECT_EQ(check.getStatus(), "0初始");
    check.runToEnd();
    EXPECT_EQ(check.events(), (std::vector<std::string>{"page:7:/list-1.htm", "finish:7"}));
    EXPECT_EQ(check.getStatus(), "0完成");
    EXPECT_TRUE(check.getFinished());
    EXPECT_EQ(param.curPage, 2);
    EXPECT_EQ(server.requestCount(), 1u);
    EXPECT_EQ(gauges[0].entries().back(), "end");
}

TEST(Driver, EachSlotFetchesItsPagesOverOneConnection) {
    HttpServer server(echoPath);
    auto param = job(server.url("/p"), 1, 12);
    RecordingCheck check(param, {nullptr, nullptr}, 1, TDownCheck::kPlainMode);
    check.runToEnd();
    EXPECT_EQ(check.pages().size(), 12u);
    EXPECT_EQ(server.requestCount(), 12u);
    EXPECT_LE(server.connections(), 2);
}

TEST(Driver, AJobWithNothingToFetchOnlyFinishes) {
    HttpServer server(echoPath);
    auto param = job(server.url("/list-"), 5, 4);
    std::vector<GaugeLog> gauges(2);
    RecordingCheck check(param, gaugesOf(gauges), 1, TDownCheck::kPlainMode);
    check.runToEnd();
    EXPECT_EQ(check.events(), (std::vector<std::string>{"finish:7"}));
    EXPECT_TRUE(check.getFinished());
    EXPECT_EQ(check.getStatus(), "0初始");
    EXPECT_EQ(server.requestCount(), 0u);
}

TEST(Driver, ThreeSlotsShareTenPagesWithThePageStepInTheAddress) {
    HttpServer server([](const HttpRequest& request) {
        return HttpReply::late(request.path(), std::chrono::milliseconds(100)); // long enough to overlap
    });
    auto param = job(server.url("/shops?s="), 1, 10, "&n=40", {});
    std::vector<GaugeLog> gauges(3);
    RecordingCheck check(param, gaugesOf(gauges), 40, TDownCheck::kPlainMode);
    check.runToEnd();

    std::vector<std::string> expected;
    for (int page = 1; page <= 10; ++page)
        expected.push_back("/shops?s=" + std::to_string(page * 40) + "&n=40");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(check.pages(), expected);
    EXPECT_EQ(check.events().size(), 11u);
    EXPECT_EQ(check.events().back(), "finish:7");
    EXPECT_EQ(check.getStatus(), "0完成");
    EXPECT_LE(server.maxInFlight(), 3);
    EXPECT_GE(server.maxInFlight(), 2);
    EXPECT_EQ(server.requestCount(), 10u);

    // Each slot drives its own gauge, one download after the other.
    int begun = 0;
    for (auto& gauge : gauges) {
        bool open = false;
        for (const auto& entry : gauge.entries()) {
            if (entry.starts_with("begin")) {
                EXPECT_FALSE(open);
                open = true;
                ++begun;
            } else if (entry == "end") {
                EXPECT_TRUE(open);
                open = false;
            } else {
                EXPECT_TRUE(open) << entry;
            }
        }
        EXPECT_FALSE(open);
    }
    EXPECT_EQ(begun, 10);
}

TEST(Driver, WithoutASuffixEveryPageFetchesThePrefix) {
    HttpServer server(echoPath);
    auto param = job(server.url("/profile.htm"), 1, 3, "");
    RecordingCheck check(param, {nullptr}, 1, TDownCheck::kPlainMode);
    check.runToEnd();
    EXPECT_EQ(check.pages(), std::vector<std::string>(3, "/profile.htm"));
    for (const auto& request : server.requests())
        EXPECT_EQ(request.target, "/profile.htm");
    EXPECT_EQ(server.requestCount(), 3u);
}

TEST(Driver, AStopEndsTheJobWithoutHandlersAndAbortsTheDownloads) {
    HttpServer server(
        [](const HttpRequest& request) { return HttpReply::late(request.path(), std::chrono::seconds(30)); });
    auto param = job(server.url("/p"), 1, 10);
    RecordingCheck check(param, {nullptr, nullptr, nullptr}, 1, TDownCheck::kPlainMode);
    check.start();
    ASSERT_TRUE(HttpServer::waitUntil([&] { return server.requestCount() == 3; }));
    check.requestStop();
    check.wait();
    EXPECT_TRUE(check.events().empty());
    EXPECT_FALSE(check.getFinished());
    EXPECT_EQ(check.getStatus(), "0初始");
    // The downloads in flight were aborted, not left to their time-outs.
    EXPECT_TRUE(HttpServer::waitUntil([&] { return server.hangUps() == 3; }));
    EXPECT_EQ(server.repliesSent(), 0);
    EXPECT_EQ(server.requestCount(), 3u);
}

TEST(Driver, TheFourthFailureAgainstARefusingHostAbortsTheJob) {
    ClosedPort closed;
    THttpAgent agent;
    agent.ConnectTime = 3;
    auto param = job(closed.url("/p"), 1, 5, ".htm", agent);
    RecordingCheck check(param, {nullptr, nullptr}, 1, TDownCheck::kPlainMode);
    check.runToEnd();
    EXPECT_EQ(check.events(), (std::vector<std::string>{"failure", "error:2:stopped"}));
    EXPECT_EQ(check.getStatus(), "1下载出错");
    EXPECT_FALSE(check.getFinished());
}

TEST(Driver, FailuresCountOverTheWholeJobNotPerPage) {
    // Every page fails once, then arrives: five pages, but the fourth failure ends the job.
    std::mutex mutex;
    std::set<std::string> failedOnce;
    HttpServer server([&](const HttpRequest& request) {
        std::lock_guard lock(mutex);
        if (failedOnce.insert(request.path()).second) return HttpReply::failure(500, "Internal Server Error");
        return echoPath(request);
    });
    THttpAgent agent;
    agent.ConnectTime = 3;
    auto param = job(server.url("/p"), 1, 5, ".htm", agent);
    RecordingCheck check(param, {nullptr}, 1, TDownCheck::kPlainMode);
    check.runToEnd();
    EXPECT_EQ(check.events(), (std::vector<std::string>{"page:7:/p1.htm", "page:7:/p2.htm", "page:7:/p3.htm",
                                                        "failure", "error:2:stopped"}));
    std::map<std::string, int> tries;
    for (const auto& request : server.requests())
        ++tries[request.path()];
    EXPECT_EQ(tries["/p1.htm"], 2);
    EXPECT_EQ(tries["/p3.htm"], 2);
    // The retry started with the fourth failure is abandoned with the job, sent or not.
    EXPECT_GE(tries["/p4.htm"], 1);
    EXPECT_LE(tries["/p4.htm"], 2);
    EXPECT_EQ(tries.count("/p5.htm"), 0u);
}

TEST(Driver, AFailedPageIsFetchedAgainInItsSlot) {
    std::atomic<int> thirdPageTries = 0;
    HttpServer server([&](const HttpRequest& request) {
        if (request.path() == "/p3.htm" && thirdPageTries++ < 2)
            return HttpReply::failure(503, "Service Unavailable");
        return echoPath(request);
    });
    THttpAgent agent;
    agent.ConnectTime = 2;
    auto param = job(server.url("/p"), 1, 5, ".htm", agent);
    RecordingCheck check(param, {nullptr, nullptr}, 1, TDownCheck::kPlainMode);
    check.runToEnd();
    EXPECT_EQ(check.pages(),
              (std::vector<std::string>{"/p1.htm", "/p2.htm", "/p3.htm", "/p4.htm", "/p5.htm"}));
    EXPECT_EQ(check.getStatus(), "0完成");
    EXPECT_TRUE(check.getFinished());
    EXPECT_EQ(thirdPageTries.load(), 3);
    EXPECT_EQ(server.requestCount(), 7u);
}

TEST(Driver, RatingModeFetchesPagesFromOneHundredOnFromTheHistoryHost) {
    // The test server stands in for both marketplace hosts as the proxy the settings name.
    for (int slots : {1, 3}) {
        HttpServer server(echoPath);
        auto param =
            job("http://rate.market.test/user-rate-9--currentPage%7C", 99, 101, "&v=1", proxiedBy(server));
        RecordingCheck check(param, std::vector<SlotProgress*>(size_t(slots), nullptr), 1,
                             TDownCheck::kRatingMode);
        check.setHistoryPrefix("http://ratehis");
        check.runToEnd();
        EXPECT_EQ(check.getStatus(), "0完成") << slots;

        std::map<std::string, std::string> hostByPath;
        for (const auto& request : server.requests())
            hostByPath[request.path()] = request.header("Host");
        EXPECT_EQ(hostByPath, (std::map<std::string, std::string>{
                                  {"/user-rate-9--currentPage%7C99&v=1", "rate.market.test"},
                                  {"/user-rate-9--currentPage%7C100&v=1", "ratehis.market.test"},
                                  {"/user-rate-9--currentPage%7C101&v=1", "ratehis.market.test"}}))
            << slots << " slots";
    }
}

TEST(Driver, PlainModeNeverLeavesTheGivenHost) {
    HttpServer server(echoPath);
    auto param = job("http://rate.market.test/r-", 99, 101, ".htm", proxiedBy(server));
    RecordingCheck check(param, {nullptr}, 1, TDownCheck::kPlainMode);
    check.setHistoryPrefix("http://ratehis");
    check.runToEnd();
    ASSERT_EQ(server.requestCount(), 3u);
    for (const auto& request : server.requests())
        EXPECT_EQ(request.header("Host"), "rate.market.test");
}

TEST(Driver, AHandlerThatThrowsEndsTheJobThroughTheErrorPath) {
    HttpServer server(echoPath);
    auto param = job(server.url("/p"), 1, 5);
    RecordingCheck check(param, {nullptr}, 1, TDownCheck::kRatingMode);
    check.setHistoryPrefix("http://ratehis");
    check.onPage = [](const std::string& body) {
        if (body == "/p2.htm") throw std::runtime_error("parse error");
    };
    check.runToEnd();
    EXPECT_EQ(check.events(),
              (std::vector<std::string>{"page:7:/p1.htm", "page:7:/p2.htm", "error:1:stopped"}));
    EXPECT_EQ(check.getStatus(), "1下载出错");
    EXPECT_FALSE(check.getFinished());
    EXPECT_EQ(server.requestCount(), 2u); // the remaining pages are not fetched
}

TEST(Driver, WithoutGaugesTheJobRefusesToRun) {
    HttpServer server(echoPath);
    auto param = job(server.url("/p"), 1, 2);
    RecordingCheck check(param, {}, 1, TDownCheck::kPlainMode);
    EXPECT_EQ(check.getStatus(), "1下载参数(进度条)出错!");
    check.runToEnd();
    EXPECT_EQ(check.events(), (std::vector<std::string>{"error:2:stopped"}));
    EXPECT_EQ(check.getStatus(), "1下载出错");
    EXPECT_EQ(server.requestCount(), 0u);
}

TEST(Driver, AnUnknownModeDoesNothing) {
    HttpServer server(echoPath);
    auto param = job(server.url("/p"), 1, 2);
    RecordingCheck check(param, {nullptr}, 0, 3);
    EXPECT_EQ(check.pageStep(), 1); // a step of 0 or less counts as 1
    check.runToEnd();
    EXPECT_TRUE(check.events().empty());
    EXPECT_FALSE(check.getFinished());
    EXPECT_EQ(check.getStatus(), "0初始");
    EXPECT_EQ(server.requestCount(), 0u);
}
