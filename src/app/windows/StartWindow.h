#pragma once

#include "db/TDM.h"

#include <QString>
#include <QStringList>

class QWidget;

namespace vantor {

class MainWindow;
class TsaleGatherFrm;

namespace charts {
class AnalysisWindow;
} // namespace charts

// The working window the program opens on, chosen by a short name, and the first step it takes
// there: the same every time, so that pictures of the program can be made again.

// The names --show takes, in the order of the navigation bar.
QStringList startWindowNames();

// Opens the named window as its navigation entry does; null for a name that is none of them.
QWidget* openStartWindow(MainWindow& window, const QString& name);

// Chooses the first shop and a date range over every sale held, presses "分析" and returns once the
// chart page has loaded; false when nothing was drawn.
bool analyseFirstShop(charts::AnalysisWindow& window, db::TDM& dm);

// Searches the first category, ticks the first shops of the result and gathers them, a few items
// each; returns once the gathering has ended, true when it finished.
bool gatherFirstShops(TsaleGatherFrm& window, int shops, int items);

} // namespace vantor
