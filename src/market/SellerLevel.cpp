#include "SellerLevel.h"

#include <iterator>

namespace vantor::market {

int sellerLevel(std::int64_t credit) {
    // The lowest credit of levels 1..20.
    static const std::int64_t lowest[kSellerLevels] = {
        4,     11,    41,    91,     151,    251,    501,     1001,    2001,    5001,
        10001, 20001, 50001, 100001, 200001, 500001, 1000001, 2000001, 5000001, 10000001};
    int level = 0;
    while (level < int(std::size(lowest)) && credit >= lowest[level])
        ++level;
    return level;
}

std::string sellerLevelText(int level) {
    if (level < 1 || level > kSellerLevels) return {};
    static const char* const kinds[] = {"心", "钻", "冠", "金冠"};
    return std::to_string((level - 1) % 5 + 1) + kinds[(level - 1) / 5];
}

} // namespace vantor::market
