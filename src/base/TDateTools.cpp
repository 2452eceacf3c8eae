#include "TDateTools.h"

namespace vantor::base {

std::int64_t TDateTools::difference(int unit, const DateTime& a, const DateTime& b) {
    const std::int64_t days = a.serialDays() - b.serialDays();
    const std::int64_t hours = days * 24 + (a.hour - b.hour);
    const std::int64_t minutes = hours * 60 + (a.minute - b.minute);
    switch (unit) {
    case Seconds:
        return minutes * 60 + (a.second - b.second);
    case Minutes:
        return minutes;
    case Hours:
        return hours;
    case Days:
        return days;
    case Weeks:
        return days / 7;
    case Months:
        return std::int64_t(a.year - b.year) * 12 + (a.month - b.month);
    case Years:
        return a.year - b.year;
    default:
        return 0;
    }
}

} // namespace vantor::base
