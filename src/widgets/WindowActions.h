#pragma once

#include "base/CsvFile.h"

#include <exception>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

class QAbstractItemView;
class QAction;
class QFileDialog;
class QLabel;
class QLineEdit;
class QPushButton;
class QProgressBar;
class QTableWidget;
class QWidget;

namespace vantor::widgets {

// What the buttons of every window with a grid share: the export with its save dialog, the system's
// browser for a double click, the gauge of an export, Enter in a search box, and the error handler.

// A control with the object name the window's handlers and tests know it by.
template <class Widget> Widget* named(Widget* widget, const char* name) {
    widget->setObjectName(name);
    return widget;
}

// The export progress bar of a window: hidden until an export runs, its text "已保存"; after a written
// export it stays full and says where the file went.
QProgressBar* makeSaveGauge(QWidget* parent);
// A read-only grid of whole rows with these titles and first widths (0: the default), its column
// widths and order kept under its name.
QTableWidget* makeResultGrid(const std::vector<std::string>& titles, const char* name,
                             const std::vector<int>& widths = {});
// The line above a window's pages that keeps the outcome of its last job in sight: bold, selectable,
// hidden until there is one.
QLabel* makeOutcomeLabel();
// Puts a row's cells (UTF-8) into the grid's row, which must exist.
void fillRow(QTableWidget* grid, int row, const std::vector<std::string>& cells);
// The save dialog of a window: the program's own format in GBK or in UTF-8 with a byte-order mark, or
// the standard CSV, each named in its filter; the choice is remembered in the settings file.
QFileDialog* makeSaveDialog(QWidget* parent);

// The dates of a file dialog of Qt's own (not the system's) in the program's locale, as its other texts.
void showProgramDates(QFileDialog* dialog);

// The export of a grid: nothing without rows; else the dialog proposes the job's file name (used too
// when the chosen name is empty). A file that exists but cannot be opened is named in a warning and
// left alone. Otherwise the file is written anew in the format chosen while the grid is disabled and the
// gauge follows the rows; then the gauge names the file's full path. Other failures go to the
// application's error handler.
void exportRows(QWidget* parent, QFileDialog& dialog, QProgressBar& gauge, QWidget& grid, const CsvJob& job);

// "加入监控" in the context menu of a shop grid; the handler takes the grid's current shop.
QAction* addWatchAction(QAbstractItemView* grid, const std::function<void()>& handler);

// Enter in any of these boxes presses the button, as the user expects of a search or filter box.
void clickOnEnter(std::initializer_list<QLineEdit*> boxes, QPushButton* button);

// Opens a web address with the system's handler.
void openAddress(const std::string& address);

// Runs a handler; what it raises goes to the application's error handler (the error log) instead of
// through the toolkit's frames.
void guarded(const std::function<void()>& handler);
void passToErrorHandler(std::exception_ptr error);

} // namespace vantor::widgets
