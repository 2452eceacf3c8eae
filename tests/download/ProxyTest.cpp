#include "Fetching.h"
#include "support/HttpServer.h"
#include "support/TinyProxy.h"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace vantor;
using namespace vantor::test;

namespace {

THttpAgent proxyAgent(std::uint16_t port, const std::string& password) {
    THttpAgent agent;
    agent.AgentType = true;
    agent.Server = "127.0.0.1";
    agent.Port = port;
    agent.User = "alice";
    agent.Password = password;
    agent.Domain = "WORKGROUP"; // kept in the settings, never sent
    return agent;
}

// Names a proxy in the environment for the life of the object, with no exception for local hosts.
class EnvironmentProxy {
public:
    explicit EnvironmentProxy(const std::string& address) {
        for (const char* name : {"http_proxy", "HTTP_PROXY", "all_proxy", "ALL_PROXY"})
            set(name, address.c_str());
        for (const char* name : {"no_proxy", "NO_PROXY"})
            set(name, nullptr);
    }
    ~EnvironmentProxy() {
        for (const auto& [name, value] : saved_)
            value ? setenv(name, value->c_str(), 1) : unsetenv(name);
    }

private:
    void set(const char* name, const char* value) {
        const char* old = std::getenv(name);
        saved_.emplace_back(name, old ? std::optional<std::string>(old) : std::nullopt);
        value ? setenv(name, value, 1) : unsetenv(name);
    }
    std::vector<std::pair<const char*, std::optional<std::string>>> saved_;
};

} // namespace

TEST(Proxy, WithTheProxySelectedTheCredentialsGetThePageThrough) {
    TinyProxy proxy("alice", "s3cret");
    HttpServer server([](const HttpRequest&) { return HttpReply::page("through the proxy"); });
    auto bean = fetch(server.url("/p.htm"), quickAgent(proxyAgent(proxy.port(), "s3cret")));
    EXPECT_EQ(bean->getStatus(), "finish") << bean->getErrorInfo();
    EXPECT_EQ(bean->getHtmlCode(), "through the proxy");
    auto requests = server.requests();
    ASSERT_EQ(requests.size(), 1u);
    EXPECT_NE(requests[0].header("Via").find("tinyproxy"), std::string::npos) << requests[0].headers;
    EXPECT_EQ(requests[0].header("User-Agent"), kUserAgent);
}

TEST(Proxy, AWrongPasswordFailsTheDownload) {
    TinyProxy proxy("alice", "s3cret");
    HttpServer server([](const HttpRequest&) { return HttpReply::page("never seen"); });
    auto bean = fetch(server.url("/p.htm"), quickAgent(proxyAgent(proxy.port(), "wrong")));
    EXPECT_EQ(bean->getStatus(), "stop");
    EXPECT_EQ(bean->getErrorCode(), "100860");
    EXPECT_TRUE(bean->getErrorInfo().starts_with("HttpError-")) << bean->getErrorInfo();
    EXPECT_EQ(bean->getHtmlCode(), "");
    EXPECT_EQ(server.requestCount(), 0u);
}

TEST(Proxy, WithoutTheProxySelectedTheFilledInSettingsAreIgnored) {
    TinyProxy proxy("alice", "s3cret");
    HttpServer server([](const HttpRequest&) { return HttpReply::page("direct"); });
    THttpAgent agent = proxyAgent(proxy.port(), "wrong");
    agent.AgentType = false;
    auto bean = fetch(server.url("/p.htm"), quickAgent(agent));
    EXPECT_EQ(bean->getStatus(), "finish") << bean->getErrorInfo();
    EXPECT_EQ(bean->getHtmlCode(), "direct");
    ASSERT_EQ(server.requestCount(), 1u);
    EXPECT_EQ(server.requests()[0].header("Via"), "");
}

TEST(Proxy, AProxyNamedInTheEnvironmentIsIgnored) {
    ClosedPort deadProxy;
    HttpServer server([](const HttpRequest&) { return HttpReply::page("direct"); });
    EnvironmentProxy environment(deadProxy.url());
    auto bean = fetch(server.url("/p.htm"), quickAgent());
    EXPECT_EQ(bean->getStatus(), "finish") << bean->getErrorInfo();
    EXPECT_EQ(bean->getHtmlCode(), "direct");
}
