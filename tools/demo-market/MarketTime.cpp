#include "MarketTime.h"

#include <cstdio>
#include <ctime>

namespace vantor::demo {

// Howard Hinnant's civil calendar algorithms: exact for the proleptic Gregorian calendar.
std::int64_t daysFromCivil(CivilDate date) {
    const int y = date.year - (date.month <= 2 ? 1 : 0);
    const std::int64_t era = (y >= 0 ? y : y - 399) / 400;
    const unsigned yoe = static_cast<unsigned>(y - era * 400);
    const unsigned mp = static_cast<unsigned>(date.month + (date.month > 2 ? -3 : 9));
    const unsigned doy = (153 * mp + 2) / 5 + static_cast<unsigned>(date.day) - 1;
    const unsigned doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + static_cast<std::int64_t>(doe) - 719468;
}

CivilDate civilFromDays(std::int64_t days) {
    days += 719468;
    const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
    const unsigned doe = static_cast<unsigned>(days - era * 146097);
    const unsigned yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const unsigned doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const unsigned mp = (5 * doy + 2) / 153;
    const int day = static_cast<int>(doy - (153 * mp + 2) / 5 + 1);
    const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
    const int year = static_cast<int>(yoe) + static_cast<int>(era) * 400 + (month <= 2 ? 1 : 0);
    return {year, month, day};
}

int weekdayOfDays(std::int64_t days) {
    // 1970-01-01 was a Thursday.
    return static_cast<int>(((days % 7) + 7 + 4) % 7);
}

MarketCalendar MarketCalendar::endingOn(CivilDate today) {
    const std::int64_t day = daysFromCivil(today);
    return {(day - (kDays - 1)) * kSecondsPerDay, day * kSecondsPerDay + 20 * 3600 + 15 * 60};
}

CivilDate localToday() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday};
}

std::optional<CivilDate> parseDate(const std::string& text) {
    CivilDate date;
    char tail = 0;
    if (text.size() != 10 ||
        std::sscanf(text.c_str(), "%4d-%2d-%2d%c", &date.year, &date.month, &date.day, &tail) != 3)
        return std::nullopt;
    const CivilDate back = civilFromDays(daysFromCivil(date));
    if (back.year != date.year || back.month != date.month || back.day != date.day) return std::nullopt;
    return date;
}

namespace {

std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

} // namespace

std::int64_t dayOf(MarketTime t) {
    return floorDiv(t, kSecondsPerDay);
}

std::string formatDateTime(MarketTime t) {
    const std::int64_t days = floorDiv(t, kSecondsPerDay);
    const std::int64_t secs = t - days * kSecondsPerDay;
    const CivilDate d = civilFromDays(days);
    char buf[32];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", d.year, d.month, d.day,
                  static_cast<int>(secs / 3600), static_cast<int>(secs / 60 % 60),
                  static_cast<int>(secs % 60));
    return buf;
}

std::string formatDate(MarketTime t) {
    return formatDateTime(t).substr(0, 10);
}

} // namespace vantor::demo
