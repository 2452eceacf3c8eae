#pragma once

#include "GridView.h"
#include "views/RatingDataView.h"

#include <QWidget>

#include <vector>

class QComboBox;
class QFileDialog;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class QSpinBox;
class QTabWidget;

namespace vantor::views {

// The rating data view: shops with their credit and rating counts, and the ratings of a shop, as the
// rating gathering stored them. The window only wires its controls to RatingDataView.
class TrateDataViewFrm : public QWidget {
    Q_OBJECT
public:
    explicit TrateDataViewFrm(const db::TDM& dm, QWidget* parent = nullptr);

    RatingDataView& data() { return data_; }

    void rateDataPageChange(int page);
    void bsSkinButton1Click(); // shop search "查找"
    void bsSkinButton2Click(); // rating filter "查找"
    void bsSkinButton3Click(); // "删除掌柜"
    void bsSkinButton4Click(); // "导出掌柜"
    void bsSkinButton5Click(); // "导出" ratings
    void dianbaseGridDblClick();
    // Reads the shops again after another window changed the data.
    void reload();

    QTabWidget* rateData;
    QLineEdit* nick;
    QLineEdit* shop;
    QLineEdit* loc;
    QLineEdit* tag;
    QComboBox* level;
    QPushButton* bsSkinButton1;
    QLabel* findResult_l;
    QPushButton* bsSkinButton3;
    QPushButton* bsSkinButton4;
    GridView* dianbaseGrid;
    std::vector<QLineEdit*> details; // one per RatingDataView::detailFields()
    QLineEdit* pjName;
    QLineEdit* item;
    QComboBox* pj;
    QSpinBox* jg1;
    QSpinBox* jg2;
    QLineEdit* sj1;
    QLineEdit* sj2;
    QPushButton* bsSkinButton2;
    QLabel* rate_l;
    QPushButton* bsSkinButton5;
    GridView* rateListGrid;
    QPlainTextEdit* pjInfo;
    QPlainTextEdit* pjjs;
    QProgressBar* saveProgress;
    QFileDialog* saveDialog;

signals:
    // A delete here changed what the other windows show.
    void dataChanged();
    // "加入监控" on a shop: its address for the competitor watch.
    void watchRequested(const QString& address);

private:
    void showShop();
    void showRating();

    RatingDataView data_;
};

} // namespace vantor::views
