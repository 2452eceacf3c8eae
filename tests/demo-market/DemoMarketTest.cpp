#include "MarketClient.h"

#include "demo-market/DemoMarket.h"
#include "demo-market/Gbk.h"
#include "demo-market/MarketModel.h"
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
#include <set>
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

class MarketModelTest : public ::testing::Test {
protected:
    static void SetUpTestSuite() { model = new MarketModel(1, {2026, 3, 15}); }
    static void TearDownTestSuite() { delete model; }
    static MarketModel* model;
};
MarketModel* MarketModelTest::model = nullptr;

TEST_F(MarketModelTest, HundredsOfShopsThousandsOfItemsWithUniqueKeys) {
    EXPECT_GE(model->shops().size(), 200u);
    EXPECT_GE(model->items().size(), 2000u);
    std::set<std::string> nicks, itemIds;
    for (const Shop& s : model->shops()) {
        EXPECT_TRUE(nicks.insert(s.nick).second) << s.nick;
        // The lookups find each shop itself, so user ids and shop numbers are unique too.
        EXPECT_EQ(model->shopByUserId(s.userId), &s);
        EXPECT_EQ(model->shopByNo(s.shopNo), &s);
        EXPECT_FALSE(s.items.empty());
    }
    for (const Item& it : model->items())
        EXPECT_TRUE(itemIds.insert(it.id).second) << it.id;
}

TEST_F(MarketModelTest, TextsAreWhatTheProgramSeesAndFitGbk) {
    const auto check = [](const std::string& text) {
        for (char c : text) {
            EXPECT_FALSE(c >= 'A' && c <= 'Z') << text;
            EXPECT_FALSE(c == '"' || c == '<' || c == '>') << text;
        }
        EXPECT_EQ(text.find("  "), std::string::npos) << text;
        EXPECT_NO_THROW(utf8ToGbk(text)) << text;
    };
    for (const Shop& s : model->shops())
        for (const std::string* t : {&s.nick, &s.name, &s.mainBusiness, &s.location, &s.street})
            check(*t);
    for (const Item& it : model->items())
        check(it.title);
    for (const Rating& r : model->ratings(model->shops()[MarketModel::kBigRatingShop]))
        for (const std::string* t : {&r.comment, &r.explanation, &r.raterName, &r.itemTitle})
            check(*t);
}

TEST_F(MarketModelTest, SalesSpreadOverTwoYearsAndAgreeWithTheItemFigures) {
    const std::string now = formatDateTime(model->calendar().now);
    const std::string monthAgo = formatDate(model->calendar().now - 29 * kSecondsPerDay);
    const std::string monthStart = now.substr(0, 8) + "01";
    std::set<std::string> years, months, hours, tradeIds;
    std::set<int> weekdays;
    for (size_t i = 0; i < model->items().size(); i += 7) {
        const Item& it = model->items()[i];
        const auto sales = model->sales(it);
        ASSERT_EQ(sales.size(), static_cast<size_t>(it.saleCount));
        int recent = 0, current = 0;
        for (size_t k = 0; k < sales.size(); ++k) {
            const Sale& sale = sales[k];
            const std::string& t = sale.time;
            EXPECT_GE(sales[k > 0 ? k - 1 : 0].time, t) << "newest first";
            EXPECT_LE(t, now);
            EXPECT_GE(t, formatDateTime(model->calendar().start));
            years.insert(t.substr(0, 4));
            months.insert(t.substr(5, 2));
            hours.insert(t.substr(11, 2));
            const std::int64_t day = daysFromCivil(
                {std::stoi(t.substr(0, 4)), std::stoi(t.substr(5, 2)), std::stoi(t.substr(8, 2))});
            weekdays.insert(weekdayOfDays(day));
            recent += t >= monthAgo;
            current += t >= monthStart;
            EXPECT_TRUE(tradeIds.insert(sale.tradeId).second) << sale.tradeId;
            EXPECT_GE(sale.quantity, 1);
            // Prices change over the two years: a sale is at the price of its day.
            EXPECT_TRUE(sale.price == it.priceOn(day) || sale.price == it.secondPriceOn(day)) << sale.time;
        }
        EXPECT_EQ(recent, it.monthSale) << it.id;
        EXPECT_EQ(current, it.curSale) << it.id;
    }
    EXPECT_GT(tradeIds.size(), 10000u);
    // Two years that end on the model's day: the default analysis range (1 January .. today) has sales.
    EXPECT_EQ(years, (std::set<std::string>{"2024", "2025", "2026"}));
    EXPECT_EQ(months.size(), 12u);
    EXPECT_EQ(weekdays.size(), 7u);
    EXPECT_EQ(hours.size(), 24u);
}

TEST_F(MarketModelTest, RatingSummaryCountsTheRatingList) {
    for (int index : {MarketModel::kBigRatingShop, 3, 4, 17}) {
        const Shop& s = model->shops()[static_cast<size_t>(index)];
        const auto ratings = model->ratings(s);
        ASSERT_EQ(ratings.size(), static_cast<size_t>(s.ratingCount));
        int good = 0, bad = 0;
        std::set<std::string> trades;
        for (size_t k = 0; k < ratings.size(); ++k) {
            good += ratings[k].grade == Grade::Good;
            bad += ratings[k].grade == Grade::Bad;
            trades.insert(ratings[k].tradeId);
            EXPECT_GE(ratings[k > 0 ? k - 1 : 0].time, ratings[k].time) << "newest first";
        }
        EXPECT_EQ(trades.size(), ratings.size());
        EXPECT_EQ(s.sellerRates[0].total, good);
        EXPECT_EQ(s.sellerRates[2].total, bad);
        EXPECT_EQ(s.sellerCredit, std::max(0, good - bad));
        for (const PeriodCounts& c : s.sellerRates) {
            EXPECT_LE(c.period[0], c.period[1]);
            EXPECT_LE(c.period[1], c.period[2]);
            EXPECT_EQ(c.total, c.period[2] + c.period[3]);
        }
    }
    EXPECT_GT(model->ratingPageCount(model->shops()[MarketModel::kBigRatingShop]), 100);
}

TEST_F(MarketModelTest, ItemSearchSortsBySalesAndFiltersPrice) {
    const auto found = model->findItems({.words = "连衣裙", .low = 50, .high = 300, .location = ""});
    ASSERT_FALSE(found.empty());
    for (size_t k = 0; k < found.size(); ++k) {
        EXPECT_NE(found[k]->title.find("连衣裙"), std::string::npos);
        EXPECT_GE(found[k]->price, 50);
        EXPECT_LE(found[k]->price, 300);
        EXPECT_GE(found[k > 0 ? k - 1 : 0]->monthSale, found[k]->monthSale) << "most sold first";
    }
}

} // namespace
} // namespace vantor::demo
