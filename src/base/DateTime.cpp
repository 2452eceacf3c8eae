#include "DateTime.h"

#include <chrono>
#include <cstdio>
#include <ctime>

namespace vantor::base {
namespace {

using namespace std::chrono;

bool readNumber(std::string_view text, size_t& pos, size_t minDigits, size_t maxDigits, int& value) {
    size_t start = pos;
    value = 0;
    while (pos < text.size() && pos - start < maxDigits && text[pos] >= '0' && text[pos] <= '9')
        value = value * 10 + (text[pos++] - '0');
    return pos - start >= minDigits;
}

bool readChar(std::string_view text, size_t& pos, char c) {
    if (pos < text.size() && text[pos] == c) {
        ++pos;
        return true;
    }
    return false;
}

} // namespace

std::optional<DateTime> DateTime::parse(std::string_view text) {
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    DateTime d;
    size_t pos = 0;
    if (!readNumber(text, pos, 4, 4, d.year)) return std::nullopt;
    char sep = pos < text.size() ? text[pos] : '\0';
    if (sep != '-' && sep != '/') return std::nullopt;
    ++pos;
    if (!readNumber(text, pos, 1, 2, d.month) || !readChar(text, pos, sep) ||
        !readNumber(text, pos, 1, 2, d.day))
        return std::nullopt;
    if (pos < text.size()) {
        if (!readChar(text, pos, ' ')) return std::nullopt;
        while (readChar(text, pos, ' ')) {
        }
        if (!readNumber(text, pos, 1, 2, d.hour) || !readChar(text, pos, ':') ||
            !readNumber(text, pos, 1, 2, d.minute))
            return std::nullopt;
        if (readChar(text, pos, ':') && !readNumber(text, pos, 1, 2, d.second)) return std::nullopt;
        if (pos != text.size()) return std::nullopt;
    }
    year_month_day ymd{std::chrono::year{d.year}, std::chrono::month{unsigned(d.month)},
                       std::chrono::day{unsigned(d.day)}};
    if (!ymd.ok() || d.hour > 23 || d.minute > 59 || d.second > 59) return std::nullopt;
    return d;
}

DateTime DateTime::now() {
    std::time_t t = std::time(nullptr);
    std::tm tm{};
    localtime_r(&t, &tm);
    return DateTime{tm.tm_year + 1900, tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec};
}

std::int64_t DateTime::serialDays() const {
    year_month_day ymd{std::chrono::year{year}, std::chrono::month{unsigned(month)},
                       std::chrono::day{unsigned(day)}};
    return sys_days{ymd}.time_since_epoch().count();
}

std::int64_t DateTime::serialSeconds() const {
    return serialDays() * 86400 + hour * 3600 + minute * 60 + second;
}

DateTime DateTime::fromSerialSeconds(std::int64_t seconds) {
    std::int64_t days = seconds / 86400;
    std::int64_t rest = seconds % 86400;
    if (rest < 0) {
        rest += 86400;
        --days;
    }
    year_month_day ymd{sys_days{std::chrono::days{days}}};
    return DateTime{int(ymd.year()),  int(unsigned(ymd.month())), int(unsigned(ymd.day())),
                    int(rest / 3600), int(rest / 60 % 60),        int(rest % 60)};
}

DateTime DateTime::addSeconds(std::int64_t seconds) const {
    return fromSerialSeconds(serialSeconds() + seconds);
}

int DateTime::dayOfWeek() const {
    // 1970-01-01 was a Thursday (5 when Sunday is 1).
    std::int64_t w = (serialDays() + 4) % 7;
    if (w < 0) w += 7;
    return int(w) + 1;
}

int DateTime::dayOfYear() const {
    return int(serialDays() - DateTime{year, 1, 1}.serialDays()) + 1;
}

std::string DateTime::toString() const {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d %02d:%02d:%02d", year, month, day, hour, minute, second);
    return buf;
}

std::string DateTime::toDateString() const {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%04d-%02d-%02d", year, month, day);
    return buf;
}

} // namespace vantor::base
