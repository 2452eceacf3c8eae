#include "Expressions.h"

#include "base/GbkText.h"

#include <array>
#include <cstddef>
#include <stdexcept>

namespace vantor::parse {
namespace {

struct Entry {
    Expression which;
    const char* text; // UTF-8, as the marketplace's markup needs it
};

// In the order of the enumeration.
constexpr Entry kExpressions[] =
    {
        {Expression::LineBreak, R"re(<br\s*/>)re"},
        {Expression::LineBreakNoSlash, R"re(<br\s*>)re"},
        {Expression::WhitespaceRun, R"re(\s{2,})re"},
        {Expression::HighlightOpen, R"re(<em\sclass=\"h\">)re"},
        {Expression::HighlightClose, R"re(</em>)re"},
        {Expression::SpanOpen, R"re(<span[^>]+>)re"},
        {Expression::SpanClose, R"re(</span>)re"},
        {Expression::ShopSearchRow,
         R"re(<tr><td\sclass=\"thumb\">(<!-- 大图模式增加 thumb -->)?<div\s[^>]+><a\starget=\"_blank\"\shref=\"([^\"]+)\"\stitle=\"([^\"]+)\"\s*>((?!</div>).)+</div><dl>((?!</dt>).)*</dt></dt><dd>((?!</span>).)+</span><a\s[^>]+>([^<]+)*</a>((?!</td>).)+</td><td>((?!<span>).)+<span>([^<]+)</span>((?!</td>).)*</td><td><p\sclass=\"nick\"><a\s[^>]+>([^<]+)</a></p>((?!</td>).)+</td><td><p>([^<]*)</p></td><td><p><a\sclass=\"rank\"\stitle=\"无卖家信用\"\sdata-rank=\"([^\"]*)\"\s((?!</a>).)+</a></p><p><a\sclass=\"score\"\shref=\"([^\"]+)\"\sdata-score=\"([^\"]+)\">)re"},
        {Expression::BracketCount, R"re(\(\s*(\d+)\s*\)</div>)re"},
        {Expression::ItemId, R"re(\"itemidstr\":\"([^\"]+)\")re"},
        {Expression::ItemTitle, R"re(<div\sclass=\"detail-hd\">\s*<h3>([^<]+)</h3>)re"},
        {Expression::ItemCurSale, R"re(<span>本期售出[^<]*</span><em>(\d+)</em>)re"},
        {Expression::ItemMonthSale, R"re(<span>30天售出[^<]*</span><em>(\d+)</em>)re"},
        {Expression::ItemFavorite, R"re(<span>收藏人气[^<]*</span>(\d+))re"},
        {Expression::ItemAddr, R"re(<span>所在地区[^<]*</span><em>([^<]*)</em>)re"},
        {Expression::ItemPrice,
         R"re(<strong\sid=\"j_strprice\"\s*>\s?(\d+\.?\d*)([^\d]*)?((\d+\.?\d*))?</strong>)re"},
        {Expression::BuyerListButton,
         R"re(<button\sid=\"J_listBuyerOnView\"\stype=\"button\"[^>]+>[^<]*</button>)re"},
        {Expression::BuyerListParams, R"re(detail:params=\"([^,]+))re"},
        {Expression::SoldTotal, R"re(sold_total_num=(\d+))re"},
        {Expression::ShopEntry,
         R"re(<div\sclass=\"other\"><a\sclass=\"enter\"\shref=\"([^\"]+)\"\s[^>]+><span[^>]*>进入掌柜的店铺</span></a>)re"},
        {Expression::RateLinkFirstForm,
         R"re(<li><a((?!href=\").)+href=\"([^\"]+)\"[^>]*>信用评价</a></li>)re"},
        {Expression::RateLinkSecondForm,
         R"re(<a\starget=\"_blank\"\shref=\"([^\"]+)\"\stitle=\"信用评价\">)re"},
        {Expression::ShopkeeperFirstForm, R"re(<div\sclass=\"shopman[^>]*><p><a[^>]+>([^<]+)</a>)re"},
        {Expression::ShopkeeperSecondForm,
         R"re(<div\sclass=\"shopman\sentry-title\">\s*<p>\s*<a\shref=\"([^\"]+)\"[^>]+>([^<]+)</a>)re"},
        {Expression::SellerCredit, R"re(<span>卖家信用[^<]*</span><a\shref=\"([^\"]+)\">(\d+)[^<]*</a>)re"},
        {Expression::BuyerCredit, R"re(<span>买家信用[^<]*</span><a\shref=\"([^\"]+)\">(\d+)[^<]*</a>)re"},
        {Expression::ShopFavorite, R"re(<span>收藏人气[^<]*</span><a\shref=\"([^\"]+)\">(\d+)[^<]*</a>)re"},
        {Expression::ShopCreateDate, R"re(<span>创店时间[^<]*</span>([^<]+))re"},
        {Expression::ShopName, R"re(<div\sclass=\"shop-name\"><h1><a\shref=\"[^\"]*\">([^<]+)</a>)re"},
        {Expression::ShopItemCount, R"re(<span>宝贝数量[^<]*</span>([^<]+))re"},
        {Expression::ShopLocation, R"re(<span>所在地区[^<]*</span>([^<]+))re"},
        {Expression::ShopAddress, R"re(<li><span>地址[^<]*</span>([^<]+)</li>)re"},
        {Expression::CategoryTrail,
         R"re(<div\sclass=\"crumbs\">(<a\s[^>]+>[^<]+</a>(<span>[^<]+</span>)?){2}([^<]+))re"},
        {Expression::ItemListPageCount, R"re(<span\sclass=\"page-info\">\d/(\d+)</span>)re"},
        {Expression::ItemListTotal, R"re(<span\sclass=\"page-info\">共(\d+)条)re"},
        {Expression::FirstPageFirstForm, R"re(<li\s[^>]+><a\shref=\"([^\"]+)\"[^>]*><em>首页</em></a>)re"},
        {Expression::FirstPageSecondForm, R"re(<a\shref=\"([^\"]+)\"[^>]*><em>首页</em></a>)re"},
        {Expression::ItemListFormAction, R"re(<form\sid=\"j_pagination\"\saction=\"([^\"]+)\")re"},
        {Expression::UserIdFromRateUrl, R"re(user-rate-([^\.]+))re"},
        {Expression::UserIdFromScript, R"re(userid:\s*'([^']+)',)re"},
        {Expression::GoodRatingRow,
         R"re(<tr><td><span\sclass=\"rate-icon\srate-ok\">好评</span></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*>(\d+)</td></tr>)re"},
        {Expression::NeutralRatingRow,
         R"re(<tr><td><span\sclass=\"rate-icon\srate-normal\">中评</span></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*>(\d+)</td></tr>)re"},
        {Expression::BadRatingRow,
         R"re(<tr><td><span\sclass=\"rate-icon\srate-bad\">差评</span></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*><a\s[^>]+>(\d+)</a></td><td\s*[^>]*>(\d+)</td></tr>)re"},
        {Expression::RatingCount, R"re(<span\sclass=\"g\">共(\d+)条评价[^<]+</span>)re"},
        {Expression::CumulativeCredit,
         R"re(<li\sclass=\"credit\">卖家累积信用[^<]*<a\s[^>]+>([^<]+)</a>(<a\s[^>]+><img\s[^>]+></a>)?<ul\sclass=\"sale-type\"><li>虚拟商品交易[^<]*<strong>([^%]+)%</strong></li><li>实物商品交易[^<]*<strong>([^%]+)%</strong></li></ul></li><li\sclass=\"credit\">买家累积信用[^<]*<a\s[^>]+>([^<]+)</a>(<a\s[^>]+><img\s[^>]+></a>)?</li></ul>)re"},
        {Expression::DynamicScore, R"re(<span\sclass=\"c-value-no[^>]+><em>([^<]+)</em></span>)re"},
        {Expression::GoodRatingRate,
         R"re(<p\sclass=\"rate-summary\">好评率[^<]*<strong>([^%]+)%</strong></p>)re"},
        {Expression::SellerCreditSecondForm,
         R"re(<h4\sclass=\"seller\">卖家信用<a[^>]+>(\d+)</a><a[^>]+><img[^>]+></a></h4><p\sclass=\"rate-summary\">好评率：<em>([^%]+)%</em></p>)re"},
        {Expression::BuyerCreditSecondForm,
         R"re(<h4\sclass=\"buyer\">买家信用<a[^>]+>(\d+)</a><a[^>]+><img[^>]+></a></h4><p\sclass=\"rate-summary\">好评率：<em>([^%]+)%</em></p>)re"},
        {Expression::ShopItemRow,
         R"re(<li\s*class=\"list-item\"\s*><h3\s*class=\"summary\"\s*><a\shref=\"([^\"]+)\"[^>]+>(((?!</a>).)+)</a></h3><div\s*class=\"photo\"\s*><a[^>]+><span><img[^>]+></span></a>(<!-- 当宝贝含有视频时, 输出下面这段html -->)?(<span class="video"></span>)?(<!-- end -->)?</div><ul[^>]+><li[^>]+>([^<]+)</li><li[^>]+>([^<]*)(<a[^>]+>.+?</a>)?</li><li[^>]+>(<a[^>]+><span>[^<]+</span></a>)*</li><li[^>]+>[^<]+<em>([^<]+)</em><div><p>(<a[^>]+><img[^>]+>[^<]*</a>)?(<a[^>]*><span>[^<]*</span></a>)?</p></div></li></ul><div\sclass=\"extend\">(<a[^>]+><img[^>]+></a>)?</div><p[^>]+>(<a[^>]+><img[^>]+></a>)?[^<]*<a[^>]+>([^<]+)</a>(<a[^>]+><img[^>]+></a>)?<span[^>]+></span></p><span\s*class=\"other\"[^>]*><input\s*[^>]+><input\s*type=\"hidden\"\s*value=\"([^\"]+)\"\s*class=\"auction-id\"[^>]+><input\s*type=\"hidden\"\s*value=\"([^\"]+)\"\s*class=\"user-id\"[^>]+></span></li>)re"},
        {Expression::SaleRow,
         R"re(<td\sclass=\"cell-align-l\">(<a\s[^>]+>)?([^<]+)(</a>)?(<a\s[^>]+>)?(<img\s[^>]+>)?(</a>)?</td><td\sclass=\"cell-align-l\"><a\s([^>]+)>([^<]+)</a>[^<]*</td><td><em>([^<]+)</em></td><td>([^<]+)</td><td>([^<]+)</td><td>([^<]+)</td>)re"},
        {Expression::TradeId, R"re(trade_id=([^\"]+))re"},
        {Expression::RatingRow,
         R"re(<tr><td\sclass=\"rate\"><span\s[^>]+>([^<]+)</span>(<span\sclass=\"no-effect\">\[不计分\]</span>)?</td><td><p\sclass=\"rate\"\sstyle=\"text-align:left;\">(<script>[^<]+</script>)?([^<]+)</p>(<p\sclass=\"exp\">([^<]+)</p>)?<span\sclass=\"date\">([^<]+)</span></td><td>买家：(<a\s([^>]+)>([^<]+)</a>(<a\s([^>]+)><img\s[^>]+></a>)?)?([^<]+)?</td><td><p\sclass=\"exp\"><a\s[^\?]+\?trade_id=([^\"]+)\"\stitle=\"([^\"]+)\"[^>]+>([^<]+)</a></p><span\sclass=\"price\"><em>([^<]+)</em>元</span></td></tr>)re"},
        {Expression::ItemSearchTotal, R"re(<div[^>]+>(找到相关宝贝)<em>(\d+)</em>件</div>)re"},
        // A category browse page sorted by sales, for the full-row parser: url 1, title 2, place 7,
        // price 16, shipping 17, seller 20, 30-day sales 22, bookmarks 23.
        {Expression::CategoryItemRow,
         R"re(<li\s*class=\"list-item\"\s*><h3\s*class=\"summary\"\s*><a\shref=\"([^\"]+)\"[^>]+>(((?!</a>).)+)</a></h3>)re"
         R"re(<div\s*class=\"photo\"\s*><a[^>]+><span><img[^>]+></span></a>(<!--[^>]*-->)?(<span\sclass=\"video\"></span>)?(<!--[^>]*-->)?</div>)re"
         R"re(<ul[^>]+><li\sclass=\"place\">([^<]*)(<a[^>]+>[^<]+</a>)?</li><li\sclass=\"legend\">((<a[^>]+><span>[^<]+</span></a>)*)</li>)re"
         R"re(<li\sclass=\"rank\">(第(\d+)名)?</li><li\sclass=\"mark\">((<img[^>]+>)*)(<span>[^<]*</span>)?</li>)re"
         R"re(<li\sclass=\"price\"><em>([^<]+)</em>\s*<span[^>]+>[^\d]+([^<]+)</span></li></ul><div\sclass=\"extend\">(<a[^>]+><img[^>]+></a>)?</div>)re"
         R"re(<p[^>]+>(<a[^>]+><img[^>]+></a>)?<a[^>]+>([^<]+)</a>(<a[^>]+><img[^>]+></a>)?<span[^>]+></span></p>)re"
         R"re(<span\sclass=\"other\"><em\sclass=\"sale\">([^<]+)</em><em\sclass=\"favorite\">([^<]+)</em></span></li>)re"},
        {Expression::ItemSearchRow, R"re(<li\s*class=\"list-item\"\s*><h3\s*class=\"summary\"\s*><a\sstat=\"[^\"]+\"\shref=\"([^\"]+)\"[^>]+>(((?!</a>).)+)</a></h3><div\s*class=\"photo\"\s*><a[^>]+><span><img[^>]+></span></a></div><ul[^>]+><li[^>]+>((?!</li>).)+</li><li\sclass=\"sale\">最近售出(\d+)件</li><li\sclass=\"place\">([^<]*)(<a[^>]+>[^<]+</a>)?</li><li\sclass=\"price\"><em>([^<]+)</em>\s*<span[^>]+>[^\d]+([^<]+)</span>([^<]*)(<a[^>]+>[^<]+</a>)?([^<]*)(<a[^>]+>[^<]+</a>)?</li></ul><p[^>]+><a\shref=\"([^\"]+)[^>]+>([^<]+)</a><span[^>]+></span>)re"},
};

constexpr size_t kCount = sizeof kExpressions / sizeof kExpressions[0];

} // namespace

const std::string& expression(Expression which) {
    static const std::array<std::string, kCount> patterns = [] {
        std::array<std::string, kCount> converted;
        for (size_t i = 0; i < kCount; ++i) {
            if (size_t(kExpressions[i].which) != i) throw std::logic_error("expression table out of order");
            converted[i] = lowerPattern(gbkExpression(kExpressions[i].text));
        }
        return converted;
    }();
    return patterns.at(size_t(which));
}

} // namespace vantor::parse
