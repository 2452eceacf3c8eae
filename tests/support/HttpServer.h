#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace vantor::test {

struct HttpRequest {
    std::string method;
    std::string target;  // as sent: a path, or a whole address when the client talks to a proxy
    std::string headers; // the header lines as received

    // The value of a header, found without regard to letter case; empty when absent.
    std::string header(std::string_view name) const;
    // The target without scheme and host.
    std::string path() const;
};

// What the server answers, including the ways a real server misbehaves.
struct HttpReply {
    int status = 200;
    std::string reason = "OK";
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    std::chrono::milliseconds delay{0}; // before the first byte; the server notices a client hanging up
    bool closeBeforeAnyByte = false;
    std::optional<size_t> sendOnly; // hang up after this many bytes of the body (the length says all)
    bool lengthByClose = false;     // no Content-Length: the body ends when the server hangs up
    bool chunked = false;           // the body as one chunk; with sendOnly the closing chunk never comes

    static HttpReply page(std::string body);
    // A page held back before its first byte.
    static HttpReply late(std::string body, std::chrono::milliseconds delay);
    static HttpReply redirect(std::string location);
    static HttpReply failure(int status, std::string reason);
};

// An HTTP/1.1 server on 127.0.0.1 with a port of its own, one thread per connection, keep-alive
// unless the reply hangs up. Every request is recorded. Destroying it ends every connection at once,
// delays included.
class HttpServer {
public:
    using Handler = std::function<HttpReply(const HttpRequest&)>;

    explicit HttpServer(Handler handler);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    std::uint16_t port() const { return port_; }
    std::string url(const std::string& path = "/") const;

    std::vector<HttpRequest> requests() const;
    size_t requestCount() const;
    int maxInFlight() const { return maxInFlight_.load(); } // most requests in hand at one time
    int repliesSent() const { return repliesSent_.load(); } // replies sent to the end
    int hangUps() const { return hangUps_.load(); }         // clients that left during a delay
    int connections() const { return accepted_.load(); }    // connections accepted

    // Polls until condition holds or the limit has passed; returns whether it holds.
    static bool waitUntil(const std::function<bool()>& condition,
                          std::chrono::milliseconds limit = std::chrono::seconds(20));

private:
    struct Connection {
        std::thread thread;
        std::atomic<bool> done = false;
    };

    void acceptLoop();
    void serve(int fd);
    bool answer(int fd, const HttpRequest& request, const HttpReply& reply);
    void reap(bool all);

    Handler handler_;
    int listenFd_ = -1;
    int wakeFd_ = -1; // readable once the server shuts down; every wait watches it
    std::uint16_t port_ = 0;
    mutable std::mutex mutex_;
    std::vector<HttpRequest> requests_;
    std::list<Connection> connections_;
    std::atomic<int> inFlight_ = 0;
    std::atomic<int> maxInFlight_ = 0;
    std::atomic<int> repliesSent_ = 0;
    std::atomic<int> hangUps_ = 0;
    std::atomic<int> accepted_ = 0;
    std::thread acceptor_;
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
