#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vantor::db {

// A statement written for SQLite in the words of a PostgreSQL server: ":name" parameters become "$n"
// (the same name the same number, `names` in lower case in their order), "insert or ignore" becomes
// "on conflict do nothing", and a subquery in FROM without a name is given one. Quoted texts are left
// alone.
std::string serverStatement(std::string_view sql, std::vector<std::string>& names);

} // namespace vantor::db
