// vantor-demo-market as a program: its options, the port it prints, and its end on SIGTERM.
#include "MarketClient.h"

#include "demo-market/DemoMarket.h"
#include "demo-market/Pages.h"
#include "support/HttpServer.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

extern char** environ;

namespace vantor::demo {
namespace {

class Program {
public:
    explicit Program(std::vector<std::string> args) {
        args.insert(args.begin(), VANTOR_DEMO_MARKET_EXE);
        std::vector<char*> argv;
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        int out[2];
        EXPECT_EQ(::pipe2(out, O_CLOEXEC), 0); // the child keeps only its standard output
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        EXPECT_EQ(posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        stdout_ = out[0];
    }

    ~Program() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::close(stdout_);
    }

    // The first line the program prints; it ends early when the program goes quiet for ten seconds.
    std::string firstLine() {
        std::string line;
        char c;
        pollfd p{stdout_, POLLIN, 0};
        while (::poll(&p, 1, 10000) == 1 && ::read(stdout_, &c, 1) == 1 && c != '\n')
            line += c;
        return line;
    }

    // The exit status, or -1 when the program has not ended within ten seconds.
    int waitForExit() {
        int status = 0;
        if (!test::HttpServer::waitUntil([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; },
                                         std::chrono::seconds(10)))
            return -1;
        pid_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

    void terminate() { ::kill(pid_, SIGTERM); }

private:
    pid_t pid_ = -1;
    int stdout_ = -1;
};

TEST(DemoProgramTest, PrintsItsPortServesItsSeedAndDateAndEndsOnTerm) {
    Program program({"--seed", "3", "--today", "2025-06-30", "--proxy-user", "u", "--proxy-password", "p",
                     "--fault", "kind=error&status=502&match=rate.taobao&count=1"});
    const std::string line = program.firstLine();
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
