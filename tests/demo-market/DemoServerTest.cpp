#include "MarketClient.h"

#include "demo-market/DemoMarket.h"
#include "demo-market/Gbk.h"
#include "demo-market/Pages.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <curl/curl.h>

namespace vantor::demo {
namespace {

using test::fetch;
using test::percentEncode;
using test::viaProxy;

std::string shopSearch(const std::string& params, int offset) {
    return "http://shopsearch.taobao.com/browse/shop_search.htm?1=1" + params +
           "&n=80&s=" + std::to_string(offset);
}

class DemoServerTest : public ::testing::Test {
protected:
    DemoMarket market;
    const MarketModel& model = market.model();
    const Shop& shop = model.shops()[5];
    const Item& item = model.itemOf(shop, 0);
};

TEST_F(DemoServerTest, ProxyServesEveryPageKindInGbk) {
    const std::string rate = rateListAddress(shop, 1);
    const struct {
        std::string url;
        std::string mustHold; // UTF-8
    } pages[] = {
        {shopSearch("&q=" + percentEncode(utf8ToGbk(shop.nick)) + "&nick=nick", 0), shop.nick},
        {shop.webAddress(), "信用评价"},
        {shop.rateAddress(), "卖家累积信用"},
        {rate, "来自买家的评价"},
        {itemListAddress(shop, 0), "最近成交"},
        {item.address(), "进入掌柜的店铺"},
        {buyerListParams(model, item) + "&page_size=80&&bid_page=1", "付款时间"},
        {"http://s.taobao.com/search?sort=sale-desc&tab=coefp&q=" +
             percentEncode(utf8ToGbk(item.title.substr(0, 6))) + "&loc=&&style=list&n=80&s=0",
         "找到相关宝贝"},
    };
    for (const auto& page : pages) {
        SCOPED_TRACE(page.url);
        const auto got = viaProxy(market.port(), page.url);
        ASSERT_EQ(got.curlCode, CURLE_OK);
        EXPECT_EQ(got.status, 200);
        EXPECT_NE(got.headers.find("charset=GBK"), std::string::npos);
        EXPECT_NE(got.body.find(utf8ToGbk(page.mustHold)), std::string::npos);
        // GBK bytes, not UTF-8: the UTF-8 form of a Chinese text must not be there.
        EXPECT_EQ(got.body.find(page.mustHold), std::string::npos);
    }
}

TEST_F(DemoServerTest, OriginFormGivesTheSamePageAsTheProxy) {
    const auto proxied = viaProxy(market.port(), item.address());
    test::FetchOptions origin;
    origin.hostHeader = "item.taobao.com";
    const auto direct =
        fetch("http://127.0.0.1:" + std::to_string(market.port()) + "/item.htm?id=" + item.id, origin);
    ASSERT_EQ(direct.curlCode, CURLE_OK);
    EXPECT_EQ(direct.status, 200);
    EXPECT_EQ(direct.body, proxied.body);
}

TEST_F(DemoServerTest, SameSeedSameBytesOtherSeedOtherMarket) {
    DemoMarket twin;
    DemoMarketOptions otherSeed;
    otherSeed.seed = 77;
    DemoMarket other(otherSeed);
    for (const std::string& url : {shop.webAddress(), rateListAddress(shop, 1), item.address(),
                                   buyerListParams(model, item) + "&page_size=80&&bid_page=1"}) {
        SCOPED_TRACE(url);
        const auto a = viaProxy(market.port(), url);
        EXPECT_EQ(a.body, viaProxy(twin.port(), url).body);
        EXPECT_EQ(a.body, viaProxy(market.port(), url).body);
    }
    EXPECT_NE(other.model().shops()[5].nick, shop.nick);
    EXPECT_EQ(viaProxy(other.port(), shop.webAddress()).status,
              other.model().shopByNo(shop.shopNo) ? 200 : 404);
}

TEST_F(DemoServerTest, UnknownPagesAndForeignHosts) {
    EXPECT_EQ(viaProxy(market.port(), "http://item.taobao.com/item.htm?id=1").status, 404);
    EXPECT_EQ(viaProxy(market.port(), "http://shop1.taobao.com/").status, 404);
    EXPECT_EQ(viaProxy(market.port(), "http://rate.taobao.com/user-rate-1.htm").status, 404);
    EXPECT_EQ(viaProxy(market.port(), "http://list.taobao.com/nothing.htm").status, 404);
    // Outside the marketplace: a stand-in page, since the demo reaches no other network.
    const auto foreign = viaProxy(market.port(), "http://www.baidu.com/");
    EXPECT_EQ(foreign.status, 200);
    EXPECT_NE(foreign.body.find(utf8ToGbk("演示市场")), std::string::npos);
}

TEST_F(DemoServerTest, RequestLogKeepsTheAddressesAsSent) {
    viaProxy(market.port(), shop.webAddress());
    viaProxy(market.port(), shopSearch("&q=a", 80) + "%20");
    const auto log = market.requests();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0], shop.webAddress() + "/");
    EXPECT_EQ(log[1], shopSearch("&q=a", 80) + "%20");
}

class DemoFaultTest : public DemoServerTest {};

TEST_F(DemoFaultTest, ErrorsOnEveryNthMatchingRequestUpToTheCount) {
    market.faults().add(parseFaultRule("kind=error&status=500&match=item.htm&every=2&count=2"));
    std::vector<long> statuses;
    for (int i = 0; i < 6; ++i)
        statuses.push_back(viaProxy(market.port(), item.address()).status);
    EXPECT_EQ(statuses, (std::vector<long>{200, 500, 200, 500, 200, 200}));
    // Other addresses are untouched.
    EXPECT_EQ(viaProxy(market.port(), shop.webAddress()).status, 200);
    EXPECT_EQ(market.faults().fired(), 2);
}

TEST_F(DemoFaultTest, DroppedAndTruncatedAnswers) {
    market.faults().add(parseFaultRule("kind=drop&count=1"));
    EXPECT_EQ(viaProxy(market.port(), item.address()).curlCode, CURLE_GOT_NOTHING);
    market.faults().clear();
    market.faults().add(parseFaultRule("kind=truncate&count=1"));
    const auto cut = viaProxy(market.port(), item.address());
    EXPECT_EQ(cut.curlCode, CURLE_PARTIAL_FILE);
    const auto whole = viaProxy(market.port(), item.address());
    EXPECT_EQ(whole.curlCode, CURLE_OK);
    EXPECT_EQ(cut.body, whole.body.substr(0, whole.body.size() / 2));
}

TEST_F(DemoFaultTest, DelayOutlastsAClientTimeoutThenAnswers) {
    market.faults().add(parseFaultRule("kind=delay&ms=2000&count=1"));
    test::FetchOptions impatient;
    impatient.proxy = market.proxyUrl();
    impatient.timeoutMs = 100;
    const auto late = test::fetch(item.address(), impatient);
    EXPECT_EQ(late.curlCode, CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(viaProxy(market.port(), item.address()).status, 200);
}

TEST_F(DemoFaultTest, ControlAddressSteersTheFaults) {
    const std::string control = "http://demo.control";
    EXPECT_EQ(viaProxy(market.port(), control + "/fault?kind=error&status=503&match=rate.taobao").status,
              200);
    EXPECT_EQ(viaProxy(market.port(), shop.rateAddress()).status, 503);
    EXPECT_EQ(viaProxy(market.port(), shop.webAddress()).status, 200);
    const auto stats = viaProxy(market.port(), control + "/stats");
    EXPECT_NE(stats.body.find("faults 1"), std::string::npos) << stats.body;
    EXPECT_EQ(viaProxy(market.port(), control + "/fault/clear").status, 200);
    EXPECT_EQ(viaProxy(market.port(), shop.rateAddress()).status, 200);
    const auto bad = viaProxy(market.port(), control + "/fault?kind=explode");
    EXPECT_EQ(bad.status, 400);
    EXPECT_NE(bad.body.find("unknown fault kind"), std::string::npos);
    EXPECT_THROW(parseFaultRule("kind=error&every=0"), std::invalid_argument);
    EXPECT_THROW(parseFaultRule("ms=10"), std::invalid_argument);
}

TEST(DemoStopTest, StopEndsIdleConnectionsAndRefusesNewOnes) {
    DemoMarket market;
    const std::uint16_t port = market.port();
    // A client that connects and never sends: stop must not wait for it.
    const int idle = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = htons(port);
    ASSERT_EQ(::connect(idle, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    EXPECT_EQ(viaProxy(port, market.model().shops()[0].webAddress()).status, 200);
    market.stop();
    char byte;
    EXPECT_EQ(::recv(idle, &byte, 1, 0), 0) << "the idle connection is closed";
    ::close(idle);
    EXPECT_EQ(viaProxy(port, market.model().shops()[0].webAddress()).curlCode, CURLE_COULDNT_CONNECT);
}

} // namespace
} // namespace vantor::demo
