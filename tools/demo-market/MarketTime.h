#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace vantor::demo {

// Times of the demo market: seconds since 1970-01-01 00:00:00, on a clock without time zones, so
// a seed gives the same dates on every machine.
using MarketTime = std::int64_t;

struct CivilDate {
    int year = 1970;
    int month = 1;
    int day = 1;
};

std::int64_t daysFromCivil(CivilDate date);
CivilDate civilFromDays(std::int64_t days);
// 0 = Sunday .. 6 = Saturday.
int weekdayOfDays(std::int64_t days);

inline constexpr std::int64_t kSecondsPerDay = 86400;

// The day a time falls on, as days since 1970-01-01 (earlier times give negative days).
std::int64_t dayOf(MarketTime t);

// What a model of the market shows: the 730 days that end "today" at 20:15. The history itself is
// one for a seed whatever the day (see MarketModel); the calendar only says which part of it shows.
struct MarketCalendar {
    static constexpr int kDays = 730;
    MarketTime start = 0; // 00:00 on the first day shown
    MarketTime now = 0;   // 20:15 today: nothing later shows

    std::int64_t firstDay() const { return dayOf(start); }
    std::int64_t today() const { return dayOf(now); }

    static MarketCalendar endingOn(CivilDate today);
};

// The local date of this machine, the default "today" of the market.
CivilDate localToday();
// "yyyy-MM-dd" of a real date; nullopt for anything else.
std::optional<CivilDate> parseDate(const std::string& text);

// "yyyy-MM-dd HH:mm:ss", the program's one date-time form.
std::string formatDateTime(MarketTime t);
// "yyyy-MM-dd".
std::string formatDate(MarketTime t);

} // namespace vantor::demo
