#include "StartWindow.h"

#include "AnalysisWindow.h"
#include "MainWindow.h"
#include "gather/GatherTexts.h"
#include "gather/windows/TsaleGatherFrm.h"

#include <QAction>
#include <QComboBox>
#include <QDateEdit>
#include <QEventLoop>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QTabWidget>
#include <QTableWidget>
#include <QTimer>
#include <QToolBox>
#include <QToolButton>
#include <QWebEngineView>

#include <functional>
#include <iterator>

namespace vantor {

namespace {

// A name and the object name of the navigation entry that opens its window.
struct StartEntry {
    const char* name;
    const char* entry;
};

constexpr StartEntry kStartEntries[] = {
    {"category-ranking", "N3"}, {"item-ranking", "N2"},   {"ranking-history", "N4"},
    {"sales-gathering", "N6"},  {"sales-view", "N7"},     {"sales-distribution", "N25"},
    {"sales-ranking", "N26"},   {"sales-trend", "N27"},   {"rating-gathering", "N10"},
    {"rating-view", "N11"},     {"rating-growth", "N30"}, {"rating-check", "N31"},
    {"watch", "N40"},
};

// Runs the event loop until the condition holds; the windows' jobs report through it.
void waitUntil(const std::function<bool()>& done) {
    QEventLoop loop;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, &loop, [&] {
        if (done()) loop.quit();
    });
    poll.start(100);
    if (!done()) loop.exec();
}

} // namespace

QStringList startWindowNames() {
    QStringList names;
    for (const StartEntry& entry : kStartEntries)
        names << entry.name;
    return names;
}

QWidget* openStartWindow(MainWindow& window, const QString& name) {
    const auto found = std::find_if(std::begin(kStartEntries), std::end(kStartEntries),
                                    [&](const StartEntry& entry) { return name == entry.name; });
    if (found == std::end(kStartEntries)) return nullptr;
    // A window that does not exist has no entry.
    auto* action = window.findChild<QAction*>(found->entry);
    if (!action) return nullptr;
    action->trigger();
    // The entry's section opens in the navigation bar, as though the entry had been clicked there.
    if (auto* button = window.findChild<QToolButton*>(QString(found->entry) + "Button"))
        window.navigationBar()->setCurrentWidget(button->parentWidget());
    return window.currentWorkingWindow();
}

bool analyseFirstShop(charts::AnalysisWindow& window, db::TDM& dm) {
    if (window.dianmingList->count() == 0) return false;
    window.dianmingList->setCurrentIndex(0);
    // The data may lie in other years than the default range, which ends today.
    db::Statement range = dm.cn1().prepare("select min(sj), max(sj) from saleInfo");
    if (!range.step() || range.isNull(0)) return false;
    constexpr int kDateLength = 10; // yyyy-MM-dd of the stored date and time
    window.date1->setDate(
        QDate::fromString(QString::fromStdString(range.text(0).substr(0, kDateLength)), "yyyy-MM-dd"));
    window.date2->setDate(
        QDate::fromString(QString::fromStdString(range.text(1).substr(0, kDateLength)), "yyyy-MM-dd"));

    bool written = false;
    bool loaded = false;
    bool ok = false;
    QObject::connect(
        &window, &charts::AnalysisWindow::chartsWritten, &window, [&] { written = true; },
        Qt::SingleShotConnection);
    QObject::connect(
        window.web1, &QWebEngineView::loadFinished, &window,
        [&](bool success) {
            loaded = true;
            ok = success;
        },
        Qt::SingleShotConnection);
    window.bsSkinButton1->click();
    if (!written) return false;
    waitUntil([&] { return loaded; });
    return ok;
}

bool gatherFirstShops(TsaleGatherFrm& window, int shops, int items) {
    window.id->setCurrentIndex(1);
    window.search->click();
    waitUntil([&] { return !window.busy(); });
    const int found = window.searchGrid->rowCount();
    if (found == 0) return false;
    window.markAll(false);
    for (int row = 0; row < std::min(shops, found); ++row)
        window.tick(row, true);
    window.fromData->setValue(items);
    window.saveSearch->click();
    waitUntil([&] { return !window.busy(); });
    // The shops searched and ticked, under what the run saved.
    window.pages->setCurrentIndex(1);
    return window.stageLabel->text() == gather::kGatherFinished;
}

} // namespace vantor
