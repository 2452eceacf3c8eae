#include "VantorApplication.h"

#include "app/ErrorLog.h"
#include "base/DataFolder.h"

#include <QFont>
#include <QFontDatabase>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include <cstdlib>
#include <iostream>
#include <unistd.h>
#include <utility>

namespace vantor {
namespace {

// The file dialog names a file's type through QAbstractFileIconProvider, whose texts Qt's Chinese
// catalogue (qtbase_zh_CN) does not carry; without them its type column reads "Folder".
class FileTypeTexts : public QTranslator {
public:
    using QTranslator::QTranslator;
    bool isEmpty() const override { return false; }
    QString translate(const char* context, const char* source, const char* disambiguation = nullptr,
                      int n = -1) const override {
        Q_UNUSED(disambiguation);
        Q_UNUSED(n);
        if (qstrcmp(context, "QAbstractFileIconProvider") != 0) return {};
        static const std::pair<const char*, const char*> texts[] = {
            {"Folder", "文件夹"},   {"File Folder", "文件夹"}, {"Drive", "驱动器"},
            {"Computer", "计算机"}, {"File", "文件"},          {"%1 File", "%1 文件"},
            {"Unknown", "未知"},    {"Alias", "替身"},         {"Shortcut", "快捷方式"},
        };
        for (const auto& [english, chinese] : texts)
            if (qstrcmp(source, english) == 0) return QString::fromUtf8(chinese);
        return {};
    }
};

} // namespace

namespace {

// Harmless notes of every start on a machine without a desktop session.
bool chatter(QtMsgType type, const QString& text) {
    if (type == QtDebugMsg || type == QtInfoMsg) return true;
    return text.startsWith("QStandardPaths: XDG_RUNTIME_DIR not set") ||
           text.startsWith("Sandboxing disabled") || text.startsWith("No suitable graphics backend found");
}

} // namespace

void prepareQtEnvironment(bool verbose) {
    if (!verbose) {
        setenv("QT_LOGGING_RULES", "qt.webenginecontext.info=false", 0);
        qInstallMessageHandler([](QtMsgType type, const QMessageLogContext&, const QString& text) {
            if (chatter(type, text)) return;
            std::cerr << text.toStdString() << '\n';
        });
    }
    // The embedded browser refuses to start its sandbox as root.
    if (geteuid() == 0) setenv("QTWEBENGINE_DISABLE_SANDBOX", "1", 0);
    const char* platform = std::getenv("QT_QPA_PLATFORM");
    if (platform && std::string_view(platform) == "offscreen")
        setenv("QTWEBENGINE_CHROMIUM_FLAGS", verbose ? "--disable-gpu" : "--disable-gpu --log-level=3", 0);
    else if (!verbose)
        setenv("QTWEBENGINE_CHROMIUM_FLAGS", "--log-level=3", 0);
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
}

VantorApplication::VantorApplication(int& argc, char** argv)
    : QApplication(argc, argv), errorLog_(app::errorLogPath(executablePath())) {
    setApplicationName("Vantor");
    // Under a non-Chinese locale fontconfig prefers Japanese glyph shapes for shared characters.
    if (QFontDatabase::families().contains("Noto Sans CJK SC")) {
        QFont font = QApplication::font();
        font.setFamilies({font.family(), "Noto Sans CJK SC"});
        QApplication::setFont(font);
    }
    // Qt's own texts (message box buttons, file dialogs, calendars, the menus of text boxes) speak the
    // program's language, whatever the machine's locale.
    QLocale::setDefault(QLocale(QLocale::Chinese, QLocale::China));
    const QString translations = QLibraryInfo::path(QLibraryInfo::TranslationsPath);
    // qtbase carries every dialog's texts (file, message, input, colour and font dialogs, the print
    // dialog's too); qtwebengine the embedded browser's menus. The other catalogues under the path
    // belong to modules the program does not use.
    for (const char* catalogue : {"qtbase_zh_CN", "qtwebengine_zh_CN"}) {
        auto* translator = new QTranslator(this);
        if (translator->load(catalogue, translations))
            installTranslator(translator);
        else
            delete translator;
    }
    installTranslator(new FileTypeTexts(this));
}

bool VantorApplication::notify(QObject* receiver, QEvent* event) {
    try {
        return QApplication::notify(receiver, event);
    } catch (const std::exception& e) {
        logError(e.what());
    } catch (...) {
        logError("未知错误");
    }
    return false;
}

void VantorApplication::logError(const std::string& message) const {
    try {
        app::appendErrorLog(errorLog_, message, DateTime::now());
    } catch (const std::exception& e) {
        // Nothing else can take the message: the log was the last resort.
        std::cerr << "vantor: cannot write " << errorLog_ << ": " << e.what() << ": " << message << '\n';
    }
}

} // namespace vantor
