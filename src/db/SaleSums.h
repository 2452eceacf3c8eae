#pragma once

// A server keeps sums of the sales, so that an analysis reads a shop's hours and its items' months
// instead of every sale. A change to the sales marks the items' days it touched (a statement of many
// sales marks its items whole), an item changing shop marks the shop's days; the marked sums are summed
// anew when an analysis asks for them (`refreshSaleSums`). A time in the stored form
// "yyyy-MM-dd HH:mm:ss" is summed under its hour (shopHourSums.hour) and month (itemMonthSums.month);
// any other time stands alone under "~" and the time itself.

#include <cstdint>
#include <string>

namespace vantor::db {

class Database;

// What a group of sales (aliased s) adds up: rows, quantities, money in whole cents with whether every
// term was whole cents and the plain sum, prices likewise; eleven columns in this order. The server's
// round() of a double rounds half to even, as the file's pass does with nearbyint().
extern const char* const kSaleTerms;
// The same eleven as a sums table's columns, and summed over rows of it (aliased m).
extern const char* const kSumColumns;
extern const char* const kSummedSums;

// Brings the shop's sums up to date.
void refreshSaleSums(Database& db, std::int64_t shopId);

} // namespace vantor::db
