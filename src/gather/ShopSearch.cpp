#include "ShopSearch.h"

#include "base/GbkText.h"
#include "market/CategoryTable.h"
#include "market/MarketHosts.h"

namespace vantor::gather {

std::optional<std::string> validateShopSearch(const ShopSearchQuery& query) {
    if (query.keyword.empty() && query.category == 0) return std::string(kSearchConditionMissing);
    if (query.category < 0 || query.category >= int(market::shopSearchCategories().size()))
        return std::string("类别不存在！");
    for (int level : query.levels)
        if (level < 1 || level > kCreditLevels)
            return "掌柜级别必须在 1 到 " + std::to_string(kCreditLevels) + " 之间！";
    if (query.range < kMinSearchRange || query.range > kMaxSearchRange)
        return "搜索范围必须在 " + std::to_string(kMinSearchRange) + " 到 " +
               std::to_string(kMaxSearchRange) + " 之间！";
    return std::nullopt;
}

std::string gbkQueryText(std::string_view utf8) {
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : toGbk(utf8)) {
        bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                     c == '_' || c == '.' || c == '~';
        if (plain) {
            out += char(c);
        } else {
            out += '%';
            out += hex[c >> 4];
            out += hex[c & 15];
        }
    }
    return out;
}

std::string shopSearchAddress(const ShopSearchQuery& query) {
    std::string address = std::string(market::kShopSearchHost) + "/browse/shop_search.htm?1=1";
    address += "&cat=" + market::shopSearchCategories().at(size_t(query.category)).id;
    address += "&loc=" + gbkQueryText(query.location);
    if (!query.keyword.empty()) {
        address += "&q=" + gbkQueryText(query.keyword);
        if (query.inTitle) address += "&title=title";
        if (query.inNick) address += "&nick=nick";
        if (query.inTag) address += "&tag=tag";
    }
    // Levels up to 14 carry a comma each, the higher ones none: the marketplace's form, kept as it is.
    address += "&ratesum=";
    for (int level : query.levels)
        address += std::to_string(level) + (level <= 14 ? "," : "");
    if (query.ratingOrderKeys)
        address += query.byPopularity ? "&sort=ratesum_desc" : "&soft=default";
    else
        address += query.byPopularity ? "&sort=default" : "&soft=ratesum_desc";
    address += "&n=80&s=";
    return address;
}

std::string shopSearchLog(const ShopSearchQuery& query, int searchNumber, const DateTime& now) {
    std::string log = "第" + std::to_string(searchNumber) + "次搜索\n";
    log += "时间：" + now.toString() + "\n";
    log += "关键字：" + query.keyword + ",";
    if (query.inTitle) log += "店铺名、";
    if (query.inNick) log += "掌柜名、";
    if (query.inTag) log += "主营项目";
    log += "\n类别：" + market::shopSearchCategories().at(size_t(query.category)).name + "\n";
    log += "信用级别：";
    for (int level : query.levels)
        log += std::to_string(level) + "、";
    log += "\n所在地：" + query.location + "\n";
    log += query.byPopularity ? "按人气排序\n" : "按信用排序\n";
    log += "搜索范围：" + std::to_string(query.range) + "\n";
    return log;
}

} // namespace vantor::gather

#include "market/Records.h"
#include "market/SellerLevel.h"

namespace vantor::gather {

const std::vector<std::string>& searchGridColumns() {
    // "信用" is the credit in points and "信用级别" the level drawn from it, as the data views name them.
    static const std::vector<std::string> columns = {"序号",     "选择", "掌柜", "店铺名",   "信用",
                                                     "信用级别", "主营", "网址", "宝贝数量", "地点"};
    return columns;
}

std::vector<std::string> searchGridRow(int number, const TDianBaseInfo& shop) {
    return {std::to_string(number),
            "",
            shop.dianzhu,
            shop.dianming,
            std::to_string(shop.salerCredit),
            market::sellerLevelText(market::sellerLevel(shop.salerCredit)),
            shop.loc,
            shop.webaddr,
            std::to_string(shop.commodityNum),
            shop.addr};
}

} // namespace vantor::gather
