#include "RunCli.h"
#include "app/Update.h"
#include "base/DataFolder.h"
#include "base/IniFile.h"
#include "support/HttpServer.h"
#include "support/TempDir.h"
#include "support/UpdateService.h"

#include <gtest/gtest.h>

using namespace vantor::test;
using vantor::IniFile;
using vantor::kVersion;
using vantor::updateFolder;
using vantor::app::packageFileName;

namespace {

struct Folder : CliFolder {
    // The values of the keys of a section, joined with '|'.
    std::string keys(const char* section, std::initializer_list<const char*> names) const {
        auto ini = IniFile::load(dir / "config.ini");
        std::string joined;
        for (const char* name : names) {
            if (!joined.empty()) joined += '|';
            joined += ini.read(section, name, "<missing>");
        }
        return joined;
    }
};

} // namespace

TEST(NetworkCommands, AProxyIsSavedWithItsCredentialsAndKeptWhenSwitchedOff) {
    Folder folder;
    auto r =
        folder.run("config proxy --server 127.0.0.1 --port 3128 --user alice --password s3cret --domain WG");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(
        folder.keys("Net", {"AgentType", "Server", "Port", "User", "Password", "Domain", "ConnectTime"}),
        "-1|127.0.0.1|3128|alice|s3cret|WG|3");
    r = folder.run("config proxy --none");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(folder.keys("Net", {"AgentType", "Server", "Password"}), "0|127.0.0.1|s3cret");
}

TEST(NetworkCommands, RefusedSettingsExitWithTwoAndLeaveTheFile) {
    Folder folder;
    ASSERT_EQ(folder.run("config show").status, 0);
    std::string before = readFile(folder.dir / "config.ini");
    const std::string notNumbers = "保存失败，端口、读取超时间隔、连接超时间隔必须为数字！";
    const std::pair<const char*, std::string> cases[] = {
        {"config proxy --server '' --port 80a", "保存失败，请输入服务器名！"},
        {"config proxy --server proxy.lan --port 80a", notNumbers},
        {"config net --connect-timeout soon", notNumbers},
        {"config proxy --none --server proxy.lan --port 80", ""},
        {"config proxy", ""},
        {"config proxy --server proxy.lan", ""}, // no port
        {"config net", ""},
        {"config optimize yearly", ""},
    };
    for (const auto& [arguments, message] : cases) {
        auto r = folder.run(arguments);
        EXPECT_EQ(r.status, 2) << arguments;
        EXPECT_TRUE(message.empty() || r.out.find(message) != std::string::npos) << r.out;
    }
    EXPECT_EQ(readFile(folder.dir / "config.ini"), before);
}

TEST(NetworkCommands, NetChangesOnlyTheNumbersGiven) {
    Folder folder;
    ASSERT_EQ(folder.run("config proxy --server proxy.lan --port 3128").status, 0);
    auto r = folder.run("config net --attempts 5 --read-timeout 1500");
    ASSERT_EQ(r.status, 0) << r.out;
    EXPECT_EQ(folder.keys("Net", {"ConnectTime", "ReadTimeOut", "ConnectTimeOut", "Server", "AgentType"}),
              "5|1500|0|proxy.lan|-1");
    ASSERT_EQ(folder.run("config net --connect-timeout 2500 --min-interval 800").status, 0);
    EXPECT_EQ(folder.keys("Net", {"ConnectTimeOut", "ConnectTime", "MinInterval"}), "2500|5|800");
    EXPECT_EQ(folder.run("config net --min-interval soon").status, 2);
    // The download slots: 1 to 16, the rest refused without touching the file.
    ASSERT_EQ(folder.run("config net --slots 8").status, 0);
    EXPECT_EQ(folder.keys("Net", {"Slots", "MinInterval"}), "8|800");
    EXPECT_EQ(folder.run("config net --slots 17").status, 2);
    EXPECT_EQ(folder.run("config net --slots 0").status, 2);
    EXPECT_EQ(folder.keys("Net", {"Slots"}), "8");
}

// The page's own test checks that a saved schedule compacts at the next start.
TEST(NetworkCommands, OptimizeSavesTheScheduleByName) {
    Folder folder;
    for (auto [name, index] : {std::pair{"daily", "0"}, {"monthly", "2"}}) {
        ASSERT_EQ(folder.run(std::string("config optimize ") + name).status, 0) << name;
        EXPECT_EQ(folder.keys("Other", {"optimize"}), index);
    }
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
    EXPECT_NE(r.out.find("测试连接失败！原因：连接被拒绝"), std::string::npos) << r.out;
}

TEST(NetworkCommands, TestConnectionGoesThroughTheSavedProxyAndNeedsItsServer) {
    // The local server plays the proxy: it receives the whole address of the test page.
    HttpServer proxy([](const HttpRequest&) { return HttpReply::page("<html>ok</html>"); });
    Folder folder;
    ASSERT_EQ(folder.run("config proxy --server 127.0.0.1 --port " + std::to_string(proxy.port())).status, 0);
    auto r = folder.run("test-connection --url http://www.search.test/");
    EXPECT_EQ(r.status, 0) << r.out;
    ASSERT_EQ(proxy.requestCount(), 1u);
    EXPECT_EQ(proxy.requests()[0].target, "http://www.search.test/");

    writeFile(folder.dir / "config.ini", "[Net]\nAgentType=-1\nServer=\nPort=8080\n");
    r = folder.run("test-connection --url http://127.0.0.1:9/");
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.out.find("请输入服务器名！"), std::string::npos) << r.out;
}

TEST(UpdateCommands, ABuildWithoutAKeyAsksTheServiceNothing) {
    TempDir dir;
    UpdateService service;
    SigningKey key;
    service.offer("99.0", "newer", key);
    auto cli = [&](const std::string& arguments) {
        return runCli("--data-dir " + dir.path().string() + " " + arguments + " --service " + service.url());
    };
    auto check = cli("check-update");
    EXPECT_EQ(check.status, 0);
    EXPECT_EQ(check.out, std::string(vantor::app::kNoUpdateKey) + "\n");
    auto update = cli("update --no-start");
    EXPECT_EQ(update.status, 1);
    EXPECT_NE(update.out.find(vantor::app::kNoUpdateKey), std::string::npos) << update.out;
    EXPECT_EQ(service.server().requestCount(), 0u);
    EXPECT_FALSE(std::filesystem::exists(updateFolder() / packageFileName("99.0")));
}

TEST(Cli, ConfigShowCreatesTheDefaultsHidesThePasswordAndFailsOnABrokenFile) {
    TempDir dir;
    const std::string show = "--data-dir " + (dir / "d").string() + " config show";
    auto r = runCli(show);
    EXPECT_EQ(r.status, 0) << r.out;
    for (const char* line : {"AgentType=false\n", "ConnectTime=3\n", "optimize=1\n"})
        EXPECT_NE(r.out.find(line), std::string::npos) << r.out;
    EXPECT_TRUE(std::filesystem::exists(dir / "d" / "config.ini"));

    writeFile(dir / "d" / "config.ini", "[Net]\nPassword=hunter2\n");
    r = runCli(show);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.find("hunter2"), std::string::npos);
    EXPECT_NE(r.out.find("Password=******"), std::string::npos);

    // A broken settings file is a failed job.
    writeFile(dir / "d" / "config.ini", "[Net]\nAgentType=maybe\n");
    r = runCli(show);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("配置文件出错，系统将退出！"), std::string::npos) << r.out;

    // The environment names the folder too.
    std::string command =
        "VANTOR_DATA_DIR=" + (dir / "e").string() + " " + VANTOR_CLI + " config show >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_TRUE(std::filesystem::exists(dir / "e" / "config.ini"));
}

TEST(Cli, CompactRecordsTheTimeAndAFailureExitsWithOne) {
    TempDir dir;
    const std::string compact = "--data-dir " + dir.path().string() + " compact";
    auto lastTime = [&] {
        return vantor::IniFile::load(dir / "config.ini").read("Other", "lastTimeOpt", "?");
    };
    ASSERT_EQ(runCli(compact).status, 0); // no database yet
    EXPECT_EQ(lastTime(), "");
    std::string create =
        "sqlite3 " + (dir / "lmd_pin.db").string() + " 'create table t(x); insert into t values(42);'";
    ASSERT_EQ(std::system(create.c_str()), 0);
    auto r = runCli(compact);
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(lastTime(), "");

    writeFile(dir / "lmd_pin.db", std::string(4096, 'z'));
    r = runCli(compact);
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("无法优化数据，请关闭程序后，重试！"), std::string::npos) << r.out;
}

TEST(Cli, BadArgumentsExitWithTwo) {
    for (const char* arguments : {"", "no-such-command", "config"})
        EXPECT_EQ(runCli(arguments).status, 2) << arguments;
    EXPECT_EQ(runCli("--help").status, 0);
}
