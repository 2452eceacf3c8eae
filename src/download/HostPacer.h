#pragma once

#include <chrono>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <unordered_map>

namespace vantor::download {

// Keeps the requests of the whole program to one host apart, whichever job or slot sends them: each
// request reserves the next free moment for its host and leaves no earlier.
class HostPacer {
public:
    using Clock = std::chrono::steady_clock;

    static HostPacer& shared();

    // The moment a request to host may leave: now, or interval after the request reserved before it.
    Clock::time_point reserve(const std::string& host, std::chrono::milliseconds interval);

private:
    std::mutex mutex_;
    std::unordered_map<std::string, Clock::time_point> last_;
};

// The host of an address, lower case, without port.
std::string hostOf(std::string_view url);

// Sleeps until the moment; false when a stop came first.
bool sleepUntil(HostPacer::Clock::time_point until, std::stop_token stop);

} // namespace vantor::download
