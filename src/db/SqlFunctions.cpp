#include "SqlFunctions.h"

#include "Database.h"
#include "base/DateTime.h"
#include "base/TextNumbers.h"

#include <sqlite3.h>

#include <cmath>
#include <cstdio>
#include <optional>
#include <strings.h>

namespace vantor::db {
namespace {

std::optional<DateTime> dateArgument(sqlite3_value* value) {
    if (sqlite3_value_type(value) != SQLITE_TEXT) return std::nullopt;
    const char* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return DateTime::parse(std::string_view(text, size_t(sqlite3_value_bytes(value))));
}

enum class Part { Year, Quarter, Month, DayOfYear, Day, Weekday, Week, Hour, Minute, Second };

std::optional<Part> partFromInterval(std::string_view interval) {
    static const std::pair<const char*, Part> table[] = {
        {"yyyy", Part::Year}, {"q", Part::Quarter}, {"m", Part::Month}, {"y", Part::DayOfYear},
        {"d", Part::Day},     {"w", Part::Weekday}, {"ww", Part::Week}, {"h", Part::Hour},
        {"n", Part::Minute},  {"s", Part::Second},
    };
    for (auto& [name, part] : table)
        if (sameName(interval, name)) return part;
    return std::nullopt;
}

int partOf(const DateTime& d, Part part) {
    switch (part) {
    case Part::Year:
        return d.year;
    case Part::Quarter:
        return (d.month - 1) / 3 + 1;
    case Part::Month:
        return d.month;
    case Part::DayOfYear:
        return d.dayOfYear();
    case Part::Day:
        return d.day;
    case Part::Weekday:
        return d.dayOfWeek();
    case Part::Week:
        return weekOfYear(d.year, d.month, d.day);
    case Part::Hour:
        return d.hour;
    case Part::Minute:
        return d.minute;
    case Part::Second:
        return d.second;
    }
    return 0;
}

template <Part P> void fixedPart(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (auto d = dateArgument(argv[0]))
        sqlite3_result_int(ctx, partOf(*d, P));
    else
        sqlite3_result_null(ctx);
}

void datepart(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const char* interval = reinterpret_cast<const char*>(sqlite3_value_text(argv[0]));
    auto part = interval ? partFromInterval(interval) : std::nullopt;
    if (!part) {
        sqlite3_result_error(ctx, "datepart: unknown interval", -1);
        return;
    }
    if (auto d = dateArgument(argv[1]))
        sqlite3_result_int(ctx, partOf(*d, *part));
    else
        sqlite3_result_null(ctx);
}

std::string fixedTwoDecimals(double value, bool separators) {
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.2f", std::fabs(value));
    std::string whole(digits, std::string_view(digits).find('.'));
    std::string out = value < 0 && std::string_view(digits) != "0.00" ? "-" : "";
    for (size_t i = 0; i < whole.size(); ++i) {
        if (separators && i > 0 && (whole.size() - i) % 3 == 0) out += ',';
        out += whole[i];
    }
    out += digits + whole.size();
    return out;
}

void formatDollar(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) {
        sqlite3_result_null(ctx);
        return;
    }
    const char* style = reinterpret_cast<const char*>(sqlite3_value_text(argv[1]));
    double value = sqlite3_value_double(argv[0]);
    std::string text;
    if (style && strcasecmp(style, "Standard") == 0)
        text = formatStandard(value);
    else if (style && strcasecmp(style, "Fixed") == 0)
        text = fixedTwoDecimals(value, false);
    else if (style && strcasecmp(style, "Percent") == 0)
        text = fixedTwoDecimals(value * 100, false) + "%";
    else {
        sqlite3_result_error(ctx, "format$: unsupported format", -1);
        return;
    }
    sqlite3_result_text(ctx, text.c_str(), int(text.size()), SQLITE_TRANSIENT);
}

void create(sqlite3* db, const char* name, int args, void (*fn)(sqlite3_context*, int, sqlite3_value**)) {
    int rc = sqlite3_create_function_v2(db, name, args, SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS,
                                        nullptr, fn, nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK) throw DbError(std::string("register ") + name + ": " + sqlite3_errmsg(db), rc);
}

} // namespace

int weekOfYear(int year, int month, int day) {
    DateTime d{year, month, day};
    int jan1 = DateTime{year, 1, 1}.dayOfWeek(); // 1 = Sunday
    return (d.dayOfYear() + jan1 - 2) / 7 + 1;
}

std::string formatStandard(double value) {
    return fixedTwoDecimals(value, true);
}

void registerSqlFunctions(sqlite3* db) {
    create(db, "year", 1, fixedPart<Part::Year>);
    create(db, "month", 1, fixedPart<Part::Month>);
    create(db, "day", 1, fixedPart<Part::Day>);
    create(db, "hour", 1, fixedPart<Part::Hour>);
    create(db, "minute", 1, fixedPart<Part::Minute>);
    create(db, "second", 1, fixedPart<Part::Second>);
    create(db, "weekday", 1, fixedPart<Part::Weekday>);
    create(db, "datepart", 2, datepart);
    create(db, "format$", 2, formatDollar);
}

} // namespace vantor::db
