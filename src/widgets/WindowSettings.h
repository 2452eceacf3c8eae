#pragma once

#include <QSize>
#include <QString>

#include <filesystem>
#include <string>

class QHeaderView;
class QWidget;

namespace vantor::widgets {

// What the windows remember between runs in the settings file: the export format and encoding and every
// grid's column widths and order. Until a settings file is named nothing is kept, so tests and the first
// windows of a start leave no trace.
class WindowSettings {
public:
    // An empty path: nothing is kept any more.
    static void useFile(std::filesystem::path configFile);

    // "gbk" (the default) or "utf8".
    static std::string exportEncoding();
    static void setExportEncoding(const std::string& name);
    // "program" (the default) or "standard".
    static std::string exportFormat();
    static void setExportFormat(const std::string& name);

    // Gives the header the widths and order last saved under the grid's name, then saves them again
    // shortly after the user changes them.
    static void keepColumns(QHeaderView* header, const QString& grid);

    // Gives the window its size and place of the last run, or the preferred size within the screen's free
    // area; keepGeometry saves them (at close).
    static void restoreGeometry(QWidget* window, const QString& name, QSize preferred);
    static void keepGeometry(const QWidget* window, const QString& name);
};

} // namespace vantor::widgets
