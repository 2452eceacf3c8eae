// What the benchmarks share: timing, processor time, peak memory, arguments and a scratch folder.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <sys/resource.h>
#include <vector>

namespace vantor::bench {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

inline double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// Processor seconds of this process (all threads) or of its finished children: on a shared machine the
// wall clock also counts other people's work.
inline double cpuSeconds(int who = RUSAGE_SELF) {
    rusage usage{};
    getrusage(who, &usage);
    return double(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           double(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

inline double peakMegabytes() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_maxrss) / 1024.0;
}

// One measurement: wall and processor seconds.
struct Timing {
    double wall;
    double cpu;
};

inline Timing measure(const std::function<void()>& work, int who = RUSAGE_SELF) {
    const double cpu = cpuSeconds(who);
    const auto start = Clock::now();
    work();
    return {secondsSince(start), cpuSeconds(who) - cpu};
}

// The fastest of a few runs: the machine's other load only ever adds time.
inline Timing bestOf(int runs, const std::function<void()>& work, int who = RUSAGE_SELF) {
    Timing best{1e9, 1e9};
    for (int i = 0; i < runs; ++i)
        if (Timing t = measure(work, who); t.wall < best.wall) best = t;
    return best;
}

inline Timing medianOf(std::vector<Timing> runs) {
    std::sort(runs.begin(), runs.end(), [](const Timing& a, const Timing& b) { return a.wall < b.wall; });
    return runs[runs.size() / 2];
}

// The n-th command-line argument as a number, or the default when it is not given.
inline int argument(int argc, char** argv, int n, int fallback) {
    return argc > n ? std::atoi(argv[n]) : fallback;
}

// An empty folder under the temporary directory, for the benchmark's files.
inline fs::path scratchFolder(const std::string& name) {
    fs::path dir = fs::temp_directory_path() / name;
    fs::remove_all(dir);
    fs::create_directories(dir);
    return dir;
}

} // namespace vantor::bench
