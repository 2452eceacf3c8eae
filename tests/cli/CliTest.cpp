#include "RunCli.h"
#include "base/IniFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using vantor::test::runCli;
using vantor::test::TempDir;
using vantor::test::writeFile;

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
