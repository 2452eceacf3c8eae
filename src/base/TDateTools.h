#pragma once

#include "base/DateTime.h"

#include <cstdint>

namespace vantor::base {

// Differences between date-times in whole units. Stateless.
class TDateTools {
public:
    enum Unit { Seconds = 1, Minutes = 2, Hours = 3, Days = 4, Weeks = 5, Months = 6, Years = 7 };

    // a − b in the unit: days count calendar days (times of day ignored), weeks are those days / 7
    // truncated toward zero, months and years compare the calendar fields only; seconds, minutes and
    // hours are the day difference scaled and corrected by the clock fields down to that unit. Any
    // other unit gives 0.
    static std::int64_t difference(int unit, const DateTime& a, const DateTime& b);
};

} // namespace vantor::base

// Every layer speaks this vocabulary: it is named in vantor as it stands.
namespace vantor {
using namespace base;
} // namespace vantor
