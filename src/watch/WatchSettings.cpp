#include "WatchSettings.h"

#include "ChangeReport.h"
#include "base/IniFile.h"

#include <cstdio>
#include <sstream>

namespace vantor::watch {

namespace {

std::string twoDigits(int n) {
    char text[8];
    std::snprintf(text, sizeof text, "%02d", n);
    return text;
}

// A path as systemd reads it in ExecStart: quoted, with its quotes and backslashes escaped.
std::string quoted(const std::filesystem::path& path) {
    std::string text = "\"";
    for (char c : path.string()) {
        if (c == '"' || c == '\\') text += '\\';
        if (c == '%') text += '%'; // systemd's specifier sign
        text += c;
    }
    return text + "\"";
}

} // namespace

std::string Schedule::text() const {
    switch (kind) {
    case Kind::Daily:
        return "daily " + twoDigits(hour) + ":" + twoDigits(minute);
    case Kind::EveryHours:
        return "every " + std::to_string(hours);
    default:
        return "off";
    }
}

std::optional<Schedule> Schedule::parse(const std::string& text) {
    Schedule schedule;
    if (text.empty() || text == "off") return schedule;
    int a = 0, b = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "daily %d:%d%c", &a, &b, &tail) == 2 && a >= 0 && a < 24 && b >= 0 &&
        b < 60) {
        schedule.kind = Kind::Daily;
        schedule.hour = a;
        schedule.minute = b;
        return schedule;
    }
    if (std::sscanf(text.c_str(), "every %d%c", &a, &tail) == 1 && a >= 1 && a <= 24) {
        schedule.kind = Kind::EveryHours;
        schedule.hours = a;
        return schedule;
    }
    return std::nullopt;
}

std::string Schedule::description() const {
    switch (kind) {
    case Kind::Daily:
        return "每天 " + twoDigits(hour) + ":" + twoDigits(minute);
    case Kind::EveryHours:
        return "每 " + std::to_string(hours) + " 小时";
    default:
        return "不自动更新";
    }
}

std::optional<DateTime> Schedule::next(const std::optional<DateTime>& last, const DateTime& now) const {
    switch (kind) {
    case Kind::Daily: {
        // Today's time, or tomorrow's when today's has passed since the last round.
        const std::string day = now.toString().substr(0, 10);
        auto due = DateTime::parse(day + " " + twoDigits(hour) + ":" + twoDigits(minute) + ":00");
        if (!due) return std::nullopt;
        const DateTime after = last ? *last : *DateTime::parse("1900-01-01 00:00:01");
        if (due->serialSeconds() <= after.serialSeconds()) due = due->addSeconds(86400);
        return due;
    }
    case Kind::EveryHours:
        return last ? last->addSeconds(std::int64_t(hours) * 3600) : now;
    default:
        return std::nullopt;
    }
}

std::string Schedule::onCalendar() const {
    if (kind == Kind::Daily) return "*-*-* " + twoDigits(hour) + ":" + twoDigits(minute) + ":00";
    return "*-*-* 00/" + std::to_string(hours) + ":00:00";
}

TimerUnits timerUnits(const Schedule& schedule, const std::filesystem::path& program,
                      const std::filesystem::path& dataFolder) {
    TimerUnits units;
    std::ostringstream service;
    service << "[Unit]\nDescription=Vantor 店铺监控：更新一轮\n\n"
            << "[Service]\nType=oneshot\nExecStart=" << quoted(program) << " --data-dir "
            << quoted(dataFolder) << " watch run\n";
    units.service = service.str();
    std::ostringstream timer;
    timer << "[Unit]\nDescription=Vantor 店铺监控（" << schedule.description() << "）\n\n"
          << "[Timer]\nOnCalendar=" << schedule.onCalendar() << "\nPersistent=true\nUnit=" << kTimerName
          << ".service\n\n[Install]\nWantedBy=timers.target\n";
    units.timer = timer.str();
    return units;
}

namespace {

double numberOr(const std::string& text, double fallback) {
    char* end = nullptr;
    const double value = std::strtod(text.c_str(), &end);
    return end && end != text.c_str() && *end == 0 && value >= 0 ? value : fallback;
}

} // namespace

Schedule WatchSettingsFile::schedule() const {
    try {
        return Schedule::parse(IniFile::load(path_).read("Watch", "Schedule", "off")).value_or(Schedule{});
    } catch (const std::exception&) {
        return {};
    }
}

AlertRules WatchSettingsFile::alertRules() const {
    AlertRules rules;
    try {
        const IniFile ini = IniFile::load(path_);
        rules.pricePercent = numberOr(ini.read("Watch", "PriceChangePercent", ""), rules.pricePercent);
        rules.salesFactor = numberOr(ini.read("Watch", "SalesSpikeFactor", ""), rules.salesFactor);
        rules.badRating = ini.read("Watch", "AlertBadRating", "1") != "0";
        rules.newItem = ini.read("Watch", "AlertNewItem", "1") != "0";
    } catch (const std::exception&) {
        // The defaults stand.
    }
    return rules;
}

void WatchSettingsFile::saveSchedule(const Schedule& schedule) const {
    IniFile ini = IniFile::load(path_);
    ini.write("Watch", "Schedule", schedule.text());
    ini.save(path_);
}

void WatchSettingsFile::saveAlertRules(const AlertRules& rules) const {
    IniFile ini = IniFile::load(path_);
    ini.write("Watch", "PriceChangePercent", money(rules.pricePercent));
    ini.write("Watch", "SalesSpikeFactor", money(rules.salesFactor));
    ini.write("Watch", "AlertBadRating", rules.badRating ? "1" : "0");
    ini.write("Watch", "AlertNewItem", rules.newItem ? "1" : "0");
    ini.save(path_);
}

} // namespace vantor::watch
