#include "Fetching.h"
#include "support/HttpServer.h"
#include "support/TinyProxy.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace vantor;
using namespace vantor::test;

TEST(Proxy, TheSelectedProxyTakesTheCredentialsAndAnUnselectedOneIsIgnored) {
    TinyProxy proxy("alice", "s3cret");
    HttpServer server([](const HttpRequest&) { return HttpReply::page("the page"); });
    auto viaProxy = [&](const std::string& password, bool selected) {
        THttpAgent agent;
        agent.AgentType = selected;
        agent.Server = "127.0.0.1";
        agent.Port = proxy.port();
        agent.User = "alice";
        agent.Password = password;
        agent.Domain = "WORKGROUP"; // kept in the settings, never sent
        return fetch(server.url("/p.htm"), quickAgent(agent));
    };

    auto through = viaProxy("s3cret", true);
    EXPECT_EQ(through->getStatus(), "finish") << through->getErrorInfo();
    EXPECT_EQ(through->getHtmlCode(), "the page");
    ASSERT_EQ(server.requestCount(), 1u);
    EXPECT_NE(server.requests()[0].header("Via").find("tinyproxy"), std::string::npos);

    auto refused = viaProxy("wrong", true);
    EXPECT_EQ(refused->getStatus(), "stop");
    EXPECT_EQ(refused->getErrorCode(), "100860");
    EXPECT_TRUE(refused->getErrorInfo().starts_with("HttpError-")) << refused->getErrorInfo();
    EXPECT_EQ(refused->getHtmlCode(), "");
    EXPECT_EQ(server.requestCount(), 1u);

    // Not selected: the filled-in settings, wrong password and all, play no part.
    auto direct = viaProxy("wrong", false);
    EXPECT_EQ(direct->getStatus(), "finish") << direct->getErrorInfo();
    ASSERT_EQ(server.requestCount(), 2u);
    EXPECT_EQ(server.requests()[1].header("Via"), "");
}

TEST(Proxy, AProxyNamedInTheEnvironmentIsIgnored) {
    ClosedPort deadProxy;
    HttpServer server([](const HttpRequest&) { return HttpReply::page("direct"); });
    // The four proxy variables name a dead proxy; empty exception lists leave local hosts no way out.
    std::vector<std::pair<std::string, std::optional<std::string>>> saved;
    for (const char* name : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY", "no_proxy", "NO_PROXY"}) {
        const char* old = std::getenv(name);
        saved.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
        setenv(name, saved.size() <= 4 ? deadProxy.url().c_str() : "", 1);
    }
    auto bean = fetch(server.url("/p.htm"), quickAgent());
    for (const auto& [name, value] : saved)
        value ? setenv(name.c_str(), value->c_str(), 1) : unsetenv(name.c_str());
    EXPECT_EQ(bean->getStatus(), "finish") << bean->getErrorInfo();
    EXPECT_EQ(bean->getHtmlCode(), "direct");
}
