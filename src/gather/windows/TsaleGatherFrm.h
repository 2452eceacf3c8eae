#pragma once

#include "QtProgress.h"
#include "db/TDM.h"
#include "download/THttpAgent.h"
#include "gather/SalesGathering.h"
#include "gather/ShopSearchJob.h"

#include <QWidget>

#include <memory>
#include <vector>

class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QRadioButton;
class QSlider;
class QSpinBox;
class QStackedWidget;
class QTableWidget;
class QTabWidget;

namespace vantor {

// The sales gathering window "销售数据采集": the shop search, the result grid where shops are ticked,
// and the gathering of the ticked shops. Searching and gathering are the core's; this window shows
// them and never lets a second job start while one runs.
class TsaleGatherFrm : public QWidget {
    Q_OBJECT
public:
    static constexpr int kSlots = 4;

    TsaleGatherFrm(AgentSource agent, db::TDM& dm, QWidget* parent = nullptr);
    ~TsaleGatherFrm() override;

    // Shows these shops as the search result, as a search would have listed them.
    void takeShops(const std::vector<TDianBaseInfo>& shops);
    bool busy() const { return search_ || gathering_; }
    // Stops a running job and waits for it; an open shop is rolled back. For the program's exit.
    void stopAndWait();

    // Controls, by their names.
    QLineEdit *q, *loc;
    QCheckBox *title, *nick, *tag;
    QComboBox* id;
    QCheckBox* ratesum[kCreditLevels];
    QRadioButton *sort1, *sort2;
    QSlider* searchPageSel;
    QLabel* searchRange;
    QPushButton *search, *cancelDownSearch, *selAll, *cancelSel, *saveSearch, *dianStopBtn;
    QTableWidget* searchGrid;
    QPlainTextEdit* searchMemoLog;
    QSpinBox* fromData;
    QTabWidget* pages;
    QStackedWidget* panels; // search form, search progress, gathering progress
    // The outcome of the last search or gathering, above the pages, until the next one begins.
    QLabel* resultLabel;
    QLabel *searchState, *needLabel, *doneLabel, *stageLabel, *itemsLabel, *shopLabel;
    QProgressBar *totalGauge, *saveGauge;
    QProgressBar* gauges[kSlots];

signals:
    // The main window's status line ("操作提示：").
    void statusLine(const QString& text);
    // A gathering has begun or ended; the data views refresh after it.
    void gatheringEnded();

private:
    class Bridge;

    void searchClick();
    void cancelDownSearchClick();
    void searchGridClick(int row);
    void markAll(bool ticked);
    void saveSearchClick();
    void dianStopBtnClick();
    void addShops(const std::vector<TDianBaseInfo>& shops);
    void searchEnded(JobEnd end, int listed);
    void gatherEnded(JobEnd end, const QString& summary);
    void showOutcome(const QString& text);
    std::vector<SlotProgress*> slotGauges();
    void setIdle();

    AgentSource agent_;
    db::TDM& dm_;
    std::vector<TDianBaseInfo> shops_; // row i of the grid
    int searches_ = 0;
    int totalFound_ = 0;
    std::vector<std::unique_ptr<QtProgress>> progress_;
    std::unique_ptr<QtProgress> saveProgress_;
    std::unique_ptr<Bridge> bridge_;
    std::unique_ptr<ShopSearchJob> search_;
    std::unique_ptr<SalesGathering> gathering_;
};

} // namespace vantor
