#pragma once

#include "base/DateTime.h"

#include <filesystem>
#include <optional>
#include <string>

namespace vantor::watch {

// Which changes of a round are marked 提醒, listed first and announced.
struct AlertRules {
    double pricePercent = 10; // a price change of at least this many percent
    bool badRating = true;    // any new 差评
    double salesFactor = 3;   // a shop's day of sales at least this many times its 7-day mean
    bool newItem = true;      // a new item
};

// When rounds run by themselves: daily at a time, every N hours, or not at all.
struct Schedule {
    enum class Kind { Off, Daily, EveryHours } kind = Kind::Off;
    int hour = 8, minute = 0; // Daily
    int hours = 24;           // EveryHours, 1..24

    // The settings file's form: "daily 08:30", "every 6", "off".
    std::string text() const;
    static std::optional<Schedule> parse(const std::string& text);
    // "每天 08:30", "每 6 小时", "不自动更新".
    std::string description() const;
    // The next round due after `last` (never run: now); nullopt when off.
    std::optional<DateTime> next(const std::optional<DateTime>& last, const DateTime& now) const;
    // systemd's OnCalendar= for the timer.
    std::string onCalendar() const;
};

// The systemd user units that run `watch run` on the schedule: a oneshot service and its timer, with
// Persistent=true so a round missed while the machine was off runs at the next start.
struct TimerUnits {
    std::string service;
    std::string timer;
};
TimerUnits timerUnits(const Schedule& schedule, const std::filesystem::path& program,
                      const std::filesystem::path& dataFolder);
inline constexpr const char* kTimerName = "vantor-watch";

// The [Watch] keys of the program's settings file (config.ini): defaults where a key is missing or
// unreadable; a save keeps every other key and raises std::runtime_error when the file cannot be
// written.
class WatchSettingsFile {
public:
    explicit WatchSettingsFile(std::filesystem::path path) : path_(std::move(path)) {}
    Schedule schedule() const;
    AlertRules alertRules() const;
    void saveSchedule(const Schedule& schedule) const;
    void saveAlertRules(const AlertRules& rules) const;

private:
    std::filesystem::path path_;
};

} // namespace vantor::watch
