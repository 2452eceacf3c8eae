#include "TDateTools.h"

#include "GbkText.h"
#include "TParseException.h"

namespace vantor {
namespace {

DateTime readDateTime(std::string_view text) {
    if (const auto value = DateTime::parse(text)) return *value;
    throw TParseException("“" + gbkToUtf8(text) + "”不是有效的日期时间！");
}

} // namespace

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

std::int64_t TDateTools::difference(int unit, std::string_view a, std::string_view b) {
    return difference(unit, readDateTime(a), readDateTime(b));
}

} // namespace vantor
