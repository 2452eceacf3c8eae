// Pages per second of a gathering job against a local server, with 1, 4 and 16 slots, next to the curl
// command line fetching the same addresses with as many parallel transfers.
//
//   download_bench [pages [rounds]]      (default 2000 pages, 3 rounds)
//
// Each figure is the fastest of the rounds, which alternate between the two, so that a burst of other
// load on the machine hits both alike and spoils as little as possible.

#include "../BenchSupport.h"
#include "download/PageJob.h"
#include "download/TransferLoop.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <unordered_map>
#include <vector>

using namespace vantor;
using namespace vantor::bench;

namespace {

struct Figures {
    double seconds = 0;
    double cpuSeconds = 0;    // the fetching process: driver and download threads, or curl
    double driverSeconds = 0; // the transfer loop's thread alone
    double serverSeconds = 0; // the local server's, which shares the machine's cores
};

Figures faster(const Figures& best, const Figures& next) {
    return best.seconds == 0 || next.seconds < best.seconds ? next : best;
}

double threadCpu() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return double(t.tv_sec) + double(t.tv_nsec) / 1e9;
}

// A page of the size of a small marketplace list page.
std::string pageBody() {
    std::string body = "<html><body>";
    while (body.size() < 4000)
        body += "<div class=\"item\"><a "
                "href=\"http://item.market.test/item.htm?id=1\">\xc9\xcc\xc6\xb7</a></div>\n";
    return body + "</body></html>";
}

// A core of its own for the server and one for the client, when the machine has two: neither steals
// the other's core, and neither migrates, so the rounds vary less.
void pinTo(int core) {
    if (getenv("DOWNLOAD_BENCH_UNPINNED") || sysconf(_SC_NPROCESSORS_ONLN) < 2) return;
    cpu_set_t cores;
    CPU_ZERO(&cores);
    CPU_SET(core, &cores);
    sched_setaffinity(0, sizeof cores, &cores);
}

// Answers every request on every connection with the same reply, on one thread: a server thread per
// connection, asleep between requests, had to be woken by each request, and over loopback the client's
// send pays for that wake-up, which is no part of fetching a page.
[[noreturn]] void serveWithOneThread(int listenFd, int lifeFd, const std::string& reply) {
    const int events = epoll_create1(EPOLL_CLOEXEC);
    for (int fd : {listenFd, lifeFd}) {
        epoll_event watch{EPOLLIN, {.fd = fd}};
        epoll_ctl(events, EPOLL_CTL_ADD, fd, &watch);
    }
    std::unordered_map<int, std::string> unanswered; // a connection's bytes after its last full request
    std::vector<char> chunk(1 << 16);
    epoll_event ready[64];
    for (;;) {
        const int count = epoll_wait(events, ready, 64, -1);
        for (int i = 0; i < count; ++i) {
            const int fd = ready[i].data.fd;
            if (fd == lifeFd) _exit(0); // the parent closed its end
            if (fd == listenFd) {
                for (int c; (c = accept4(listenFd, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC)) >= 0;) {
                    const int one = 1;
                    setsockopt(c, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
                    epoll_event watch{EPOLLIN, {.fd = c}};
                    epoll_ctl(events, EPOLL_CTL_ADD, c, &watch);
                }
                continue;
            }
            const ssize_t got = recv(fd, chunk.data(), chunk.size(), 0);
            if (got <= 0) {
                if (got < 0 && errno == EAGAIN) continue;
                unanswered.erase(fd);
                close(fd);
                continue;
            }
            std::string& in = unanswered[fd];
            in.append(chunk.data(), size_t(got));
            std::string out;
            size_t answered = 0;
            for (size_t end; (end = in.find("\r\n\r\n", answered)) != std::string::npos; answered = end + 4)
                out += reply;
            in.erase(0, answered);
            for (size_t sent = 0; sent < out.size();) {
                const ssize_t n = send(fd, out.data() + sent, out.size() - sent, MSG_NOSIGNAL);
                if (n > 0) {
                    sent += size_t(n);
                } else if (n < 0 && errno == EAGAIN) {
                    pollfd writable{fd, POLLOUT, 0};
                    poll(&writable, 1, 100);
                } else {
                    break;
                }
            }
        }
    }
}

// The server runs in a child process, so its work counts neither for the driver nor for curl.
class ServerProcess {
public:
    ServerProcess() {
        int lifePipe[2];
        if (pipe(lifePipe) != 0) std::exit(1);
        const int listenFd = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        if (listenFd < 0 || bind(listenFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            listen(listenFd, 128) != 0 ||
            getsockname(listenFd, reinterpret_cast<sockaddr*>(&address), &length) != 0)
            std::exit(1);
        port_ = ntohs(address.sin_port);
        pid_ = fork();
        if (pid_ == 0) {
            close(lifePipe[1]);
            pinTo(1);
            const std::string body = pageBody();
            serveWithOneThread(listenFd, lifePipe[0],
                               "HTTP/1.1 200 OK\r\nServer: vantor-bench\r\nContent-Type: text/html; "
                               "charset=GBK\r\nContent-Length: " +
                                   std::to_string(body.size()) + "\r\nConnection: keep-alive\r\n\r\n" + body);
        }
        close(listenFd);
        close(lifePipe[0]);
        lifeFd_ = lifePipe[1];
    }
    ~ServerProcess() {
        close(lifeFd_);
        waitpid(pid_, nullptr, 0);
    }
    std::string prefix() const { return "http://127.0.0.1:" + std::to_string(port_) + "/list-"; }

    // The server's CPU time so far (all its threads, in clock ticks).
    double cpuSeconds() const {
        std::ifstream stat("/proc/" + std::to_string(pid_) + "/stat");
        std::string line;
        std::getline(stat, line);
        std::istringstream fields(line.substr(line.rfind(')') + 2));
        std::string field;
        double ticks = 0;
        for (int n = 3; fields >> field && n <= 15; ++n)
            if (n >= 14) ticks += std::stod(field); // utime, stime
        return ticks / double(sysconf(_SC_CLK_TCK));
    }

private:
    pid_t pid_ = -1;
    int lifeFd_ = -1;
    std::uint16_t port_ = 0;
};

struct Counts {
    std::atomic<long> pages = 0;
    std::atomic<long> bytes = 0;
    double loopCpu = 0;

    // The handlers run on the transfer loop's thread: its CPU from the first page to the finish.
    download::PageJob::Handlers handlers() {
        download::PageJob::Handlers handlers;
        handlers.page = [this](download::PageKind, std::int32_t, const std::string& htmlCode) {
            if (pages++ == 0) loopCpu = -threadCpu();
            bytes += long(htmlCode.size());
        };
        handlers.finish = [this](download::PageKind) { loopCpu += threadCpu(); };
        return handlers;
    }
};

Figures runDriver(const ServerProcess& server, int pages, int slots) {
    const std::string prefix = server.prefix();
    TDownParamBean param;
    param.urlPrefix = prefix;
    param.urlSuffix = ".htm";
    param.curPage = 1;
    param.endPage = pages;
    THttpAgent agent;
    agent.ConnectTime = 3;
    param.httpAgent = std::make_shared<const THttpAgent>(agent);
    Counts counts;
    download::PageJob check(param, std::vector<download::SlotProgress*>(size_t(slots), nullptr), 1,
                            download::PageJob::kPlainMode, counts.handlers());
    const double serverBefore = server.cpuSeconds();
    Timing t = measure([&] {
        check.start();
        check.wait();
    });
    Figures figures{t.wall, t.cpu, counts.loopCpu, server.cpuSeconds() - serverBefore};
    if (counts.pages != pages || check.getStatus() != "0完成") {
        std::fprintf(stderr, "driver: %ld of %d pages, status %s\n", counts.pages.load(), pages,
                     std::string(check.getStatus()).c_str());
        std::exit(1);
    }
    return figures;
}

Figures runCurl(const ServerProcess& server, int pages, int slots) {
    const std::string prefix = server.prefix();
    char name[] = "/tmp/vantor-bench-urls-XXXXXX";
    int fd = mkstemp(name);
    close(fd);
    {
        std::ofstream list(name);
        for (int page = 1; page <= pages; ++page)
            list << "url = \"" << prefix << page << ".htm\"\noutput = \"/dev/null\"\n";
    }
    const std::string command = "curl --silent --no-progress-meter --fail --noproxy '*' --parallel "
                                "--parallel-immediate --parallel-max " +
                                std::to_string(slots) + " --config " + name + " --user-agent '" +
                                download::kUserAgent + "'";
    int status = 0;
    const double serverBefore = server.cpuSeconds();
    Timing t = measure([&] { status = std::system(command.c_str()); }, RUSAGE_CHILDREN);
    const double serverSeconds = server.cpuSeconds() - serverBefore;
    unlink(name);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "curl failed\n");
        std::exit(1);
    }
    return {t.wall, t.cpu, 0, serverSeconds};
}

} // namespace

int main(int argc, char** argv) {
    int pages = argument(argc, argv, 1, 2000);
    int rounds = std::max(1, argument(argc, argv, 2, 3));
    ServerProcess server;
    pinTo(0);                 // before the transfer loop's thread starts, which inherits it, as curl does
    runDriver(server, 50, 4); // warm-up: libcurl's start, the server's first threads

    std::printf("%d pages of %zu bytes from a local server, fastest of %d rounds\n\n", pages,
                pageBody().size(), rounds);
    std::printf("slots  driver pages/s  curl pages/s  ratio  ms/page  CPU us/page whole process  "
                "loop thread  curl  server (driver, curl)\n");
    for (int slots : {1, 4, 16}) {
        Figures ours;
        Figures curl;
        for (int round = 0; round < rounds; ++round) {
            ours = faster(ours, runDriver(server, pages, slots));
            curl = faster(curl, runCurl(server, pages, slots));
        }
        double ourRate = pages / ours.seconds;
        double curlRate = pages / curl.seconds;
        std::printf("%5d  %14.0f  %12.0f  %5.2f  %7.3f  %26.1f  %11.1f  %5.1f  %6.1f, %4.1f\n", slots,
                    ourRate, curlRate, ourRate / curlRate, 1000.0 * ours.seconds / pages,
                    1e6 * ours.cpuSeconds / pages, 1e6 * ours.driverSeconds / pages,
                    1e6 * curl.cpuSeconds / pages, 1e6 * ours.serverSeconds / pages,
                    1e6 * curl.serverSeconds / pages);
    }
    return 0;
}
