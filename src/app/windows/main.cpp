#include "ChartPage.h"
#include "MainWindow.h"
#include "ScreenCheck.h"
#include "SplashWindow.h"
#include "UpdateWatcher.h"
#include "UserMessages.h"
#include "VantorApplication.h"
#include "WelcomeWindow.h"

#include "app/Config.h"
#include "base/DataFolder.h"
#include "db/TDM.h"
#include "gather/GatherTexts.h"
#include "views/DeleteRoutine.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QTimer>

#include <iostream>
#include <optional>

using namespace vantor;

namespace {

// --screenshot: once the window and its pages have settled, save what the screen shows, check that
// every caption can be drawn, and end.
int screenshotAndQuit(MainWindow& window, const QString& file) {
    QEventLoop settle;
    QTimer::singleShot(3000, &settle, &QEventLoop::quit);
    settle.exec();
    if (!saveScreenshot(&window, file)) {
        std::cerr << "cannot save " << file.toStdString() << '\n';
        return 1;
    }
    QStringList missing = textsWithMissingGlyphs(&window);
    for (const QString& text : missing)
        std::cerr << "no font can draw: " << text.toStdString() << '\n';
    std::cout << file.toStdString() << '\n';
    return missing.isEmpty() ? 0 : 3;
}

} // namespace

int main(int argc, char** argv) {
    prepareQtEnvironment();
    charts::registerSaleScheme();
    VantorApplication app(argc, argv);

    QCommandLineParser options;
    options.setApplicationDescription("Vantor专业版");
    options.addHelpOption();
    QCommandLineOption dataDir("data-dir", "数据目录", "DIR");
    QCommandLineOption screenshot("screenshot", "启动后保存主窗口截图并退出", "FILE");
    QCommandLineOption quitWhenShown("quit-when-shown", "主窗口显示后输出 shown 并退出（测量启动时间）");
    options.addOption(dataDir);
    options.addOption(screenshot);
    options.addOption(quitWhenShown);
    options.process(app);

    SplashWindow splash;
    splash.show();
    splash.setGauge(5);
    splash.setGauge(10);
    QApplication::setApplicationDisplayName(kAppTitle);

    std::optional<std::filesystem::path> folderOption;
    if (options.isSet(dataDir)) folderOption = options.value(dataDir).toStdString();
    DataFolder folder = DataFolder::locate(folderOption);
    db::TDM dm(configuredStore(folder));
    splash.setGauge(15);

    TConfig config;
    MainWindow window(folder, config, dm);
    if (window.startUp() == StartupOutcome::Exit) return 1;
    splash.setGauge(20);

    // The version check runs beside the building of the windows; its answer waits for the main window.
    UpdateWatcher updates(
        {config.getHttpAgent(), updateService(), updatePublicKey(), updateFolder(), folder.config()});
    updates.status = [&splash](const QString& text) { splash.setState(text); };
    updates.start();

    // A view's delete on this thread that waits for another program's save says so while it waits.
    db::LockWait viewWait;
    viewWait.notice = [&window] {
        window.setStatusText(kWaitingForLock);
        window.repaint();
    };
    views::ViewConnection::setLockWait(viewWait);

    window.createWorkingWindows([&splash](int value) { splash.setGauge(value); });
    splash.setState(kInitialising);
    splash.close();
    window.showWorkingWindow(window.welcomeWindow());
    window.show();
    updates.status = [&window](const QString& text) { window.setStatusText(text); };
    updates.setWindow(&window);

    if (options.isSet(quitWhenShown)) {
        QCoreApplication::processEvents();
        std::cout << "shown" << std::endl;
        return 0;
    }
    if (options.isSet(screenshot)) return screenshotAndQuit(window, options.value(screenshot));
    return app.exec();
}
