#pragma once

#include "db/Database.h"
#include "market/Records.h"

#include <string>

namespace vantor::gather {

// A shop named only by its address, as the search row would have shown it: shopkeeper, name and main
// business come from the database when the shop was gathered before; otherwise only the address is
// known and the shop page supplies the rest.
TDianBaseInfo shopFromAddress(db::Database& db, const std::string& address);

// A saved shop as a search row, for gathering it again.
TDianBaseInfo shopFromDatabase(db::Database& db, std::int64_t shopId);

} // namespace vantor::gather
