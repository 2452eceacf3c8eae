#include "TconfigFrm.h"
#include "UserMessages.h"
#include "VantorApplication.h"
#include "base/IniFile.h"
#include "support/HttpServer.h"
#include "support/TempDir.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

using namespace vantor;

class ConfigFrmTest : public QObject {
    Q_OBJECT

    std::unique_ptr<test::TempDir> dir;
    std::unique_ptr<TConfig> config;
    std::unique_ptr<TconfigFrm> window;
    QStringList messages;

    std::filesystem::path iniPath() const { return dir->path() / "config.ini"; }
    std::string stored(const char* section, const char* key) {
        return IniFile::load(iniPath()).read(section, key, "<missing>");
    }
    // Types as a user would, so the window sees the edits.
    void type(QLineEdit* edit, const QString& text) {
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Backspace);
        QTest::keyClicks(edit, text);
    }

private slots:
    void init() {
        dir = std::make_unique<test::TempDir>();
        config = std::make_unique<TConfig>();
        ConfigFile(iniPath()).load(*config);
        THttpAgent agent;
        agent.AgentType = true;
        agent.Server = "proxy.lan";
        agent.Port = 3128;
        agent.ReadTimeOut = 100;
        agent.ConnectTimeOut = 200;
        agent.ConnectTime = 5;
        config->setHttpAgent(std::make_shared<const THttpAgent>(agent));
        config->optimize = "2";
        messages.clear();
        UserMessages::redirect([this](QWidget*, const QString& text) { messages.append(text); });
        window = std::make_unique<TconfigFrm>(*config, ConfigFile(iniPath()));
        window->show();
    }

    void cleanup() {
        window.reset();
        UserMessages::redirect({});
    }

    void theFieldsShowTheSettingsInForce() {
        QCOMPARE(window->netType->currentIndex(), 1);
        QCOMPARE(window->server->text(), QString("proxy.lan"));
        QCOMPARE(window->port->text(), QString("3128"));
        QCOMPARE(window->readTimeOut->text(), QString("100"));
        QCOMPARE(window->connectTimeOut->text(), QString("200"));
        QCOMPARE(window->connectTime->text(), QString("5"));
        QCOMPARE(window->optimizeComb->currentIndex(), 2);
        QVERIFY(!window->useBtn->isEnabled());
        QVERIFY(window->stopBtn->isHidden());
        type(window->user, "me");
        QVERIFY(window->useBtn->isEnabled());
    }

    void applyWritesTheFileAndInstallsTheAgent() {
        type(window->user, "me");
        type(window->port, "8118");
        QTest::mouseClick(window->useBtn, Qt::LeftButton);
        QVERIFY(messages.isEmpty());
        QVERIFY(!window->useBtn->isEnabled());
        QCOMPARE(config->getHttpAgent()->User, std::string("me"));
        QCOMPARE(config->getHttpAgent()->Port, 8118);
        QCOMPARE(stored("Net", "AgentType"), std::string("-1"));
        QCOMPARE(stored("Net", "Port"), std::string("8118"));
        QVERIFY(window->isVisible());
    }

    void aProxyWithoutServerIsRefusedButOkStillCloses() {
        type(window->server, "");
        QTest::mouseClick(window->useBtn, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"保存失败，请输入服务器名！"});
        QCOMPARE(config->getHttpAgent()->Server, std::string("proxy.lan"));
        QTest::mouseClick(window->okbtn, Qt::LeftButton);
        QVERIFY(!window->isVisible());
        QCOMPARE(stored("Net", "Server"), std::string("")); // the file kept its first-start value
    }

    void aBadNumberIsRefusedResetAndKeepsTheWindowOpen() {
        type(window->port, "80a");
        type(window->readTimeOut, "7");
        QTest::mouseClick(window->okbtn, Qt::LeftButton);
        QCOMPARE(messages, QStringList{"保存失败，端口、读取超时间隔、连接超时间隔必须为数字！"});
        QCOMPARE(window->port->text(), QString("8080"));
        QCOMPARE(window->readTimeOut->text(), QString("0"));
        QCOMPARE(window->connectTimeOut->text(), QString("0"));
        QVERIFY(window->isVisible());
        QCOMPARE(config->getHttpAgent()->Port, 3128);
    }

    void withoutProxyTheTypedProxyFieldsAreStillSaved() {
        window->netType->setCurrentIndex(0);
        type(window->server, "");
        type(window->password, "secret");
        QTest::mouseClick(window->okbtn, Qt::LeftButton);
        QVERIFY(messages.isEmpty());
        QVERIFY(!window->isVisible());
        QCOMPARE(stored("Net", "AgentType"), std::string("0"));
        QCOMPARE(stored("Net", "Password"), std::string("secret"));
        QCOMPARE(config->getHttpAgent()->AgentType, false);
    }

    void theScheduleIsSavedAndTheNextStartCompacts() {
        ConfigFile(iniPath()).saveLastTimeOpt("2012-01-01 00:00:00");
        window->optimizeComb->setCurrentIndex(0);
        QVERIFY(window->useBtn1->isEnabled());
        QTest::mouseClick(window->useBtn1, Qt::LeftButton);
        QVERIFY(!window->useBtn1->isEnabled());
        QCOMPARE(stored("Other", "optimize"), std::string("0"));
        QCOMPARE(stored("Other", "lastTimeOpt"), std::string(""));
        QCOMPARE(config->optimize, std::string("2")); // only the next start reads it
    }

    void theTestRefusesFieldsItCannotUse() {
        type(window->port, "80a");
        QTest::mouseClick(window->testBtn, Qt::LeftButton);
        type(window->port, "80");
        type(window->connectTime, "x");
        QTest::mouseClick(window->testBtn, Qt::LeftButton);
        type(window->connectTime, "3");
        type(window->server, "");
        QTest::mouseClick(window->testBtn, Qt::LeftButton);
        QCOMPARE(messages,
                 (QStringList{"端口号必须是数字！", "连接重试、连接超时间隔、读取超时间隔必须是数字！",
                              "请输入服务器名！"}));
        QVERIFY(window->stopBtn->isHidden());
    }

    void aTestPassesAgainstAServerThatAnswers() {
        test::HttpServer server(
            [](const test::HttpRequest&) { return test::HttpReply::page("<html>ok</html>"); });
        window->netType->setCurrentIndex(0);
        window->setTestAddress(QString::fromStdString(server.url("/")));
        QTest::mouseClick(window->testBtn, Qt::LeftButton);
        QVERIFY(messages.isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(window->testState->text(), QString("测试连接通过！"), 20000);
        QVERIFY(window->stopBtn->isHidden());
        QVERIFY(window->okbtn->isEnabled());
        QVERIFY(window->useBtn->isEnabled());
        QCOMPARE(server.requestCount(), size_t(1));
        // The tested settings were neither saved nor installed.
        QCOMPARE(config->getHttpAgent()->AgentType, true);
    }

    void aTestFailsAgainstAClosedPort() {
        std::string closed;
        {
            test::HttpServer gone([](const test::HttpRequest&) { return test::HttpReply::page(""); });
            closed = gone.url("/");
        }
        window->netType->setCurrentIndex(0);
        window->setTestAddress(QString::fromStdString(closed));
        QTest::mouseClick(window->testBtn, Qt::LeftButton);
        QTRY_COMPARE_WITH_TIMEOUT(window->testState->text(), QString("测试连接失败！"), 20000);
        QVERIFY(window->stopBtn->isHidden());
    }

    void aStoppedTestSaysSoAndFreesTheControls() {
        test::HttpServer slow([](const test::HttpRequest&) {
            auto reply = test::HttpReply::page("late");
            reply.delay = std::chrono::seconds(30);
            return reply;
        });
        window->netType->setCurrentIndex(0);
        window->setTestAddress(QString::fromStdString(slow.url("/")));
        QTest::mouseClick(window->testBtn, Qt::LeftButton);
        QCOMPARE(window->testState->text(), QString("正在连接测试,请稍等...."));
        QVERIFY(!window->stopBtn->isHidden());
        QVERIFY(!window->okbtn->isEnabled());
        QVERIFY(!window->cancel->isEnabled());
        QVERIFY(!window->server->isEnabled());
        QTest::mouseClick(window->stopBtn, Qt::LeftButton);
        QCOMPARE(window->testState->text(), QString("连接中止！"));
        QVERIFY(window->stopBtn->isHidden());
        QVERIFY(window->okbtn->isEnabled());
        QVERIFY(window->server->isEnabled());
        // The aborted download gives no late verdict over the stop.
        QTest::qWait(300);
        QCOMPARE(window->testState->text(), QString("连接中止！"));
    }
};

int main(int argc, char** argv) {
    prepareQtEnvironment();
    VantorApplication app(argc, argv);
    ConfigFrmTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_configfrm.moc"
