// vantor-demo-market as a program: its options, the port it prints, and its end on SIGTERM.
#include "MarketClient.h"

#include "demo-market/DemoMarket.h"
#include "demo-market/Pages.h"

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

namespace vantor::demo {
namespace {

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
