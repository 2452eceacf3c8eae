#pragma once

#include "QtProgress.h"
#include "RunGauges.h"
#include "db/TDM.h"
#include "download/THttpAgent.h"
#include "gather/SalesRunRecord.h"
#include "gather/ShopSearchJob.h"
#include "gather/ShopStages.h"

#include <QWidget>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

class QCheckBox;
class QComboBox;
class QHBoxLayout;
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

// What tells the gathering windows apart on screen.
struct ShopGatherTexts {
    const char* caption;
    const char* byCredit; // the order radio boxes
    const char* byPopularity;
    bool ratingOrderKeys; // see ShopSearchQuery
    const char* selectAll;
    const char* cancelAll;
    const char* start;
    const char* gathered;     // the run's count so far, "%1" the number
    const char* shopGathered; // added for the shop in progress, "%1" its count; null when not counted by shop
};

// A gathering window: the shop search, the result grid where shops are ticked, and the gathering of the
// ticked shops that the subclass starts. Searching and gathering are the core's; this window shows
// them and never lets a second job start while one runs.
class ShopGatherWindow : public QWidget {
    Q_OBJECT
public:
    ~ShopGatherWindow() override;

    // Shows these shops as the search result, as a search would have listed them, ticked when asked,
    // and clears the last outcome.
    void takeShops(const std::vector<TDianBaseInfo>& shops, bool ticked = false);
    // Whether the shop of this row is ticked in "选择".
    bool isTicked(int row) const;
    // Ticks one row or clears it, as a click on its check box does.
    void tick(int row, bool ticked);
    // Ticks every row or none ("全选" / "取消全选").
    void markAll(bool ticked);
    bool busy() const { return search_ || gathering_; }
    // What a stop now would lose, for the question before a stop or a close; empty while no gathering runs.
    virtual QString stopLoss() const;
    // Stops a running job and waits for it; what it had not committed is rolled back. For the exit.
    void stopAndWait();

    // Controls, by their names.
    QLineEdit *q, *loc;
    QCheckBox *title, *nick, *tag;
    QComboBox* id;
    QCheckBox* ratesum[gather::kCreditLevels];
    QRadioButton *sort1, *sort2;
    QSlider* searchPageSel;
    QLabel* searchRange;
    QPushButton *search, *cancelDownSearch, *selAll, *cancelSel, *saveSearch, *dianStopBtn;
    // "继续上次未完成的采集（剩余N家店铺）": in sight while a run cut short has shops left.
    QPushButton* resumeBtn;
    QTableWidget* searchGrid;
    QPlainTextEdit* searchMemoLog;
    QTabWidget* pages;
    QStackedWidget* panels; // search form, search progress, gathering progress
    // The outcome of the last search or gathering, above the pages, until the next one begins.
    QLabel* resultLabel;
    QLabel *searchState, *needLabel, *doneLabel, *stageLabel, *itemsLabel, *shopLabel;
    QProgressBar *totalGauge, *saveGauge;
    // The slot bars and the time the run still needs.
    RunGauges* run;

signals:
    // The main window's status line ("操作提示：").
    void statusLine(const QString& text);
    // A gathering has ended; the data views refresh after it.
    void gatheringEnded();
    // "加入监控" on a shop of the result: its address for the competitor watch.
    void watchRequested(const QString& address);

protected:
    ShopGatherWindow(const ShopGatherTexts& texts, download::AgentSource agent, db::TDM& dm, QWidget* parent);

    // The form's own controls, before the start button.
    QHBoxLayout* gatherOptions;
    std::shared_ptr<const THttpAgent> agent() const { return agent_(); }
    db::TDM& dataModule() { return dm_; }

    // Whether 停止下载 asks first: when a stop throws away more than the shop in progress.
    virtual bool askBeforeStop() const { return false; }
    bool gathering() const { return gathering_ != nullptr; }
    int shopsDone() const { return shopsDone_; }
    int shopsCount() const { return shopsCount_; }
    // Whether the form allows a run; a refusal has been shown. Asked before the ticked shops.
    virtual bool formAccepted() { return true; }
    virtual std::unique_ptr<gather::GatherRun> makeGathering(std::vector<TDianBaseInfo> shops,
                                                             const db::Store& database,
                                                             std::vector<download::SlotProgress*> gauges,
                                                             gather::GatherObserver& observer,
                                                             ProgressGauge* saveGauge) = 0;
    // The progress line of the shop being gathered.
    virtual QString shopText(int index, const QString& name) const = 0;
    // A run cut short that this window can continue; none by default.
    virtual std::optional<gather::UnfinishedRun> unfinishedRun() { return std::nullopt; }
    virtual std::unique_ptr<gather::GatherRun>
    makeResumedGathering(gather::UnfinishedRun run, const db::Store& database,
                         std::vector<download::SlotProgress*> gauges, gather::GatherObserver& observer,
                         ProgressGauge* saveGauge) {
        return nullptr;
    }
    // Shows or hides the offer to continue, as the database has it now.
    void refreshResumeOffer();
    void showEvent(QShowEvent* event) override;

private:
    class Bridge;

    void searchClick();
    void cancelDownSearchClick();
    void saveSearchClick();
    void resumeClick();
    using MakeRun = std::function<std::unique_ptr<gather::GatherRun>(
        const db::Store& database, std::vector<download::SlotProgress*> gauges,
        gather::GatherObserver& observer, ProgressGauge* saveGauge)>;
    void startGathering(size_t shops, const MakeRun& make);
    void dianStopBtnClick();
    void addShops(const std::vector<TDianBaseInfo>& shops);
    void searchEnded(gather::JobEnd end, int listed);
    void gatherEnded(gather::JobEnd end, const QString& summary);
    void showOutcome(const QString& text);
    // The slot bars for a new job, as many as the settings' "下载通道数".
    std::vector<download::SlotProgress*> slotGauges();
    void showItemCount();

    ShopGatherTexts texts_;
    download::AgentSource agent_;
    db::TDM& dm_;
    std::vector<TDianBaseInfo> shops_; // row i of the grid
    int searches_ = 0;
    int totalFound_ = 0;
    std::unique_ptr<QtProgress> saveProgress_;
    int currentShop_ = -1;
    int gathered_ = 0;
    int shopsDone_ = 0, shopsCount_ = 0;
    std::map<int, int> shopItems_; // items gathered so far by shop index
    std::unique_ptr<Bridge> bridge_;
    std::unique_ptr<gather::ShopSearchJob> search_;
    std::unique_ptr<gather::GatherRun> gathering_;
};

} // namespace vantor
