#pragma once

#include "app/Config.h"
#include "app/Startup.h"
#include "base/DataFolder.h"
#include "db/TDM.h"

#include <QMainWindow>

#include <functional>

class QLabel;
class QStackedWidget;
class QToolBox;

namespace vantor {

class BrowserPane;
class ShopGatherWindow;
class TitemTopSaleGatherFrm;
class TrateGatherFrm;
class TshopWatchFrm;
class TsaleGatherFrm;
class TtopListGatherFrm;
class WelcomeWindow;

namespace charts {
class AnalysisWindow;
} // namespace charts

namespace views {
class TrateDataViewFrm;
class TsaleDataViewFrm;
class TtopDataViewFrm;
} // namespace views

inline constexpr const char* kAppTitle = "Vantor专业版";
// Before a close while jobs run: what each running window loses, then the question.
inline constexpr const char* kCloseWhileGathering = "正在采集数据，退出将停止采集：";
inline constexpr const char* kCloseQuestion = "确定要退出吗？";

// The main window: navigation bar and menu bar on the left and top, one working window at a time
// in the display area, the advertisement pane and the status line.
class MainWindow : public QMainWindow, private app::StartupObserver {
    Q_OBJECT
public:
    MainWindow(DataFolder folder, TConfig& config, db::TDM& dm, QWidget* parent = nullptr);
    ~MainWindow() override;

    // The start-up work on the data folder; Exit means the program must end.
    app::StartupOutcome startUp();

    // Creates the working windows in their order, reporting the gauge after each, then builds the
    // navigation from the windows that exist.
    void createWorkingWindows(const std::function<void(int)>& gauge);

    // Shows a working window in the display area and names it in the caption; the window already
    // shown stays as it is.
    void showWorkingWindow(QWidget* window);
    QWidget* currentWorkingWindow() const;

    // Shows the welcome window with one of the vendor's pages.
    void showVendorPage(const QString& path);
    // What closing now would lose, a line per running window; empty when nothing runs.
    QString closeLoss() const;
    // Shows the welcome window with a help page of the program's own.
    void showHelpPage(const QUrl& page);
    // "建议反馈": a mail to the vendor, else the vendor's site in the system's browser, else (nothing
    // opened either) the feedback page in the welcome window, with the address and the error log.
    void sendFeedback();

    void setStatusText(const QString& text);
    QString statusText() const;

    WelcomeWindow* welcomeWindow() const { return welcome_; }
    TsaleGatherFrm* saleGatherWindow() const { return saleGather_; }
    TrateGatherFrm* rateGatherWindow() const { return rateGather_; }
    TitemTopSaleGatherFrm* itemRankingWindow() const { return itemTopSale_; }
    TtopListGatherFrm* categoryRankingWindow() const { return topListGather_; }
    TshopWatchFrm* shopWatchWindow() const { return shopWatch_; }
    views::TsaleDataViewFrm* salesDataView() const { return saleDataView_; }
    QToolBox* navigationBar() const { return toolBar_; }

protected:
    // A running gathering is asked about first; confirmed, it is stopped (its open shop rolled back)
    // and waited for before the program ends.
    void closeEvent(QCloseEvent* event) override;

private:
    // The data changed under the windows that show it: they read it again, except the one that
    // changed it (it already has).
    void refreshData(QWidget* changedBy);
    void showMessage(const std::string& text) override;
    app::ServerChoice askServerUnreachable(const std::string& text, const std::string& detail) override;
    void showStatus(const std::string& text) override;
    void buildNavigation();

    DataFolder folder_;
    TConfig& config_;
    db::TDM& dm_;
    QToolBox* toolBar_;
    QStackedWidget* display_;
    BrowserPane* ad_;
    bool statusIsHint_ = true; // the status line tells the shown window's purpose, not an event
    QLabel* statusText_;
    WelcomeWindow* welcome_ = nullptr;
    TsaleGatherFrm* saleGather_ = nullptr;
    TrateGatherFrm* rateGather_ = nullptr;
    views::TrateDataViewFrm* rateDataView_ = nullptr;
    views::TsaleDataViewFrm* saleDataView_ = nullptr;
    TitemTopSaleGatherFrm* itemTopSale_ = nullptr;
    TtopListGatherFrm* topListGather_ = nullptr;
    charts::AnalysisWindow* saleAnalyse_ = nullptr;
    charts::AnalysisWindow* saleTimeArea_ = nullptr;
    charts::AnalysisWindow* saleCarrent_ = nullptr;
    charts::AnalysisWindow* rateTrend_ = nullptr;
    charts::AnalysisWindow* rateCheck_ = nullptr;
    views::TtopDataViewFrm* topDataView_ = nullptr;
    TshopWatchFrm* shopWatch_ = nullptr;
};

} // namespace vantor
