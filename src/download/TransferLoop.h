#pragma once

#include "FailureTally.h"
#include "SlotProgress.h"
#include "TDownBean.h"
#include "download/THttpAgent.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <stop_token>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

namespace vantor::download {

// Every request of the program's gathering carries this browser name.
inline constexpr const char* kUserAgent = "Mozilla/4.0 (compatible; MSIE 6.0; Windows 98; Maxthon)";

// What one page fetch brought: the body, or why there is none.
struct PageResult {
    std::string url;
    std::string body;
    bool arrived = false;
    std::string kind;    // why not: "ConnectError", "HttpError", "ReadTimeout", … "Aborted"
    std::string message; // libcurl's or the server's words
    DownFailure failure; // the reason by kind, the HTTP status, the pause the server asked for
};

// One page to fetch.
struct PageRequest {
    std::string url;
    std::shared_ptr<const THttpAgent> agent; // never null
    SlotProgress* gauge = nullptr;
    std::chrono::steady_clock::time_point notBefore{}; // a retry's pause
    // Asked after each piece of the body, on the loop's thread: true aborts the transfer.
    std::function<bool()> abandon;
    // Called once on the loop's thread when the page is in or has failed, unless cancelled first.
    std::function<void(PageResult&&)> done;
};

// All page transfers of the program on one thread: libcurl's multi interface waits on every socket at
// once, and a finished page goes to its request's callback from there. Nothing polls: the thread
// sleeps in the socket wait until a socket, a timer (a retry's pause, the host's interval, a read
// time-out) or a request from another thread wakes it. Connections are kept by the multi handle and
// reused by whichever request goes to the same place next.
class TransferLoop {
public:
    using Id = std::uint64_t;
    using Clock = std::chrono::steady_clock;

    static TransferLoop& shared();

    TransferLoop();
    ~TransferLoop();
    TransferLoop(const TransferLoop&) = delete;
    TransferLoop& operator=(const TransferLoop&) = delete;

    // From any thread.
    Id fetch(PageRequest request);
    // The request is dropped and its callback never called. From another thread, returns once the loop
    // has dropped it (or called the callback before).
    void cancel(Id id);
    // Runs the task on the loop's thread, after what was posted before it.
    void post(std::function<void()> task);
    bool onLoopThread() const { return std::this_thread::get_id() == threadId_; }

private:
    struct Transfer;

    void run(std::stop_token stop);
    void runTasks();
    void startDue(Clock::time_point now);
    void start(Transfer& transfer);
    void collect();
    void expireSilent(Clock::time_point now);
    int waitMs(Clock::time_point now) const;
    void finish(Id id, PageResult result);
    void drop(Id id);
    // The transfer out of the loop, off the wire, its bar at rest; null when there is none.
    std::unique_ptr<Transfer> takeOut(Id id);

    // libcurl's socket interface: it says which sockets to watch and when to call it back, and is told
    // which socket is ready, so a ready page costs no look at the other transfers.
    static int onSocket(void* easy, std::intptr_t socket, int what, void* self, void* socketData);
    static int onTimer(void* multi, long timeoutMs, void* self);
    // libcurl opens and closes its connections' sockets through the loop, so the loop knows that a
    // socket it still watches is the same socket (curl_socket_t, curlsocktype, curl_sockaddr*).
    static int onOpenSocket(void* self, int purpose, void* address);
    static int onCloseSocket(void* self, int socket);
    void waitForSockets(int timeoutMs);
    void wake();

    void* multi_; // CURLM*, only the loop touches it
    std::mutex mutex_;
    std::vector<std::function<void()>> tasks_;
    bool wakePending_ = false; // under mutex_: a byte is in the pipe
    int wakePipe_[2] = {-1, -1};
    // The loop's, by socket. A connection's socket stays in epoll with what it last waited for while it
    // rests in libcurl's cache, so that the next page on it costs no system call to watch it again.
    struct Watched {
        int wanted = 0;               // CURL_POLL_IN/OUT/INOUT, or 0 while libcurl does not watch it
        std::uint32_t registered = 0; // the events epoll has for it, 0 when not there
        bool opened = false;          // opened (and so closed) through the loop
    };
    std::unordered_map<int, Watched> sockets_;
    int epoll_ = -1;
    Clock::time_point curlDue_ = Clock::time_point::max();        // the loop's: when libcurl wants a call
    Id nextId_ = 1;                                               // under mutex_
    std::unordered_map<Id, std::unique_ptr<Transfer>> transfers_; // the loop's
    // The loop's: handles between requests, with the agent whose settings they hold.
    struct SpareHandle {
        void* easy; // CURL*
        std::shared_ptr<const THttpAgent> agent;
    };
    std::vector<SpareHandle> spareHandles_;
    std::thread::id threadId_;
    std::jthread thread_; // last
};

// One page fetched while the caller waits: a stop aborts it, and so does `abandon` turning true (asked
// as the body arrives). True when the page arrived; the result tells a failure's reason, and "Aborted"
// when a stop or the abandon ended it.
PageResult fetchPage(std::string url, std::shared_ptr<const THttpAgent> agent, SlotProgress* gauge,
                     std::stop_token stop, std::function<bool()> abandon = {});
// A result as the connection test and the update read it: "finish" with the page, or "stop" with the
// failure (and no error code when a stop ended it).
void fillBean(TDownBean& bean, PageResult&& result, bool stopped);
// fetchPage leaving its result in the bean.
bool fetchPage(std::string url, TDownBean& bean, std::shared_ptr<const THttpAgent> agent, SlotProgress* gauge,
               std::stop_token stop, std::function<bool()> abandon = {});

} // namespace vantor::download
