#pragma once

#include <string>

struct sqlite3;

namespace vantor::db {

// Registers the desktop database's date and number functions the program's statements use:
// year, month, day, hour, minute, second, weekday (1 = Sunday), datepart and format$.
void registerSqlFunctions(sqlite3* db);

// datepart('ww', …): weeks start on Sunday and week 1 holds 1 January.
int weekOfYear(int year, int month, int day);

// format$(x, 'Standard'): two decimals with thousands separators, "1,234.50".
std::string formatStandard(double value);

} // namespace vantor::db
