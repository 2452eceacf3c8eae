#include "app/Config.h"
#include "base/IniFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

using namespace vantor;
using vantor::test::readFile;
using vantor::test::TempDir;
using vantor::test::writeFile;

namespace {

std::string netSection(const std::string& agentType, const std::string& port = "0") {
    return "[Net]\nAgentType=" + agentType + "\nServer=proxy.lan\nPort=" + port +
           "\nUser=u\nPassword=p\nDomain=\nReadTimeOut=100\nConnectTimeOut=200\nConnectTime=5\n"
           "[Other]\noptimize=2\nlastTimeOpt=2012-01-01 10:00:00\n";
}

} // namespace

TEST(ConfigFile, FirstStartWritesExactlyTheDefaultsInOrderAndReadsThemBack) {
    TempDir dir;
    ConfigFile file(dir / "config.ini");
    TConfig config;
    file.load(config);
    EXPECT_EQ(readFile(dir / "config.ini"),
              "[Net]\nAgentType=false\nServer=\nPort=0\nUser=\nPassword=\nDomain=\nReadTimeOut=0\n"
              "ConnectTimeOut=0\nConnectTime=3\n\n[Other]\noptimize=1\nlastTimeOpt=\n");
    EXPECT_EQ(*config.getHttpAgent(), (THttpAgent{false, "", 0, "", "", "", 0, 0, 3}));
    EXPECT_EQ(config.optimize, "1");
    EXPECT_EQ(config.lastTimeOpt, "");

    // Keys missing from an existing file read as their defaults.
    writeFile(dir / "config.ini", "[Net]\nServer=only\n");
    TConfig partial;
    file.load(partial);
    EXPECT_EQ(partial.getHttpAgent()->Server, "only");
    EXPECT_EQ(partial.getHttpAgent()->ConnectTime, 3);
    EXPECT_EQ(partial.optimize, "1");
}

TEST(ConfigFile, TheFileIsReadableByItsOwnerOnly) {
    TempDir dir;
    TConfig config;
    ConfigFile(dir / "config.ini").load(config);
    struct stat st {};
    ASSERT_EQ(stat((dir / "config.ini").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);

    // A file made readable by others is narrowed on the next save.
    chmod((dir / "config.ini").c_str(), 0644);
    ConfigFile(dir / "config.ini").saveLastTimeOpt("2012-01-01 00:00:00");
    ASSERT_EQ(stat((dir / "config.ini").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0600u);
}

TEST(ConfigFile, EveryFieldIsReadAndOnlyFourBooleanTextsAreAccepted) {
    TempDir dir;
    for (auto [text, expected] : {std::pair{"true", true}, {"-1", true}, {"false", false}, {"0", false}}) {
        writeFile(dir / "config.ini", netSection(text));
        TConfig config;
        ConfigFile(dir / "config.ini").load(config);
        EXPECT_EQ(config.getHttpAgent()->AgentType, expected) << text;
    }
    TConfig config;
    ConfigFile(dir / "config.ini").load(config);
    EXPECT_EQ(*config.getHttpAgent(), (THttpAgent{false, "proxy.lan", 0, "u", "p", "", 100, 200, 5}));
    EXPECT_EQ(config.optimize, "2");
    EXPECT_EQ(config.lastTimeOpt, "2012-01-01 10:00:00");
    for (const char* text : {"1", "yes", "", "on", "truee"}) {
        writeFile(dir / "config.ini", netSection(text));
        TConfig rejected;
        EXPECT_THROW(ConfigFile(dir / "config.ini").load(rejected), ConfigError) << text;
    }
}

TEST(ConfigFile, ABadNumberStopsTheLoadWithTheFieldsBeforeItInForce) {
    TempDir dir;
    writeFile(dir / "config.ini", netSection("-1", "80a"));
    TConfig config;
    EXPECT_THROW(ConfigFile(dir / "config.ini").load(config), ConfigError);
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
