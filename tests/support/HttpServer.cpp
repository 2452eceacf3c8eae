#include "HttpServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <strings.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <stdexcept>
#include <system_error>

namespace vantor::test {
namespace {

using Clock = std::chrono::steady_clock;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int loopbackSocket(bool listening, std::uint16_t& port) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) fail("socket");
    int one = 1;
    setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) fail("bind");
    if (listening && listen(fd, 256) != 0) fail("listen");
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    port = ntohs(address.sin_port);
    return fd;
}

// What a wait on a client socket saw.
enum class Event { Ready, ShutDown, HungUp, TimedOut };

// Waits for the socket (POLLIN or POLLOUT) or the server's shutdown, at most until the deadline.
Event await(int fd, short events, int wakeFd, std::optional<Clock::time_point> deadline = std::nullopt) {
    for (;;) {
        int timeout = -1;
        if (deadline) {
            auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
            if (left <= 0) return Event::TimedOut;
            timeout = int(left);
        }
        pollfd fds[2] = {{fd, short(events | POLLRDHUP), 0}, {wakeFd, POLLIN, 0}};
        int n = poll(fds, 2, timeout);
        if (n < 0 && errno == EINTR) continue;
        if (fds[1].revents) return Event::ShutDown;
        if (fds[0].revents & (POLLRDHUP | POLLHUP | POLLERR)) return Event::HungUp;
        if (n > 0) return Event::Ready;
    }
}

bool sendAll(int fd, std::string_view data, int wakeFd) {
    while (!data.empty()) {
        ssize_t n = send(fd, data.data(), data.size(), MSG_NOSIGNAL);
        if (n > 0) {
            data.remove_prefix(size_t(n));
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR)) {
            if (await(fd, POLLOUT, wakeFd) == Event::ShutDown) return false;
            continue;
        }
        return false;
    }
    return true;
}

} // namespace

std::string HttpRequest::header(std::string_view name) const {
    for (size_t start = 0, end; start < headers.size(); start = end + 2) {
        end = std::min(headers.find("\r\n", start), headers.size());
        std::string_view line(headers.data() + start, end - start);
        if (line.size() > name.size() && line[name.size()] == ':' &&
            strncasecmp(line.data(), name.data(), name.size()) == 0) {
            line.remove_prefix(std::min(line.find_first_not_of(' ', name.size() + 1), line.size()));
            return std::string(line);
        }
    }
    return {};
}

std::string HttpRequest::path() const {
    size_t scheme = target.find("://");
    if (scheme == std::string::npos) return target;
    size_t slash = target.find('/', scheme + 3);
    return slash == std::string::npos ? "/" : target.substr(slash);
}

HttpReply HttpReply::page(std::string body) {
    HttpReply reply;
    reply.headers = {{"Content-Type", "text/html; charset=gbk"}};
    reply.body = std::move(body);
    return reply;
}

HttpReply HttpReply::late(std::string body, std::chrono::milliseconds delay) {
    HttpReply reply = page(std::move(body));
    reply.delay = delay;
    return reply;
}

HttpReply HttpReply::redirect(std::string location) {
    HttpReply reply;
    reply.status = 302;
    reply.reason = "Found";
    reply.headers = {{"Location", std::move(location)}};
    reply.body = "moved";
    return reply;
}

HttpReply HttpReply::failure(int status, std::string reason) {
    HttpReply reply;
    reply.status = status;
    reply.reason = std::move(reason);
    reply.body = "error page";
    return reply;
}

HttpServer::HttpServer(Handler handler) : handler_(std::move(handler)) {
    listenFd_ = loopbackSocket(true, port_);
    wakeFd_ = eventfd(0, EFD_CLOEXEC);
    if (wakeFd_ < 0) fail("eventfd");
    acceptor_ = std::thread([this] { acceptLoop(); });
}

HttpServer::~HttpServer() {
    std::uint64_t one = 1;
    [[maybe_unused]] auto written = write(wakeFd_, &one, sizeof one);
    acceptor_.join();
    reap(true);
    close(listenFd_);
    close(wakeFd_);
}

std::string HttpServer::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<HttpRequest> HttpServer::requests() const {
    std::lock_guard lock(mutex_);
    return requests_;
}

size_t HttpServer::requestCount() const {
    std::lock_guard lock(mutex_);
    return requests_.size();
}

bool HttpServer::waitUntil(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    auto deadline = Clock::now() + limit;
    while (!condition()) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

void HttpServer::acceptLoop() {
    for (;;) {
        if (await(listenFd_, POLLIN, wakeFd_) == Event::ShutDown) return;
        int fd = accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (fd < 0) continue;
        int one = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
        reap(false);
        std::lock_guard lock(mutex_);
        ++accepted_;
        Connection& connection = connections_.emplace_back();
        connection.thread = std::thread([this, fd, &connection] {
            serve(fd);
            // A half-close first, so the client reads everything sent before the end of the stream.
            shutdown(fd, SHUT_WR);
            close(fd);
            connection.done = true;
        });
    }
}

void HttpServer::reap(bool all) {
    std::list<Connection> finished;
    {
        std::lock_guard lock(mutex_);
        for (auto it = connections_.begin(); it != connections_.end();) {
            auto next = std::next(it);
            if (all || it->done) finished.splice(finished.end(), connections_, it);
            it = next;
        }
    }
    for (Connection& connection : finished)
        connection.thread.join();
}

void HttpServer::serve(int fd) {
    std::string buffer;
    for (;;) {
        size_t end;
        while ((end = buffer.find("\r\n\r\n")) == std::string::npos) {
            if (await(fd, POLLIN, wakeFd_) == Event::ShutDown) return;
            char chunk[4096];
            ssize_t n = recv(fd, chunk, sizeof chunk, 0);
            if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) return;
            if (n > 0) buffer.append(chunk, size_t(n));
        }
        HttpRequest request;
        std::string head = buffer.substr(0, end + 2);
        buffer.erase(0, end + 4);
        size_t lineEnd = head.find("\r\n");
        std::string line = head.substr(0, lineEnd);
        request.headers = head.substr(lineEnd + 2);
        size_t space1 = line.find(' ');
        size_t space2 = line.find(' ', space1 + 1);
        request.method = line.substr(0, space1);
        request.target = line.substr(space1 + 1, space2 - space1 - 1);
        {
            std::lock_guard lock(mutex_);
            requests_.push_back(request);
        }
        int now = ++inFlight_;
        int seen = maxInFlight_.load();
        while (now > seen && !maxInFlight_.compare_exchange_weak(seen, now)) {
        }
        HttpReply reply = handler_(request);
        bool keepOpen = answer(fd, request, reply);
        --inFlight_;
        if (!keepOpen) return;
    }
}

// Returns whether the connection stays open for another request.
bool HttpServer::answer(int fd, const HttpRequest& request, const HttpReply& reply) {
    if (reply.delay.count() > 0) {
        Event event = await(fd, 0, wakeFd_, Clock::now() + reply.delay);
        if (event == Event::HungUp) ++hangUps_;
        if (event != Event::TimedOut) return false;
    }
    if (reply.closeBeforeAnyByte) return false;
    bool hangUp = reply.sendOnly || reply.lengthByClose ||
                  strcasecmp(request.header("Connection").c_str(), "close") == 0;
    std::string head = "HTTP/1.1 " + std::to_string(reply.status) + " " + reply.reason + "\r\n";
    for (const auto& [name, value] : reply.headers)
        head += name + ": " + value + "\r\n";
    if (reply.chunked)
        head += "Transfer-Encoding: chunked\r\n";
    else if (!reply.lengthByClose)
        head += "Content-Length: " + std::to_string(reply.body.size()) + "\r\n";
    if (hangUp) head += "Connection: close\r\n";
    head += "\r\n";
    std::string body = reply.body;
    if (reply.sendOnly) body = body.substr(0, *reply.sendOnly);
    if (reply.chunked) {
        char size[24];
        std::snprintf(size, sizeof size, "%zx\r\n", body.size());
        body = size + body + "\r\n" + (reply.sendOnly ? "" : "0\r\n\r\n");
    }
    // One write for head and body, so a small reply is one segment.
    head.append(body);
    if (!sendAll(fd, head, wakeFd_)) return false;
    if (!reply.sendOnly) ++repliesSent_;
    return !hangUp;
}

ClosedPort::ClosedPort() {
    fd_ = loopbackSocket(false, port_);
}

ClosedPort::~ClosedPort() {
    close(fd_);
}

std::string ClosedPort::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port_) + path;
}

} // namespace vantor::test
