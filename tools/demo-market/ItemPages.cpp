#include "PageParts.h"
#include "Pages.h"

#include "market/MarketHosts.h"

#include <algorithm>

namespace vantor::demo {

namespace {

constexpr int kBuyerPageSize = 80;

std::string buyerRateAddress(const std::string& userId) {
    return std::string(market::kRateHost) + "/user-rate-" + userId + ".htm";
}

std::string tradeAddress(const std::string& tradeId) {
    return "http://trade.taobao.com/trade/detail/trade_snap.htm?trade_id=" + tradeId;
}

} // namespace

std::string buyerListParams(const MarketModel& model, const Item& item) {
    return std::string(market::kItemHost) + market::kBuyerListPath +
           "?a=1&bid_page=1&page_size=15&is_start=false&item_id=" + item.id +
           "&seller_num_id=" + model.shops()[static_cast<size_t>(item.shopIndex)].userId +
           "&sold_total_num=" + std::to_string(item.saleCount) + "&1=1";
}

std::string itemPage(const MarketModel& model, const Item& it, Markup& m) {
    const Shop& s = model.shops()[static_cast<size_t>(it.shopIndex)];
    std::string body =
        "<div id=\"detail\"><div class=\"detail-hd\"><h3>" + m.text(it.title) + "</h3></div>\n";
    body +=
        "<div class=\"tb-property\"><ul><li><span>价格：</span><strong id=\"J_StrPrice\" >" + money(it.price);
    if (it.secondPrice > 0) body += " - " + money(it.secondPrice);
    body += "</strong>元</li>";
    body += "<li><span>运费：</span>" + money(it.shipping) + "元</li>";
    body += "<li><span>本期售出：</span><em>" + std::to_string(it.curSale) + "</em>件</li>";
    if (it.showsMonthSale)
        body += "<li><span>30天售出：</span><em>" + std::to_string(it.monthSale) + "</em>件</li>";
    body += "<li><span>收藏人气：</span>" + std::to_string(it.favorite) + "</li>";
    body += "<li><span>所在地区：</span><em>" + m.text(it.location) + "</em></li></ul></div>\n";
    if (it.hasBuyerList)
        body +=
            "<div class=\"tb-btn\"><button id=\"J_listBuyerOnView\" type=\"button\" class=\"tb-btn-buyer\" "
            "detail:params=\"" +
            attrUrl(buyerListParams(model, it)) + ",showBuyerList\">查看成交记录</button></div>\n";
    body += "<div class=\"other\"><a class=\"enter\" href=\"" + s.webAddress() +
            "\" target=\"_blank\"><span class=\"icon\">进入掌柜的店铺</span></a></div></div>\n";
    body += "<script type=\"text/javascript\">var g_config = {";
    if (it.hasItemId) body += "\"itemIdStr\":\"" + it.id + "\", ";
    body += "\"shopId\":\"" + s.shopNo + "\", \"sellerId\":\"" + s.userId + "\"};</script>\n";
    return m.page(it.title, body);
}

std::string buyerListPage(const MarketModel& model, const Item& it, int page, Markup& m) {
    const std::vector<Sale> sales = model.sales(it);
    const int pages = std::max(1, (static_cast<int>(sales.size()) + kBuyerPageSize - 1) / kBuyerPageSize);
    std::string body =
        "<div class=\"buyer-list\"><table class=\"tb-list\"><thead><tr><th>买家</th><th>宝贝名称</th>"
        "<th>拍下价格</th><th>数量</th><th>付款时间</th><th>状态</th></tr></thead><tbody>\n";
    const size_t begin = static_cast<size_t>(std::max(0, page - 1) * kBuyerPageSize);
    for (size_t i = begin; i < sales.size() && i < begin + kBuyerPageSize; ++i) {
        const Sale& sale = sales[i];
        body += "<tr><td class=\"cell-align-l\">";
        if (sale.buyerId.empty())
            body += m.text(sale.buyerName);
        else
            body += "<a href=\"" + buyerRateAddress(sale.buyerId) + "\" target=\"_blank\">" +
                    m.text(sale.buyerName) + "</a>" +
                    imageLink("http://www.taobao.com/help/credit.htm", rankImage(1 + (i % 4)));
        body += "</td><td class=\"cell-align-l\"><a href=\"" + tradeAddress(sale.tradeId) +
                "\" target=\"_blank\">" + m.text(sale.itemTitle) + "</a></td><td><em>" + money(sale.price) +
                "</em></td><td>" + std::to_string(sale.quantity) + "</td><td>" + sale.time + "</td><td>" +
                m.text(sale.status) + "</td></tr>\n";
    }
    body += "</tbody></table><div class=\"pagination\" data-page=\"" + std::to_string(page) +
            "\" data-total-page=\"" + std::to_string(pages) + "\" data-total=\"" +
            std::to_string(sales.size()) + "\"></div></div>\n";
    return m.fragment(body);
}

std::string itemSearchPage(const MarketModel& model, const ItemQuery& query, int offset, int pageSize,
                           Markup& m) {
    const std::vector<const Item*> found = model.findItems(query);
    std::string body = "<div class=\"search-result\"><div class=\"result-info\">找到相关宝贝<em>" +
                       std::to_string(found.size()) + "</em>件</div>\n<ul class=\"list-view\">\n";
    // Highlights go around each searched word; every word is in every title found.
    std::string firstWord = query.words.substr(0, query.words.find(' '));
    for (char& c : firstWord)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    const size_t end = std::min(found.size(), static_cast<size_t>(offset + pageSize));
    for (size_t i = static_cast<size_t>(offset); i < end; ++i) {
        const Item& it = *found[i];
        const Shop& s = model.shops()[static_cast<size_t>(it.shopIndex)];
        body += "<li class=\"list-item\"><h3 class=\"summary\"><a stat=\"list_item_" + std::to_string(i + 1) +
                "\" href=\"" + it.address() + "\" target=\"_blank\">" +
                m.highlighted(it.title, firstWord, "<span class=\"h\">", "</span>") +
                "</a></h3><div class=\"photo\"><a href=\"" + it.address() +
                "\" target=\"_blank\"><span><img src=\"" + itemImage(it) +
                "\" alt=\"\" /></span></a></div><ul class=\"attribute\"><li class=\"legend\">" +
                "<a href=\"http://www.taobao.com/go/act/xiaobao.php\"><span>消保</span></a></li><li "
                "class=\"sale\">最近售出" +
                std::to_string(it.monthSale) + "件</li><li class=\"place\">" + m.text(it.location) +
                "</li><li class=\"price\"><em>" + money(it.price) + "</em> <span class=\"fee\">运费：" +
                money(it.shipping) + "</span>";
        if (i % 4 == 0)
            body += "<a href=\"http://www.taobao.com/go/act/creditcard.php\" title=\"信用卡\">信用卡</a>";
        body += "</li></ul><p class=\"seller\"><a href=\"" + s.webAddress() + "\" target=\"_blank\">" +
                m.text(s.nick) + "</a><span class=\"j_wangwang\" data-nick=\"" + m.text(s.nick) +
                "\"></span></p></li>\n";
    }
    body += "</ul>\n" +
            pager(std::string(market::kItemSearchHost) +
                      "/search?sort=sale-desc&amp;q=" + attrUrl(query.words) + "&amp;s=",
                  offset, pageSize, found.size()) +
            "</div>\n";
    return m.page(query.words + " 搜索结果", body);
}

std::string categoryBrowsePage(const MarketModel& model, const std::string& browseId, int offset, Markup& m) {
    const std::vector<const Item*> found = model.categoryItems(browseId);
    const std::string prefix =
        std::string(market::kListHost) + "/browse/" + browseId +
        "/n-1----------------------0-false-----------------------------------------80--"
        "sale-desc-";
    std::string body = "<div class=\"list-head\"><span class=\"page-info\">共" +
                       std::to_string(found.size()) +
                       "件宝贝</span></div>\n<ul class=\"list-view\" id=\"ListView\">\n";
    const size_t end = std::min(found.size(), static_cast<size_t>(offset + MarketModel::kListPageSize));
    for (size_t i = static_cast<size_t>(offset); i < end; ++i) {
        const Item& it = *found[i];
        const Shop& s = model.shops()[static_cast<size_t>(it.shopIndex)];
        const std::string url = it.address();
        body += "<li class=\"list-item\"><h3 class=\"summary\"><a href=\"" + url +
                "\" target=\"_blank\" title=\"" + m.text(it.title) + "\">" + m.text(it.title) +
                "</a></h3><div class=\"photo\"><a href=\"" + url + "\" target=\"_blank\"><span><img src=\"" +
                itemImage(it) + "\" alt=\"\" /></span></a>";
        if (i % 5 == 1) body += "<!-- 视频 --><span class=\"video\"></span><!-- end -->";
        body += "</div><ul class=\"attribute\"><li class=\"place\">" + m.text(it.location);
        if (i % 7 == 2)
            body += "<a href=\"http://list.taobao.com/browse/local.htm\" target=\"_blank\">同城</a>";
        body += "</li><li class=\"legend\">";
        if (i % 3 == 0)
            body += "<a href=\"http://www.taobao.com/go/act/xiaobao.php\" "
                    "target=\"_blank\"><span>消保</span></a>";
        // The marketplace prints the rank on the first pages only.
        body += "</li><li class=\"rank\">" + (i < 200 ? "第" + std::to_string(i + 1) + "名" : std::string()) +
                "</li><li class=\"mark\">";
        if (i % 4 == 0) body += "<img src=\"http://pics.taobao.com/mark/hot.gif\" alt=\"\" />";
        body += "</li><li class=\"price\"><em>" + money(it.price) + "</em> <span class=\"fee\">运费：" +
                money(it.shipping) +
                "</span></li></ul><div class=\"extend\"></div><p class=\"seller\"><a href=\"" +
                s.webAddress() + "\" target=\"_blank\">" + m.text(s.nick) +
                "</a><span class=\"j_wangwang\" data-nick=\"" + m.text(s.nick) +
                "\"></span></p><span class=\"other\"><em class=\"sale\">" + std::to_string(it.categorySale) +
                "</em><em class=\"favorite\">" + std::to_string(it.favorite) + "</em></span></li>\n";
    }
    body += "</ul>\n" + pager(prefix, offset, MarketModel::kListPageSize, found.size()) + "</div>\n";
    return m.page("类目热卖宝贝", body);
}

} // namespace vantor::demo
