#pragma once

#include "RunGauges.h"
#include "base/CsvFile.h"
#include "download/THttpAgent.h"

#include <QCoreApplication>
#include <QWidget>

#include <memory>
#include <string>
#include <vector>

class QFileDialog;
class QFormLayout;
class QLabel;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QStackedWidget;
class QTabWidget;
class QTableWidget;

namespace vantor {

// What the two ranking windows share: a form page with the job's progress and a log beside it, a
// result page with the grid of ranked items and its export, and the outcome line above both. The
// subclass adds its form's controls and runs the core's job; the rows are the core's cells.
class RankingWindow : public QWidget {
    Q_OBJECT
public:
    QTabWidget* pages;
    QStackedWidget* panels; // the form, the progress of a run
    QLabel* resultLabel;    // the outcome of the last run, until the next one begins
    QLabel* progressLabel;
    QPushButton* stopButton;
    QPushButton* exportButton;
    QTableWidget* resultGrid;
    QPlainTextEdit* searchMemoLog;
    RunGauges* run; // the slot bars, the run's bar and the time it still needs
    QProgressBar* saveProgress;
    QFileDialog* saveDialog;

    // What a stop now would lose, for the question before a close.
    virtual QString stopLoss() const = 0;

signals:
    // The main window's status line ("操作提示：").
    void statusLine(const QString& text);

protected:
    RankingWindow(const char* caption, const char* formTab, const char* resultTab,
                  const std::vector<std::string>& columns, const char* gridName, QWidget* parent);

    // The form's rows go here, above the start button the subclass adds last.
    QFormLayout* form;
    // The slot bars for a new job, as many as the settings' "下载通道数".
    std::vector<download::SlotProgress*> slotGauges(const THttpAgent& agent);
    // A run of `parts` categories (or one search) begins: the progress panel, no outcome, an empty grid.
    void showRunning(const QString& progress, int parts);
    // A run ended: the form again, its outcome above the pages and in the log; the result page when
    // it has rows.
    void showEnded(const QString& outcome, bool complete);
    void appendRow(const std::vector<std::string>& cells);

    // Queues a change onto the window's thread: the jobs report on theirs.
    template <class Window, class Change> static void post(Window* window, Change change) {
        QMetaObject::invokeMethod(
            window, [window, change] { change(window); }, Qt::QueuedConnection);
    }
    // The jobs call back into the window: they end before it, and their queued reports are dropped.
    void dropQueuedReports() { QCoreApplication::removePostedEvents(this, QEvent::MetaCall); }

    virtual void stopClick() = 0;
    virtual CsvJob exportJob() const = 0;
    virtual std::string rowLink(int row) const = 0;
};

} // namespace vantor
