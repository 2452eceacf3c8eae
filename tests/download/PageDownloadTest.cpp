#include "Fetching.h"
#include "support/HttpServer.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <random>

using namespace vantor;
using namespace vantor::test;

namespace {

std::string randomBytes(size_t size) {
    std::mt19937 generator(7);
    std::string bytes(size, '\0');
    for (char& c : bytes)
        c = char(generator());
    return bytes;
}

// The numbers in the gauge log entries of one kind, in order.
std::vector<long long> numbersOf(const std::vector<std::string>& log, const std::string& kind) {
    std::vector<long long> numbers;
    for (const auto& entry : log)
        if (entry.starts_with(kind + " ")) numbers.push_back(std::stoll(entry.substr(kind.size() + 1)));
    return numbers;
}

} // namespace

TEST(PageDownload, APageArrivesWithTheFixedBrowserNameAndCleanFields) {
    HttpServer server([](const HttpRequest&) { return HttpReply::page("<html>shop</html>"); });
    auto bean = fetch(server.url("/shop.htm"), quickAgent());
    EXPECT_EQ(bean->getStatus(), "finish");
    EXPECT_EQ(bean->getHtmlCode(), "<html>shop</html>");
    EXPECT_EQ(bean->getErrorCode(), "");
    EXPECT_EQ(bean->getErrorInfo(), "");
    EXPECT_EQ(bean->getUrl(), server.url("/shop.htm"));
    auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_EQ(requests[0].method, "GET");
    EXPECT_EQ(requests[0].target, "/shop.htm");
    EXPECT_EQ(requests[0].header("User-Agent"), "Mozilla/4.0 (compatible; MSIE 6.0; Windows 98; Maxthon)");
    // Asking for compression would change the bytes the parsers see.
    EXPECT_EQ(requests[0].header("Accept-Encoding"), "");
}

TEST(PageDownload, ANewBeanStartsAsInitWithErrorCodeZero) {
    TDownBean bean;
    EXPECT_EQ(bean.getStatus(), "init");
    EXPECT_EQ(bean.getErrorCode(), "0");
    EXPECT_EQ(bean.getHtmlCode(), "");
    EXPECT_EQ(bean.getErrorInfo(), "");
    EXPECT_EQ(bean.getUrl(), "");
}

TEST(PageDownload, GbkAndBinaryBytesArriveUntouched) {
    // "你好，店铺" in GBK, a NUL, line ends of both kinds and a byte that is no valid UTF-8.
    const std::string body =
        "\xc4\xe3\xba\xc3\xa3\xac\xb5\xea\xc6\xcc" + std::string(1, '\0') + "\r\n\n\xff\x80";
    HttpServer server([&](const HttpRequest&) { return HttpReply::page(body); });
    auto bean = fetch(server.url("/gbk.htm"), quickAgent());
    ASSERT_EQ(bean->getStatus(), "finish");
    EXPECT_EQ(bean->getHtmlCode(), body);
}

TEST(PageDownload, ALargeBodyArrivesWholeAndTheGaugeFollowsIt) {
    const std::string body = randomBytes(6 << 20);
    HttpServer server([&](const HttpRequest&) { return HttpReply::page(body); });
    GaugeLog gauge;
    auto bean = fetch(server.url("/big"), quickAgent(), &gauge);
    ASSERT_EQ(bean->getStatus(), "finish");
    EXPECT_TRUE(bean->getHtmlCode() == body);

    auto log = gauge.entries();
    ASSERT_GE(log.size(), 3u);
    EXPECT_EQ(log.front(), "begin " + std::to_string(body.size()));
    EXPECT_EQ(log.back(), "end");
    auto received = numbersOf(log, "advance");
    ASSERT_EQ(received.size(), log.size() - 2);
    EXPECT_TRUE(std::is_sorted(received.begin(), received.end()));
    EXPECT_EQ(received.back(), (long long)body.size());
}

TEST(PageDownload, AHangUpEndsAPageOnlyWhereTheServerAnnouncedNoEnd) {
    HttpServer server([](const HttpRequest& request) {
        HttpReply reply = HttpReply::page("whole page, no length");
        if (request.path() == "/by-close") {
            reply.lengthByClose = true;
            return reply;
        }
        reply.body = std::string(1000, 'x');
        reply.sendOnly = 100; // hangs up after 100 of the 1000 bytes
        reply.chunked = request.path() == "/chunks";
        return reply;
    });
    GaugeLog gauge;
    auto byClose = fetch(server.url("/by-close"), quickAgent(), &gauge);
    EXPECT_EQ(byClose->getStatus(), "finish");
    EXPECT_EQ(byClose->getHtmlCode(), "whole page, no length");
    EXPECT_EQ(gauge.entries().front(), "begin 0"); // no length announced

    // Half a page is no page: its rows would vanish without a word.
    for (const char* path : {"/length", "/chunks"}) {
        auto cut = fetch(server.url(path), quickAgent());
        EXPECT_EQ(cut->getStatus(), "stop") << path;
        EXPECT_EQ(cut->getHtmlCode(), "") << path;
        EXPECT_EQ(cut->getErrorCode(), "100860") << path;
        EXPECT_TRUE(cut->getErrorInfo().starts_with("Truncated-")) << cut->getErrorInfo();
    }
}

TEST(PageDownload, FailuresEndInStopWithTheirKindAndTheErrorCode) {
    HttpServer server([](const HttpRequest& request) {
        if (request.path() == "/hang-up") {
            HttpReply reply;
            reply.closeBeforeAnyByte = true;
            return reply;
        }
        if (request.path() == "/missing") return HttpReply::failure(404, "Not Found");
        return HttpReply::failure(500, "Internal Server Error");
    });
    ClosedPort closed;

    auto refused = fetch(closed.url("/page"), quickAgent());
    EXPECT_EQ(refused->getStatus(), "stop");
    EXPECT_EQ(refused->getErrorCode(), "100860");
    EXPECT_TRUE(refused->getErrorInfo().starts_with("ConnectError-")) << refused->getErrorInfo();
    EXPECT_EQ(refused->getHtmlCode(), "");
    EXPECT_EQ(refused->getUrl(), closed.url("/page"));

    auto hungUp = fetch(server.url("/hang-up"), quickAgent());
    EXPECT_EQ(hungUp->getStatus(), "stop");
    EXPECT_EQ(hungUp->getErrorCode(), "100860");
    EXPECT_TRUE(hungUp->getErrorInfo().starts_with("ConnectionClosed-")) << hungUp->getErrorInfo();

    auto serverError = fetch(server.url("/error"), quickAgent());
    EXPECT_EQ(serverError->getStatus(), "stop");
    EXPECT_EQ(serverError->getErrorCode(), "100860");
    EXPECT_EQ(serverError->getErrorInfo(), "HttpError-HTTP/1.1 500 Internal Server Error");
    EXPECT_EQ(serverError->getHtmlCode(), ""); // the error page is no page

    auto missing = fetch(server.url("/missing"), quickAgent());
    EXPECT_EQ(missing->getStatus(), "stop");
    EXPECT_EQ(missing->getErrorInfo(), "HttpError-HTTP/1.1 404 Not Found");
}

TEST(PageDownload, RedirectsAreFollowedUpToTen) {
    // /hop/N sends the client on to /hop/N-1; /hop/0 is the page.
    HttpServer server([](const HttpRequest& request) {
        int left = std::stoi(request.path().substr(5));
        if (left == 0) return HttpReply::page("arrived");
        return HttpReply::redirect("/hop/" + std::to_string(left - 1));
    });
    auto ten = fetch(server.url("/hop/10"), quickAgent());
    EXPECT_EQ(ten->getStatus(), "finish");
    EXPECT_EQ(ten->getHtmlCode(), "arrived");
    EXPECT_EQ(server.requestCount(), 11u);

    auto eleven = fetch(server.url("/hop/11"), quickAgent());
    EXPECT_EQ(eleven->getStatus(), "stop");
    EXPECT_EQ(eleven->getErrorCode(), "100860");
    EXPECT_TRUE(eleven->getErrorInfo().starts_with("RedirectError-")) << eleven->getErrorInfo();
    EXPECT_EQ(server.requestCount(), 11u + 11u); // the eleventh redirect is not followed
}

TEST(PageDownload, TheReadTimeOutIsSilenceOnTopOfThirtySeconds) {
    HttpServer server([](const HttpRequest& request) {
        return HttpReply::late("late page",
                               std::chrono::milliseconds(request.path() == "/slow" ? 300 : 20000));
    });
    THttpAgent patient;
    patient.ReadTimeOut = -29000; // 1 s without a byte
    auto slow = fetch(server.url("/slow"), std::make_shared<const THttpAgent>(patient));
    EXPECT_EQ(slow->getStatus(), "finish");
    EXPECT_EQ(slow->getHtmlCode(), "late page");

    THttpAgent hasty;
    hasty.ReadTimeOut = -29800; // 200 ms
    auto silent = fetch(server.url("/silent"), std::make_shared<const THttpAgent>(hasty));
    EXPECT_EQ(silent->getStatus(), "stop");
    EXPECT_EQ(silent->getErrorCode(), "100860");
    EXPECT_TRUE(silent->getErrorInfo().starts_with("ReadTimeout-")) << silent->getErrorInfo();
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
        int fd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
        connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        fillers.push_back(fd);
    }
    THttpAgent agent;
    agent.ConnectTimeOut = -59700; // 300 ms
    std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/";
    auto bean = fetch(url, std::make_shared<const THttpAgent>(agent));
    EXPECT_EQ(bean->getStatus(), "stop");
    EXPECT_EQ(bean->getErrorCode(), "100860");
    EXPECT_TRUE(bean->getErrorInfo().starts_with("ConnectTimeout-")) << bean->getErrorInfo();
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
        HttpReply reply = HttpReply::page(request.path());
        reply.lengthByClose = request.path() == "/last-before-close"; // the server ends this connection
        return reply;
    });
    DownSignal signal;
    TDownBean first;
    TDownBean second;
    TDownBean third;
    TDownBean fourth;
    TThreadDownHtmlCode download(server.url("/one"), first, quickAgent(), nullptr, &signal);
    awaitEnd(first, signal);
    download.restart(server.url("/two"), second);
    awaitEnd(second, signal);
    download.restart(server.url("/last-before-close"), third);
    awaitEnd(third, signal);
    download.restart(server.url("/four"), fourth);
    awaitEnd(fourth, signal);

    EXPECT_EQ(first.getHtmlCode(), "/one");
    EXPECT_EQ(second.getHtmlCode(), "/two");
    EXPECT_EQ(third.getHtmlCode(), "/last-before-close");
    EXPECT_EQ(fourth.getHtmlCode(), "/four");
    EXPECT_EQ(fourth.getUrl(), server.url("/four"));
    EXPECT_EQ(server.connections(), 2); // a new one only after the server closed the first
}
