#include "HostPacer.h"

#include <algorithm>
#include <cctype>
#include <condition_variable>

namespace vantor::download {

HostPacer& HostPacer::shared() {
    static HostPacer pacer;
    return pacer;
}

HostPacer::Clock::time_point HostPacer::reserve(const std::string& host, std::chrono::milliseconds interval) {
    const auto now = Clock::now();
    std::lock_guard lock(mutex_);
    auto [entry, first] = last_.try_emplace(host, now);
    if (!first) entry->second = std::max(now, entry->second + interval);
    return entry->second;
}

std::string hostOf(std::string_view url) {
    if (size_t scheme = url.find("://"); scheme != std::string_view::npos) url.remove_prefix(scheme + 3);
    url = url.substr(0, url.find_first_of("/?#"));
    if (size_t at = url.rfind('@'); at != std::string_view::npos) url.remove_prefix(at + 1);
    url = url.substr(0, url.find(':'));
    std::string host(url);
    std::transform(host.begin(), host.end(), host.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return host;
}

bool sleepUntil(HostPacer::Clock::time_point until, std::stop_token stop) {
    if (HostPacer::Clock::now() < until) {
        std::mutex mutex;
        std::condition_variable_any never;
        std::unique_lock lock(mutex);
        never.wait_until(lock, stop, until, [] { return false; });
    }
    return !stop.stop_requested();
}

} // namespace vantor::download
