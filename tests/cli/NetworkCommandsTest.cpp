#include "RunCli.h"
#include "base/IniFile.h"
#include "support/HttpServer.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor::test;
using vantor::IniFile;

namespace {

// A data folder and the command line run on it.
struct Folder {
    TempDir dir;

    CliResult run(const std::string& arguments) const {
        return runCli("--data-dir " + dir.path().string() + " " + arguments);
    }
    std::string key(const char* section, const char* name) const {
        return IniFile::load(dir / "config.ini").read(section, name, "<missing>");
    }
    std::string file() const { return readFile(dir / "config.ini"); }
};

} // namespace

TEST(NetworkCommands, AProxyIsSavedWithItsCredentials) {
    Folder folder;
    auto r =
        folder.run("config proxy --server 127.0.0.1 --port 3128 --user alice --password s3cret --domain WG");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(folder.key("Net", "AgentType"), "-1");
    EXPECT_EQ(folder.key("Net", "Server"), "127.0.0.1");
    EXPECT_EQ(folder.key("Net", "Port"), "3128");
    EXPECT_EQ(folder.key("Net", "User"), "alice");
    EXPECT_EQ(folder.key("Net", "Password"), "s3cret");
    EXPECT_EQ(folder.key("Net", "Domain"), "WG");
    EXPECT_EQ(folder.key("Net", "ConnectTime"), "3");

    // No proxy: the typed settings stay in the file for the next time.
    r = folder.run("config proxy --none");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(folder.key("Net", "AgentType"), "0");
    EXPECT_EQ(folder.key("Net", "Server"), "127.0.0.1");
    EXPECT_EQ(folder.key("Net", "Password"), "s3cret");
}

TEST(NetworkCommands, RefusedSettingsExitWithTwoAndLeaveTheFile) {
    Folder folder;
    ASSERT_EQ(folder.run("config show").status, 0);
    std::string before = folder.file();

    auto r = folder.run("config proxy --server '' --port 80a");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("保存失败，请输入服务器名！"), std::string::npos) << r.out;

    r = folder.run("config proxy --server proxy.lan --port 80a");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("保存失败，端口、读取超时间隔、连接超时间隔必须为数字！"), std::string::npos)
        << r.out;

    r = folder.run("config net --connect-timeout soon");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("保存失败，端口、读取超时间隔、连接超时间隔必须为数字！"), std::string::npos)
        << r.out;

    EXPECT_EQ(folder.run("config proxy --none --server proxy.lan --port 80").status, 2);
    EXPECT_EQ(folder.run("config proxy").status, 2);
    EXPECT_EQ(folder.run("config proxy --server proxy.lan").status, 2); // no port
    EXPECT_EQ(folder.run("config net").status, 2);
    EXPECT_EQ(folder.run("config optimize yearly").status, 2);
    EXPECT_EQ(folder.file(), before);
}

TEST(NetworkCommands, NetChangesOnlyTheNumbersGiven) {
    Folder folder;
    ASSERT_EQ(folder.run("config proxy --server proxy.lan --port 3128").status, 0);
    auto r = folder.run("config net --attempts 5 --read-timeout 1500");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(folder.key("Net", "ConnectTime"), "5");
    EXPECT_EQ(folder.key("Net", "ReadTimeOut"), "1500");
    EXPECT_EQ(folder.key("Net", "ConnectTimeOut"), "0");
    EXPECT_EQ(folder.key("Net", "Server"), "proxy.lan");
    EXPECT_EQ(folder.key("Net", "AgentType"), "-1");

    ASSERT_EQ(folder.run("config net --connect-timeout 2500").status, 0);
    EXPECT_EQ(folder.key("Net", "ConnectTimeOut"), "2500");
    EXPECT_EQ(folder.key("Net", "ConnectTime"), "5");
}

TEST(NetworkCommands, OptimizeSavesTheScheduleAndCompactsAtTheNextStart) {
    Folder folder;
    writeFile(folder.dir / "config.ini", "[Other]\noptimize=1\nlastTimeOpt=2012-01-01 10:00:00\n");
    auto r = folder.run("config optimize daily");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(folder.key("Other", "optimize"), "0");
    EXPECT_EQ(folder.key("Other", "lastTimeOpt"), "");
    ASSERT_EQ(folder.run("config optimize monthly").status, 0);
    EXPECT_EQ(folder.key("Other", "optimize"), "2");
}

TEST(NetworkCommands, TestConnectionPassesAgainstALocalServerAndFailsOnAClosedPort) {
    HttpServer server([](const HttpRequest&) { return HttpReply::page("<html>ok</html>"); });
    Folder folder;
    auto r = folder.run("test-connection --url " + server.url("/home"));
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("测试连接通过！"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("已接收 15 字节"), std::string::npos) << r.out; // the download's progress
    ASSERT_EQ(server.requestCount(), 1u);
    EXPECT_EQ(server.requests()[0].target, "/home");

    ClosedPort closed;
    r = folder.run("test-connection --url " + closed.url());
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("测试连接失败！"), std::string::npos) << r.out;
}

TEST(NetworkCommands, TestConnectionGoesThroughTheSavedProxy) {
    // The local server plays the proxy: it receives the whole address of the test page.
    HttpServer proxy([](const HttpRequest&) { return HttpReply::page("<html>ok</html>"); });
    Folder folder;
    ASSERT_EQ(folder.run("config proxy --server 127.0.0.1 --port " + std::to_string(proxy.port())).status, 0);
    auto r = folder.run("test-connection --url http://www.search.test/");
    EXPECT_EQ(r.status, 0) << r.out;
    ASSERT_EQ(proxy.requestCount(), 1u);
    EXPECT_EQ(proxy.requests()[0].target, "http://www.search.test/");
}

TEST(NetworkCommands, TestConnectionRefusesAProxyWithoutServer) {
    Folder folder;
    writeFile(folder.dir / "config.ini", "[Net]\nAgentType=-1\nServer=\nPort=8080\n");
    auto r = folder.run("test-connection --url http://127.0.0.1:9/");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("请输入服务器名！"), std::string::npos) << r.out;
}
