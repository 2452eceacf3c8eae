#pragma once

#include "Faults.h"
#include "Http.h"

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace vantor::demo {

// An HTTP/1.1 server on 127.0.0.1 that takes requests in absolute form (as a forward proxy) and in
// origin form (with a Host header), with persistent connections, and answers with whatever
// misbehaviour a response asks for. A thread per connection, at most kMaxConnections at once; every
// wait is cut into short polls that watch for stop(). It is the demo market's server and the tests'.
class HttpServer {
public:
    using Handler = std::function<HttpResponse(const HttpRequest&)>;
    // Decides whether the fault plan applies to a request (the market's own hosts).
    using FaultScope = std::function<bool(const HttpRequest&)>;

    struct Options {
        std::uint16_t port = 0; // 0: a free port
        std::string proxyUser;  // non-empty: requests in absolute form need Basic proxy credentials
        std::string proxyPassword;
    };

    static constexpr int kMaxConnections = 64;
    static constexpr size_t kRequestLogSize = 10000;

    // Binds and starts serving; throws std::runtime_error when the port cannot be had.
    HttpServer(Options options, Handler handler, FaultPlan& faults, FaultScope faultScope);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const { return port_; }
    // Stops accepting, ends every connection and joins all threads. Idempotent.
    void stop();

    // The addresses of the requests received (request.url()), oldest first, the last kRequestLogSize.
    std::vector<std::string> requests() const;
    // The same requests whole, headers included.
    std::vector<HttpRequest> requestLog() const;
    std::size_t requestCount() const;                       // every request received, the log's limit aside
    int maxInFlight() const { return maxInFlight_.load(); } // most requests in hand at one time
    int repliesSent() const { return repliesSent_.load(); } // replies sent to the end
    int hangUps() const { return hangUps_.load(); }         // clients that left during a delay
    int connections() const { return accepted_.load(); }    // connections accepted
    // Microseconds spent with requests in hand, summed over requests: over a stretch of time, divided by
    // its length, the requests in flight on average.
    std::int64_t busyMicros() const { return busyMicros_.load(); }

private:
    struct Connection {
        int fd = -1;
        std::thread thread;
        std::atomic<bool> done{false};
    };

    void acceptLoop();
    void serve(Connection& connection);
    HttpResponse respond(const HttpRequest& req);
    // Returns whether the connection stays open for another request.
    bool answer(int fd, const HttpRequest& req, const HttpResponse& response, bool keepAlive);
    bool waitReadable(int fd, int timeoutMs) const;
    bool sendAll(int fd, const std::string& data) const;
    // Holds the answer back; false when the client hung up meanwhile or the server stops.
    bool holdBack(int fd, std::chrono::milliseconds delay);
    void reap(bool all);
    void log(const HttpRequest& request);

    Options options_;
    Handler handler_;
    FaultPlan& faults_;
    FaultScope faultScope_;
    int listenFd_ = -1;
    int wakePipe_[2] = {-1, -1};
    std::uint16_t port_ = 0;
    std::atomic<bool> stopping_{false};
    std::thread acceptThread_;
    std::mutex connectionsMutex_;
    std::list<std::unique_ptr<Connection>> connections_;
    mutable std::mutex logMutex_;
    std::deque<HttpRequest> log_;
    std::size_t requestCount_ = 0;
    std::atomic<int> inFlight_{0}, maxInFlight_{0}, repliesSent_{0}, hangUps_{0}, accepted_{0};
    std::atomic<std::int64_t> busyMicros_{0};
};

} // namespace vantor::demo
