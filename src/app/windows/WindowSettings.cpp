#include "WindowSettings.h"

#include "app/Config.h"

#include <QHeaderView>
#include <QTimer>

#include <optional>

namespace vantor {
namespace {

constexpr const char* kExport = "export";
constexpr const char* kGrids = "grids";

std::optional<ConfigFile>& file() {
    static std::optional<ConfigFile> current;
    return current;
}

// A choice that cannot be saved is not worth a message: the next run starts from the defaults.
void save(const char* section, const std::string& key, const std::string& value) {
    if (!file()) return;
    try {
        file()->saveChoice(section, key, value);
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
    const std::string name = file() ? file()->readChoice(kExport, "encoding", "gbk") : "gbk";
    return name == "utf8" ? name : "gbk";
}

void WindowSettings::setExportEncoding(const std::string& name) {
    save(kExport, "encoding", name);
}

void WindowSettings::keepColumns(QHeaderView* header, const QString& grid) {
    if (!file() || grid.isEmpty()) return;
    const std::string key = grid.toStdString();
    const std::string saved = file()->readChoice(kGrids, key, "");
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

} // namespace vantor
