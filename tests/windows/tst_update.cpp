#include "SplashWindow.h"
#include "TupdateVantorFrm.h"
#include "support/UpdateService.h"
#include "windows/WindowTest.h"

using namespace vantor;

// The version check of the splash and the update window, against a local update service.
class UpdateTest : public test::WindowTest {
    Q_OBJECT

    std::unique_ptr<test::UpdateService> service;
    std::unique_ptr<test::SigningKey> key;
    std::vector<std::filesystem::path> launched;
    const std::string package = "!<arch>\n" + std::string(300000, 'p');

    void prepare() override {
        service = std::make_unique<test::UpdateService>();
        key = std::make_unique<test::SigningKey>();
        launched.clear();
    }
    void finish() override { service.reset(); }

    // The splash's one check with the service replying `reply`; what it offered.
    std::optional<VersionInfo> splashCheck(const std::string& reply) {
        service->setReply(reply);
        SplashWindow splash;
        splash.show();
        splash.startVersionCheck(std::make_shared<const THttpAgent>(), service->url());
        if (!QTest::qWaitFor([&] { return !splash.checking(); }, 10000)) return VersionInfo{"timed out"};
        if (splash.stateLabel->text() != "正在初始化....") return VersionInfo{"not initialising"};
        return splash.offered();
    }

    std::unique_ptr<TupdateVantorFrm> updateWindow() {
        auto window = std::make_unique<TupdateVantorFrm>(
            std::make_shared<const THttpAgent>(), service->url(),
            VersionInfo{"9.1", "2026-11-20", sha256Hex(package), "c"}, *dir / "update", key->publicKeyHex());
        window->launcher = [this](const std::filesystem::path& file) {
            launched.push_back(file);
            return true;
        };
        return window;
    }

private slots:
    void theSplashChecksOnceAndOnlyANewerVersionStopsTheStart() {
        QCOMPARE(splashCheck(std::string(kVersion) + "|2026-11-20|h|c"), std::nullopt);
        const auto offered = splashCheck("99.0|2026-11-20|h|c");
        QVERIFY(offered);
        QCOMPARE(offered->version, std::string("99.0"));
        QVERIFY(messages.isEmpty());
    }

    void aVerifiedPackageIsStartedAndAnythingElseNot() {
        service->offer("9.1", package, *key);
        auto good = updateWindow();
        good->open();
        QTRY_COMPARE_WITH_TIMEOUT(good->result(), int(QDialog::Accepted), 10000);
        QCOMPARE(launched, std::vector<std::filesystem::path>{*dir / "update" / "vantor_9.1_amd64.deb"});
        std::filesystem::remove_all(*dir / "update");

        service->setFile("vantor_9.1_amd64.deb", package + "x");
        auto tampered = updateWindow();
        QSignalSpy rejected(tampered.get(), &QDialog::rejected);
        tampered->open();
        QTRY_COMPARE_WITH_TIMEOUT(rejected.count(), 1, 10000);
        QCOMPARE(messages, QStringList{QString::fromStdString(updateFailedMessage())});
        QCOMPARE(tampered->stateLabel->text(), QString("状态：安装包校验值不符"));
        QCOMPARE(launched.size(), size_t(1)); // the core's test checks that nothing is left
    }

    void cancellingEndsTheDownloadAndStartsNothing() {
        service->offer("9.1", package, *key);
        service->setDelay(std::chrono::seconds(20));
        auto window = updateWindow();
        window->open();
        QTRY_COMPARE_WITH_TIMEOUT(service->server().requestCount(), size_t(1), 10000);
        QTest::mouseClick(window->Button1, Qt::LeftButton);
        QCOMPARE(window->result(), int(QDialog::Rejected));
        QTest::qWait(100);
        QVERIFY(launched.empty());
        QVERIFY(messages.isEmpty());
    }
};

int main(int argc, char** argv) {
    return vantor::test::runWindowTest<UpdateTest>(argc, argv);
}

#include "tst_update.moc"
