#pragma once

#include "demo-market/HttpServer.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vantor::test {

using HttpRequest = demo::HttpRequest;
using HttpReply = demo::HttpResponse;

// The tests' HTTP server on 127.0.0.1: the demo market's server with the test's own handler and no
// faults. Every request is recorded; destroying it ends every connection at once, delays included.
// Given a proxy user, it plays a proxy that demands Basic credentials for requests in absolute form.
class HttpServer {
public:
    using Handler = std::function<HttpReply(const HttpRequest&)>;

    explicit HttpServer(Handler handler, std::string proxyUser = "", std::string proxyPassword = "")
        : server_({0, std::move(proxyUser), std::move(proxyPassword)}, std::move(handler), faults_,
                  [](const HttpRequest&) { return false; }) {}

    std::uint16_t port() const { return server_.port(); }
    std::string url(const std::string& path = "/") const;

    std::vector<HttpRequest> requests() const { return server_.requestLog(); }
    size_t requestCount() const { return server_.requestCount(); }
    int maxInFlight() const { return server_.maxInFlight(); }
    int repliesSent() const { return server_.repliesSent(); }
    int hangUps() const { return server_.hangUps(); }
    int connections() const { return server_.connections(); }

    // Polls until condition holds or the limit has passed; returns whether it holds.
    static bool waitUntil(const std::function<bool()>& condition,
                          std::chrono::milliseconds limit = std::chrono::seconds(20));

private:
    demo::FaultPlan faults_;
    demo::HttpServer server_;
};

// A port on 127.0.0.1 that refuses every connection: bound, so nobody else takes it, but not listening.
class ClosedPort {
public:
    ClosedPort();
    ~ClosedPort();
    ClosedPort(const ClosedPort&) = delete;
    ClosedPort& operator=(const ClosedPort&) = delete;

    std::uint16_t port() const { return port_; }
    std::string url(const std::string& path = "/") const;

private:
    int fd_ = -1;
    std::uint16_t port_ = 0;
};

} // namespace vantor::test
