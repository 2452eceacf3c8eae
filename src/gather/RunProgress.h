#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

namespace vantor::gather {

// How far a run is and how long it still needs. A run is made of parts (shops, categories) finished in
// order; a part on the wire counts by its own steps (pages, items), so a long shop moves the bar too.
// Several parts can be on the wire at once.
class RunProgress {
public:
    using Clock = std::chrono::steady_clock;

    void start(int parts, Clock::time_point now);
    // Part `index` has done `done` of `expected` steps; the expectation may grow as the part learns more.
    void step(int index, int done, int expected);
    // The first `done` parts are finished.
    void finished(int done);

    int parts() const { return parts_; }
    // 0..1
    double fraction() const;
    // Nothing until enough of the run is behind it to judge by.
    std::optional<std::chrono::seconds> remaining(Clock::time_point now) const;

private:
    int parts_ = 0;
    int finished_ = 0;
    std::map<int, double> onTheWire_;
    Clock::time_point started_{};
};

// "预计还需约3分钟" and the like; while nothing can be said yet, that it is being estimated.
std::string remainingText(std::optional<std::chrono::seconds> remaining);

} // namespace vantor::gather
