#include "app/HttpTest.h"
#include "support/HttpServer.h"

#include <gtest/gtest.h>

#include <mutex>
#include <thread>

using namespace vantor;
using namespace vantor::test;

namespace {

// What the test reported, and on which thread.
struct Verdicts {
    std::mutex mutex;
    std::vector<std::string> states;
    std::thread::id thread;

    THttpTest::Verdict callback() {
        return [this](const std::string& state, const TDownBean&) {
            std::lock_guard lock(mutex);
            states.push_back(state);
            thread = std::this_thread::get_id();
        };
    }
};

std::shared_ptr<const THttpAgent> testAgent() {
    THttpAgent agent;
    agent.ConnectTimeOut = -59000;
    agent.ReadTimeOut = -29000;
    return std::make_shared<const THttpAgent>(agent);
}

} // namespace

TEST(ConnectionTest, PassesWhenTheTestPageArrives) {
    HttpServer server([](const HttpRequest&) { return HttpReply::page("<html>search</html>"); });
    Verdicts verdicts;
    THttpTest test(testAgent(), server.url("/"), verdicts.callback());
    test.wait();
    EXPECT_EQ(verdicts.states, std::vector<std::string>{"测试连接通过！"});
    EXPECT_NE(verdicts.thread, std::this_thread::get_id()); // the window must pass it on
    EXPECT_EQ(test.bean().getHtmlCode(), "<html>search</html>");
}

TEST(ConnectionTest, AStoppedTestAbortsItsDownloadAndGivesNoVerdict) {
    HttpServer server([](const HttpRequest&) { return HttpReply::late("late", std::chrono::seconds(30)); });
    Verdicts verdicts;
    THttpTest test(testAgent(), server.url("/"), verdicts.callback());
    ASSERT_TRUE(HttpServer::waitUntil([&] { return server.requestCount() == 1; }));
    test.requestStop();
    test.wait();
    EXPECT_TRUE(verdicts.states.empty());
    EXPECT_EQ(test.bean().getStatus(), "stop");
    EXPECT_TRUE(HttpServer::waitUntil([&] { return server.hangUps() == 1; }));
}
