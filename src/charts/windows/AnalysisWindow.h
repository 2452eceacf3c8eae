#pragma once

#include "HelpPages.h"
#include "base/DataFolder.h"
#include "charts/Analysis.h"
#include "charts/Gallery.h"
#include "db/TDM.h"

#include <QWidget>

#include <vector>

class QComboBox;
class QDateEdit;
class QFileDialog;
class QPushButton;
class QWebEngineView;

namespace vantor::charts {

// What the three sales analysis windows share: the shop list, the date range, "分析", the chart
// page and the export of the page's list links. The work is the core's; the window only asks it.
class AnalysisWindow : public QWidget {
    Q_OBJECT
public:
    AnalysisWindow(const Analysis& analysis, widgets::HelpTopic help, db::TDM& dm, const DataFolder& folder,
                   QWidget* parent = nullptr);

    void refreshClick(); // "刷新列表": the current shop stays where it still exists
    void bsSkinButton1Click();

    const Analysis& analysis() const { return analysis_; }
    const Gallery& gallery() const { return gallery_; }

    QComboBox* dianmingList;
    QDateEdit* date1;
    QDateEdit* date2;
    QPushButton* refresh;
    QPushButton* bsSkinButton1;
    QPushButton* helpButton;    // "操作帮助": the window's own help page
    QPushButton* pictureButton; // "保存图片": the chart pane as a PNG picture, once something is drawn
    QWebEngineView* web1;
    QFileDialog* saveDlg = nullptr; // only where the page has list links
    QFileDialog* pictureDlg;

signals:
    // The window's page is being loaded after a run wrote its documents.
    void chartsWritten();

private:
    void exportList(const ListLink& link);
    void savePicture();

    const Analysis& analysis_;
    db::TDM& dm_;
    Gallery gallery_;
    std::vector<std::int64_t> shopIds_; // entry k of dianmingList is shop shopIds_[k]
};

} // namespace vantor::charts
