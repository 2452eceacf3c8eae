#include "app/Config.h"
#include "app/HttpTest.h"
#include "app/NetworkSettings.h"
#include "base/IniFile.h"
#include "support/HttpServer.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <mutex>
#include <sys/stat.h>
#include <thread>

using namespace vantor;
using namespace vantor::test;

namespace {

// A settings file with its first-start defaults, loaded into config.
struct SettingsFolder {
    TempDir dir;
    app::ConfigFile file{dir / "config.ini"};
    TConfig config;

    SettingsFolder() { file.load(config); }
    std::string text() const { return readFile(file.path()); }
};

app::NetworkForm proxyForm() {
    app::NetworkForm form;
    form.netType = app::kHttpProxy;
    form.server = "proxy.lan";
    form.port = "3128";
    form.user = "alice";
    form.password = "s3cret";
    form.domain = "WORKGROUP";
    form.connectTimeOut = "1500";
    form.readTimeOut = "2500";
    form.connectTime = "5";
    form.minInterval = "250";
    form.slotCount = "8";
    return form;
}

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

std::string netSection(const std::string& agentType, const std::string& port = "0") {
    return "[Net]\nAgentType=" + agentType + "\nServer=proxy.lan\nPort=" + port +
           "\nUser=u\nPassword=p\nDomain=\nReadTimeOut=100\nConnectTimeOut=200\nConnectTime=5\n"
           "[Other]\noptimize=2\nlastTimeOpt=2012-01-01 10:00:00\n";
}

} // namespace

TEST(NetworkPage, TheFormShowsTheCurrentSettings) {
    THttpAgent agent{true, "proxy.lan", 3128, "alice", "s3cret", "WORKGROUP", 2500, 1500, 5, 250, 8};
    EXPECT_EQ(app::networkForm(agent), proxyForm());
    agent.AgentType = false;
    EXPECT_EQ(app::networkForm(agent).netType, app::kNoProxy);
}

TEST(NetworkPage, SavingWritesTheNetworkKeysAndInstallsTheAgent) {
    SettingsFolder settings;
    app::NetworkForm form = proxyForm();
    app::NetworkSaveResult result = saveNetworkPage(form, settings.file, settings.config);
    EXPECT_TRUE(result.saved);
    EXPECT_EQ(result.message, "");
    EXPECT_EQ(*settings.config.getHttpAgent(),
              (THttpAgent{true, "proxy.lan", 3128, "alice", "s3cret", "WORKGROUP", 2500, 1500, 5, 250, 8}));
    EXPECT_EQ(
        settings.text(),
        "[Net]\nAgentType=-1\nServer=proxy.lan\nPort=3128\nUser=alice\nPassword=s3cret\n"
        "Domain=WORKGROUP\nReadTimeOut=2500\nConnectTimeOut=1500\nConnectTime=5\nMinInterval=250\nSlots=8\n\n"
        "[Other]\noptimize=1\nlastTimeOpt=\n");
    EXPECT_EQ(form, proxyForm());
}

TEST(NetworkPage, WithoutAProxyAnEmptyServerSavesAndTheTypedFieldsAreKept) {
    SettingsFolder settings;
    app::NetworkForm form = proxyForm();
    form.netType = app::kNoProxy;
    form.server = "";
    EXPECT_TRUE(saveNetworkPage(form, settings.file, settings.config).saved);
    EXPECT_EQ(*settings.config.getHttpAgent(),
              (THttpAgent{false, "", 3128, "alice", "s3cret", "WORKGROUP", 2500, 1500, 5, 250, 8}));
    EXPECT_NE(settings.text().find("AgentType=0\nServer=\nPort=3128\nUser=alice\n"), std::string::npos);
}

TEST(NetworkPage, AProxyWithoutServerIsRefusedBeforeTheNumbersAreLookedAt) {
    SettingsFolder settings;
    std::string before = settings.text();
    app::NetworkForm form = proxyForm();
    form.server = "";
    form.port = "80a";
    app::NetworkSaveResult r = saveNetworkPage(form, settings.file, settings.config);
    // "确定" still closes the window: the action is not cancelled.
    EXPECT_EQ(std::tie(r.saved, r.message, r.focus, r.cancelAction),
              std::tuple(false, "保存失败，请输入服务器名！", app::NetworkField::Server, false));
    EXPECT_EQ(form.port, "80a"); // nothing reset
    EXPECT_EQ(settings.text(), before);
    EXPECT_EQ(*settings.config.getHttpAgent(), THttpAgent({false, "", 0, "", "", "", 0, 0, 3}));
}

TEST(NetworkPage, ANonNumericFieldResetsPortAndTimeOutsAndCancelsTheAction) {
    SettingsFolder settings;
    std::string before = settings.text();
    for (auto spoil : std::initializer_list<void (*)(app::NetworkForm&)>{
             [](app::NetworkForm& f) { f.port = "80a"; },
             [](app::NetworkForm& f) { f.connectTime = "three"; },
             [](app::NetworkForm& f) { f.readTimeOut = "1.5"; },
             [](app::NetworkForm& f) { f.connectTimeOut = ""; },
             [](app::NetworkForm& f) { f.port = "99999999999"; },
             [](app::NetworkForm& f) { f.minInterval = "-5"; },
             [](app::NetworkForm& f) { f.slotCount = "17"; },
             [](app::NetworkForm& f) { f.slotCount = "0"; }}) {
        app::NetworkForm form = proxyForm();
        spoil(form);
        std::string typedAttempts = form.connectTime;
        app::NetworkSaveResult r = saveNetworkPage(form, settings.file, settings.config);
        EXPECT_EQ(std::tie(r.saved, r.message, r.focus, r.cancelAction),
                  std::tuple(false, "保存失败，端口、读取超时间隔、连接超时间隔必须为数字！",
                             app::NetworkField::Port, true));
        // The attempts are left as typed.
        EXPECT_EQ(std::tie(form.port, form.readTimeOut, form.connectTimeOut, form.minInterval, form.slotCount,
                           form.connectTime, form.server),
                  std::tuple("8080", "0", "0", "0", "4", typedAttempts, "proxy.lan"));
    }
    EXPECT_EQ(settings.text(), before);
    EXPECT_EQ(settings.config.getHttpAgent()->Server, "");
}

TEST(NetworkPage, AFailedWriteSaysSoAndKeepsTheSettingsInForce) {
    TempDir dir;
    std::filesystem::create_directory(dir / "config.ini"); // a folder where the file should be
    app::ConfigFile file(dir / "config.ini");
    TConfig config;
    app::NetworkForm form = proxyForm();
    app::NetworkSaveResult r = saveNetworkPage(form, file, config);
    EXPECT_EQ(std::tie(r.saved, r.message, r.focus, r.cancelAction),
              std::tuple(false, "保存配置文件出错！", app::NetworkField::None, false));
    EXPECT_EQ(config.getHttpAgent()->Server, "");
    EXPECT_TRUE(std::filesystem::is_directory(dir / "config.ini"));
    EXPECT_FALSE(std::filesystem::exists(dir / "config.ini.tmp"));
    EXPECT_EQ(app::saveSchedulePage(0, file), std::optional<std::string>("保存配置文件出错！"));
}

TEST(NetworkPage, TheScheduleIsSavedByIndexAndCompactsAtTheNextStart) {
    SettingsFolder settings;
    settings.file.saveLastTimeOpt("2012-01-01 10:00:00");
    EXPECT_EQ(app::saveSchedulePage(2, settings.file), std::nullopt);
    EXPECT_NE(settings.text().find("[Other]\noptimize=2\nlastTimeOpt=\n"), std::string::npos)
        << settings.text();
    EXPECT_EQ(settings.config.optimize, "1"); // used at start-up only
    EXPECT_EQ(app::scheduleIndex("2"), 2);
    EXPECT_EQ(app::scheduleIndex("7"), 1); // an unknown schedule shows as weekly
    EXPECT_EQ(app::scheduleIndex("x"), 1);
}

TEST(ConnectionTestCheck, TheFieldsAreCheckedInTheirOrderWithTheTestsOwnMessages) {
    const std::string notNumbers = "连接重试、连接超时间隔、读取超时间隔必须是数字！";
    struct Case {
        const char *server, *port, *connectTime, *connectTimeOut;
        std::string message;
    };
    const Case cases[] = {
        {"", "80a", "x", "1500", "请输入服务器名！"},
        {"proxy.lan", "80a", "x", "1500", "端口号必须是数字！"},
        {"proxy.lan", "3128", "x", "1500", notNumbers},
        {"proxy.lan", "3128", "5", "1e3", notNumbers},
    };
    for (const auto& c : cases) {
        app::NetworkForm form = proxyForm();
        form.server = c.server;
        form.port = c.port;
        form.connectTime = c.connectTime;
        form.connectTimeOut = c.connectTimeOut;
        auto check = app::checkConnectionTest(form);
        EXPECT_FALSE(check.agent) << c.message;
        EXPECT_EQ(check.message, c.message);
        if (form.server.empty()) {
            EXPECT_EQ(check.focus, app::NetworkField::Server);
        }
    }
}

TEST(ConnectionTestCheck, PassingFieldsGiveTheTemporaryAgent) {
    auto check = app::checkConnectionTest(proxyForm());
    ASSERT_TRUE(check.agent);
    EXPECT_EQ(check.message, "");
    EXPECT_EQ(*check.agent,
              (THttpAgent{true, "proxy.lan", 3128, "alice", "s3cret", "WORKGROUP", 2500, 1500, 5, 250, 8}));

    app::NetworkForm direct; // no proxy and an empty server pass
    check = checkConnectionTest(direct);
    ASSERT_TRUE(check.agent);
    EXPECT_EQ(*check.agent, (THttpAgent{false, "", 8080, "", "", "", 0, 0, 3}));
}

TEST(ConnectionTest, PassesWhenTheTestPageArrives) {
    HttpServer server([](const HttpRequest&) { return HttpReply::page("<html>search</html>"); });
    Verdicts verdicts;
    THttpTest test(testAgent(), server.url("/"), verdicts.callback());
    test.wait();
    EXPECT_EQ(verdicts.states, std::vector<std::string>{"测试连接通过！"});
    EXPECT_NE(verdicts.thread, std::this_thread::get_id()); // the window must pass it on
    EXPECT_EQ(test.bean().getHtmlCode(), "<html>search</html>");
}

TEST(ConnectionTest, AFailedTestNamesItsReason) {
    ClosedPort closed;
    std::string verdict;
    THttpTest refused(
        testAgent(), "http://127.0.0.1:" + std::to_string(closed.port()) + "/",
        [&](const std::string& state, const TDownBean& bean) { verdict = app::testVerdict(state, bean); });
    refused.wait();
    EXPECT_EQ(verdict, "测试连接失败！原因：连接被拒绝");

    HttpServer server([](const HttpRequest&) { return HttpReply::failure(503, "Service Unavailable"); });
    THttpTest unavailable(testAgent(), server.url("/"), [&](const std::string& state, const TDownBean& bean) {
        verdict = app::testVerdict(state, bean);
    });
    unavailable.wait();
    EXPECT_EQ(verdict, "测试连接失败！原因：HTTP 503");
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

TEST(ConfigFile, FirstStartWritesExactlyTheDefaultsInOrderAndReadsThemBack) {
    TempDir dir;
    app::ConfigFile file(dir / "config.ini");
    TConfig config;
    file.load(config);
    EXPECT_EQ(
        readFile(dir / "config.ini"),
        "[Net]\nAgentType=false\nServer=\nPort=0\nUser=\nPassword=\nDomain=\nReadTimeOut=0\n"
        "ConnectTimeOut=0\nConnectTime=3\nMinInterval=0\nSlots=4\n\n[Other]\noptimize=1\nlastTimeOpt=\n");
    EXPECT_EQ(*config.getHttpAgent(), (THttpAgent{false, "", 0, "", "", "", 0, 0, 3}));
    EXPECT_EQ(config.optimize, "1");
    EXPECT_EQ(config.lastTimeOpt, "");

    // Keys missing from an existing file read as their defaults.
    writeFile(dir / "config.ini", "[Net]\nServer=only\n");
    TConfig partial;
    file.load(partial);
    EXPECT_EQ(partial.getHttpAgent()->Server, "only");
    EXPECT_EQ(partial.getHttpAgent()->ConnectTime, 3);
    EXPECT_EQ(partial.getHttpAgent()->Slots, 4);
    EXPECT_EQ(partial.optimize, "1");

    // A slot count the engine does not run is taken at its nearest bound.
    for (auto [written, read] : {std::pair{"99", 16}, {"0", 1}, {"7", 7}}) {
        writeFile(dir / "config.ini", std::string("[Net]\nSlots=") + written + "\n");
        TConfig slots;
        file.load(slots);
        EXPECT_EQ(slots.getHttpAgent()->Slots, read) << written;
    }
}

TEST(ConfigFile, TheFileIsReadableByItsOwnerOnly) {
    TempDir dir;
    TConfig config;
    app::ConfigFile(dir / "config.ini").load(config);
    struct stat st {};
    ASSERT_EQ(stat((dir / "config.ini").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    // A file made readable by others is narrowed on the next save.
    chmod((dir / "config.ini").c_str(), 0644);
    app::ConfigFile(dir / "config.ini").saveLastTimeOpt("2012-01-01 00:00:00");
    ASSERT_EQ(stat((dir / "config.ini").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST(ConfigFile, EveryFieldIsReadAndOnlyFourBooleanTextsAreAccepted) {
    TempDir dir;
    for (auto [text, expected] : {std::pair{"true", true}, {"-1", true}, {"false", false}, {"0", false}}) {
        writeFile(dir / "config.ini", netSection(text));
        TConfig config;
        app::ConfigFile(dir / "config.ini").load(config);
        EXPECT_EQ(config.getHttpAgent()->AgentType, expected) << text;
    }
    TConfig config;
    app::ConfigFile(dir / "config.ini").load(config);
    EXPECT_EQ(*config.getHttpAgent(), (THttpAgent{false, "proxy.lan", 0, "u", "p", "", 100, 200, 5}));
    EXPECT_EQ(config.optimize, "2");
    EXPECT_EQ(config.lastTimeOpt, "2012-01-01 10:00:00");
    for (const char* text : {"1", "yes", "", "on", "truee"}) {
        writeFile(dir / "config.ini", netSection(text));
        TConfig rejected;
        EXPECT_THROW(app::ConfigFile(dir / "config.ini").load(rejected), app::ConfigError) << text;
    }
}

TEST(ConfigFile, ABadNumberStopsTheLoadWithTheFieldsBeforeItInForce) {
    TempDir dir;
    writeFile(dir / "config.ini", netSection("-1", "80a"));
    TConfig config;
    EXPECT_THROW(app::ConfigFile(dir / "config.ini").load(config), app::ConfigError);
    auto agent = config.getHttpAgent();
    EXPECT_TRUE(agent->AgentType);
    EXPECT_EQ(agent->Server, "proxy.lan");
    EXPECT_EQ(agent->Port, 0);
    EXPECT_EQ(agent->User, ""); // read after the bad port: not reached
    // The file itself is left as the user wrote it.
    EXPECT_EQ(readFile(dir / "config.ini"), netSection("-1", "80a"));
}

TEST(IniFile, WritingOneKeyKeepsCommentsOrderAndOtherSections) {
    TempDir dir;
    writeFile(dir / "a.ini",
              "; mine\r\n[Other]\r\noptimize = 2\r\n[net]\r\nserver=a\r\n\r\n[Extra]\r\nx=1\r\n");
    auto ini = IniFile::load(dir / "a.ini");
    EXPECT_EQ(ini.read("Other", "OPTIMIZE", "?"), "2");
    EXPECT_EQ(ini.read("Net", "Server", "?"), "a");
    EXPECT_EQ(ini.read("Net", "Port", "?"), "?");
    ini.write("Net", "Port", "80");
    ini.write("Other", "optimize", "0");
    ini.write("New", "k", "v");
    EXPECT_EQ(ini.text(),
              "; mine\n[Other]\noptimize=0\n[net]\nserver=a\nPort=80\n\n[Extra]\nx=1\n\n[New]\nk=v\n");
}
