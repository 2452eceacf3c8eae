#include "RunCli.h"
#include "base/IniFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using vantor::test::runCli;
using vantor::test::TempDir;

TEST(Cli, ConfigShowCreatesTheDefaultsInTheNamedFolder) {
    TempDir dir;
    auto r = runCli("--data-dir " + (dir / "d").string() + " config show");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("AgentType=false\n"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("ConnectTime=3\n"), std::string::npos);
    EXPECT_NE(r.out.find("optimize=1\n"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(dir / "d" / "config.ini"));
}

TEST(Cli, ThePasswordIsNeverPrinted) {
    TempDir dir;
    vantor::test::writeFile(dir / "config.ini", "[Net]\nPassword=hunter2\n");
    auto r = runCli("--data-dir " + dir.path().string() + " config show");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out.find("hunter2"), std::string::npos);
    EXPECT_NE(r.out.find("Password=******"), std::string::npos);
}

TEST(Cli, TheEnvironmentNamesTheFolderToo) {
    TempDir dir;
    std::string command =
        "VANTOR_DATA_DIR=" + (dir / "e").string() + " " + VANTOR_CLI + " config show >/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_TRUE(std::filesystem::exists(dir / "e" / "config.ini"));
}

TEST(Cli, ABrokenSettingsFileIsAFailedJob) {
    TempDir dir;
    vantor::test::writeFile(dir / "config.ini", "[Net]\nAgentType=maybe\n");
    auto r = runCli("--data-dir " + dir.path().string() + " config show");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("配置文件出错，系统将退出！"), std::string::npos) << r.out;
}

TEST(Cli, CompactRecordsTheTimeAndKeepsTheData) {
    TempDir dir;
    ASSERT_EQ(runCli("--data-dir " + dir.path().string() + " compact").status, 0); // no database yet
    EXPECT_EQ(vantor::IniFile::load(dir / "config.ini").read("Other", "lastTimeOpt", "?"), "");
    std::string create =
        "sqlite3 " + (dir / "lmd_pin.db").string() + " 'create table t(x); insert into t values(42);'";
    ASSERT_EQ(std::system(create.c_str()), 0);
    auto r = runCli("--data-dir " + dir.path().string() + " compact");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(vantor::IniFile::load(dir / "config.ini").read("Other", "lastTimeOpt", ""), "");
}

TEST(Cli, AFailedCompactionSaysSoWithStatusOne) {
    TempDir dir;
    vantor::test::writeFile(dir / "lmd_pin.db", std::string(4096, 'z'));
    auto r = runCli("--data-dir " + dir.path().string() + " compact");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.out.find("无法优化数据，请关闭程序后，重试！"), std::string::npos) << r.out;
}

TEST(Cli, BadArgumentsExitWithTwo) {
    EXPECT_EQ(runCli("").status, 2);
    EXPECT_EQ(runCli("no-such-command").status, 2);
    EXPECT_EQ(runCli("config").status, 2);
    EXPECT_EQ(runCli("--help").status, 0);
}
