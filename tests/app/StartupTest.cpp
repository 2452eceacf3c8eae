#include "app/Startup.h"
#include "app/Compaction.h"
#include "app/ErrorLog.h"
#include "base/IniFile.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::readFile;
using vantor::test::TempDir;
using vantor::test::writeFile;

namespace {

struct Recorder : StartupObserver {
    std::vector<std::string> messages, statuses;
    void showMessage(const std::string& text) override { messages.push_back(text); }
    void showStatus(const std::string& text) override { statuses.push_back(text); }
};

const DateTime kNow = *DateTime::parse("2012-03-04 05:06:07");

std::string storedLastTime(const DataFolder& folder) {
    return IniFile::load(folder.config()).read("Other", "lastTimeOpt", "?");
}

class Startup : public ::testing::Test {
protected:
    StartupOutcome run() { return prepareData(folder, config, dm, recorder, kNow); }
    TempDir dir;
    DataFolder folder{dir / "data"};
    TConfig config;
    db::TDM dm{folder.database()};
    Recorder recorder;
};

} // namespace

TEST_F(Startup, AFreshFolderGetsSettingsAndAnEmptyDatabase) {
    EXPECT_EQ(run(), StartupOutcome::Ready);
    EXPECT_TRUE(recorder.messages.empty());
    // No database yet at the compaction: nothing compacted, so the next start tries again.
    EXPECT_EQ(recorder.statuses, (std::vector<std::string>{kCompactingStatus, ""}));
    EXPECT_EQ(storedLastTime(folder), "");
    EXPECT_TRUE(dm.isOpen());
    EXPECT_TRUE(std::filesystem::exists(folder.database()));
}

TEST_F(Startup, ASecondStartCompactsAndRecordsTheTime) {
    ASSERT_EQ(run(), StartupOutcome::Ready);
    dm = db::TDM(folder.database());
    EXPECT_EQ(run(), StartupOutcome::Ready);
    EXPECT_EQ(storedLastTime(folder), "2012-03-04 05:06:07");
    EXPECT_EQ(config.lastTimeOpt, "2012-03-04 05:06:07");
}

TEST_F(Startup, NotDueMeansNoCompactionButTheTimeIsWrittenBack) {
    folder.create();
    writeFile(folder.config(), "[Other]\noptimize=1\nlastTimeOpt=2012-03-01 00:00:00\n");
    EXPECT_EQ(run(), StartupOutcome::Ready);
    EXPECT_TRUE(recorder.statuses.empty());
    EXPECT_EQ(storedLastTime(folder), "2012-03-01 00:00:00");
}

TEST_F(Startup, ABrokenSettingsFileIsReportedAndStartUpGoesOn) {
    folder.create();
    writeFile(folder.config(), "[Net]\nAgentType=yes\n[Other]\noptimize=1\nlastTimeOpt=\n");
    EXPECT_EQ(run(), StartupOutcome::Ready);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{kConfigFileError});
    EXPECT_TRUE(dm.isOpen());
}

TEST_F(Startup, AFailedCompactionIsReportedAndKeepsTheOldTime) {
    folder.create();
    db::TDM(folder.database()).open();
    writeFile(folder.config(), "[Other]\noptimize=0\nlastTimeOpt=2012-01-01 00:00:00\n");
    std::filesystem::create_directory(folder.temporaryDatabase());
    auto original = readFile(folder.database());
    EXPECT_EQ(run(), StartupOutcome::Ready);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{kCompactionFailed});
    EXPECT_EQ(storedLastTime(folder), "2012-01-01 00:00:00");
    EXPECT_EQ(readFile(folder.database()), original);
}

TEST_F(Startup, SettingsThatCannotBeWrittenEndTheProgram) {
    folder.create();
    std::filesystem::create_directory(folder.config());
    EXPECT_EQ(run(), StartupOutcome::Exit);
    EXPECT_EQ(recorder.messages, (std::vector<std::string>{kConfigFileError, kConfigFileError}));
    EXPECT_FALSE(dm.isOpen());
}

TEST_F(Startup, ADamagedDatabaseEndsTheProgramAndIsLeftAsItWas) {
    folder.create();
    writeFile(folder.config(), "[Other]\noptimize=1\nlastTimeOpt=2012-03-01 00:00:00\n");
    writeFile(folder.database(), std::string(5000, '?'));
    EXPECT_EQ(run(), StartupOutcome::Exit);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{kDataFileError});
    EXPECT_EQ(readFile(folder.database()), std::string(5000, '?'));
}

// The log's lines are written by the window test that raises in an event handler.
TEST(ErrorLog, LiesBesideTheExecutableWithItsNameAndRaisesWhenItCannotBeWritten) {
    EXPECT_EQ(errorLogPath("/opt/vantor/bin/vantor"), "/opt/vantor/bin/vantor.log");
    EXPECT_EQ(errorLogPath("/opt/vantor/bin/vantor.exe"), "/opt/vantor/bin/vantor.log");
    TempDir dir;
    std::filesystem::create_directory(dir / "vantor.log");
    EXPECT_THROW(appendErrorLog(dir / "vantor.log", "x", DateTime::now()), std::ios_base::failure);
}
