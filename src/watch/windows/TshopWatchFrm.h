#pragma once

#include "base/DataFolder.h"
#include "charts/Gallery.h"
#include "db/TDM.h"
#include "download/THttpAgent.h"
#include "gather/windows/QtGatherObserver.h"
#include "gather/windows/SlotBars.h"
#include "watch/ChangeReport.h"
#include "watch/WatchList.h"
#include "watch/WatchRound.h"
#include "watch/WatchSettings.h"

#include <QWidget>

#include <memory>
#include <vector>

class QCheckBox;
class QComboBox;
class QDateEdit;
class QFileDialog;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QSpinBox;
class QTableWidget;
class QTimeEdit;
class QTimer;
class QWebEngineView;

namespace vantor {

// "店铺监控": the watch list with its rounds and schedule above, the change report with its charts
// below. The rules are the watch core's; this window places them and runs a round on its thread.
class TshopWatchFrm : public QWidget {
    Q_OBJECT
public:
    TshopWatchFrm(download::AgentSource agent, db::TDM& dm, const DataFolder& folder,
                  QWidget* parent = nullptr);
    ~TshopWatchFrm() override;

    // Puts a shop on the watch list and says so in the status line; false (and why) for no shop
    // address.
    bool addShop(const QString& address, int items, bool ratings);
    // Starts a round now, unless one runs; false when none was started.
    bool startRound();
    // Starts a round when the schedule wants one. The timer asks every minute.
    void checkSchedule();
    bool busy() const { return round_ != nullptr; }
    // What a stop now would lose, for the question before a close.
    QString stopLoss() const;
    // Stops a running round and waits for it; for the exit.
    void stopAndWait();
    // Reads the list, the filters' shops and the report again.
    void reload();

    // Controls, by their names.
    QTableWidget* watchGrid;
    QLineEdit* address;
    QSpinBox* itemCount;
    QCheckBox* followRatings;
    QPushButton *addBtn, *removeBtn, *updateBtn, *stopBtn;
    QComboBox* scheduleKind; // 每天, 每隔, 不自动更新
    QTimeEdit* dailyTime;
    QSpinBox* everyHours;
    QWidget* roundPanel; // in sight while a round runs
    QProgressBar* totalGauge;
    QLabel *shopLabel, *stageLabel;
    QLabel* roundState; // the outcome of the last round, or what the running one does
    QComboBox *shopFilter, *kindFilter;
    QDateEdit *dateFrom, *dateTo;
    QPushButton* exportBtn;
    QTableWidget* reportGrid;
    QWebEngineView* chart;
    QProgressBar* saveGauge;
    QFileDialog* saveDialog;
    QTimer* scheduleTimer;

    // What the report grid shows, row by row.
    const std::vector<watch::ChangeLine>& reportLines() const { return lines_; }

signals:
    // The main window's status line ("操作提示：").
    void statusLine(const QString& text);
    // A round saved what it gathered; the data views refresh after it.
    void roundEnded();

private:
    void addClick();
    void removeClick();
    void scheduleChanged();
    void showSchedule();
    void reloadList();
    void reloadShopFilter();
    void reloadReport();
    // Writes the chart page's document (sales of the dates, the price history of the chosen line) and
    // loads the page.
    // The daily sales read with the report, and the price history of the chosen line's item.
    void drawChart(const watch::ChangeLine* priced);
    void reportRowChosen(int row);
    void roundFinished();
    void setRunning(bool running);
    void say(const QString& text);

    download::AgentSource agent_;
    db::TDM& dm_;
    watch::WatchSettingsFile settings_;
    charts::Gallery gallery_;
    std::vector<watch::WatchedShop> shops_; // row i of the list
    std::vector<watch::ChangeLine> lines_;  // row i of the report
    std::vector<watch::SalesSeries> sales_; // the chart's daily sales, read with the report
    std::unique_ptr<SlotBars> slotBars_;    // thin, one per download slot of the round
    std::unique_ptr<QtGatherObserver> observer_;
    std::unique_ptr<watch::WatchRound> round_;
};

} // namespace vantor
