#include "app/Startup.h"
#include "app/Compaction.h"
#include "app/ErrorLog.h"
#include "base/IniFile.h"
#include "db/TDM.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::readFile;
using vantor::test::TempDir;
using vantor::test::writeFile;

namespace {

struct Recorder : app::StartupObserver {
    std::vector<std::string> messages, statuses, questions, details;
    std::vector<app::ServerChoice> answers; // given in turn; Exit once they run out
    void showMessage(const std::string& text) override { messages.push_back(text); }
    void showStatus(const std::string& text) override { statuses.push_back(text); }
    app::ServerChoice askServerUnreachable(const std::string& text, const std::string& detail) override {
        questions.push_back(text);
        details.push_back(detail);
        return questions.size() <= answers.size() ? answers[questions.size() - 1] : app::ServerChoice::Exit;
    }
};

const DateTime kNow = *DateTime::parse("2012-03-04 05:06:07");

std::string storedLastTime(const DataFolder& folder) {
    return IniFile::load(folder.config()).read("Other", "lastTimeOpt", "?");
}

class Startup : public ::testing::Test {
protected:
    app::StartupOutcome run() { return prepareData(folder, config, dm, recorder, kNow); }
    TempDir dir;
    DataFolder folder{dir / "data"};
    TConfig config;
    db::TDM dm{folder.database()};
    Recorder recorder;
};

DateTime at(const char* text) {
    return *DateTime::parse(text);
}

// A database with deleted rows, so compaction has something to win.
void makeDatabase(const std::filesystem::path& file) {
    db::TDM dm(file);
    auto& db = dm.cn1();
    db.exec("begin");
    auto insert =
        db.prepare("insert into saleInfo(itemId,itemTitle,sj) values(:id,:title,'2012-01-01 00:00:00')");
    for (int i = 0; i < 3000; ++i) {
        insert.bind("id", "item" + std::to_string(i)).bind("title", std::string(200, 'a' + i % 26));
        insert.execute();
    }
    db.exec("commit; delete from saleInfo where id % 3 <> 0;");
}

} // namespace

TEST_F(Startup, AFreshFolderGetsSettingsAndAnEmptyDatabase) {
    EXPECT_EQ(run(), app::StartupOutcome::Ready);
    EXPECT_TRUE(recorder.messages.empty());
    // No database yet at the compaction: nothing compacted, so the next start tries again.
    EXPECT_EQ(recorder.statuses, (std::vector<std::string>{app::kCompactingStatus, ""}));
    EXPECT_EQ(storedLastTime(folder), "");
    EXPECT_TRUE(dm.isOpen());
    EXPECT_TRUE(std::filesystem::exists(folder.database()));
}

TEST_F(Startup, ASecondStartCompactsAndRecordsTheTime) {
    ASSERT_EQ(run(), app::StartupOutcome::Ready);
    dm = db::TDM(folder.database());
    EXPECT_EQ(run(), app::StartupOutcome::Ready);
    EXPECT_EQ(storedLastTime(folder), "2012-03-04 05:06:07");
    EXPECT_EQ(config.lastTimeOpt, "2012-03-04 05:06:07");
}

TEST_F(Startup, NotDueMeansNoCompactionButTheTimeIsWrittenBack) {
    folder.create();
    writeFile(folder.config(), "[Other]\noptimize=1\nlastTimeOpt=2012-03-01 00:00:00\n");
    EXPECT_EQ(run(), app::StartupOutcome::Ready);
    EXPECT_TRUE(recorder.statuses.empty());
    EXPECT_EQ(storedLastTime(folder), "2012-03-01 00:00:00");
}

TEST_F(Startup, ABrokenSettingsFileIsReportedAndStartUpGoesOn) {
    folder.create();
    writeFile(folder.config(), "[Net]\nAgentType=yes\n[Other]\noptimize=1\nlastTimeOpt=\n");
    EXPECT_EQ(run(), app::StartupOutcome::Ready);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{app::kConfigFileError});
    EXPECT_TRUE(dm.isOpen());
}

TEST_F(Startup, AFailedCompactionIsReportedAndKeepsTheOldTime) {
    folder.create();
    db::TDM(folder.database()).open();
    writeFile(folder.config(), "[Other]\noptimize=0\nlastTimeOpt=2012-01-01 00:00:00\n");
    std::filesystem::create_directory(folder.temporaryDatabase());
    auto original = readFile(folder.database());
    EXPECT_EQ(run(), app::StartupOutcome::Ready);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{app::kCompactionFailed});
    EXPECT_EQ(storedLastTime(folder), "2012-01-01 00:00:00");
    EXPECT_EQ(readFile(folder.database()), original);
}

TEST_F(Startup, SettingsThatCannotBeWrittenEndTheProgram) {
    folder.create();
    std::filesystem::create_directory(folder.config());
    EXPECT_EQ(run(), app::StartupOutcome::Exit);
    EXPECT_EQ(recorder.messages, (std::vector<std::string>{app::kConfigFileError, app::kConfigFileError}));
    EXPECT_FALSE(dm.isOpen());
}

TEST_F(Startup, ADamagedDatabaseEndsTheProgramAndIsLeftAsItWas) {
    folder.create();
    writeFile(folder.config(), "[Other]\noptimize=1\nlastTimeOpt=2012-03-01 00:00:00\n");
    writeFile(folder.database(), std::string(5000, '?'));
    EXPECT_EQ(run(), app::StartupOutcome::Exit);
    EXPECT_EQ(recorder.messages, std::vector<std::string>{app::kDataFileError});
    EXPECT_EQ(readFile(folder.database()), std::string(5000, '?'));
}

// The log's lines are written by the window test that raises in an event handler.
TEST(ErrorLog, LiesBesideTheExecutableWithItsNameAndRaisesWhenItCannotBeWritten) {
    EXPECT_EQ(app::errorLogPath("/opt/vantor/bin/vantor"), "/opt/vantor/bin/vantor.log");
    EXPECT_EQ(app::errorLogPath("/opt/vantor/bin/vantor.exe"), "/opt/vantor/bin/vantor.log");
    TempDir dir;
    std::filesystem::create_directory(dir / "vantor.log");
    EXPECT_THROW(app::appendErrorLog(dir / "vantor.log", "x", DateTime::now()), std::ios_base::failure);
}

TEST(CompactionSchedule, EachScheduleWaitsItsWholePeriodAndOthersNeverCompact) {
    struct Case {
        const char* schedule;
        const char* last;
        const char* now;
        bool due;
    };
    const Case cases[] = {
        {"1", "2012-01-01 12:00:00", "2012-01-08 11:59:59", false}, // weekly: 6 days 23:59:59
        {"1", "2012-01-01 12:00:00", "2012-01-08 12:00:00", true},
        {"0", "2011-12-31 23:30:00", "2012-01-01 23:29:59", false}, // daily
        {"0", "2011-12-31 23:30:00", "2012-01-01 23:30:00", true},
        {"2", "2011-12-31 23:30:00", "2012-01-30 23:29:59", false}, // monthly: 30 days
        {"2", "2011-12-31 23:30:00", "2012-01-30 23:30:00", true},
        // A missing or unreadable last time compacts at once, whatever the schedule.
        {"1", "", "2012-01-01 00:00:00", true},
        {"7", "", "2012-01-01 00:00:00", true},
        {"1", "garbage", "2012-01-01 00:00:00", true},
        {"3", "2000-01-01 00:00:00", "2012-01-01 00:00:00", false},
        {"", "2000-01-01 00:00:00", "2012-01-01 00:00:00", false},
        {"0", "2013-01-01 00:00:00", "2012-01-01 00:00:00", false}, // a clock set back
    };
    for (const auto& c : cases)
        EXPECT_EQ(app::compactionDue(c.schedule, c.last, at(c.now)), c.due)
            << c.schedule << " " << c.last << " " << c.now;
}

TEST(Compaction, ReplacesTheFileWithASmallerCopyKeepingEveryRow) {
    TempDir dir;
    // No database: nothing done and an empty time, so the next start tries again.
    EXPECT_EQ(app::compactDatabase(dir / "lmd_pin.db", dir / "temp_lmd.db", at("2012-02-03 04:05:06")), "");
    EXPECT_FALSE(std::filesystem::exists(dir / "lmd_pin.db"));

    makeDatabase(dir / "lmd_pin.db");
    vantor::test::writeFile(dir / "temp_lmd.db", "half a file"); // left by a crash: replaced
    auto before = std::filesystem::file_size(dir / "lmd_pin.db");
    EXPECT_EQ(app::compactDatabase(dir / "lmd_pin.db", dir / "temp_lmd.db", at("2012-02-03 04:05:06")),
              "2012-02-03 04:05:06");
    EXPECT_LT(std::filesystem::file_size(dir / "lmd_pin.db"), before);
    EXPECT_FALSE(std::filesystem::exists(dir / "temp_lmd.db"));
    db::TDM dm(dir / "lmd_pin.db");
    auto count = dm.cn1().prepare("select count(*) from saleInfo");
    ASSERT_TRUE(count.step());
    EXPECT_EQ(count.integer(0), 1000);
}

class FailingCompaction : public ::testing::Test {
protected:
    void SetUp() override {
        makeDatabase(dir / "lmd_pin.db");
        original = readFile(dir / "lmd_pin.db");
    }
    void expectFailureLeavesDatabase() {
        EXPECT_THROW(app::compactDatabase(dir / "lmd_pin.db", dir / "temp_lmd.db", at("2012-02-03 04:05:06")),
                     app::CompactionError);
        EXPECT_EQ(readFile(dir / "lmd_pin.db"), original);
    }
    TempDir dir;
    std::string original;
};

TEST_F(FailingCompaction, TemporaryFileCannotBeWritten) {
    std::filesystem::create_directory(dir / "temp_lmd.db");
    expectFailureLeavesDatabase();
    EXPECT_TRUE(std::filesystem::is_directory(dir / "temp_lmd.db"));
}

TEST_F(FailingCompaction, DatabaseLockedByAnotherConnection) {
    db::Database other(dir / "lmd_pin.db", db::Database::Mode::OpenExisting);
    other.exec("PRAGMA locking_mode=EXCLUSIVE; BEGIN EXCLUSIVE;");
    expectFailureLeavesDatabase();
    other.exec("COMMIT");
}

TEST_F(FailingCompaction, DatabaseOpenInAnotherProgram) {
    // An idle reader elsewhere: replacing the file would cut that program off from its data.
    db::Database other(dir / "lmd_pin.db", db::Database::Mode::OpenExisting);
    auto read = other.prepare("select count(*) from saleInfo");
    ASSERT_TRUE(read.step());
    read.reset();
    expectFailureLeavesDatabase();
}

TEST_F(FailingCompaction, CorruptDatabase) {
    vantor::test::writeFile(dir / "lmd_pin.db", std::string(8192, '\x5a'));
    original = readFile(dir / "lmd_pin.db");
    expectFailureLeavesDatabase();
}

// A server store whose port nobody listens on: the start-up asks, and never opens the file unasked.
class UnreachableServer : public Startup {
protected:
    void SetUp() override {
        folder.create();
        writeFile(folder.config(), "[Db]\nUrl=" + url + "\n");
        dm.useStore(app::configuredStore(folder));
    }
    std::string storedUrl() const { return IniFile::load(folder.config()).read("Db", "Url", "?"); }
    const std::string url = "postgresql://analyst@127.0.0.1:1/vantor";
};

TEST_F(UnreachableServer, AsksAgainOnRetryAndEndsOnExitWithoutTouchingTheFile) {
    recorder.answers = {app::ServerChoice::Retry, app::ServerChoice::Exit};
    EXPECT_EQ(run(), app::StartupOutcome::Exit);
    ASSERT_EQ(recorder.questions.size(), 2u);
    const std::string& question = recorder.questions.front();
    EXPECT_NE(question.find("无法连接数据库服务器"), std::string::npos) << question;
    EXPECT_NE(question.find(url), std::string::npos) << question;
    // The engine's own words stay available as the detail.
    EXPECT_NE(recorder.details.front().find("127.0.0.1"), std::string::npos) << recorder.details.front();
    EXPECT_FALSE(std::filesystem::exists(folder.database()));
    EXPECT_EQ(storedUrl(), url);
}

TEST_F(UnreachableServer, TheDataFileForThisRunKeepsTheSettingAndFromNowOnDropsIt) {
    recorder.answers = {app::ServerChoice::FileThisRun};
    EXPECT_EQ(run(), app::StartupOutcome::Ready);
    EXPECT_FALSE(dm.store().isPostgres());
    EXPECT_TRUE(dm.isOpen());
    EXPECT_TRUE(std::filesystem::exists(folder.database()));
    EXPECT_EQ(storedUrl(), url);

    db::TDM again(app::configuredStore(folder));
    Recorder second;
    second.answers = {app::ServerChoice::FileFromNowOn};
    EXPECT_EQ(prepareData(folder, config, again, second, kNow), app::StartupOutcome::Ready);
    EXPECT_EQ(second.questions.size(), 1u);
    EXPECT_FALSE(again.store().isPostgres());
    EXPECT_EQ(storedUrl(), "");
    EXPECT_TRUE(config.dbUrl.empty());
    EXPECT_FALSE(app::configuredStore(folder).isPostgres());
}
