#include "HttpServer.h"

#include "Gbk.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace vantor::demo {
namespace {

constexpr int kPollSliceMs = 50;
constexpr int kIdleLimitMs = 15000;
constexpr size_t kMaxHeadBytes = 64 * 1024;
constexpr long kMaxBodyBytes = 1024 * 1024;

std::string trim(const std::string& s) {
    const size_t b = s.find_first_not_of(" \t");
    if (b == std::string::npos) return {};
    return s.substr(b, s.find_last_not_of(" \t") - b + 1);
}

// Splits "host[:port]" and keeps the host in lower case.
std::string hostOnly(const std::string& authority) {
    return lowerAscii(authority.substr(0, authority.find(':')));
}

// The request line may carry blanks inside the target (an address that ends in a blank): the
// method ends at the first blank and the version starts after the last.
bool parseHead(const std::string& head, HttpRequest& req, std::string& version) {
    const size_t lineEnd = head.find("\r\n");
    const std::string line = head.substr(0, lineEnd);
    const size_t first = line.find(' ');
    const size_t last = line.rfind(' ');
    if (first == std::string::npos || last == first) return false;
    req.method = line.substr(0, first);
    version = line.substr(last + 1);
    req.target = trim(line.substr(first + 1, last - first - 1));
    if (version.rfind("HTTP/1.", 0) != 0 || req.target.empty()) return false;
    size_t pos = lineEnd == std::string::npos ? head.size() : lineEnd + 2;
    while (pos < head.size()) {
        size_t end = head.find("\r\n", pos);
        if (end == std::string::npos) end = head.size();
        const std::string field = head.substr(pos, end - pos);
        const size_t colon = field.find(':');
        if (colon != std::string::npos)
            req.headers[lowerAscii(trim(field.substr(0, colon)))] = trim(field.substr(colon + 1));
        pos = end + 2;
    }
    std::string pathAndQuery;
    if (lowerAscii(req.target.substr(0, 7)) == "http://") {
        req.absoluteForm = true;
        const size_t slash = req.target.find_first_of("/?", 7);
        req.host = hostOnly(req.target.substr(7, slash == std::string::npos ? std::string::npos : slash - 7));
        pathAndQuery = slash == std::string::npos ? "/" : req.target.substr(slash);
    } else if (req.target[0] == '/') {
        req.host = hostOnly(req.header("host"));
        pathAndQuery = req.target;
    } else {
        return false;
    }
    pathAndQuery = pathAndQuery.substr(0, pathAndQuery.find('#'));
    const size_t question = pathAndQuery.find('?');
    req.path = pathAndQuery.substr(0, question);
    if (req.path.empty() || req.path[0] != '/') req.path = "/" + req.path;
    req.query = question == std::string::npos ? "" : pathAndQuery.substr(question + 1);
    return true;
}

} // namespace

HttpServer::HttpServer(Options options, Handler handler, FaultPlan& faults, FaultScope faultScope)
    : options_(std::move(options)),
      handler_(std::move(handler)),
      faults_(faults),
      faultScope_(std::move(faultScope)) {
    listenFd_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (listenFd_ < 0) throw std::runtime_error(std::string("socket: ") + std::strerror(errno));
    const int yes = 1;
    ::setsockopt(listenFd_, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(options_.port);
    if (::bind(listenFd_, reinterpret_cast<sockaddr*>(&addr), sizeof addr) != 0 ||
        ::listen(listenFd_, 128) != 0) {
        const std::string why = std::strerror(errno);
        ::close(listenFd_);
        throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(options_.port) + ": " + why);
    }
    socklen_t len = sizeof addr;
    ::getsockname(listenFd_, reinterpret_cast<sockaddr*>(&addr), &len);
    port_ = ntohs(addr.sin_port);
    if (::pipe2(wakePipe_, O_CLOEXEC) != 0) {
        ::close(listenFd_);
        throw std::runtime_error(std::string("pipe: ") + std::strerror(errno));
    }
    acceptThread_ = std::thread([this] { acceptLoop(); });
}

HttpServer::~HttpServer() {
    stop();
}

void HttpServer::stop() {
    if (stopping_.exchange(true)) return;
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(wakePipe_[1], &byte, 1);
    if (acceptThread_.joinable()) acceptThread_.join();
    reap(true);
    ::close(listenFd_);
    ::close(wakePipe_[0]);
    ::close(wakePipe_[1]);
}

std::vector<std::string> HttpServer::requests() const {
    std::lock_guard lock(logMutex_);
    std::vector<std::string> urls;
    for (const HttpRequest& request : log_)
        urls.push_back(request.url());
    return urls;
}

std::vector<HttpRequest> HttpServer::requestLog() const {
    std::lock_guard lock(logMutex_);
    return {log_.begin(), log_.end()};
}

std::size_t HttpServer::requestCount() const {
    std::lock_guard lock(logMutex_);
    return requestCount_;
}

void HttpServer::log(const HttpRequest& request) {
    std::lock_guard lock(logMutex_);
    ++requestCount_;
    log_.push_back(request);
    if (log_.size() > kRequestLogSize) log_.pop_front();
}

void HttpServer::reap(bool all) {
    std::lock_guard lock(connectionsMutex_);
    for (auto it = connections_.begin(); it != connections_.end();) {
        Connection& c = **it;
        if (!all && !c.done) {
            ++it;
            continue;
        }
        // Wakes a connection that waits for its client; its thread sees the stop at its next poll.
        if (all) ::shutdown(c.fd, SHUT_RDWR);
        c.thread.join();
        ::close(c.fd);
        it = connections_.erase(it);
    }
}

void HttpServer::acceptLoop() {
    while (!stopping_) {
        reap(false);
        size_t open = 0;
        {
            std::lock_guard lock(connectionsMutex_);
            open = connections_.size();
        }
        pollfd fds[2] = {{listenFd_, static_cast<short>(open < kMaxConnections ? POLLIN : 0), 0},
                         {wakePipe_[0], POLLIN, 0}};
        if (::poll(fds, 2, kPollSliceMs) <= 0 || !(fds[0].revents & POLLIN)) continue;
        const int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
        if (fd < 0) continue;
        const int one = 1;
        ::setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        ++accepted_;
        auto connection = std::make_unique<Connection>();
        connection->fd = fd;
        Connection& c = *connection;
        std::lock_guard lock(connectionsMutex_);
        connections_.push_back(std::move(connection));
        c.thread = std::thread([this, &c] {
            serve(c);
            // A half-close at once, so a client reading to the end of the stream gets it now.
            ::shutdown(c.fd, SHUT_WR);
            c.done = true;
        });
    }
}

bool HttpServer::waitReadable(int fd, int timeoutMs) const {
    pollfd p{fd, POLLIN, 0};
    return ::poll(&p, 1, timeoutMs) > 0;
}

bool HttpServer::sendAll(int fd, const std::string& data) const {
    size_t sent = 0;
    while (sent < data.size() && !stopping_) {
        // Sent at once while the socket takes it; waited for in slices only when full, so a stop
        // still ends a reply to a client that reads nothing.
        const ssize_t n = ::send(fd, data.data() + sent, data.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            sent += static_cast<size_t>(n);
            continue;
        }
        if (n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) return false;
        pollfd p{fd, POLLOUT, 0};
        ::poll(&p, 1, kPollSliceMs);
    }
    return sent == data.size();
}

bool HttpServer::holdBack(int fd, std::chrono::milliseconds delay) {
    const auto until = std::chrono::steady_clock::now() + std::min(delay, FaultPlan::kLongestDelay);
    while (!stopping_ && std::chrono::steady_clock::now() < until) {
        pollfd p{fd, POLLRDHUP, 0};
        if (::poll(&p, 1, kPollSliceMs) > 0 && (p.revents & (POLLRDHUP | POLLHUP | POLLERR))) {
            ++hangUps_;
            return false;
        }
    }
    return !stopping_;
}

HttpResponse HttpServer::respond(const HttpRequest& req) {
    if (!options_.proxyUser.empty() && req.absoluteForm &&
        req.header("proxy-authorization") !=
            "Basic " + base64(options_.proxyUser + ":" + options_.proxyPassword)) {
        HttpResponse r = textResponse(407, "proxy authentication required");
        r.headers.emplace_back("Proxy-Authenticate", "Basic realm=\"vantor demo market\"");
        return r;
    }
    if (req.method != "GET" && req.method != "HEAD") return textResponse(405, "only GET and HEAD");
    const std::optional<FaultRule> fault = faultScope_(req) ? faults_.fire(req.url()) : std::nullopt;
    HttpResponse r;
    if (fault && fault->kind == FaultRule::Kind::Error) {
        r = textResponse(fault->status, "injected fault");
        if (fault->retryAfter >= 0) r.headers.emplace_back("Retry-After", std::to_string(fault->retryAfter));
    } else if (!fault || fault->kind != FaultRule::Kind::Drop) {
        try {
            r = handler_(req);
        } catch (const std::exception& e) {
            r = textResponse(500, std::string("demo market error: ") + e.what());
        }
    }
    if (fault) {
        r.delay += fault->delay;
        r.closeBeforeAnyByte = fault->kind == FaultRule::Kind::Drop;
        if (fault->kind == FaultRule::Kind::Truncate) r.sendOnly = r.body.size() / 2;
    }
    return r;
}

bool HttpServer::answer(int fd, const HttpRequest& req, const HttpResponse& r, bool keepAlive) {
    if (r.delay.count() > 0 && !holdBack(fd, r.delay)) return false;
    if (r.closeBeforeAnyByte) return false;
    const bool hangUp = r.sendOnly || r.lengthByClose || !keepAlive;
    std::string head = "HTTP/1.1 " + std::to_string(r.status) + " " +
                       (r.reason.empty() ? std::string(reasonPhrase(r.status)) : r.reason) + "\r\n";
    head += "Server: vantor-demo-market\r\nContent-Type: " + r.contentType + "\r\n";
    for (const auto& [name, value] : r.headers)
        head += name + ": " + value + "\r\n";
    if (r.chunked)
        head += "Transfer-Encoding: chunked\r\n";
    else if (!r.lengthByClose)
        head += "Content-Length: " + std::to_string(r.body.size()) + "\r\n";
    head += hangUp ? "Connection: close\r\n\r\n" : "Connection: keep-alive\r\n\r\n";
    std::string body =
        req.method == "HEAD" ? std::string() : r.body.substr(0, r.sendOnly.value_or(r.body.size()));
    if (r.chunked) {
        char size[24];
        std::snprintf(size, sizeof size, "%zx\r\n", body.size());
        body = size + body + "\r\n" + (r.sendOnly ? "" : "0\r\n\r\n");
    }
    // One write for head and body, so a small reply is one segment.
    if (!sendAll(fd, head + body)) return false;
    if (!r.sendOnly) ++repliesSent_;
    return !hangUp;
}

void HttpServer::serve(Connection& connection) {
    const int fd = connection.fd;
    std::string buffer;
    int idleMs = 0;
    char chunk[8192];
    const auto receive = [&]() {
        if (!waitReadable(fd, kPollSliceMs)) {
            idleMs += kPollSliceMs;
            return idleMs <= kIdleLimitMs;
        }
        const ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
        if (n <= 0) return false;
        buffer.append(chunk, static_cast<size_t>(n));
        return true;
    };
    while (!stopping_) {
        HttpRequest req;
        size_t headEnd;
        while ((headEnd = buffer.find("\r\n\r\n")) == std::string::npos) {
            if (stopping_ || !receive()) return;
            if (buffer.size() > kMaxHeadBytes) {
                answer(fd, req, textResponse(400, "request head too long"), false);
                return;
            }
        }
        idleMs = 0;
        req.received = std::chrono::steady_clock::now();
        std::string version;
        const bool parsed = parseHead(buffer.substr(0, headEnd), req, version);
        buffer.erase(0, headEnd + 4);
        if (!parsed) {
            answer(fd, req, textResponse(400, "bad request line"), false);
            return;
        }
        // A body is not used by any page; it is read past so the next request on the line is found.
        long bodyLeft = std::atol(req.header("content-length").c_str());
        if (bodyLeft > kMaxBodyBytes) return;
        while (static_cast<long>(buffer.size()) < bodyLeft)
            if (stopping_ || !receive()) return;
        buffer.erase(0, static_cast<size_t>(std::max(0L, bodyLeft)));

        const std::string connectionHeader =
            lowerAscii(req.header("connection") + req.header("proxy-connection"));
        const bool keepAlive = version == "HTTP/1.1"
                                   ? connectionHeader.find("close") == std::string::npos
                                   : connectionHeader.find("keep-alive") != std::string::npos;
        log(req);
        const int inHand = ++inFlight_;
        for (int most = maxInFlight_.load();
             inHand > most && !maxInFlight_.compare_exchange_weak(most, inHand);) {
        }
        const bool open = answer(fd, req, respond(req), keepAlive);
        --inFlight_;
        busyMicros_ += std::chrono::duration_cast<std::chrono::microseconds>(
                           std::chrono::steady_clock::now() - req.received)
                           .count();
        if (!open) return;
    }
}

} // namespace vantor::demo
