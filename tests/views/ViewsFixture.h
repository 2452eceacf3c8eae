#pragma once

#include "db/Database.h"

#include <filesystem>
#include <string>

namespace vantor::test {

// Shops, items, sales, ratings and rankings in a real data file, small enough to work the views'
// answers out by hand:
//  shop 1 张三 / 三号小店: items 1001 (three sales, two buyers; a title with a blank and a comma),
//    1002 (one sale, most favourites) and 1003 (no sales); four ratings.
//  shop 2 O'Neil / 奥尼尔,精品: item 2001 (one sale); one rating.
//  shop 3 李四: no items, no ratings, flag 1.
//  itemTop: category "99" in March and April of `year` and March of the year before; category "16"
//    in March of `year`.
void fillViewsFixture(db::Database& db, int year);

// A data file created with the schema and filled with the fixture.
void createViewsFixture(const std::filesystem::path& file, int year);

} // namespace vantor::test
