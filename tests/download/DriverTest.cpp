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
struct RecordingCheck {
    RecordingCheck(TDownParamBean& param, std::vector<SlotProgress*> gauges, std::int32_t pageStep,
                   std::int32_t mode)
        : check(param, std::move(gauges), pageStep, mode, handlers()) {}

    void runToEnd() {
        check.start();
        check.wait();
    }
    std::vector<std::string> events() const {
        std::lock_guard lock(mutex);
        return log;
    }
    // The page bodies, sorted: slots finish in any order.
    std::vector<std::string> pages() const {
        std::vector<std::string> bodies;
        for (const auto& event : events())
            if (event.starts_with("page:")) bodies.push_back(event.substr(event.find(':', 5) + 1));
        std::sort(bodies.begin(), bodies.end());
        return bodies;
    }

    std::function<void(const std::string&)> onPage; // runs inside the page handler
    mutable std::mutex mutex;
    std::vector<std::string> log;
    TDownCheck check; // last: its run ends before the log it writes goes

private:
    TDownCheck::Handlers handlers() {
        return {[this](std::int32_t pageKind, std::int32_t, const std::string& htmlCode) {
                    add("page:" + std::to_string(pageKind) + ":" + htmlCode);
                    if (onPage) onPage(htmlCode);
                },
                [this](std::int32_t pageKind) { add("finish:" + std::to_string(pageKind)); },
                [this] { add("failure"); },
                [this](std::int32_t mode) {
                    add("error:" + std::to_string(mode) + (check.stopRequested() ? ":stopped" : ""));
                }};
    }
    void add(std::string event) {
        std::lock_guard lock(mutex);
        log.push_back(std::move(event));
    }
};

// Every page answers with its own path.
HttpReply echoPath(const HttpRequest& request) {
    return HttpReply::page(request.resource());
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

std::vector<SlotProgress*> gaugesOf(std::vector<GaugeLog>& logs) {
    std::vector<SlotProgress*> gauges;
    for (auto& log : logs)
        gauges.push_back(&log);
    return gauges;
}

} // namespace

TEST(Driver, ThreeSlotsShareTenPagesWithThePageStepInTheAddress) {
    HttpServer server([](const HttpRequest& request) {
        return HttpReply::late(request.resource(), std::chrono::milliseconds(100)); // long enough to overlap
    });
    auto param = job(server.url("/shops?s="), 1, 10, "&n=40");
    std::vector<GaugeLog> gauges(3);
    RecordingCheck rec(param, gaugesOf(gauges), 40, TDownCheck::kPlainMode);
    rec.runToEnd();

    std::vector<std::string> expected;
    for (int page = 1; page <= 10; ++page)
        expected.push_back("/shops?s=" + std::to_string(page * 40) + "&n=40");
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(rec.pages(), expected);
    EXPECT_EQ(rec.events().size(), 11u);
    EXPECT_EQ(rec.events().back(), "finish:7");
    EXPECT_EQ(rec.check.getStatus(), "0完成");
    EXPECT_TRUE(rec.check.getFinished());
    EXPECT_EQ(param.curPage, 11);
    EXPECT_LE(server.maxInFlight(), 3);
    EXPECT_GE(server.maxInFlight(), 2);
    EXPECT_EQ(server.requestCount(), 10u);
    EXPECT_LE(server.connections(), 3); // each slot keeps its connection

    // Each slot drives its own gauge, one download after the other.
    int begun = 0;
    for (auto& gauge : gauges) {
        bool open = false;
        for (const auto& entry : gauge.entries()) {
            bool begins = entry.starts_with("begin");
            EXPECT_EQ(open, !begins) << entry;
            open = entry != "end";
            begun += begins;
        }
        EXPECT_FALSE(open);
    }
    EXPECT_EQ(begun, 10);
}

TEST(Driver, JobsThatCannotFetchAnythingEndWithoutARequest) {
    constexpr int plain = TDownCheck::kPlainMode;
    const struct {
        const char* what;
        int lastPage;
        size_t gauges;
        int mode;
        const char *before, *status;
        std::vector<std::string> events;
        bool finished;
    } cases[] = {
        {"no pages", 0, 2, plain, "0初始", "0初始", {"finish:7"}, true},
        {"no gauges", 2, 0, plain, "1下载参数(进度条)出错!", "1下载出错", {"error:2:stopped"}, false},
        {"unknown mode", 2, 1, 3, "0初始", "0初始", {}, false},
    };
    for (const auto& c : cases) {
        HttpServer server(echoPath);
        auto param = job(server.url("/p"), 1, c.lastPage);
        std::vector<GaugeLog> gauges(c.gauges);
        RecordingCheck rec(param, gaugesOf(gauges), 0, c.mode);
        EXPECT_EQ(rec.check.pageStep(), 1) << c.what; // a step of 0 or less counts as 1
        EXPECT_EQ(rec.check.getStatus(), c.before) << c.what;
        rec.runToEnd();
        EXPECT_EQ(rec.events(), c.events) << c.what;
        EXPECT_EQ(rec.check.getStatus(), c.status) << c.what;
        EXPECT_EQ(rec.check.getFinished(), c.finished) << c.what;
        EXPECT_EQ(server.requestCount(), 0u) << c.what;
    }
}

TEST(Driver, AStopEndsTheJobWithoutHandlersAndAbortsTheDownloads) {
    HttpServer server([](const HttpRequest& request) {
        return HttpReply::late(request.resource(), std::chrono::seconds(30));
    });
    auto param = job(server.url("/p"), 1, 10);
    RecordingCheck rec(param, {nullptr, nullptr, nullptr}, 1, TDownCheck::kPlainMode);
    rec.check.start();
    ASSERT_TRUE(HttpServer::waitUntil([&] { return server.requestCount() == 3; }));
    rec.check.requestStop();
    rec.check.wait();
    EXPECT_TRUE(rec.events().empty());
    EXPECT_FALSE(rec.check.getFinished());
    EXPECT_EQ(rec.check.getStatus(), "0初始");
    // The downloads in flight were aborted, not left to their time-outs.
    EXPECT_TRUE(HttpServer::waitUntil([&] { return server.hangUps() == 3; }));
    EXPECT_EQ(server.repliesSent(), 0);
    EXPECT_EQ(server.requestCount(), 3u);
}

TEST(Driver, FailuresCountOverTheWholeJobNotPerPage) {
    // Every page fails once, then arrives: five pages, but the fourth failure ends the job.
    std::mutex mutex;
    std::set<std::string> failedOnce;
    HttpServer server([&](const HttpRequest& request) {
        std::lock_guard lock(mutex);
        if (failedOnce.insert(request.resource()).second)
            return HttpReply::failure(500, "Internal Server Error");
        return echoPath(request);
    });
    auto param = job(server.url("/p"), 1, 5); // ConnectTime 3, as quickAgent sets it
    RecordingCheck rec(param, {nullptr}, 1, TDownCheck::kPlainMode);
    rec.runToEnd();
    EXPECT_EQ(rec.events(), (std::vector<std::string>{"page:7:/p1.htm", "page:7:/p2.htm", "page:7:/p3.htm",
                                                      "failure", "error:2:stopped"}));
    EXPECT_EQ(rec.check.getStatus(), "1下载出错");
    EXPECT_FALSE(rec.check.getFinished());
    std::map<std::string, int> tries;
    for (const auto& request : server.requests())
        ++tries[request.resource()];
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
        if (request.resource() == "/p3.htm" && thirdPageTries++ < 2)
            return HttpReply::failure(503, "Service Unavailable");
        return echoPath(request);
    });
    THttpAgent agent;
    agent.ConnectTime = 2;
    auto param = job(server.url("/p"), 1, 5, ".htm", agent);
    RecordingCheck rec(param, {nullptr, nullptr}, 1, TDownCheck::kPlainMode);
    rec.runToEnd();
    EXPECT_EQ(rec.pages(), (std::vector<std::string>{"/p1.htm", "/p2.htm", "/p3.htm", "/p4.htm", "/p5.htm"}));
    EXPECT_EQ(rec.check.getStatus(), "0完成");
    EXPECT_EQ(thirdPageTries.load(), 3);
    EXPECT_EQ(server.requestCount(), 7u);
}

TEST(Driver, OnlyRatingModeFetchesPagesFromOneHundredOnFromTheHistoryHost) {
    // The test server stands in for both marketplace hosts as the proxy the settings name.
    for (auto [mode, slots] :
         {std::pair{TDownCheck::kRatingMode, 1}, {TDownCheck::kRatingMode, 3}, {TDownCheck::kPlainMode, 1}}) {
        HttpServer server(echoPath);
        THttpAgent proxy;
        proxy.AgentType = true;
        proxy.Server = "127.0.0.1";
        proxy.Port = server.port();
        auto param = job("http://rate.market.test/user-rate-9--currentPage%7C", 99, 101, "&v=1", proxy);
        RecordingCheck rec(param, std::vector<SlotProgress*>(size_t(slots), nullptr), 1, mode);
        rec.check.setHistoryPrefix("http://ratehis");
        rec.runToEnd();
        EXPECT_EQ(rec.check.getStatus(), "0完成") << mode << slots;

        std::string later = mode == TDownCheck::kRatingMode ? "ratehis.market.test" : "rate.market.test";
        std::map<std::string, std::string> hostByPath;
        for (const auto& request : server.requests())
            hostByPath[request.resource()] = request.header("Host");
        EXPECT_EQ(hostByPath, (std::map<std::string, std::string>{
                                  {"/user-rate-9--currentPage%7C99&v=1", "rate.market.test"},
                                  {"/user-rate-9--currentPage%7C100&v=1", later},
                                  {"/user-rate-9--currentPage%7C101&v=1", later}}))
            << mode << " mode, " << slots << " slots";
    }
}

TEST(Driver, AHandlerThatThrowsEndsTheJobThroughTheErrorPath) {
    HttpServer server(echoPath);
    auto param = job(server.url("/p"), 1, 5);
    RecordingCheck rec(param, {nullptr}, 1, TDownCheck::kRatingMode);
    rec.check.setHistoryPrefix("http://ratehis");
    rec.onPage = [](const std::string& body) {
        if (body == "/p2.htm") throw std::runtime_error("parse error");
    };
    rec.runToEnd();
    EXPECT_EQ(rec.events(),
              (std::vector<std::string>{"page:7:/p1.htm", "page:7:/p2.htm", "error:1:stopped"}));
    EXPECT_EQ(rec.check.getStatus(), "1下载出错");
    EXPECT_FALSE(rec.check.getFinished());
    EXPECT_EQ(server.requestCount(), 2u); // the remaining pages are not fetched
}
