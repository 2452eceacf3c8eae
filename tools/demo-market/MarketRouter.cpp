#include "MarketRouter.h"

#include "Gbk.h"
#include "Pages.h"
#include "market/MarketHosts.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>

namespace vantor::demo {
namespace {

// "http://rate.taobao.com" -> "rate.taobao.com"
std::string hostOf(const char* address) {
    return std::string(address).substr(std::string("http://").size());
}

// The digits of a shop host "shop<digits>.taobao.com", or empty.
std::string shopNoOfHost(const std::string& host) {
    const std::string suffix = market::kShopHostSuffix;
    if (host.rfind("shop", 0) != 0 || host.size() <= 4 + suffix.size() ||
        host.compare(host.size() - suffix.size(), suffix.size(), suffix) != 0)
        return {};
    const std::string digits = host.substr(4, host.size() - 4 - suffix.size());
    return std::all_of(digits.begin(), digits.end(), [](unsigned char c) { return std::isdigit(c); }) ? digits
                                                                                                      : "";
}

// Query values as the market reads them: GBK text turned into UTF-8, outer blanks dropped.
class Params {
public:
    explicit Params(const std::string& query) : items_(parseQuery(query)) {}

    bool has(const std::string& key) const { return !raw(key).empty(); }

    std::string raw(const std::string& key) const {
        for (const auto& [k, v] : items_)
            if (k == key) return v;
        return {};
    }

    std::string text(const std::string& key) const {
        const std::string bytes = raw(key);
        const std::string utf8 = gbkToUtf8(bytes).value_or(bytes);
        const size_t b = utf8.find_first_not_of(" \t");
        return b == std::string::npos ? std::string() : utf8.substr(b, utf8.find_last_not_of(" \t") - b + 1);
    }

    int number(const std::string& key, int fallback, int lo, int hi) const {
        const std::string t = text(key);
        if (t.empty() || !std::isdigit(static_cast<unsigned char>(t[0]))) return fallback;
        return std::clamp(std::atoi(t.c_str()), lo, hi);
    }

private:
    std::vector<std::pair<std::string, std::string>> items_;
};

// "1,3,14,151617": levels 1 to 14 end in a comma, 15 to 20 follow one another without one.
std::vector<int> parseLevels(const std::string& text) {
    std::vector<int> levels;
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(',', start);
        if (end == std::string::npos) end = text.size();
        const std::string token = text.substr(start, end - start);
        if (!token.empty() &&
            std::all_of(token.begin(), token.end(), [](unsigned char c) { return std::isdigit(c); })) {
            if (token.size() <= 2 && std::atoi(token.c_str()) <= 14)
                levels.push_back(std::atoi(token.c_str()));
            else
                for (size_t i = 0; i + 1 < token.size(); i += 2)
                    levels.push_back(std::atoi(token.substr(i, 2).c_str()));
        }
        start = end + 1;
    }
    return levels;
}

ShopQuery shopQuery(const Params& p) {
    ShopQuery q;
    q.categoryId = p.text("cat");
    q.categoryId.erase(std::remove(q.categoryId.begin(), q.categoryId.end(), '"'), q.categoryId.end());
    q.location = p.text("loc");
    // The program matches lower-cased pages; so does the market, and its highlights follow.
    q.keyword = lowerAscii(p.text("q"));
    q.inName = p.has("title");
    q.inNick = p.has("nick");
    q.inBusiness = p.has("tag");
    q.levels = parseLevels(p.text("ratesum"));
    // The marketplace knows "sort" only; a misspelt key leaves its default, the credit order.
    q.byCredit = p.text("sort") != "default";
    return q;
}

ItemQuery itemQuery(const Params& p) {
    ItemQuery q;
    q.words = lowerAscii(p.text("q"));
    q.location = p.text("loc");
    const std::string filter = p.text("filter");
    const size_t open = filter.find('[');
    const size_t comma = filter.find(',', open);
    if (filter.rfind("reserve_price", 0) == 0 && open != std::string::npos && comma != std::string::npos) {
        const std::string low = filter.substr(open + 1, comma - open - 1);
        const std::string high = filter.substr(comma + 1, filter.find(']', comma) - comma - 1);
        if (!low.empty()) q.low = std::atof(low.c_str());
        if (!high.empty()) q.high = std::atof(high.c_str());
    }
    return q;
}

// "/browse/0/n-7---...-0-false---...-<userId>---...-80--coefp-<offset>-all-0.htm"
bool parseItemListPath(const std::string& path, std::string& userId, int& offset) {
    size_t at = path.find("-false-");
    const size_t coefp = path.find("--coefp-");
    if (path.rfind("/browse/", 0) != 0 || at == std::string::npos || coefp == std::string::npos) return false;
    at = path.find_first_not_of('-', at + 6);
    const size_t end = path.find('-', at);
    if (at == std::string::npos || end == std::string::npos) return false;
    userId = path.substr(at, end - at);
    offset = std::atoi(path.c_str() + coefp + 8);
    return true;
}

// "/browse/<category id>/n-1---...-80--sale-desc-<offset>-all-0.htm"
bool parseCategoryPath(const std::string& path, std::string& categoryId, int& offset) {
    const size_t sale = path.find("--sale-desc-");
    const size_t slash = path.find('/', 8);
    if (path.rfind("/browse/", 0) != 0 || sale == std::string::npos || slash == std::string::npos)
        return false;
    categoryId = path.substr(8, slash - 8);
    offset = std::atoi(path.c_str() + sale + 12);
    return true;
}

// "/user-rate-<userId>.htm" is the summary; "/user-rate-<userId>--key%7Cvalue--...--currentPage%7C<n>[.htm]"
// a rating list page (a missing page number means the first).
bool parseRatePath(const std::string& path, std::string& userId, int& page) {
    const std::string prefix = "/user-rate-";
    if (path.rfind(prefix, 0) != 0) return false;
    const size_t end = path.find_first_of("-.", prefix.size());
    userId = path.substr(prefix.size(), end == std::string::npos ? std::string::npos : end - prefix.size());
    const std::string rest = lowerAscii(end == std::string::npos ? "" : path.substr(end));
    page = 0;
    if (rest.empty() || rest == ".htm") return true;
    page = 1;
    const size_t key = rest.find("currentpage");
    if (key != std::string::npos) {
        size_t value = key + std::string("currentpage").size();
        value += rest.compare(value, 3, "%7c") == 0 ? 3 : rest.compare(value, 1, "|") == 0 ? 1 : 0;
        page = std::max(1, std::atoi(rest.c_str() + value));
    }
    return true;
}

HttpResponse pageResponse(std::string body) {
    HttpResponse r;
    r.body = std::move(body);
    return r;
}

HttpResponse notFound(const HttpRequest& request, std::uint64_t seed) {
    Markup m(mixSeed(seed, request.url()));
    HttpResponse r = pageResponse(
        m.page("页面不存在", "<div class=\"error-notice\"><h2>很抱歉，您查看的页面找不到了！</h2></div>"));
    r.status = 404;
    return r;
}

} // namespace

Shop MarketRouter::ratingView(const Shop& shop, bool summaryVisit) const {
    std::lock_guard lock(visitsMutex_);
    int& visits = summaryVisits_[shop.index];
    if (summaryVisit) ++visits;
    return visits >= 2 ? model_.revised(shop) : shop;
}

bool MarketRouter::isMarketHost(const std::string& host) {
    for (const char* h : {market::kShopSearchHost, market::kListHost, market::kItemSearchHost,
                          market::kRateHost, market::kRateHistoryHost, market::kItemHost})
        if (host == hostOf(h)) return true;
    return !shopNoOfHost(host).empty();
}

HttpResponse MarketRouter::route(const HttpRequest& req) const {
    const MarketModel& model = model_;
    const std::string& host = req.host;
    const std::string& path = req.path;
    const Params params(req.query);
    Markup m(mixSeed(model.seed(), req.url()));

    if (!isMarketHost(host))
        return pageResponse(
            m.page("演示市场", "<div class=\"demo\"><p>演示市场只提供淘宝网的演示页面。</p></div>"));

    if (path == market::kBuyerListPath) {
        const Item* item = model.itemById(params.text("item_id"));
        if (!item) return notFound(req, model.seed());
        return pageResponse(buyerListPage(model, *item, params.number("bid_page", 1, 1, 1000000), m));
    }
    if (host == hostOf(market::kShopSearchHost) && path == "/browse/shop_search.htm")
        return pageResponse(shopSearchPage(model, shopQuery(params), params.number("s", 0, 0, 1000000),
                                           params.number("n", MarketModel::kListPageSize, 1, 200), m));
    if (host == hostOf(market::kItemSearchHost) && path == "/search")
        return pageResponse(itemSearchPage(model, itemQuery(params), params.number("s", 0, 0, 1000000),
                                           params.number("n", MarketModel::kListPageSize, 1, 200), m));
    if (host == hostOf(market::kItemHost) && path == "/item.htm") {
        const Item* item = model.itemById(params.text("id"));
        if (!item) return notFound(req, model.seed());
        return pageResponse(itemPage(model, *item, m));
    }
    std::string userId;
    int number = 0;
    if (host == hostOf(market::kListHost) && parseItemListPath(path, userId, number)) {
        const Shop* shop = model.shopByUserId(userId);
        if (!shop) return notFound(req, model.seed());
        return pageResponse(itemListPage(model, *shop, std::max(0, number), m));
    }
    if (std::string categoryId;
        host == hostOf(market::kListHost) && parseCategoryPath(path, categoryId, number))
        return pageResponse(categoryBrowsePage(model, categoryId, std::max(0, number), m));
    const bool historyHost = host == hostOf(market::kRateHistoryHost);
    if ((historyHost || host == hostOf(market::kRateHost)) && parseRatePath(path, userId, number)) {
        const Shop* shop = model.shopByUserId(userId);
        if (!shop) return notFound(req, model.seed());
        const Shop view = ratingView(*shop, number == 0);
        return pageResponse(number == 0 ? rateSummaryPage(model, view, m)
                                        : rateListPage(model, view, number, historyHost, m));
    }
    if (const Shop* shop = model.shopByNo(shopNoOfHost(host))) {
        if (path == "/" || path == "/index.htm") return pageResponse(shopPage(model, *shop, m));
        if (path == "/search.htm")
            return pageResponse(itemListPage(model, *shop, params.number("s", 0, 0, 1000000), m));
    }
    return notFound(req, model.seed());
}

} // namespace vantor::demo
