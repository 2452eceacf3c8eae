#include "app/ErrorLog.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

using namespace vantor;
using vantor::test::readFile;
using vantor::test::TempDir;

TEST(ErrorLog, LiesBesideTheExecutableWithItsName) {
    EXPECT_EQ(errorLogPath("/opt/vantor/bin/vantor"), "/opt/vantor/bin/vantor.log");
    EXPECT_EQ(errorLogPath("/opt/vantor/bin/vantor.exe"), "/opt/vantor/bin/vantor.log");
}

TEST(ErrorLog, FirstLineCreatesTheFileLaterLinesAppend) {
    TempDir dir;
    auto log = dir / "vantor.log";
    appendErrorLog(log, "第一个错误", *DateTime::parse("2012-01-02 03:04:05"));
    EXPECT_EQ(readFile(log), "2012-01-02 03:04:05:第一个错误\n");
    appendErrorLog(log, "two\nlines", *DateTime::parse("2012-01-02 03:04:06"));
    EXPECT_EQ(readFile(log), "2012-01-02 03:04:05:第一个错误\n2012-01-02 03:04:06:two\nlines\n");
}

TEST(ErrorLog, AnUnwritableLogRaisesAnIoError) {
    TempDir dir;
    std::filesystem::create_directory(dir / "vantor.log");
    EXPECT_THROW(appendErrorLog(dir / "vantor.log", "x", DateTime::now()), std::ios_base::failure);
}
