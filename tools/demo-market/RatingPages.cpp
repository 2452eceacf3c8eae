#include "PageParts.h"
#include "Pages.h"

#include "market/MarketHosts.h"

#include <algorithm>

namespace vantor::demo {

namespace {

// The marketplace's history host answers from this rating page on.
constexpr int kFirstHistoryPage = 100;

std::string percent(double value) {
    return money(value) + "%";
}

// One table of the summary: good, neutral and bad rows, four periods and the total.
std::string rateTable(const std::string& id, const std::string& caption,
                      const std::array<PeriodCounts, 3>& counts, const std::string& link) {
    static const char* iconClass[] = {"rate-ok", "rate-normal", "rate-bad"};
    std::string out = "<table class=\"tb-rate-table\" id=\"" + id + "\"><caption>" + caption +
                      "</caption><thead><tr><th></th><th>最近1周</th><th>最近1个月</th><th>最近6个月</th>"
                      "<th>6个月前</th><th>总计</th></tr></thead><tbody>\n";
    for (int g = 0; g < 3; ++g) {
        out += "<tr><td><span class=\"rate-icon " + std::string(iconClass[g]) + "\">" +
               gradeText(static_cast<Grade>(g)) + "</span></td>";
        for (int p = 0; p < 4; ++p)
            out += std::string(p == 0 ? "<td class=\"first\">" : "<td>") + "<a href=\"" + link +
                   "\" class=\"num\">" +
                   std::to_string(counts[static_cast<size_t>(g)].period[static_cast<size_t>(p)]) +
                   "</a></td>";
        out += "<td>" + std::to_string(counts[static_cast<size_t>(g)].total) + "</td></tr>\n";
    }
    return out + "</tbody></table>\n";
}

} // namespace

std::string rateListAddress(const Shop& shop, int page) {
    return std::string(market::kRateHost) + "/user-rate-" + shop.userId +
           "--timeLine%7C-210--detailed%7C1--goodNeutralOrBad%7C--receivedOrPosted%7C0--buyerOrSeller%7C0--"
           "ismore%7C1"
           "--showContent%7C--auctionId%7C--lastModified%7C--snapId%7C0--currentPage%7C" +
           std::to_string(page) + ".htm";
}

std::string rateSummaryPage(const MarketModel& model, const Shop& s, Markup& m) {
    const std::string list = rateListAddress(s, 1);
    const std::string help = "http://www.taobao.com/help/credit.htm";
    const int good = s.sellerRates[0].total;
    std::string body =
        "<div id=\"rate-summary\"><div class=\"personal-info\"><h2>" + m.text(s.nick) + "</h2><ul>";
    body += "<li class=\"credit\">卖家累积信用：<a href=\"" + help + "\" target=\"_blank\">" +
            std::to_string(s.sellerCredit) + "</a>" + imageLink(help, rankImage(s.level())) +
            "<ul class=\"sale-type\"><li>虚拟商品交易：<strong>" + percent(s.virtualShare) +
            "</strong></li><li>实物商品交易：<strong>" + percent(s.realShare) + "</strong></li></ul></li>";
    body += "<li class=\"credit\">买家累积信用：<a href=\"" + help + "\" target=\"_blank\">" +
            std::to_string(s.buyerCredit) + "</a>" + imageLink(help, "newrank/b_red_1.gif") +
            "</li></ul></div>\n";
    body += "<div class=\"dsr\"><ul>";
    static const char* scoreNames[] = {"宝贝与描述相符", "卖家的服务态度", "卖家发货的速度"};
    for (size_t i = 0; i < 3; ++i)
        body += "<li>" + std::string(scoreNames[i]) + "：<span class=\"c-value-no c-value-" +
                s.scores[i].substr(0, 1) + "\"><em>" + s.scores[i] + "</em></span></li>";
    body += "</ul></div>\n<div class=\"seller-rate-info\"><h4 class=\"seller\">卖家信用<a href=\"" + help +
            "\">" + std::to_string(s.sellerCredit) + "</a>" + imageLink(help, rankImage(s.level())) +
            "</h4><p class=\"rate-summary\">好评率：<em>" + percent(s.sellerGoodRate) + "</em></p>";
    body += "<h4 class=\"buyer\">买家信用<a href=\"" + help + "\">" + std::to_string(s.buyerCredit) + "</a>" +
            imageLink(help, "newrank/b_red_1.gif") + "</h4><p class=\"rate-summary\">好评率：<em>" +
            percent(s.buyerGoodRate) + "</em></p></div>\n";
    body += "<div class=\"rate-box\"><p class=\"rate-summary\">好评率：<strong>" + percent(s.sellerGoodRate) +
            "</strong></p><span class=\"g\">共" + std::to_string(s.ratingCount) + "条评价，其中好评" +
            std::to_string(good) + "条</span>\n";
    body += rateTable("seller-rate", "作为卖家的信用", s.sellerRates, list);
    body += "<p class=\"rate-summary\">好评率：<strong>" + percent(s.buyerGoodRate) + "</strong></p>";
    body += rateTable("buyer-rate", "作为买家的信用", s.buyerRates, list);
    body += "</div></div>\n";
    (void)model;
    return m.page(s.nick + " 的信用评价", body);
}

std::string rateListPage(const MarketModel& model, const Shop& s, int page, bool historyHost, Markup& m) {
    const bool served = page >= 1 && (historyHost ? page >= kFirstHistoryPage : page < kFirstHistoryPage);
    std::vector<Rating> ratings;
    if (served) ratings = model.ratings(s);
    const size_t begin = static_cast<size_t>(std::max(0, page - 1)) * MarketModel::kRatingsPerPage;
    std::string body = "<div class=\"rate-list\"><h3>来自买家的评价</h3><table class=\"tb-rate-table\" "
                       "id=\"J_RateList\"><tbody>\n";
    static const char* iconClass[] = {"rate-ok", "rate-normal", "rate-bad"};
    size_t shown = 0;
    for (size_t i = begin; served && i < ratings.size() && i < begin + MarketModel::kRatingsPerPage;
         ++i, ++shown) {
        const Rating& r = ratings[i];
        const char* grade = gradeText(r.grade);
        body += "<tr><td class=\"rate\"><span class=\"" + std::string(iconClass[static_cast<int>(r.grade)]) +
                "\" title=\"" + grade + "\">" + grade + "</span>";
        if (!r.counts) body += "<span class=\"no-effect\">[不计分]</span>";
        body += "</td><td><p class=\"rate\" style=\"text-align:left;\">";
        if (i % 6 == 2) body += "<script>rateEmotion(" + std::to_string(i % 5) + ");</script>";
        body += m.comment(r.comment) + "</p>";
        if (!r.explanation.empty()) body += "<p class=\"exp\">" + m.text(r.explanation) + "</p>";
        // Half the times in the dotted, bracketed form the program normalises.
        std::string time = r.time;
        if (i % 2 == 1) {
            for (char& c : time)
                c = c == '-' ? '.' : c;
            time = "[" + time + "]";
        }
        body += "<span class=\"date\">" + time + "</span></td><td>买家：";
        if (r.raterId.empty())
            body += decimalRefs(r.raterName);
        else
            body +=
                "<a href=\"" + std::string(market::kRateHost) + "/user-rate-" + r.raterId +
                ".htm\" target=\"_blank\">" + decimalRefs(r.raterName) + "</a>" +
                (i % 3 == 0 ? imageLink("http://www.taobao.com/help/credit.htm", "newrank/b_red_2.gif") : "");
        body += "</td><td><p class=\"exp\"><a "
                "href=\"http://trade.taobao.com/trade/detail/trade_snap.htm?trade_id=" +
                r.tradeId + "\" title=\"" + m.text(r.itemTitle) + "\" target=\"_blank\">" +
                m.text(r.itemTitle) + "</a></p><span class=\"price\"><em>" + money(r.price) +
                "</em>元</span></td></tr>\n";
    }
    if (shown == 0) body += "<tr><td class=\"no-rate\" colspan=\"4\">暂无评价</td></tr>\n";
    body += "</tbody></table><div class=\"pagination\">第" + std::to_string(page) + "页 共" +
            std::to_string(model.ratingPageCount(s)) + "页</div></div>\n";
    return m.page(s.nick + " 的信用评价", body);
}

} // namespace vantor::demo
