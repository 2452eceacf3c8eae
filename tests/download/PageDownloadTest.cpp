#include "Fetching.h"
#include "support/HttpServer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <random>

using namespace vantor;
using namespace vantor::test;

namespace {

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
    ASSERT_GE(log.size(), 3u);
    EXPECT_EQ(log.front(), "begin " + std::to_string(body.size()));
    EXPECT_EQ(log.back(), "end");
    long long last = 0;
    for (size_t i = 1; i + 1 < log.size(); ++i) {
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
    EXPECT_EQ(gauge.entries().front(), "begin 0"); // no length announced

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
    expectFailure(*fetch(server.url("/missing"), quickAgent()), "HttpError-HTTP/1.1 404 Not Found");
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
    bean.setStatus(PageStatus::Stop); // a bean that is being retried
    DownSignal signal;
    {
        TThreadDownHtmlCode download(server.url("/slow"), bean, quickAgent(), nullptr, &signal);
        EXPECT_EQ(bean.getStatus(), "init"); // the server holds the page back for 30 s
        ASSERT_TRUE(HttpServer::waitUntil([&] { return server.requestCount() == 1; }));
        download.requestStop();
        download.join();
    }
    EXPECT_EQ(bean.getStatus(), "stop");
    EXPECT_EQ(bean.getErrorCode(), "");
    EXPECT_TRUE(bean.getErrorInfo().starts_with("Aborted-")) << bean.getErrorInfo();
    EXPECT_TRUE(HttpServer::waitUntil([&] { return server.hangUps() == 1; }));
    EXPECT_EQ(server.repliesSent(), 0);
}

TEST(PageDownload, TheNextPageOfASlotKeepsTheThreadAndTheConnection) {
    HttpServer server([](const HttpRequest& request) {
        HttpReply reply = HttpReply::page(request.resource());
        reply.lengthByClose = request.resource() == "/last-before-close"; // the server ends this connection
        return reply;
    });
    DownSignal signal;
    TDownBean beans[4];
    const std::string paths[4] = {"/one", "/two", "/last-before-close", "/four"};
    TThreadDownHtmlCode download(server.url(paths[0]), beans[0], quickAgent(), nullptr, &signal);
    for (int i = 0; i < 4; ++i) {
        if (i > 0) download.restart(server.url(paths[i]), beans[i]);
        awaitEnd(beans[i], signal);
        EXPECT_EQ(beans[i].getHtmlCode(), paths[i]);
        EXPECT_EQ(beans[i].getUrl(), server.url(paths[i]));
    }
    EXPECT_EQ(server.connections(), 2); // a new one only after the server closed the first
}

TEST(Proxy, TheSelectedProxyTakesTheCredentialsAndAnUnselectedOneIsIgnored) {
    HttpServer proxy([](const HttpRequest&) { return HttpReply::page("the page"); }, "alice", "s3cret");
    auto fetchWith = [&](const std::string& password, bool selected) {
        THttpAgent agent;
        agent.AgentType = selected;
        agent.Server = "127.0.0.1";
        agent.Port = proxy.port();
        agent.User = "alice";
        agent.Password = password;
        agent.Domain = "WORKGROUP"; // kept in the settings, never sent
        // Through the proxy the address need not resolve; without it the same server answers directly.
        return fetch(selected ? "http://www.market.test/p.htm" : proxy.url("/p.htm"), quickAgent(agent));
    };

    auto through = fetchWith("s3cret", true);
    EXPECT_EQ(through->getHtmlCode(), "the page") << through->getErrorInfo();
    expectFailure(*fetchWith("wrong", true), "HttpError-");
    // Not selected: the filled-in settings, wrong password and all, play no part.
    auto direct = fetchWith("wrong", false);
    EXPECT_EQ(direct->getHtmlCode(), "the page") << direct->getErrorInfo();
    std::vector<std::string> targets;
    for (const auto& request : proxy.requests())
        targets.push_back(request.target);
    EXPECT_EQ(targets, (std::vector<std::string>{"http://www.market.test/p.htm",
                                                 "http://www.market.test/p.htm", "/p.htm"}));
}

TEST(Proxy, AProxyNamedInTheEnvironmentIsIgnored) {
    ClosedPort deadProxy;
    HttpServer server([](const HttpRequest&) { return HttpReply::page("direct"); });
    // The four proxy variables name a dead proxy; empty exception lists leave local hosts no way out.
    std::vector<std::pair<std::string, std::optional<std::string>>> saved;
    for (const char* name : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
        const char* old = std::getenv(name);
        saved.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
        setenv(name, saved.size() <= 4 ? deadProxy.url().c_str() : "", 1);
    }
    auto bean = fetch(server.url("/p.htm"), quickAgent());
    for (const auto& [name, value] : saved)
        value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    EXPECT_EQ(bean->getStatus(), "finish") << bean->getErrorInfo();
    EXPECT_EQ(bean->getHtmlCode(), "direct");
}
