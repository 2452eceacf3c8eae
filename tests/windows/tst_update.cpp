#include "TupdateVantorFrm.h"
#include "UpdateWatcher.h"
#include "support/UpdateService.h"
#include "windows/WindowTest.h"

using namespace vantor;

// The version check beside the start-up and the update window, against a local update service.
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
        quits = 0;
    }
    void finish() override { service.reset(); }

    // A watcher on the local service, with the test's launcher; quits counts the program's ends.
    std::unique_ptr<UpdateWatcher> watcher(const std::string& publicKey) {
        auto made = std::make_unique<UpdateWatcher>(
            UpdateWatcher::Service{std::make_shared<const THttpAgent>(), service->url(), publicKey,
                                   *dir / "update", *dir / "config.ini"});
        made->launcher = [this](const std::filesystem::path& file) {
            launched.push_back(file);
            return true;
        };
        made->quit = [this] { ++quits; };
        return made;
    }
    int quits = 0;

    std::unique_ptr<TupdateVantorFrm> updateWindow() {
        auto window = std::make_unique<TupdateVantorFrm>(
            std::make_shared<const THttpAgent>(), service->url(),
            app::VersionInfo{"9.1", "2026-11-20", app::sha256Hex(package), "c"}, *dir / "update",
            key->publicKeyHex());
        window->launcher = [this](const std::filesystem::path& file) {
            launched.push_back(file);
            return true;
        };
        return window;
    }

private slots:
    void aBuildWithoutAKeyAsksNothing() {
        service->offer("9.1", package, *key);
        auto keyless = watcher("");
        QVERIFY(!keyless->start());
        QWidget window;
        keyless->setWindow(&window);
        QTest::qWait(200);
        QCOMPARE(service->server().requestCount(), size_t(0));
        QVERIFY(messages.isEmpty());
    }

    void theAnswerWaitsForTheMainWindowAndOnlyANewerVersionIsOffered() {
        service->setReply(std::string(kVersion) + "|2026-11-20|h|c");
        auto same = watcher(key->publicKeyHex());
        QVERIFY(same->start());
        QTRY_VERIFY_WITH_TIMEOUT(!same->checking(), 10000);
        QWidget window;
        same->setWindow(&window);
        QVERIFY(messages.isEmpty());
        QVERIFY(!same->updateWindow());

        service->offer("9.1", package, *key);
        auto newer = watcher(key->publicKeyHex());
        newer->start();
        QTRY_VERIFY_WITH_TIMEOUT(!newer->checking(), 10000);
        QVERIFY(messages.isEmpty()); // nothing is offered before the main window is up
        newer->setWindow(&window);
        QCOMPARE(messages.size(), 1);
        QVERIFY(messages.front().startsWith("发现新版本，开始升级,请确认！\n最新版本：9.1"));
        QTRY_COMPARE_WITH_TIMEOUT(quits, 1, 10000);
        QCOMPARE(launched, std::vector<std::filesystem::path>{*dir / "update" / "vantor_9.1_amd64.deb"});
    }

    void aFailedUpdateIsSaidOnceWithItsReasonAndItsVersionIsNotOfferedAgain() {
        service->offer("9.1", package, *key);
        service->setFile("vantor_9.1_amd64.deb", package + "x");
        QWidget window;
        auto first = watcher(key->publicKeyHex());
        first->setWindow(&window);
        first->start();
        QTRY_COMPARE_WITH_TIMEOUT(messages.size(), 2, 10000);
        QCOMPARE(messages.back(), QString::fromStdString(app::updateFailedMessage("安装包校验值不符")));
        QCOMPARE(quits, 0);
        QVERIFY(launched.empty());

        messages.clear();
        auto again = watcher(key->publicKeyHex());
        again->setWindow(&window);
        again->start();
        QTRY_VERIFY_WITH_TIMEOUT(!again->checking(), 10000);
        QTest::qWait(50);
        QVERIFY(messages.isEmpty());

        service->offer("9.2", package, *key);
        auto newer = watcher(key->publicKeyHex());
        newer->setWindow(&window);
        newer->start();
        QTRY_COMPARE_WITH_TIMEOUT(quits, 1, 10000);
        QCOMPARE(launched, std::vector<std::filesystem::path>{*dir / "update" / "vantor_9.2_amd64.deb"});
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
        QCOMPARE(tampered->failure(), std::string("安装包校验值不符"));
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
        QVERIFY(window->failure().empty());
        QTest::qWait(100);
        QVERIFY(launched.empty());
        QVERIFY(messages.isEmpty());
    }
};

int main(int argc, char** argv) {
    return vantor::test::runWindowTest<UpdateTest>(argc, argv);
}

#include "tst_update.moc"
