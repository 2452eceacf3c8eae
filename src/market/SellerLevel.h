#pragma once

#include <cstdint>
#include <string>

namespace vantor::market {

// The seller's credit level as the marketplace draws it: levels 1..20 are one to five hearts, diamonds,
// crowns and gold crowns, in that order.
inline constexpr int kSellerLevels = 20;

// The level of a credit (good ratings minus bad ones): 4..10 points is one heart, 10 000 001 points and
// more five gold crowns; 0 below one heart.
int sellerLevel(std::int64_t credit);

// "3心", "1钻", "5冠", "2金冠"; empty for 0 or a level the marketplace does not have.
std::string sellerLevelText(int level);

} // namespace vantor::market
