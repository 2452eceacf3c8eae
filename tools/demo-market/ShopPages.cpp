#include "PageParts.h"
#include "Pages.h"

#include "market/MarketHosts.h"

#include <algorithm>

namespace vantor::demo {

std::string itemListAddress(const Shop& shop, int offset) {
    return std::string(market::kListHost) +
           "/browse/0/n-7----------------------0-false-----------------------" + shop.userId +
           "---------------80--coefp-" + std::to_string(offset) + "-all-0.htm#ListView";
}

std::string shopSearchPage(const MarketModel& model, const ShopQuery& query, int offset, int pageSize,
                           Markup& m) {
    const std::vector<const Shop*> found = model.findShops(query);
    const std::string search = std::string(market::kShopSearchHost) + "/browse/shop_search.htm";
    const std::string& kw = query.keyword;
    const auto hl = [&](const std::string& text, bool searched) {
        return m.highlighted(text,
                             searched || (!query.inName && !query.inNick && !query.inBusiness) ? kw : "",
                             "<em class=\"h\">", "</em>");
    };
    std::string body = "<div id=\"search-box\"><form action=\"" + search +
                       "\" method=\"get\"><input type=\"text\" name=\"q\" value=\"" + m.text(kw) +
                       "\" /><button type=\"submit\">搜 索</button></form></div>\n";
    body +=
        "<div class=\"search-result\"><h2>店铺搜索结果</h2><div class=\"result-count\">共找到相关店铺 ( " +
        std::to_string(found.size()) + " )</div>\n";
    body +=
        "<table class=\"shop-list\" id=\"list-content\"><thead><tr><th>店铺</th><th>宝贝数</th><th>掌柜</th>"
        "<th>所在地</th><th>信用</th></tr></thead><tbody>\n";
    const size_t end = std::min(found.size(), static_cast<size_t>(offset + pageSize));
    for (size_t i = static_cast<size_t>(offset); i < end; ++i) {
        const Shop& s = *found[i];
        const std::string name = hl(s.name, query.inName);
        body += "<tr><td class=\"thumb\"><!-- 大图模式增加 thumb --><div class=\"pic\"><a target=\"_blank\" "
                "href=\"" +
                s.webAddress() + "\" title=\"" + name + "\"><img src=\"http://img.taobao.com/shop/" +
                s.shopNo + ".jpg\" alt=\"\" /></a></div><dl><dt><a target=\"_blank\" href=\"" +
                s.webAddress() + "\">" + name +
                "</a></dt></dt><dd><span class=\"label\">主营：</span><a href=\"" + search +
                "?cat=" + s.categoryId + "\" target=\"_blank\">" + hl(s.mainBusiness, query.inBusiness) +
                "</a></dd><dd class=\"desc\">" + m.text(s.location + " 的好店") + "</dd></dl></td>";
        body += "<td><span class=\"label\">宝贝数：</span><span>" + std::to_string(s.items.size()) +
                "</span>件</td>";
        body += "<td><p class=\"nick\"><a href=\"http://member.taobao.com/" + s.userId +
                "\" target=\"_blank\">" + hl(s.nick, query.inNick) + "</a></p><p class=\"ww\">" +
                imageLink("http://amos.im.alisoft.com/msg.aw?uid=" + s.userId, "ww.gif") + "</p></td>";
        body += "<td><p>" + m.text(s.location) + "</p></td>";
        body += "<td><p><a class=\"rank\" title=\"无卖家信用\" data-rank=\"" +
                std::to_string(s.sellerCredit) + "\" href=\"" + s.rateAddress() +
                "\" target=\"_blank\"><img src=\"" + rankImage(s.level()) +
                "\" /></a></p><p><a class=\"score\" href=\"" + s.rateAddress() + "\" data-score=\"" +
                s.scores[0] + "\">" + s.scores[0] + "分</a></p></td></tr>\n";
    }
    body += "</tbody></table>\n" +
            pager(search + "?q=" + attrUrl(kw) + "&amp;s=", offset, pageSize, found.size()) + "</div>\n";
    return m.page("店铺搜索", body);
}

std::string shopPage(const MarketModel& model, const Shop& s, Markup& m) {
    const std::string web = s.webAddress();
    const int pages = std::max<int>(1, (static_cast<int>(s.items.size()) + MarketModel::kListPageSize - 1) /
                                           MarketModel::kListPageSize);
    const std::string help = "http://www.taobao.com/help/credit.htm";
    std::string body = "<div id=\"shop-head\"><div class=\"shop-name\"><h1><a href=\"" + web + "\">" +
                       m.text(s.name) + "</a></h1></div>\n";
    body += "<div class=\"crumbs\"><a href=\"http://www.taobao.com/\">淘宝网</a><span>&gt;</span><a href=\"" +
            std::string(market::kShopSearchHost) + "/\">店铺</a><span>&gt;</span>" + m.text(s.mainBusiness) +
            "</div>\n";
    body += "<ul class=\"shop-nav\"><li class=\"first\"><a href=\"" + web +
            "/\" target=\"_self\"><em>首页</em></a></li><li><a href=\"" + web +
            "/search.htm\" target=\"_self\">所有宝贝</a></li>";
    if (s.hasRatingLink)
        body += "<li><a class=\"rate\" href=\"" + s.rateAddress() + "\" target=\"_blank\">信用评价</a></li>";
    body += "</ul></div>\n";
    body += "<div class=\"col-sub\"><div class=\"shopman entry-title\"><p><a href=\"" + web +
            "\" target=\"_blank\">" + m.text(s.nick) + "</a></p></div>\n<ul class=\"shop-info\">";
    body += "<li><span>卖家信用：</span><a href=\"" + help + "\">" + std::to_string(s.sellerCredit) + "</a>" +
            imageLink(help, rankImage(s.level())) + "</li>";
    body +=
        "<li><span>买家信用：</span><a href=\"" + help + "\">" + std::to_string(s.buyerCredit) + "</a></li>";
    body += "<li><span>收藏人气：</span><a href=\"http://favorite.taobao.com/popup/add_collection.htm?id=" +
            s.shopNo + "&amp;itemtype=0\">" + std::to_string(s.favorite) + "</a></li>";
    body += "<li><span>创店时间：</span>" + s.createDate + "</li>";
    body += "<li><span>宝贝数量：</span>" + std::to_string(s.items.size()) + "</li>";
    body += "<li><span>所在地区：</span>" + m.text(s.location) + "</li>";
    body += "<li><span>地址：</span>" + m.text(s.street) + "</li></ul>\n";
    if (s.hasRatingLink)
        body += "<p class=\"rate-entry\"><a target=\"_blank\" href=\"" + s.rateAddress() +
                "\" title=\"信用评价\"><img src=\"http://pics.taobao.com/rate.gif\" alt=\"\" /></a></p>";
    body +=
        "</div>\n<div class=\"col-main\"><div class=\"shop-items\"><span class=\"page-info\">1/" +
        std::to_string(pages) + "</span><span class=\"page-info\">共" + std::to_string(s.items.size()) +
        "条宝贝</span><form id=\"J_Pagination\" action=\"" + web +
        "/search.htm\" method=\"get\"><input type=\"hidden\" name=\"s\" value=\"0\" /></form></div></div>\n";
    body += "<script type=\"text/javascript\">var shop_config = {shopId: '" + s.shopNo + "', userId: '" +
            s.userId + "', isMall: false};</script>\n";
    (void)model;
    return m.page(s.name, body);
}

std::string itemListPage(const MarketModel& model, const Shop& s, int offset, Markup& m) {
    const int count = static_cast<int>(s.items.size());
    const int pages = std::max(1, (count + MarketModel::kListPageSize - 1) / MarketModel::kListPageSize);
    std::string body = "<div class=\"list-head\"><span class=\"page-info\">" +
                       std::to_string(offset / MarketModel::kListPageSize + 1) + "/" + std::to_string(pages) +
                       "</span><span class=\"page-info\">共" + std::to_string(count) + "条</span></div>\n";
    body += "<ul class=\"list-view\" id=\"ListView\">\n";
    const int end = std::min(count, offset + MarketModel::kListPageSize);
    for (int k = std::max(0, offset); k < end; ++k) {
        const Item& it = model.itemOf(s, k);
        const std::string url = it.address();
        body += "<li class=\"list-item\"><h3 class=\"summary\"><a href=\"" + url +
                "\" target=\"_blank\" title=\"" + m.text(it.title) + "\">" + m.text(it.title) +
                "</a></h3><div class=\"photo\"><a href=\"" + url + "\" target=\"_blank\"><span><img src=\"" +
                itemImage(it) + "\" alt=\"\" /></span></a>";
        if (k % 5 == 1)
            body += "<!-- 当宝贝含有视频时, 输出下面这段html --><span class=\"video\"></span><!-- end -->";
        // Recent trades, location (with a local link), badges, then the price with the contact links.
        body += "</div><ul class=\"attribute\"><li class=\"sale\">最近成交" + std::to_string(it.monthSale) +
                "笔</li><li class=\"place\">" + m.text(it.location);
        if (k % 7 == 2)
            body += "<a href=\"http://list.taobao.com/browse/local.htm\" target=\"_blank\">同城</a>";
        body += "</li><li class=\"legend\">";
        if (k % 3 == 0)
            body += "<a href=\"http://www.taobao.com/go/act/xiaobao.php\" "
                    "target=\"_blank\"><span>消保</span></a>";
        body += "</li><li class=\"price\">价格：<em>" + money(it.price) + "</em><div><p>" +
                imageLink("http://amos.im.alisoft.com/msg.aw?uid=" + s.userId, "ww.gif", "旺旺") +
                "<a href=\"http://amos.im.alisoft.com/msg.aw?uid=" + s.userId +
                "\"><span>联系卖家</span></a></p></div></li></ul><div class=\"extend\"></div><p "
                "class=\"seller\">掌柜：<a href=\"" +
                s.webAddress() + "\" target=\"_blank\">" + m.text(s.nick) +
                "</a><span class=\"j_wangwang\" data-nick=\"" + m.text(s.nick) +
                "\"></span></p><span class=\"other\"><input type=\"checkbox\" name=\"compare\" value=\"" +
                it.id + "\" /><input type=\"hidden\" value=\"" + it.id +
                "\" class=\"auction-id\" name=\"aid\" /><input type=\"hidden\" value=\"" + s.userId +
                "\" class=\"user-id\" name=\"uid\" /></span></li>\n";
    }
    body += "</ul>\n<div class=\"pagination\"><form id=\"J_Pagination\" action=\"" + s.webAddress() +
            "/search.htm\" method=\"get\"></form></div>\n";
    return m.page(s.name + " 所有宝贝", body);
}

} // namespace vantor::demo
