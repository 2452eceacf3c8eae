#include "download/PageJob.h"
#include "download/SlotProgress.h"
#include "download/TDownBean.h"
#include "download/TransferLoop.h"
#include "support/HttpServer.h"
#include "support/TinyProxy.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

using namespace vantor;
using namespace vantor::test;

namespace {

// Settings with short time-outs, so failures end quickly: the configured values add to bases of 60 s
// (connect) and 30 s (read), so negative values shorten them.
std::shared_ptr<const THttpAgent> quickAgent(THttpAgent agent = {}) {
    agent.ConnectTimeOut = -59000;
    agent.ReadTimeOut = -29000;
    if (agent.ConnectTime == 0) agent.ConnectTime = 3;
    return std::make_shared<const THttpAgent>(agent);
}

// One download to its end, as a bean.
std::unique_ptr<TDownBean> fetch(const std::string& url, std::shared_ptr<const THttpAgent> agent,
                                 download::SlotProgress* gauge = nullptr) {
    auto bean = std::make_unique<TDownBean>();
    download::fetchPage(url, *bean, std::move(agent), gauge, {});
    return bean;
}

// Records what a slot's progress bar is told, as text: "begin 42", "advance 10", "end".
class GaugeLog : public download::SlotProgress {
public:
    void waiting() override { add("waiting"); }
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

// A failed download ends in "stop" with the error code, no page, and an error text that is either
// the one given or, when it ends in '-', starts with it.
void expectFailure(const TDownBean& bean, const std::string& info) {
    EXPECT_EQ(bean.getStatus(), "stop") << info;
    EXPECT_EQ(bean.getErrorCode(), "100860") << info;
    EXPECT_EQ(bean.getHtmlCode(), "") << info;
    if (info.ends_with('-'))
        EXPECT_TRUE(bean.getErrorInfo().starts_with(info)) << bean.getErrorInfo();
    else
        EXPECT_EQ(bean.getErrorInfo(), info);
}

// A driver that writes down every handler call: "page:<kind>:<body>", "finish:<kind>", "failure",
// "error:<mode>" (with ":stopped" when the run already counted as stopped).
struct RecordingCheck {
    RecordingCheck(TDownParamBean& param, std::vector<download::SlotProgress*> gauges, std::int32_t pageStep,
                   download::PageJob::Mode mode)
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
    std::string lastError;                          // what the error handler was told
    std::atomic<int> ends = 0;                      // calls of the last handler
    mutable std::mutex mutex;
    std::vector<std::string> log;
    download::PageJob check; // last: its run ends before the log it writes goes

private:
    download::PageJob::Handlers handlers() {
        return {[this](download::PageKind pageKind, std::int32_t, const std::string& htmlCode) {
                    add("page:" + std::to_string(int(pageKind)) + ":" + htmlCode);
                    if (onPage) onPage(htmlCode);
                },
                [this](download::PageKind pageKind) { add("finish:" + std::to_string(int(pageKind))); },
                [this] { add("failure"); },
                [this](download::PageJob::Mode mode, const std::string& error) {
                    add("error:" + std::to_string(int(mode)) + (check.stopRequested() ? ":stopped" : ""));
                    std::lock_guard lock(mutex);
                    lastError = error;
                },
                [this] { ++ends; }};
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
    param.pageKind = download::PageKind(7); // any kind comes back as it was given
    param.httpAgent = quickAgent(agent);
    return param;
}

std::vector<download::SlotProgress*> gaugesOf(std::vector<GaugeLog>& logs) {
    std::vector<download::SlotProgress*> gauges;
    for (auto& log : logs)
        gauges.push_back(&log);
    return gauges;
}

} // namespace

TEST(PageDownload, APageArrivesWithTheFixedBrowserNameAndCleanFields) {
    HttpServer server([](const HttpRequest&) { return HttpReply::page("<html>shop</html>"); });
    auto bean = fetch(server.url("/shop.htm"), quickAgent());
    EXPECT_EQ(std::tuple(bean->getStatus(), bean->getHtmlCode(), bean->getErrorCode(), bean->getErrorInfo(),
                         bean->getUrl()),
              std::tuple("finish", "<html>shop</html>", "", "", server.url("/shop.htm")));
    auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].method + " " + requests[0].target, "GET /shop.htm");
    EXPECT_EQ(requests[0].header("User-Agent"), "Mozilla/4.0 (compatible; MSIE 6.0; Windows 98; Maxthon)");
    // Asking for compression would change the bytes the parsers see.
    EXPECT_EQ(requests[0].header("Accept-Encoding"), "");
}

TEST(PageDownload, ALargeBinaryBodyArrivesWholeAndTheGaugeFollowsIt) {
    // Every byte value, NULs and line ends included, as GBK pages and stray bytes bring them.
    std::mt19937 generator(7);
    std::string body(6 << 20, '\0');
    for (char& c : body)
        c = char(generator());
    HttpServer server([&](const HttpRequest&) { return HttpReply::page(body); });
    GaugeLog gauge;
    auto bean = fetch(server.url("/big"), quickAgent(), &gauge);
    ASSERT_EQ(bean->getStatus(), "finish");
    EXPECT_TRUE(bean->getHtmlCode() == body);

    auto log = gauge.entries();
    ASSERT_GE(log.size(), 4u);
    EXPECT_EQ(log[0], "waiting"); // the bar says so before the first byte comes
    EXPECT_EQ(log[1], "begin " + std::to_string(body.size()));
    EXPECT_EQ(log.back(), "end");
    long long last = 0;
    for (size_t i = 2; i + 1 < log.size(); ++i) {
        ASSERT_TRUE(log[i].starts_with("advance ")) << log[i];
        long long received = std::stoll(log[i].substr(8));
        EXPECT_GE(received, last);
        last = received;
    }
    EXPECT_EQ(last, (long long)body.size());
}

TEST(PageDownload, AHangUpEndsAPageOnlyWhereTheServerAnnouncedNoEnd) {
    HttpServer server([](const HttpRequest& request) {
        HttpReply reply = HttpReply::page("whole page, no length");
        if (request.resource() == "/by-close") {
            reply.lengthByClose = true;
            return reply;
        }
        reply.body = std::string(1000, 'x');
        reply.sendOnly = 100; // hangs up after 100 of the 1000 bytes
        reply.chunked = request.resource() == "/chunks";
        return reply;
    });
    GaugeLog gauge;
    auto byClose = fetch(server.url("/by-close"), quickAgent(), &gauge);
    EXPECT_EQ(byClose->getStatus(), "finish");
    EXPECT_EQ(byClose->getHtmlCode(), "whole page, no length");
    EXPECT_EQ(gauge.entries().at(1), "begin 0"); // no length announced

    // Half a page is no page: its rows would vanish without a word.
    for (const char* path : {"/length", "/chunks"})
        expectFailure(*fetch(server.url(path), quickAgent()), "Truncated-");
}

TEST(PageDownload, FailuresEndInStopWithTheirKindAndTheErrorCode) {
    HttpServer server([](const HttpRequest& request) {
        if (request.resource() == "/hang-up") {
            HttpReply reply;
            reply.closeBeforeAnyByte = true;
            return reply;
        }
        if (request.resource() == "/missing") return HttpReply::failure(404, "Not Found");
        return HttpReply::failure(500, "Internal Server Error"); // its error page is no page
    });
    ClosedPort closed;
    auto refused = fetch(closed.url("/page"), quickAgent());
    expectFailure(*refused, "ConnectError-");
    EXPECT_EQ(refused->getUrl(), closed.url("/page"));
    expectFailure(*fetch(server.url("/hang-up"), quickAgent()), "ConnectionClosed-");
    expectFailure(*fetch(server.url("/error"), quickAgent()), "HttpError-HTTP/1.1 500 Internal Server Error");
    auto missing = fetch(server.url("/missing"), quickAgent());
    expectFailure(*missing, "HttpError-HTTP/1.1 404 Not Found");
    // The reason, kept apart from the text, is what the outcome lines count by.
    EXPECT_EQ(refused->failure().reason, download::FailReason::Refused);
    EXPECT_EQ(missing->failure().reason, download::FailReason::HttpStatus);
    EXPECT_EQ(missing->failure().httpStatus, 404);
    EXPECT_EQ(missing->failure().retryAfterMs, -1);
}

TEST(PageDownload, RedirectsAreFollowedUpToTen) {
    // /hop/N sends the client on to /hop/N-1; /hop/0 is the page.
    HttpServer server([](const HttpRequest& request) {
        int left = std::stoi(request.resource().substr(5));
        if (left == 0) return HttpReply::page("arrived");
        return HttpReply::redirect("/hop/" + std::to_string(left - 1));
    });
    auto ten = fetch(server.url("/hop/10"), quickAgent());
    EXPECT_EQ(ten->getStatus(), "finish");
    EXPECT_EQ(ten->getHtmlCode(), "arrived");
    EXPECT_EQ(server.requestCount(), 11u);

    expectFailure(*fetch(server.url("/hop/11"), quickAgent()), "RedirectError-");
    EXPECT_EQ(server.requestCount(), 11u + 11u); // the eleventh redirect is not followed
}

TEST(PageDownload, TheReadTimeOutIsSilenceOnTopOfThirtySeconds) {
    HttpServer server([](const HttpRequest& request) {
        return HttpReply::late("late page",
                               std::chrono::milliseconds(request.resource() == "/slow" ? 300 : 20000));
    });
    THttpAgent patient;
    patient.ReadTimeOut = -29000; // 1 s without a byte
    auto slow = fetch(server.url("/slow"), std::make_shared<const THttpAgent>(patient));
    EXPECT_EQ(slow->getStatus(), "finish");
    EXPECT_EQ(slow->getHtmlCode(), "late page");

    THttpAgent hasty;
    hasty.ReadTimeOut = -29800; // 200 ms
    expectFailure(*fetch(server.url("/silent"), std::make_shared<const THttpAgent>(hasty)), "ReadTimeout-");
    // The server notices the client leaving long before its 20 s delay is over.
    EXPECT_TRUE(HttpServer::waitUntil([&] { return server.hangUps() == 1; }));
}

TEST(PageDownload, TheConnectTimeOutEndsAConnectionNobodyAccepts) {
    // A listener whose queue is full: further connection attempts get no answer at all.
    int listener = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(listener, 0), 0);
    socklen_t length = sizeof address;
    getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length);
    std::vector<int> fillers;
    for (int i = 0; i < 4; ++i) {
        fillers.push_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        connect(fillers.back(), reinterpret_cast<sockaddr*>(&address), sizeof address);
    }
    THttpAgent agent;
    agent.ConnectTimeOut = -59700; // 300 ms
    std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
    expectFailure(*fetch(url, std::make_shared<const THttpAgent>(agent)), "ConnectTimeout-");
    for (int fd : fillers)
        close(fd);
    close(listener);
}

TEST(PageDownload, StoppingAbortsTheTransferAndLeavesNoErrorCode) {
    HttpServer server(
        [](const HttpRequest&) { return HttpReply::late("too late", std::chrono::seconds(30)); });
    TDownBean bean;
    std::stop_source stop;
    std::thread waiting(
        [&] { download::fetchPage(server.url("/slow"), bean, quickAgent(), nullptr, stop.get_token()); });
    ASSERT_TRUE(HttpServer::waitUntil([&] { return server.requestCount() == 1; }));
    EXPECT_EQ(bean.getStatus(), "init"); // the server holds the page back for 30 s
    stop.request_stop();
    waiting.join();
    EXPECT_EQ(bean.getStatus(), "stop");
    EXPECT_EQ(bean.getErrorCode(), "");
    EXPECT_TRUE(bean.getErrorInfo().starts_with("Aborted-")) << bean.getErrorInfo();
    EXPECT_TRUE(HttpServer::waitUntil([&] { return server.hangUps() == 1; }));
    EXPECT_EQ(server.repliesSent(), 0);
}

TEST(PageDownload, TheNextPageToTheSameServerKeepsTheConnection) {
    HttpServer server([](const HttpRequest& request) {
        HttpReply reply = HttpReply::page(request.resource());
        reply.lengthByClose = request.resource() == "/last-before-close"; // the server ends this connection
        return reply;
    });
    const std::string paths[4] = {"/one", "/two", "/last-before-close", "/four"};
    for (const std::string& path : paths) {
        auto bean = fetch(server.url(path), quickAgent());
        EXPECT_EQ(bean->getHtmlCode(), path);
        EXPECT_EQ(bean->getUrl(), server.url(path));
    }
    EXPECT_EQ(server.connections(), 2); // a new one only after the server closed the first
}

TEST(PageDownload, PagesAbandonedAsTheyArriveAndCancelledOnesNeverCallBack) {
    const std::string big(1 << 20, 'x');
    HttpServer server([&](const HttpRequest& request) {
        if (request.resource() == "/held") return HttpReply::late("held", std::chrono::seconds(30));
        return HttpReply::page(big);
    });
    // Abandoned on its first piece: the rest of the megabyte is not read.
    int pieces = 0;
    download::PageResult abandoned =
        download::fetchPage(server.url("/big"), quickAgent(), nullptr, {}, [&] { return ++pieces > 0; });
    EXPECT_FALSE(abandoned.arrived);
    EXPECT_EQ(abandoned.kind, "Aborted");
    EXPECT_EQ(pieces, 1);

    // A cancelled request is forgotten: its callback never comes, even after the page would have.
    download::TransferLoop& loop = download::TransferLoop::shared();
    std::atomic<int> calls = 0;
    download::PageRequest request;
    request.url = server.url("/held");
    request.agent = quickAgent();
    request.done = [&](download::PageResult&&) { ++calls; };
    const auto id = loop.fetch(std::move(request));
    ASSERT_TRUE(HttpServer::waitUntil([&] { return server.requestCount() == 2; }));
    const int hangUps = server.hangUps();
    loop.cancel(id);
    EXPECT_TRUE(HttpServer::waitUntil([&] { return server.hangUps() == hangUps + 1; }));
    // A job's own step cancels a request it has just made, on the loop's thread, before the loop looked
    // at it.
    std::promise<void> cancelled;
    loop.post([&] {
        download::PageRequest made;
        made.url = server.url("/made-and-cancelled");
        made.agent = quickAgent();
        made.done = [&](download::PageResult&&) { ++calls; };
        loop.cancel(loop.fetch(std::move(made)));
        cancelled.set_value();
    });
    cancelled.get_future().wait();
    // The loop goes on serving others meanwhile.
    EXPECT_EQ(fetch(server.url("/after"), quickAgent())->getHtmlCode(), big);
    EXPECT_EQ(calls, 0);
    for (const auto& sent : server.requests())
        EXPECT_NE(sent.resource(), "/made-and-cancelled");
}

TEST(Proxy, TheSelectedProxyTakesTheCredentialsAndAnUnselectedOneIsIgnored) {
    TinyProxy proxy("alice", "s3cret");
    HttpServer server([](const HttpRequest&) { return HttpReply::page("the page"); });
    auto viaProxy = [&](const std::string& password, bool selected) {
        THttpAgent agent;
        agent.AgentType = selected;
        agent.Server = "127.0.0.1";
        agent.Port = proxy.port();
        agent.User = "alice";
        agent.Password = password;
        agent.Domain = "WORKGROUP"; // kept in the settings, never sent
        return fetch(server.url("/p.htm"), quickAgent(agent));
    };

    auto through = viaProxy("s3cret", true);
    EXPECT_EQ(through->getHtmlCode(), "the page") << through->getErrorInfo();
    ASSERT_EQ(server.requestCount(), 1u);
    EXPECT_NE(server.requests()[0].header("Via").find("tinyproxy"), std::string::npos);
    expectFailure(*viaProxy("wrong", true), "HttpError-");
    EXPECT_EQ(server.requestCount(), 1u);
    // Not selected: the filled-in settings, wrong password and all, play no part.
    auto direct = viaProxy("wrong", false);
    EXPECT_EQ(direct->getHtmlCode(), "the page") << direct->getErrorInfo();
    ASSERT_EQ(server.requestCount(), 2u);
    EXPECT_EQ(server.requests()[1].header("Via"), "");
}

// Environment variables set for one test and put back as they were.
class ScopedEnvironment {
public:
    explicit ScopedEnvironment(const std::vector<std::pair<std::string, std::string>>& values) {
        for (const auto& [name, value] : values) {
            const char* old = std::getenv(name.c_str());
            saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
            setenv(name.c_str(), value.c_str(), 1);
        }
    }
    ~ScopedEnvironment() {
        for (const auto& [name, value] : saved_)
            value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    }

private:
    std::vector<std::pair<std::string, std::optional<std::string>>> saved_;
};

TEST(Proxy, AProxyNamedInTheEnvironmentIsIgnored) {
    ClosedPort deadProxy;
    HttpServer server([](const HttpRequest&) { return HttpReply::page("direct"); });
    std::unique_ptr<TDownBean> bean;
    {
        // The four proxy variables name a dead proxy; empty exception lists leave local hosts no way out.
        const std::string dead = deadProxy.url();
        ScopedEnvironment environment({{"http_proxy", dead},
                                       {"HTTP_PROXY", dead},
                                       {"all_proxy", dead},
                                       {"ALL_PROXY", dead},
                                       {"no_proxy", ""},
                                       {"NO_PROXY", ""}});
        bean = fetch(server.url("/p.htm"), quickAgent());
    }
    EXPECT_EQ(bean->getStatus(), "finish") << bean->getErrorInfo();
    EXPECT_EQ(bean->getHtmlCode(), "direct");
}

TEST(Proxy, TheSelectedProxyCarriesEvenAHostTheEnvironmentExempts) {
    TinyProxy proxy("bob", "pw");
    HttpServer server([](const HttpRequest&) { return HttpReply::page("the page"); });
    THttpAgent agent;
    agent.AgentType = true;
    agent.Server = "127.0.0.1";
    agent.Port = proxy.port();
    agent.User = "bob";
    agent.Password = "pw";
    std::unique_ptr<TDownBean> bean;
    {
        ScopedEnvironment environment({{"no_proxy", "127.0.0.1,localhost"}, {"NO_PROXY", "*"}});
        bean = fetch(server.url("/p.htm"), quickAgent(agent));
    }
    EXPECT_EQ(bean->getHtmlCode(), "the page") << bean->getErrorInfo();
    ASSERT_EQ(server.requestCount(), 1u);
    EXPECT_NE(server.requests()[0].header("Via").find("tinyproxy"), std::string::npos);
}

TEST(Driver, ThreeSlotsShareTenPagesWithThePageStepInTheAddress) {
    HttpServer server([](const HttpRequest& request) {
        return HttpReply::late(request.resource(), std::chrono::milliseconds(100)); // long enough to overlap
    });
    auto param = job(server.url("/shops?s="), 1, 10, "&n=40");
    std::vector<GaugeLog> gauges(3);
    RecordingCheck rec(param, gaugesOf(gauges), 40, download::PageJob::kPlainMode);
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
            const bool waits = entry == "waiting";
            EXPECT_EQ(open, !waits) << entry; // a download waits first, and only when none is open
            open = entry != "end";
            begun += entry.starts_with("begin");
        }
        EXPECT_FALSE(open);
    }
    EXPECT_EQ(begun, 10);
}

TEST(Driver, SixteenSlotsKeepTheirSixteenConnectionsForThousandsOfPages) {
    HttpServer server(echoPath);
    auto param = job(server.url("/list-"), 1, 3000);
    std::vector<GaugeLog> gauges(16);
    RecordingCheck rec(param, gaugesOf(gauges), 1, download::PageJob::kPlainMode);
    rec.runToEnd();
    EXPECT_EQ(rec.check.getStatus(), "0完成");
    EXPECT_EQ(server.requestCount(), 3000u);
    EXPECT_LE(server.connections(), 16);
}

TEST(Driver, JobsThatCannotFetchAnythingEndWithoutARequest) {
    constexpr auto plain = download::PageJob::kPlainMode;
    const struct {
        const char* what;
        int lastPage;
        size_t gauges;
        download::PageJob::Mode mode;
        const char *before, *status;
        std::vector<std::string> events;
        bool finished;
    } cases[] = {
        {"no pages", 0, 2, plain, "0初始", "0初始", {"finish:7"}, true},
        {"no gauges", 2, 0, plain, "1下载参数(进度条)出错!", "1下载出错", {"error:2:stopped"}, false},
        {"unknown mode", 2, 1, download::PageJob::Mode(3), "0初始", "0初始", {}, false},
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
    RecordingCheck rec(param, {nullptr, nullptr, nullptr}, 1, download::PageJob::kPlainMode);
    rec.check.start();
    ASSERT_TRUE(HttpServer::waitUntil([&] { return server.requestCount() == 3; }));
    rec.check.requestStop();
    rec.check.wait();
    EXPECT_TRUE(rec.events().empty());
    EXPECT_EQ(rec.ends, 1); // only the last word, for an owner that does not wait
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
    RecordingCheck rec(param, {nullptr}, 1, download::PageJob::kPlainMode);
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
    RecordingCheck rec(param, {nullptr, nullptr}, 1, download::PageJob::kPlainMode);
    rec.runToEnd();
    EXPECT_EQ(rec.pages(), (std::vector<std::string>{"/p1.htm", "/p2.htm", "/p3.htm", "/p4.htm", "/p5.htm"}));
    EXPECT_EQ(rec.check.getStatus(), "0完成");
    EXPECT_EQ(thirdPageTries.load(), 3);
    EXPECT_EQ(server.requestCount(), 7u);
}

TEST(Driver, OnlyRatingModeFetchesPagesFromOneHundredOnFromTheHistoryHost) {
    // The test server stands in for both marketplace hosts as the proxy the settings name.
    for (auto [mode, slots] : {std::pair{download::PageJob::kRatingMode, 1},
                               {download::PageJob::kRatingMode, 3},
                               {download::PageJob::kPlainMode, 1}}) {
        HttpServer server(echoPath);
        THttpAgent proxy;
        proxy.AgentType = true;
        proxy.Server = "127.0.0.1";
        proxy.Port = server.port();
        auto param = job("http://rate.market.test/user-rate-9--currentPage%7C", 99, 101, "&v=1", proxy);
        RecordingCheck rec(param, std::vector<download::SlotProgress*>(size_t(slots), nullptr), 1, mode);
        rec.check.setHistoryPrefix("http://ratehis");
        rec.runToEnd();
        EXPECT_EQ(rec.check.getStatus(), "0完成") << int(mode) << slots;

        std::string later =
            mode == download::PageJob::kRatingMode ? "ratehis.market.test" : "rate.market.test";
        std::map<std::string, std::string> hostByPath;
        for (const auto& request : server.requests())
            hostByPath[request.resource()] = request.header("Host");
        EXPECT_EQ(hostByPath, (std::map<std::string, std::string>{
                                  {"/user-rate-9--currentPage%7C99&v=1", "rate.market.test"},
                                  {"/user-rate-9--currentPage%7C100&v=1", later},
                                  {"/user-rate-9--currentPage%7C101&v=1", later}}))
            << int(mode) << " mode, " << slots << " slots";
    }
}

TEST(Driver, AHandlerThatThrowsEndsTheJobThroughTheErrorPath) {
    HttpServer server(echoPath);
    auto param = job(server.url("/p"), 1, 5);
    RecordingCheck rec(param, {nullptr}, 1, download::PageJob::kRatingMode);
    rec.check.setHistoryPrefix("http://ratehis");
    rec.onPage = [](const std::string& body) {
        if (body == "/p2.htm") throw std::runtime_error("parse error");
    };
    rec.runToEnd();
    EXPECT_EQ(rec.events(),
              (std::vector<std::string>{"page:7:/p1.htm", "page:7:/p2.htm", "error:1:stopped"}));
    EXPECT_EQ(rec.lastError, "parse error"); // the error handler hears what ended the run
    EXPECT_EQ(rec.check.getStatus(), "1下载出错");
    EXPECT_FALSE(rec.check.getFinished());
    EXPECT_EQ(server.requestCount(), 2u); // the remaining pages are not fetched
}

namespace {

using Clock = std::chrono::steady_clock;

// The pauses between the requests for one resource, in the order the server received them.
std::vector<std::chrono::milliseconds> gapsBetween(const std::vector<HttpRequest>& requests,
                                                   const std::string& resource) {
    std::vector<std::chrono::milliseconds> gaps;
    std::optional<Clock::time_point> last;
    for (const auto& request : requests) {
        if (request.resource() != resource) continue;
        if (last)
            gaps.push_back(std::chrono::duration_cast<std::chrono::milliseconds>(request.received - *last));
        last = request.received;
    }
    return gaps;
}

} // namespace

TEST(Driver, ARetryWaitsThePauseTheServerAskedForOrWithAnIntervalSetAGrowingPause) {
    std::mutex mutex;
    std::map<std::string, int> tries;
    HttpServer server([&](const HttpRequest& request) {
        int n;
        {
            std::lock_guard lock(mutex);
            n = ++tries[request.resource()];
        }
        if (request.resource() == "/asks1.htm" && n == 1) {
            HttpReply busy = HttpReply::failure(429, "Too Many Requests");
            busy.headers.emplace_back("Retry-After", "2");
            return busy;
        }
        if (request.resource() == "/fails1.htm" && n <= 2)
            return HttpReply::failure(500, "Internal Server Error");
        if (request.resource() == "/waits1.htm") {
            HttpReply busy = HttpReply::failure(503, "Service Unavailable");
            busy.headers.emplace_back("Retry-After", "100");
            return busy;
        }
        return echoPath(request);
    });
    download::FailureTally failures;
    THttpAgent once;
    once.ConnectTime = 1; // a second count of the one 429 would end the job
    auto asks = job(server.url("/asks"), 1, 1, ".htm", once);
    RecordingCheck asked(asks, {nullptr}, 1, download::PageJob::kPlainMode);
    asked.check.setFailureTally(&failures);
    asked.runToEnd();
    EXPECT_EQ(asked.check.getStatus(), "0完成");

    THttpAgent polite;
    polite.MinInterval = 1;
    auto fails = job(server.url("/fails"), 1, 1, ".htm", polite);
    RecordingCheck pausing(fails, {nullptr}, 1, download::PageJob::kPlainMode);
    pausing.check.setFailureTally(&failures);
    pausing.runToEnd();
    EXPECT_EQ(pausing.check.getStatus(), "0完成");

    const auto requests = server.requests();
    auto asked429 = gapsBetween(requests, "/asks1.htm");
    ASSERT_EQ(asked429.size(), 1u);
    EXPECT_GE(asked429[0].count(), 2000);
    auto grown = gapsBetween(requests, "/fails1.htm");
    ASSERT_EQ(grown.size(), 2u);
    EXPECT_GE(grown[0].count(), 500);
    EXPECT_GE(grown[1].count(), 1000);
    EXPECT_EQ(failures.counts().text(), "HTTP 429 1次，HTTP 500 2次");

    // A stop ends a pause of 100 seconds at once, and no second request leaves.
    auto waits = job(server.url("/waits"), 1, 1);
    RecordingCheck waiting(waits, {nullptr}, 1, download::PageJob::kPlainMode);
    const auto started = Clock::now();
    waiting.check.start();
    ASSERT_TRUE(HttpServer::waitUntil([&] { return server.requestCount() == requests.size() + 1; }));
    waiting.check.requestStop();
    waiting.check.wait();
    EXPECT_LT(Clock::now() - started, std::chrono::seconds(50));
    EXPECT_EQ(server.requestCount(), requests.size() + 1);
}

TEST(Driver, AMinimumIntervalKeepsTheRequestsOfAllSlotsToOneHostApart) {
    HttpServer server(echoPath);
    THttpAgent polite;
    polite.MinInterval = 300;
    auto param = job(server.url("/p"), 1, 6, ".htm", polite);
    RecordingCheck rec(param, {nullptr, nullptr, nullptr}, 1, download::PageJob::kPlainMode);
    rec.runToEnd();
    EXPECT_EQ(rec.pages().size(), 6u);
    auto requests = server.requests();
    std::sort(requests.begin(), requests.end(),
              [](const HttpRequest& a, const HttpRequest& b) { return a.received < b.received; });
    ASSERT_EQ(requests.size(), 6u);
    for (size_t i = 1; i < requests.size(); ++i) // the departures are 300 ms apart; arrivals may jitter
        EXPECT_GE(requests[i].received - requests[i - 1].received, std::chrono::milliseconds(250)) << i;
}
