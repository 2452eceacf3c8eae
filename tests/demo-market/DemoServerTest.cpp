#include "MarketClient.h"

#include "demo-market/DemoMarket.h"
#include "demo-market/Gbk.h"
#include "demo-market/Pages.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

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

// vantor-demo-market as a program: its options, the port it prints, and its end on SIGTERM.
// The program started by a shell that first prints its process id, then becomes the program; a hang
// is left to the test run's time-out.
class Program {
public:
    explicit Program(const std::vector<std::string>& args) {
        std::string command = "echo $$; exec " VANTOR_DEMO_MARKET_EXE;
        for (const std::string& a : args)
            command += " '" + a + "'";
        out_ = ::popen(command.c_str(), "r");
        pid_ = std::stoi(line());
    }
    ~Program() {
        if (!out_) return;
        ::kill(pid_, SIGKILL);
        ::pclose(out_);
    }

    // The next line the program prints, or "" at its end.
    std::string line() {
        char text[256];
        return std::fgets(text, sizeof text, out_) ? std::string(text, std::strcspn(text, "\n")) : "";
    }
    void terminate() { ::kill(pid_, SIGTERM); }
    int waitForExit() {
        const int raw = ::pclose(std::exchange(out_, nullptr));
        return WIFEXITED(raw) ? WEXITSTATUS(raw) : 128 + WTERMSIG(raw);
    }

private:
    FILE* out_ = nullptr;
    pid_t pid_ = -1;
};

TEST(DemoProgramTest, PrintsItsPortServesItsSeedAndDateAndEndsOnTerm) {
    Program program({"--seed", "3", "--today", "2025-06-30", "--proxy-user", "u", "--proxy-password", "p",
                     "--fault", "kind=error&status=502&match=rate.taobao&count=1"});
    const std::string line = program.line();
    ASSERT_FALSE(line.empty());
    const auto port = static_cast<std::uint16_t>(std::stoi(line));
    const auto get = [&](const std::string& url, const std::string& userPwd = "u:p") {
        return test::fetch(url, {.proxyPort = port, .proxyUserPwd = userPwd});
    };
    // The same seed and day in this process make the same market; another seed makes another.
    DemoMarketOptions options;
    options.today = {2025, 6, 30};
    options.seed = 3;
    DemoMarket reference(options);
    options.seed = 77;
    DemoMarket otherSeed(options);
    const Shop& shop = reference.model().shops()[4];
    const Item& item = reference.model().itemOf(shop, 0);

    const auto refused = get(shop.webAddress(), "");
    EXPECT_EQ(refused.status, 407);
    EXPECT_NE(refused.headers.find("Proxy-Authenticate: Basic"), std::string::npos);
    EXPECT_EQ(get(shop.webAddress(), "u:wrong").status, 407);
    EXPECT_EQ(get(shop.rateAddress()).status, 502);
    // Ratings and sales are dated, so these pages differ unless the day is the same.
    for (const std::string& url :
         {shop.webAddress(), shop.rateAddress(), rateListAddress(shop, 1), item.address(),
          buyerListParams(reference.model(), item) + "&page_size=80&&bid_page=1"}) {
        SCOPED_TRACE(url);
        const auto page = get(url);
        EXPECT_EQ(page.status, 200);
        EXPECT_EQ(page.body, test::viaProxy(reference.port(), url).body);
        EXPECT_NE(page.body, test::viaProxy(otherSeed.port(), url).body);
    }

    program.terminate();
    EXPECT_EQ(program.waitForExit(), 0);
}

TEST(DemoProgramTest, BadOptionsAreArgumentErrors) {
    for (auto option : {std::vector<std::string>{"--fault", "kind=explode"}, {"--today", "2025-02-30"}}) {
        Program program(option);
        EXPECT_EQ(program.waitForExit(), 2) << option[1];
    }
}

} // namespace
} // namespace vantor::demo
