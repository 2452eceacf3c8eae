// Launch to main window: how long the desktop program takes to show its main window while the update
// service is silent, refuses, answers slowly or answers at once. The window must never wait for it.
// Usage: startup_bench [runs]   (QT_QPA_PLATFORM=offscreen unless a display is set)
#include "../BenchSupport.h"
#include "base/Version.h"
#include "demo-market/HttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>
#include <optional>

using namespace vantor;
using namespace vantor::bench;

namespace {

// A port that refuses: bound so nobody else takes it, never listening.
struct RefusingPort {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    std::uint16_t port = 0;
    RefusingPort() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        socklen_t length = sizeof address;
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
        port = ntohs(address.sin_port);
    }
    ~RefusingPort() { close(fd); }
};

// An update service answering "own version" after `delay`.
std::unique_ptr<demo::HttpServer> service(std::chrono::milliseconds delay, demo::FaultPlan& faults) {
    return std::make_unique<demo::HttpServer>(
        demo::HttpServer::Options{},
        [delay](const demo::HttpRequest&) {
            demo::HttpResponse reply;
            reply.body = std::string(kVersion) + "|2026-11-20|x|nothing";
            reply.delay = delay;
            return reply;
        },
        faults, [](const demo::HttpRequest&) { return false; });
}

// Seconds from starting the program to its "shown" line.
double launch(const std::string& serviceUrl, const fs::path& data, bool keyed) {
    const auto start = Clock::now();
    std::string command = std::string("VANTOR_UPDATE_SERVICE=") + serviceUrl + " " +
                          (keyed ? "VANTOR_UPDATE_PUBLIC_KEY=" + std::string(64, 'a') + " " : "") +
                          VANTOR_DESKTOP + " --data-dir " + data.string() + " --quit-when-shown 2>/dev/null";
    FILE* pipe = popen(command.c_str(), "r");
    char line[64] = {};
    double seconds = -1;
    while (fgets(line, sizeof line, pipe))
        if (std::string(line).starts_with("shown")) {
            seconds = secondsSince(start);
            break;
        }
    pclose(pipe);
    return seconds;
}

} // namespace

int main(int argc, char** argv) {
    const int runs = argument(argc, argv, 1, 5);
    if (!getenv("DISPLAY")) setenv("QT_QPA_PLATFORM", "offscreen", 0);
    const fs::path data = scratchFolder("vantor-startup-bench");
    demo::FaultPlan faults;
    auto silent = service(std::chrono::minutes(10), faults);
    auto slow = service(std::chrono::seconds(3), faults);
    auto prompt = service(std::chrono::milliseconds(0), faults);
    RefusingPort refusing;
    auto at = [](std::uint16_t port) { return "http://127.0.0.1:" + std::to_string(port) + "/update"; };
    struct Case {
        const char* name;
        std::string url;
        bool keyed;
    };
    const Case cases[] = {{"no key (nothing asked)", at(prompt->port()), false},
                          {"silent service", at(silent->port()), true},
                          {"refusing service", at(refusing.port), true},
                          {"answer after 3 s", at(slow->port()), true},
                          {"answer at once", at(prompt->port()), true}};
    launch(at(prompt->port()), data, false); // the first start makes the data file
    std::printf("%-24s %10s %10s   (launch to main window, %d runs)\n", "update service", "median s", "max s",
                runs);
    for (const Case& c : cases) {
        std::vector<double> times;
        for (int i = 0; i < runs; ++i)
            times.push_back(launch(c.url, data, c.keyed));
        std::sort(times.begin(), times.end());
        std::printf("%-24s %10.3f %10.3f\n", c.name, times[times.size() / 2], times.back());
    }
    return 0;
}
