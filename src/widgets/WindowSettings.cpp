#include "WindowSettings.h"

#include "base/IniFile.h"

#include <QGuiApplication>
#include <QHeaderView>
#include <QScreen>
#include <QTimer>
#include <QWidget>

#include <optional>

namespace vantor::widgets {
namespace {

constexpr const char* kExport = "export";
constexpr const char* kGrids = "grids";
constexpr const char* kWindows = "windows";

std::optional<std::filesystem::path>& file() {
    static std::optional<std::filesystem::path> current;
    return current;
}

// The windows' own sections; the program's settings never read them. A file that cannot be read gives
// the default.
std::string read(const char* section, const std::string& key, const char* fallback) {
    if (!file()) return fallback;
    try {
        return IniFile::load(*file()).read(section, key, fallback);
    } catch (const std::exception&) {
        return fallback;
    }
}

// A choice that cannot be saved is not worth a message: the next run starts from the defaults.
void save(const char* section, const std::string& key, const std::string& value) {
    if (!file()) return;
    try {
        IniFile ini = IniFile::load(*file());
        ini.write(section, key, value);
        ini.save(*file());
    } catch (const std::exception&) {
    }
}

} // namespace

void WindowSettings::useFile(std::filesystem::path configFile) {
    if (configFile.empty())
        file().reset();
    else
        file().emplace(std::move(configFile));
}

std::string WindowSettings::exportEncoding() {
    const std::string name = read(kExport, "encoding", "gbk");
    return name == "utf8" ? name : "gbk";
}

void WindowSettings::setExportEncoding(const std::string& name) {
    save(kExport, "encoding", name);
}

std::string WindowSettings::exportFormat() {
    const std::string name = read(kExport, "format", "program");
    return name == "standard" ? name : "program";
}

void WindowSettings::setExportFormat(const std::string& name) {
    save(kExport, "format", name);
}

void WindowSettings::keepColumns(QHeaderView* header, const QString& grid) {
    if (!file() || grid.isEmpty()) return;
    const std::string key = grid.toStdString();
    const std::string saved = read(kGrids, key, "");
    if (!saved.empty()) header->restoreState(QByteArray::fromBase64(QByteArray::fromStdString(saved)));
    // Dragging a column edge reports every pixel: one save once the hand rests.
    auto* later = new QTimer(header);
    later->setSingleShot(true);
    later->setInterval(400);
    QObject::connect(later, &QTimer::timeout, header,
                     [header, key] { save(kGrids, key, header->saveState().toBase64().toStdString()); });
    QObject::connect(header, &QHeaderView::sectionResized, later, qOverload<>(&QTimer::start));
    QObject::connect(header, &QHeaderView::sectionMoved, later, qOverload<>(&QTimer::start));
}

void WindowSettings::restoreGeometry(QWidget* window, const QString& name, QSize preferred) {
    const std::string saved = read(kWindows, name.toStdString(), "");
    if (!saved.empty() && window->restoreGeometry(QByteArray::fromBase64(QByteArray::fromStdString(saved))))
        return;
    // A first start on a small screen: the preferred size, but never past the screen's free area.
    if (const QScreen* screen = QGuiApplication::primaryScreen())
        preferred = preferred.boundedTo(screen->availableGeometry().size());
    window->resize(preferred.expandedTo(window->minimumSize()));
}

void WindowSettings::keepGeometry(const QWidget* window, const QString& name) {
    save(kWindows, name.toStdString(), window->saveGeometry().toBase64().toStdString());
}

} // namespace vantor::widgets
