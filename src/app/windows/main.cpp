#include "AnalysisWindow.h"
#include "ChartPage.h"
#include "MainWindow.h"
#include "ScreenCheck.h"
#include "SplashWindow.h"
#include "StartWindow.h"
#include "TsaleDataViewFrm.h"
#include "UpdateWatcher.h"
#include "UserMessages.h"
#include "VantorApplication.h"
#include "WelcomeWindow.h"

#include "app/Config.h"
#include "base/DataFolder.h"
#include "base/Version.h"
#include "db/TDM.h"
#include "gather/GatherTexts.h"
#include "gather/windows/TsaleGatherFrm.h"
#include "views/DeleteRoutine.h"

#include <QCommandLineParser>
#include <QEventLoop>
#include <QLabel>
#include <QRegularExpression>
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
    // The options are read before the application object exists: --help and --version answer without a
    // display, as the command line does.
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments << QString::fromLocal8Bit(argv[i]);
    QCommandLineParser options;
    options.setApplicationDescription("Vantor专业版：淘宝市场数据采集与分析");
    const QCommandLineOption help({"h", "help"}, "显示本帮助");
    const QCommandLineOption version("version", "显示版本");
    QCommandLineOption dataDir("data-dir",
                               QString::fromStdString("数据目录（默认：" +
                                                      DataFolder::locate().root().string() +
                                                      "；环境变量 VANTOR_DATA_DIR 可另指定）"),
                               "DIR");
    QCommandLineOption screenshot("screenshot", "启动后保存主窗口截图并退出", "FILE");
    QCommandLineOption quitWhenShown("quit-when-shown", "主窗口显示后输出 shown 并退出（测量启动时间）");
    const QCommandLineOption show(
        "show", "启动后打开的窗口（而不是欢迎页）：" + startWindowNames().join(", "), "WINDOW");
    const QCommandLineOption salesView("sales-view", "同 --show sales-view");
    const QCommandLineOption analyse("analyse",
                                     "在打开的分析窗口中选第一家店铺、全部销售的日期范围并按“分析”");
    const QCommandLineOption gather("gather",
                                    "在店铺销售采集窗口中搜索第一个类目，勾选前三家店铺，每家采集三个商品");
    const QCommandLineOption verbose("verbose", "在终端显示界面库和内嵌浏览器的全部输出");
    options.addOptions(
        {help, version, dataDir, screenshot, quitWhenShown, show, salesView, analyse, gather, verbose});
    if (!options.parse(arguments)) {
        const QStringList unknown = options.unknownOptionNames();
        std::cerr
            << (unknown.isEmpty() ? options.errorText() : "未知选项：" + unknown.join("，")).toStdString()
            << "\n用 --help 查看选项。\n";
        return 2;
    }
    if (options.isSet(help)) {
        // Without an application object Qt knows neither the program's name nor its language.
        QString text = options.helpText();
        text.replace(QRegularExpression("^Usage: \\S+ \\[options\\]"), "用法：vantor [选项]");
        text.replace("\nOptions:\n", "\n选项：\n");
        std::cout << text.toStdString();
        return 0;
    }
    if (options.isSet(version)) {
        std::cout << "vantor " << kVersion << '\n';
        return 0;
    }
    const QString startName = options.isSet(show)        ? options.value(show)
                              : options.isSet(salesView) ? "sales-view"
                                                         : QString();
    if (!startName.isEmpty() && !startWindowNames().contains(startName)) {
        std::cerr << "未知窗口：" << startName.toStdString() << "\n可选："
                  << startWindowNames().join(", ").toStdString() << '\n';
        return 2;
    }

    prepareQtEnvironment(options.isSet(verbose));
    charts::registerSaleScheme();
    VantorApplication app(argc, argv);

    SplashWindow splash;
    splash.show();
    splash.setGauge(5);
    splash.setGauge(10);

    std::optional<std::filesystem::path> folderOption;
    if (options.isSet(dataDir)) folderOption = options.value(dataDir).toStdString();
    DataFolder folder = DataFolder::locate(folderOption);
    db::TDM dm(app::configuredStore(folder));
    splash.setGauge(15);

    TConfig config;
    MainWindow window(folder, config, dm);
    if (window.startUp() == app::StartupOutcome::Exit) return 1;
    splash.setGauge(20);

    // The version check runs beside the building of the windows; its answer waits for the main window.
    UpdateWatcher updates({config.getHttpAgent(), app::updateService(), app::updatePublicKey(),
                           updateFolder(), folder.config()});
    updates.status = [&splash](const QString& text) { splash.setState(text); };
    updates.start();

    // A view's delete on this thread that waits for another program's save says so while it waits.
    db::LockWait viewWait;
    viewWait.notice = [&window] {
        window.setStatusText(gather::kWaitingForLock);
        window.repaint();
    };
    views::ViewConnection::setLockWait(viewWait);

    window.createWorkingWindows([&splash](int value) { splash.setGauge(value); });
    splash.setState(app::kInitialising);
    splash.close();
    QWidget* start = startName.isEmpty() ? nullptr : openStartWindow(window, startName);
    if (!start) window.showWorkingWindow(window.welcomeWindow());
    window.show();
    updates.status = [&window](const QString& text) { window.setStatusText(text); };
    updates.setWindow(&window);

    if (options.isSet(quitWhenShown)) {
        QCoreApplication::processEvents();
        std::cout << "shown" << std::endl;
        return 0;
    }
    // The first step runs in sight, as a user's would.
    if (options.isSet(analyse)) {
        auto* analysis = qobject_cast<charts::AnalysisWindow*>(start);
        if (!analysis) {
            std::cerr << "--analyse 需要用 --show 打开一个分析窗口\n";
            return 2;
        }
        if (!analyseFirstShop(*analysis, dm)) {
            std::cerr << "没有可分析的数据\n";
            return 1;
        }
    }
    if (options.isSet(gather)) {
        auto* gathering = qobject_cast<TsaleGatherFrm*>(start);
        if (!gathering) {
            std::cerr << "--gather 需要 --show sales-gathering\n";
            return 2;
        }
        constexpr int kShops = 3, kItems = 3;
        if (!gatherFirstShops(*gathering, kShops, kItems)) {
            std::cerr << "采集没有完成：" << gathering->resultLabel->text().toStdString() << '\n';
            return 1;
        }
    }
    if (options.isSet(screenshot)) return screenshotAndQuit(window, options.value(screenshot));
    return app.exec();
}
