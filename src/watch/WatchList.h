#pragma once

#include "base/DateTime.h"
#include "db/Database.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace vantor::watch {

// A shop on the watch list, as the window's grid and `watch list` show it.
struct WatchedShop {
    std::int64_t id = 0;
    std::string address;
    std::string nick; // the shopkeeper, once a round has seen the shop
    std::string name;
    int items = 10;       // items followed, like the sales gathering's N
    bool ratings = false; // whether its ratings are followed
    std::string added;
    std::string lastRound; // empty before the first round
    std::string state;     // what its last round did: "已更新", or why not
};

// The shop address a watch keeps: "http://shopN.taobao.com", however the user typed it. Nullopt for
// anything that is no shop address.
std::optional<std::string> shopAddress(const std::string& typed);

// Adds a shop, or changes how an already watched one is followed; its name and shopkeeper come from
// the data gathered before, when there is any. Returns its id. Raises std::invalid_argument for no shop
// address.
std::int64_t addWatched(db::Database& db, const std::string& address, int items, bool ratings,
                        const DateTime& now);
// Removes a shop by its id or address, with what the rounds kept of it; false when none matched.
bool removeWatched(db::Database& db, const std::string& idOrAddress);
std::vector<WatchedShop> watchedShops(db::Database& db);

} // namespace vantor::watch
