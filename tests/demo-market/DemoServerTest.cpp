#include "MarketClient.h"

#include "demo-market/DemoMarket.h"
#include "demo-market/Gbk.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <curl/curl.h>

namespace vantor::demo {
namespace {

using test::viaProxy;

class DemoServerTest : public ::testing::Test {
protected:
    test::Fetch get(const std::string& url) { return viaProxy(market.port(), url); }
    DemoMarket market;
    const MarketModel& model = market.model();
    const Shop& shop = model.shops()[5];
    const Item& item = model.itemOf(shop, 0);
};

TEST_F(DemoServerTest, OriginFormGivesTheSamePageAsTheProxy) {
    const auto direct =
        test::fetch(market.proxyUrl() + "/item.htm?id=" + item.id, {.hostHeader = "item.taobao.com"});
    ASSERT_EQ(direct.curlCode, CURLE_OK);
    EXPECT_EQ(direct.status, 200);
    EXPECT_EQ(direct.body, get(item.address()).body);
}

TEST_F(DemoServerTest, UnknownPagesAndForeignHosts) {
    for (const char* url : {"http://item.taobao.com/item.htm?id=1", "http://shop1.taobao.com/",
                            "http://rate.taobao.com/user-rate-1.htm", "http://list.taobao.com/nothing.htm"})
        EXPECT_EQ(get(url).status, 404) << url;
    // Outside the marketplace: a stand-in page, since the demo reaches no other network.
    const auto foreign = get("http://www.baidu.com/");
    EXPECT_EQ(foreign.status, 200);
    EXPECT_NE(foreign.body.find(utf8ToGbk("演示市场")), std::string::npos);
}

class DemoFaultTest : public DemoServerTest {};

TEST_F(DemoFaultTest, ErrorsOnEveryNthMatchingRequestUpToTheCount) {
    market.faults().add(parseFaultRule("kind=error&status=500&match=item.htm&every=2&count=2"));
    std::vector<long> statuses;
    for (int i = 0; i < 6; ++i)
        statuses.push_back(get(item.address()).status);
    EXPECT_EQ(statuses, (std::vector<long>{200, 500, 200, 500, 200, 200}));
    // Other addresses are untouched.
    EXPECT_EQ(get(shop.webAddress()).status, 200);
    EXPECT_EQ(market.faults().fired(), 2);
}

TEST_F(DemoFaultTest, DroppedAndTruncatedAnswers) {
    market.faults().add(parseFaultRule("kind=drop&count=1"));
    EXPECT_EQ(get(item.address()).curlCode, CURLE_GOT_NOTHING);
    market.faults().clear();
    market.faults().add(parseFaultRule("kind=truncate&count=1"));
    const auto cut = get(item.address());
    EXPECT_EQ(cut.curlCode, CURLE_PARTIAL_FILE);
    const auto whole = get(item.address());
    EXPECT_EQ(whole.curlCode, CURLE_OK);
    EXPECT_EQ(cut.body, whole.body.substr(0, whole.body.size() / 2));
}

TEST_F(DemoFaultTest, DelayOutlastsAClientTimeoutThenAnswers) {
    market.faults().add(parseFaultRule("kind=delay&ms=2000&count=1"));
    EXPECT_EQ(test::fetch(item.address(), {.proxyPort = market.port(), .timeoutMs = 100}).curlCode,
              CURLE_OPERATION_TIMEDOUT);
    EXPECT_EQ(get(item.address()).status, 200);
}

TEST_F(DemoFaultTest, ControlAddressSteersTheFaults) {
    const std::string control = "http://demo.control";
    EXPECT_EQ(get(control + "/fault?kind=error&status=503&match=rate.taobao").status, 200);
    EXPECT_EQ(get(shop.rateAddress()).status, 503);
    EXPECT_EQ(get(shop.webAddress()).status, 200);
    const auto stats = get(control + "/stats");
    EXPECT_NE(stats.body.find("faults 1"), std::string::npos) << stats.body;
    EXPECT_EQ(get(control + "/fault/clear").status, 200);
    EXPECT_EQ(get(shop.rateAddress()).status, 200);
    const auto bad = get(control + "/fault?kind=explode");
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
