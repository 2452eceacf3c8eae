#include "TransferLoop.h"

#include "HostPacer.h"
#include "WireAddress.h"
#include "base/TextNumbers.h"

#include <curl/curl.h>
#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <climits>
#include <ctime>
#include <future>
#include <stdexcept>

namespace vantor::download {
namespace {

using std::chrono::milliseconds;

// The configured time-outs come on top of these bases, never in their place.
constexpr std::int64_t kConnectBaseMs = 60000;
constexpr std::int64_t kReadBaseMs = 30000;
constexpr long kMaxRedirects = 10;
// The longest socket wait; a request from another thread wakes it at once anyway.
constexpr int kLongestWaitMs = 1000;

// The time of the last byte, read at every header line and body piece: the silence it bounds lasts 30 s
// and more, so the coarse clock (a few ms, no read of the processor's counter) serves.
// (steady_clock is CLOCK_MONOTONIC, of which this is the coarse reading.)
std::chrono::steady_clock::time_point roughNow() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return std::chrono::steady_clock::time_point(
        std::chrono::duration_cast<std::chrono::steady_clock::duration>(
            std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec)));
}

CURLM* multiOf(void* handle) {
    return static_cast<CURLM*>(handle);
}

FailReason reasonOf(const std::string& kind) {
    if (kind == "ConnectError") return FailReason::Refused;
    if (kind == "ConnectTimeout" || kind == "ReadTimeout") return FailReason::TimedOut;
    if (kind == "HttpError") return FailReason::HttpStatus;
    if (kind == "Truncated") return FailReason::CutShort;
    if (kind == "ConnectionClosed") return FailReason::Closed;
    if (kind == "ResolveError") return FailReason::Unresolved;
    return FailReason::Other;
}

// Retry-After as seconds or as an HTTP date; -1 when it says neither.
std::int64_t retryAfterMs(const std::string& value) {
    if (value.empty()) return -1;
    if (std::all_of(value.begin(), value.end(), [](unsigned char c) { return std::isdigit(c); }))
        return value.size() > 9 ? INT32_MAX : std::stoll(value) * 1000;
    time_t when = curl_getdate(value.c_str(), nullptr);
    if (when < 0) return -1;
    return std::max<std::int64_t>(0, (std::int64_t(when) - std::int64_t(time(nullptr))) * 1000);
}

// Header names and their values' words are matched without regard to case.
bool namedAs(std::string_view line, std::string_view name) {
    return sameName(line.substr(0, name.size()), name);
}

bool hasWord(std::string_view line, std::string_view word) {
    for (size_t at = 0; at + word.size() <= line.size(); ++at)
        if (sameName(line.substr(at, word.size()), word)) return true;
    return false;
}

long clampMs(std::int64_t ms) {
    return long(std::clamp<std::int64_t>(ms, 1, LONG_MAX));
}

std::string kindOf(CURLcode result, bool connected) {
    switch (result) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
        return "ResolveError";
    case CURLE_COULDNT_CONNECT:
        return "ConnectError";
    case CURLE_OPERATION_TIMEDOUT:
        return connected ? "ReadTimeout" : "ConnectTimeout";
    case CURLE_TOO_MANY_REDIRECTS:
        return "RedirectError";
    case CURLE_GOT_NOTHING:
    case CURLE_RECV_ERROR:
    case CURLE_SEND_ERROR:
        return "ConnectionClosed";
    case CURLE_PARTIAL_FILE:
        return "Truncated";
    default:
        return "CurlError";
    }
}

PageResult failed(std::string url, std::string kind, std::string message, DownFailure detail = {}) {
    PageResult result;
    result.url = std::move(url);
    if (detail.reason == FailReason::None) detail.reason = reasonOf(kind);
    result.kind = std::move(kind);
    result.message = std::move(message);
    result.failure = detail;
    return result;
}

} // namespace

// A request and, once it is on the wire, what its transfer has seen so far.
struct TransferLoop::Transfer {
    Id id = 0;
    PageRequest request;
    CURL* easy = nullptr; // on the wire
    bool paced = false;   // the host's interval has been reserved
    long readTimeoutMs = 0;
    char errorBuffer[CURL_ERROR_SIZE] = {};
    std::string body;
    std::string statusLine;
    std::string retryAfter;
    bool begun = false;
    bool framed = false; // the head announced where the body ends
    bool connected = false;
    bool abandoned = false;
    Clock::time_point lastByte = Clock::now();

    static size_t onBody(char* data, size_t size, size_t count, void* user) {
        auto& self = *static_cast<Transfer*>(user);
        const size_t length = size * count;
        if (!self.begun) {
            self.begun = true;
            curl_off_t announced = -1;
            curl_easy_getinfo(self.easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
            if (announced > 0) self.body.reserve(size_t(std::min<curl_off_t>(announced, 64 << 20)));
            if (self.request.gauge) self.request.gauge->begin(announced > 0 ? announced : 0);
        }
        self.body.append(data, length);
        self.lastByte = roughNow();
        if (self.request.gauge) self.request.gauge->advance(std::int64_t(self.body.size()));
        if (self.request.abandon && self.request.abandon()) {
            self.abandoned = true;
            return 0; // libcurl ends the transfer with a write error
        }
        return length;
    }

    static size_t onHeader(char* data, size_t size, size_t count, void* user) {
        auto& self = *static_cast<Transfer*>(user);
        std::string_view line(data, size * count);
        self.lastByte = roughNow();
        if (line.starts_with("HTTP/")) {
            while (!line.empty() && (line.back() == '\r' || line.back() == '\n'))
                line.remove_suffix(1);
            self.statusLine = line;
            self.framed = false; // a redirect's or proxy's head said nothing of this body
            self.retryAfter.clear();
        } else {
            if (namedAs(line, "content-length:") ||
                (namedAs(line, "transfer-encoding:") && hasWord(line, "chunked")))
                self.framed = true;
            if (namedAs(line, "retry-after:")) self.retryAfter = trimSpace(line.substr(12));
        }
        return size * count;
    }

    // The connection (to the server or the proxy) stands: from now on the read time-out counts.
    static int onConnected(void* user, char*, char*, int, int) {
        auto& self = *static_cast<Transfer*>(user);
        self.connected = true;
        self.lastByte = Clock::now();
        return CURL_PREREQFUNC_OK;
    }

    // What every request of one agent shares; kept on the handle from page to page.
    void configureFor(const THttpAgent& agent, TransferLoop& loop) {
        curl_easy_setopt(easy, CURLOPT_OPENSOCKETFUNCTION, &TransferLoop::onOpenSocket);
        curl_easy_setopt(easy, CURLOPT_OPENSOCKETDATA, &loop);
        curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, &TransferLoop::onCloseSocket);
        curl_easy_setopt(easy, CURLOPT_CLOSESOCKETDATA, &loop);
        curl_easy_setopt(easy, CURLOPT_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(easy, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
        curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
        // The settings alone say which way a page goes: no exception list from the environment lets a
        // host past the chosen proxy (and libcurl no longer reads it at every request).
        curl_easy_setopt(easy, CURLOPT_NOPROXY, "");
        if (agent.AgentType) {
            curl_easy_setopt(easy, CURLOPT_PROXY, agent.Server.c_str());
            curl_easy_setopt(easy, CURLOPT_PROXYPORT, long(agent.Port));
            // An empty user would still send an (empty) authorisation header.
            if (!agent.User.empty() || !agent.Password.empty()) {
                curl_easy_setopt(easy, CURLOPT_PROXYUSERNAME, agent.User.c_str());
                curl_easy_setopt(easy, CURLOPT_PROXYPASSWORD, agent.Password.c_str());
            }
        } else {
            // Not even a proxy named in the environment.
            curl_easy_setopt(easy, CURLOPT_PROXY, "");
        }
        curl_easy_setopt(easy, CURLOPT_USERAGENT, kUserAgent);
        curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT_MS, clampMs(agent.ConnectTimeOut + kConnectBaseMs));
        curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
        curl_easy_setopt(easy, CURLOPT_MAXREDIRS, kMaxRedirects);
        curl_easy_setopt(easy, CURLOPT_FAILONERROR, 1L);
        curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Transfer::onBody);
        curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &Transfer::onHeader);
        curl_easy_setopt(easy, CURLOPT_PREREQFUNCTION, &Transfer::onConnected);
    }

    // What is this request's own.
    void bind() {
        readTimeoutMs = clampMs(request.agent->ReadTimeOut + kReadBaseMs);
        const std::string wire = wireAddress(request.url);
        curl_easy_setopt(easy, CURLOPT_URL, wire.c_str());
        curl_easy_setopt(easy, CURLOPT_ERRORBUFFER, errorBuffer);
        curl_easy_setopt(easy, CURLOPT_WRITEDATA, this);
        curl_easy_setopt(easy, CURLOPT_HEADERDATA, this);
        curl_easy_setopt(easy, CURLOPT_PREREQDATA, this);
        curl_easy_setopt(easy, CURLOPT_PRIVATE, this);
    }

    PageResult verdict(CURLcode code) {
        long status = 0;
        curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
        if (abandoned) return failed(request.url, "Aborted", "the download was abandoned");
        if (status >= 400 || code == CURLE_HTTP_RETURNED_ERROR)
            return failed(request.url, "HttpError",
                          statusLine.empty() ? "HTTP status " + std::to_string(status) : statusLine,
                          DownFailure{FailReason::HttpStatus, int(status), retryAfterMs(retryAfter)});
        // A body whose end the server announced (a length, or chunks) and never reached is half a page:
        // parsing it would lose rows without a word. Only a body that ends where the server hangs up is
        // whole when the connection goes.
        const bool disconnected = code == CURLE_RECV_ERROR && !framed;
        if (code == CURLE_OK || (disconnected && !body.empty())) {
            PageResult result;
            result.url = request.url;
            result.body = std::move(body);
            result.arrived = true;
            return result;
        }
        std::string message = errorBuffer[0] ? errorBuffer : curl_easy_strerror(code);
        // A framed body that stops with the connection is a page cut short, like a short length.
        std::string kind =
            code == CURLE_RECV_ERROR && framed && !body.empty() ? "Truncated" : kindOf(code, connected);
        return failed(request.url, std::move(kind), std::move(message));
    }
};

TransferLoop& TransferLoop::shared() {
    static TransferLoop loop;
    return loop;
}

TransferLoop::TransferLoop() {
    // Made first, so that the pacer outlives the loop's thread at the program's exit.
    HostPacer::shared();
    curl_global_init(CURL_GLOBAL_DEFAULT);
    multi_ = curl_multi_init();
    epoll_ = epoll_create1(EPOLL_CLOEXEC);
    if (!multi_ || epoll_ < 0 || pipe2(wakePipe_, O_NONBLOCK | O_CLOEXEC) != 0)
        throw std::runtime_error("the transfer loop could not start");
    epoll_event wakeUp{EPOLLIN, {.fd = wakePipe_[0]}};
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, wakePipe_[0], &wakeUp) != 0)
        throw std::runtime_error("the transfer loop could not start");
    curl_multi_setopt(multiOf(multi_), CURLMOPT_SOCKETFUNCTION, &TransferLoop::onSocket);
    curl_multi_setopt(multiOf(multi_), CURLMOPT_SOCKETDATA, this);
    curl_multi_setopt(multiOf(multi_), CURLMOPT_TIMERFUNCTION, &TransferLoop::onTimer);
    curl_multi_setopt(multiOf(multi_), CURLMOPT_TIMERDATA, this);
    // libcurl's cache keeps four connections per transfer under way; whenever fewer were under way it
    // closed idle ones that the next pages then opened anew (a connection per 57 pages at 16 slots).
    curl_multi_setopt(multiOf(multi_), CURLMOPT_MAXCONNECTS, long(4 * kMaxSlots));
    std::promise<std::thread::id> started;
    auto id = started.get_future();
    thread_ = std::jthread([this, &started](std::stop_token stop) {
        started.set_value(std::this_thread::get_id());
        run(stop);
    });
    threadId_ = id.get();
}

TransferLoop::~TransferLoop() {
    thread_.request_stop();
    wake();
    thread_.join();
    for (auto& [id, transfer] : transfers_)
        if (transfer->easy) {
            curl_multi_remove_handle(multiOf(multi_), transfer->easy);
            curl_easy_cleanup(transfer->easy);
        }
    for (auto& spare : spareHandles_)
        curl_easy_cleanup(static_cast<CURL*>(spare.easy));
    curl_multi_cleanup(multiOf(multi_));
    close(wakePipe_[0]);
    close(wakePipe_[1]);
    close(epoll_);
}

TransferLoop::Id TransferLoop::fetch(PageRequest request) {
    Id id;
    {
        std::lock_guard lock(mutex_);
        id = nextId_++;
    }
    auto transfer = std::make_unique<Transfer>();
    transfer->id = id;
    transfer->request = std::move(request);
    // On the loop's thread at once, so that a cancel right after it finds the request.
    if (onLoopThread()) {
        transfers_.emplace(id, std::move(transfer));
    } else {
        auto handed = std::make_shared<std::unique_ptr<Transfer>>(std::move(transfer));
        post([this, handed] { transfers_.emplace((*handed)->id, std::move(*handed)); });
    }
    return id;
}

void TransferLoop::cancel(Id id) {
    if (onLoopThread()) {
        drop(id);
        return;
    }
    std::promise<void> dropped;
    post([this, id, &dropped] {
        drop(id);
        dropped.set_value();
    });
    dropped.get_future().wait();
}

void TransferLoop::post(std::function<void()> task) {
    {
        std::lock_guard lock(mutex_);
        tasks_.push_back(std::move(task));
    }
    if (!onLoopThread()) wake();
}

void TransferLoop::wake() {
    {
        std::lock_guard lock(mutex_);
        if (wakePending_) return;
        wakePending_ = true;
    }
    const char byte = 1;
    [[maybe_unused]] const auto written = write(wakePipe_[1], &byte, 1);
}

int TransferLoop::onSocket(void*, std::intptr_t socket, int what, void* self, void*) {
    auto& loop = *static_cast<TransferLoop*>(self);
    const int fd = int(socket);
    Watched& watched = loop.sockets_[fd];
    if (what == CURL_POLL_REMOVE) {
        watched.wanted = 0;
        // Another socket (the resolver's) may be closed behind the loop's back: out of epoll now.
        if (!watched.opened) {
            if (watched.registered) epoll_ctl(loop.epoll_, EPOLL_CTL_DEL, fd, nullptr);
            loop.sockets_.erase(fd);
        }
        return 0;
    }
    watched.wanted = what;
    const std::uint32_t events = (what == CURL_POLL_IN || what == CURL_POLL_INOUT ? EPOLLIN : 0u) |
                                 (what == CURL_POLL_OUT || what == CURL_POLL_INOUT ? EPOLLOUT : 0u);
    if (watched.opened && watched.registered == events) return 0;
    epoll_event wanted{events, {.fd = fd}};
    if (epoll_ctl(loop.epoll_, watched.registered ? EPOLL_CTL_MOD : EPOLL_CTL_ADD, fd, &wanted) != 0)
        epoll_ctl(loop.epoll_, watched.registered ? EPOLL_CTL_ADD : EPOLL_CTL_MOD, fd, &wanted);
    watched.registered = events;
    return 0;
}

int TransferLoop::onOpenSocket(void* self, int, void* address) {
    const auto& to = *static_cast<curl_sockaddr*>(address);
    const int fd = ::socket(to.family, to.socktype | SOCK_CLOEXEC, to.protocol);
    if (fd < 0) return CURL_SOCKET_BAD;
    static_cast<TransferLoop*>(self)->sockets_[fd] = Watched{0, 0, true};
    return fd;
}

int TransferLoop::onCloseSocket(void* self, int socket) {
    auto& loop = *static_cast<TransferLoop*>(self);
    // Out of epoll first: a child process forked meanwhile may hold the socket open after this close.
    if (auto found = loop.sockets_.find(socket); found != loop.sockets_.end()) {
        if (found->second.registered) epoll_ctl(loop.epoll_, EPOLL_CTL_DEL, socket, nullptr);
        loop.sockets_.erase(found);
    }
    return close(socket);
}

int TransferLoop::onTimer(void*, long timeoutMs, void* self) {
    auto& loop = *static_cast<TransferLoop*>(self);
    loop.curlDue_ = timeoutMs < 0 ? Clock::time_point::max() : Clock::now() + milliseconds(timeoutMs);
    return 0;
}

std::unique_ptr<TransferLoop::Transfer> TransferLoop::takeOut(Id id) {
    auto found = transfers_.find(id);
    if (found == transfers_.end()) return nullptr;
    std::unique_ptr<Transfer> transfer = std::move(found->second);
    transfers_.erase(found);
    if (transfer->easy) {
        curl_multi_remove_handle(multiOf(multi_), transfer->easy);
        if (transfer->request.gauge) transfer->request.gauge->end();
        spareHandles_.push_back({transfer->easy, transfer->request.agent});
    }
    return transfer;
}

void TransferLoop::drop(Id id) {
    takeOut(id);
}

void TransferLoop::run(std::stop_token stop) {
    CURLM* multi = multiOf(multi_);
    while (!stop.stop_requested()) {
        runTasks();
        startDue(Clock::now());
        // A transfer just started asks to be driven at once: read the clock after it.
        auto now = Clock::now();
        if (curlDue_ <= now) {
            curlDue_ = Clock::time_point::max();
            int running = 0;
            curl_multi_socket_action(multi, CURL_SOCKET_TIMEOUT, 0, &running);
        }
        collect();
        now = Clock::now();
        expireSilent(now);
        // Callbacks may have asked for more: look at the queue before sleeping.
        {
            std::lock_guard lock(mutex_);
            if (!tasks_.empty()) continue;
        }
        waitForSockets(waitMs(now));
        collect();
    }
}

void TransferLoop::waitForSockets(int timeoutMs) {
    epoll_event ready[64];
    const int count = epoll_wait(epoll_, ready, 64, timeoutMs);
    for (int i = 0; i < count; ++i) {
        const int fd = ready[i].data.fd;
        const std::uint32_t got = ready[i].events;
        if (fd == wakePipe_[0]) {
            char drain[64];
            while (read(wakePipe_[0], drain, sizeof drain) > 0) {
            }
            std::lock_guard lock(mutex_);
            wakePending_ = false;
            continue;
        }
        auto found = sockets_.find(fd);
        if (found == sockets_.end() || !found->second.wanted) {
            // A resting connection the server wrote to or closed: libcurl finds out when it takes it.
            epoll_ctl(epoll_, EPOLL_CTL_DEL, fd, nullptr);
            if (found != sockets_.end()) found->second.registered = 0;
            continue;
        }
        int mask = 0;
        if (got & (EPOLLIN | EPOLLHUP | EPOLLRDHUP)) mask |= CURL_CSELECT_IN;
        if (got & EPOLLOUT) mask |= CURL_CSELECT_OUT;
        if (got & EPOLLERR) mask |= CURL_CSELECT_ERR;
        int running = 0;
        curl_multi_socket_action(multiOf(multi_), fd, mask, &running);
    }
}

void TransferLoop::runTasks() {
    std::vector<std::function<void()>> tasks;
    {
        std::lock_guard lock(mutex_);
        tasks.swap(tasks_);
    }
    for (auto& task : tasks)
        task();
}

void TransferLoop::startDue(Clock::time_point now) {
    for (auto& [id, transfer] : transfers_) {
        Transfer& t = *transfer;
        if (t.easy || t.request.notBefore > now) continue;
        const auto interval = milliseconds(std::max<std::int64_t>(t.request.agent->MinInterval, 0));
        if (!t.paced && interval.count() > 0) {
            // Reserved when the request may leave, so a retry's pause and the host's interval add up.
            t.paced = true;
            t.request.notBefore = HostPacer::shared().reserve(hostOf(t.request.url), interval);
            if (t.request.notBefore > now) continue;
        }
        start(t);
    }
}

void TransferLoop::start(Transfer& transfer) {
    // A spare handle of the same agent keeps its settings; another one's gets every option anew. The
    // connections stay with the multi handle either way.
    CURL* easy = nullptr;
    bool configured = false;
    auto same = std::find_if(spareHandles_.rbegin(), spareHandles_.rend(),
                             [&](const SpareHandle& spare) { return spare.agent == transfer.request.agent; });
    if (same != spareHandles_.rend()) {
        easy = static_cast<CURL*>(same->easy);
        configured = true;
        spareHandles_.erase(std::next(same).base());
    } else if (!spareHandles_.empty()) {
        easy = static_cast<CURL*>(spareHandles_.back().easy);
        spareHandles_.pop_back();
        curl_easy_reset(easy);
    } else {
        easy = curl_easy_init();
    }
    if (!easy) {
        post([this, id = transfer.id, url = transfer.request.url] {
            finish(id, failed(url, "CurlError", "libcurl could not make a handle"));
        });
        transfer.request.notBefore = Clock::time_point::max(); // not again until the failure is out
        return;
    }
    transfer.easy = easy;
    if (!configured) transfer.configureFor(*transfer.request.agent, *this);
    transfer.bind();
    transfer.lastByte = Clock::now();
    if (transfer.request.gauge) transfer.request.gauge->waiting();
    curl_multi_add_handle(multiOf(multi_), easy);
}

void TransferLoop::collect() {
    int queued = 0;
    while (CURLMsg* message = curl_multi_info_read(multiOf(multi_), &queued)) {
        if (message->msg != CURLMSG_DONE) continue;
        Transfer* transfer = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
        if (!transfer) continue;
        const CURLcode code = message->data.result;
        finish(transfer->id, transfer->verdict(code));
    }
}

void TransferLoop::expireSilent(Clock::time_point now) {
    std::vector<Id> silent;
    for (auto& [id, transfer] : transfers_)
        if (transfer->easy && transfer->connected &&
            now - transfer->lastByte >= milliseconds(transfer->readTimeoutMs))
            silent.push_back(id);
    for (Id id : silent) {
        // An earlier one's callback may have dropped it.
        auto found = transfers_.find(id);
        if (found == transfers_.end()) continue;
        const Transfer& transfer = *found->second;
        finish(id, failed(transfer.request.url, "ReadTimeout",
                          "no data received for " + std::to_string(transfer.readTimeoutMs) + " ms"));
    }
}

int TransferLoop::waitMs(Clock::time_point now) const {
    auto wait = milliseconds(kLongestWaitMs);
    if (curlDue_ != Clock::time_point::max())
        wait = std::min(wait, std::chrono::ceil<milliseconds>(curlDue_ - now));
    for (const auto& [id, transfer] : transfers_) {
        const auto until =
            transfer->easy ? (transfer->connected ? transfer->lastByte + milliseconds(transfer->readTimeoutMs)
                                                  : Clock::time_point::max())
                           : transfer->request.notBefore;
        if (until == Clock::time_point::max()) continue;
        wait = std::min(wait, std::chrono::ceil<milliseconds>(until - now));
    }
    return int(std::max<std::int64_t>(wait.count(), 0));
}

void TransferLoop::finish(Id id, PageResult result) {
    std::unique_ptr<Transfer> transfer = takeOut(id);
    // Last: the callback may start the next page at once.
    if (transfer && transfer->request.done) transfer->request.done(std::move(result));
}

PageResult fetchPage(std::string url, std::shared_ptr<const THttpAgent> agent, SlotProgress* gauge,
                     std::stop_token stop, std::function<bool()> abandon) {
    struct Outcome {
        std::mutex mutex;
        std::condition_variable_any arrived;
        std::optional<PageResult> result;
    };
    auto outcome = std::make_shared<Outcome>();
    TransferLoop& loop = TransferLoop::shared();
    PageRequest request;
    request.url = url;
    request.agent = std::move(agent);
    request.gauge = gauge;
    request.abandon = std::move(abandon);
    request.done = [outcome](PageResult&& result) {
        {
            std::lock_guard lock(outcome->mutex);
            outcome->result = std::move(result);
        }
        outcome->arrived.notify_all();
    };
    const TransferLoop::Id id = loop.fetch(std::move(request));
    {
        std::unique_lock lock(outcome->mutex);
        outcome->arrived.wait(lock, stop, [&] { return outcome->result.has_value(); });
    }
    // After the cancel the callback has run or never will.
    if (stop.stop_requested()) loop.cancel(id);
    std::lock_guard lock(outcome->mutex);
    if (outcome->result && !stop.stop_requested()) return std::move(*outcome->result);
    return failed(std::move(url), "Aborted", "the download was stopped");
}

bool fetchPage(std::string url, TDownBean& bean, std::shared_ptr<const THttpAgent> agent, SlotProgress* gauge,
               std::stop_token stop, std::function<bool()> abandon) {
    bean.setStatus(PageStatus::Init);
    PageResult result = fetchPage(std::move(url), std::move(agent), gauge, stop, std::move(abandon));
    const bool arrived = result.arrived;
    fillBean(bean, std::move(result), stop.stop_requested());
    return arrived;
}

void fillBean(TDownBean& bean, PageResult&& result, bool stopped) {
    bean.setHtmlCode(std::move(result.body));
    bean.setErrorCode(result.arrived || stopped ? std::string() : std::string(kDownErrorCode));
    bean.setErrorInfo(result.arrived ? std::string() : result.kind + "-" + result.message);
    bean.setFailure(result.failure);
    bean.setUrl(std::move(result.url));
    bean.setStatus(result.arrived ? PageStatus::Finish : PageStatus::Stop); // last: the bean is read by it
}

} // namespace vantor::download
