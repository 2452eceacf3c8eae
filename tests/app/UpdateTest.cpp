#include "app/Update.h"
#include "support/TempDir.h"
#include "support/UpdateService.h"

#include <gtest/gtest.h>

#include <future>

using namespace vantor;
using namespace vantor::test;

namespace {

std::shared_ptr<const THttpAgent> agent() {
    return std::make_shared<const THttpAgent>();
}

struct Downloaded {
    std::filesystem::path package;
    std::string failure;
};

// Runs a download of the offered version into the folder and waits for its result.
Downloaded downloadPackage(const UpdateService& service, const app::VersionInfo& info,
                           const std::filesystem::path& folder, const std::string& key,
                           bool stopAtOnce = false) {
    std::promise<Downloaded> done;
    TDownSoft job(agent(), service.url(), info, folder, key, nullptr,
                  [&](const std::filesystem::path& package, const std::string& failure) {
                      done.set_value({package, failure});
                  });
    if (stopAtOnce) job.requestStop();
    job.wait();
    return done.get_future().get();
}

} // namespace

TEST(UpdateCheck, RepliesAndVersions) {
    auto info = app::parseVersionReply("1.2.0|2026-11-20|ab12|修复|多余");
    ASSERT_TRUE(info);
    EXPECT_EQ(std::tie(info->version, info->date, info->packageHash, info->changes),
              std::tie("1.2.0", "2026-11-20", "ab12", "修复"));
    for (const char* bad : {"1.2|2026-11-20|x", "", "v2|d|h|c", "|d|h|c"})
        EXPECT_FALSE(app::parseVersionReply(bad)) << bad;
    EXPECT_GT(app::compareVersions("0.10.0", "0.9.9"), 0);
    EXPECT_EQ(app::compareVersions("1", "1.0.0"), 0);
    EXPECT_LT(app::compareVersions("0.1.0", "0.1.1"), 0);
    EXPECT_EQ(app::updateFoundMessage(*info),
              "发现新版本，开始升级,请确认！\n最新版本：1.2.0\n更新日期：2026-11-20\n更新内容：修复");
}

TEST(UpdateCheck, OnlyANewerVersionIsOfferedAndAnyFailureIsJustAFailure) {
    UpdateService service;
    using State = app::UpdateCheck::State;
    service.setReply("0.5.0|2026-11-20|h|新功能");
    EXPECT_EQ(app::checkForUpdate(agent(), service.url(), "0.5.0").state, State::UpToDate);
    EXPECT_EQ(app::checkForUpdate(agent(), service.url(), "0.6").state, State::UpToDate); // never a downgrade
    auto newer = app::checkForUpdate(agent(), service.url(), "0.4.9");
    EXPECT_EQ(newer.state, State::Newer);
    EXPECT_EQ(newer.info.changes, "新功能");
    service.setReply("0.5.0|2026-11-20|h");
    EXPECT_EQ(app::checkForUpdate(agent(), service.url(), "0.1").state, State::Failed);
    EXPECT_EQ(app::checkForUpdate(agent(), "http://127.0.0.1:9/update", "0.1").state, State::Failed);
}

TEST(UpdateDownload, AVerifiedPackageIsWrittenAndAnythingElseLeavesNothing) {
    UpdateService service;
    SigningKey key, stranger;
    TempDir folder;
    const std::string package = "!<arch>\n" + std::string(100000, 'x');
    service.offer("9.0.0", package, key);
    const app::VersionInfo info{"9.0.0", "2026-11-20", app::sha256Hex(package), "c"};

    auto good = downloadPackage(service, info, folder.path(), key.publicKeyHex());
    ASSERT_EQ(good.failure, "");
    EXPECT_EQ(good.package, folder / "vantor_9.0.0_amd64.deb");
    EXPECT_EQ(readFile(good.package), package);
    std::filesystem::remove(good.package);

    auto emptyFolder = [&] { return std::filesystem::is_empty(folder.path()); };
    std::string changed = package;
    changed[500] = 'y';
    service.setFile("vantor_9.0.0_amd64.deb", changed);
    EXPECT_EQ(downloadPackage(service, info, folder.path(), key.publicKeyHex()).failure, "安装包校验值不符");
    EXPECT_TRUE(emptyFolder());

    service.setFile("vantor_9.0.0_amd64.deb", package);
    service.setFile("vantor_9.0.0_amd64.deb.sig", stranger.sign(package));
    EXPECT_EQ(downloadPackage(service, info, folder.path(), key.publicKeyHex()).failure, "安装包签名无效");
    EXPECT_EQ(downloadPackage(service, info, folder.path(), "").failure,
              "安装包签名无效"); // a build without a key
    EXPECT_TRUE(emptyFolder());

    service.setDelay(std::chrono::seconds(20));
    auto stopped = downloadPackage(service, info, folder.path(), key.publicKeyHex(), true);
    EXPECT_EQ(stopped.failure, "已取消");
    EXPECT_TRUE(stopped.package.empty());
    EXPECT_TRUE(emptyFolder());
}
