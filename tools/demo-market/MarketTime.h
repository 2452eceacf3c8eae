#pragma once

#include <cstdint>
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

// The market's history: its sales and ratings lie in two calendar years and end "today".
MarketTime marketStart();
MarketTime marketNow();

// "yyyy-MM-dd HH:mm:ss", the program's one date-time form.
std::string formatDateTime(MarketTime t);
// "yyyy-MM-dd".
std::string formatDate(MarketTime t);

} // namespace vantor::demo
