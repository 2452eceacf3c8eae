#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vantor::base {

// A local (wall-clock) date and time to the second. Every date the program writes as text uses the one
// form "yyyy-MM-dd HH:mm:ss"; dates are compared and subtracted as wall-clock values, like the desktop
// program's own date arithmetic, so daylight-saving shifts never move a day boundary.
struct DateTime {
    int year = 1900;
    int month = 1;
    int day = 1;
    int hour = 0;
    int minute = 0;
    int second = 0;

    // Reads "yyyy-MM-dd HH:mm:ss", "yyyy-MM-dd HH:mm", "yyyy-MM-dd" (midnight) and the same with
    // single-digit fields or '/' as the date separator; nothing else. Fields are range-checked.
    static std::optional<DateTime> parse(std::string_view text);
    static DateTime now();
    static DateTime fromSerialSeconds(std::int64_t seconds);

    std::string toString() const;     // yyyy-MM-dd HH:mm:ss
    std::string toDateString() const; // yyyy-MM-dd

    // Seconds since 1970-01-01 00:00:00 of the same calendar, for differences and ordering.
    std::int64_t serialSeconds() const;
    std::int64_t serialDays() const; // whole days since 1970-01-01 of the date part
    int dayOfWeek() const;           // 1 = Sunday … 7 = Saturday
    int dayOfYear() const;           // 1-based

    DateTime addSeconds(std::int64_t seconds) const;
    DateTime addDays(int days) const { return addSeconds(std::int64_t(days) * 86400); }

    auto operator<=>(const DateTime&) const = default;
};

// The time used when nothing was saved before.
inline constexpr const char* kNeverSaved = "1900-01-01 00:00:01";

} // namespace vantor::base

// Every layer speaks this vocabulary: it is named in vantor as it stands.
namespace vantor {
using namespace base;
} // namespace vantor
