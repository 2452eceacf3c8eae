// vantor-demo-market as a program: its options, the port it prints, and its end on SIGTERM.
#include "MarketClient.h"

#include "demo-market/DemoMarket.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>
#include <vector>

extern char** environ;

namespace vantor::demo {
namespace {

class Program {
public:
    explicit Program(std::vector<std::string> args) {
        int out[2];
        EXPECT_EQ(::pipe(out), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        args.insert(args.begin(), VANTOR_DEMO_MARKET_EXE);
        std::vector<char*> argv;
        for (std::string& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        EXPECT_EQ(posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        ::close(out[1]);
        stdout_ = out[0];
    }

    ~Program() {
        if (pid_ > 0 && !exited_) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
        ::close(stdout_);
    }

    // The first line the program prints, or empty text when it prints none within ten seconds.
    std::string firstLine() {
        std::string line;
        char c;
        for (int waited = 0; waited < 200 && line.find('\n') == std::string::npos;) {
            pollfd p{stdout_, POLLIN, 0};
            if (::poll(&p, 1, 50) <= 0) {
                ++waited;
                continue;
            }
            if (::read(stdout_, &c, 1) != 1) break;
            line += c;
        }
        return line.substr(0, line.find('\n'));
    }

    // The exit status, or -1 when the program has not ended within ten seconds.
    int waitForExit() {
        int status = 0;
        for (int i = 0; i < 500; ++i) {
            if (::waitpid(pid_, &status, WNOHANG) == pid_) {
                exited_ = true;
                return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return -1;
    }

    void terminate() { ::kill(pid_, SIGTERM); }

private:
    pid_t pid_ = -1;
    int stdout_ = -1;
    bool exited_ = false;
};

TEST(DemoProgramTest, PrintsItsPortServesItsSeedAndDateAndEndsOnTerm) {
    Program program({"--seed", "3", "--today", "2025-06-30", "--proxy-user", "u", "--proxy-password", "p",
                     "--fault", "kind=error&status=502&match=rate.taobao&count=1"});
    const std::string line = program.firstLine();
    ASSERT_FALSE(line.empty());
    const int port = std::stoi(line);
    ASSERT_GT(port, 0);

    DemoMarketOptions sameSeed;
    sameSeed.seed = 3;
    sameSeed.today = {2025, 6, 30};
    DemoMarket reference(sameSeed);
    const Shop& shop = reference.model().shops()[4];
    const auto get = [&](const std::string& url, const std::string& userPwd) {
        test::FetchOptions options;
        options.proxy = "http://127.0.0.1:" + std::to_string(port);
        options.proxyUserPwd = userPwd;
        return test::fetch(url, options);
    };
    const auto refused = get(shop.webAddress(), "");
    EXPECT_EQ(refused.status, 407);
    EXPECT_NE(refused.headers.find("Proxy-Authenticate: Basic"), std::string::npos);
    EXPECT_EQ(get(shop.webAddress(), "u:wrong").status, 407);
    const auto page = get(shop.webAddress(), "u:p");
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.body, test::viaProxy(reference.port(), shop.webAddress()).body);
    EXPECT_EQ(get(shop.rateAddress(), "u:p").status, 502);
    const auto rates = get(shop.rateAddress(), "u:p"); // dated ratings: the same day, the same page
    EXPECT_EQ(rates.status, 200);
    EXPECT_EQ(rates.body, test::viaProxy(reference.port(), shop.rateAddress()).body);

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
