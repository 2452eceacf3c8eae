#pragma once

#include "GridView.h"
#include "market/Records.h"
#include "views/SalesDataView.h"

#include <QWidget>

class QFileDialog;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTabWidget;

namespace vantor::views {

// The sales data view: shops, their items and an item's sales, as the sales gathering stored them.
// The window only wires its controls to SalesDataView.
class TsaleDataViewFrm : public QWidget {
    Q_OBJECT
public:
    explicit TsaleDataViewFrm(const db::TDM& dm, QWidget* parent = nullptr);

    SalesDataView& data() { return data_; }

    void saleDataPageChange(int page);
    void bsSkinButton1Click(); // shop "过滤"
    void itemFilterBtnClick();
    void bsSkinButton2Click(); // delete shop
    void bsSkinButton5Click(); // delete item
    void bsSkinButton3Click(); // export shops
    void bsSkinButton6Click(); // export items
    void bsSkinButton7Click(); // export sales
    void bsSkinButton4Click(); // "更新下载"
    void dianListDblClick();
    void itemGridListDblClick();
    // Reads the grids again after another window changed the data.
    void reload();

    QTabWidget* saleData;
    QLineEdit* shopFilter;
    QLineEdit* itemFilter;
    QPushButton* bsSkinButton1;
    QPushButton* bsSkinButton2;
    QPushButton* bsSkinButton3;
    QPushButton* bsSkinButton4;
    QPushButton* itemFilterBtn;
    QPushButton* bsSkinButton5;
    QPushButton* bsSkinButton6;
    QPushButton* bsSkinButton7;
    GridView* dianList;
    GridView* itemGridList;
    GridView* itemAutionList;
    QLabel* avgSaleCount;
    QLabel* saleCount;
    QLabel* totalAmount;
    QLabel* buyerNums;
    QLabel* buyCount;
    QLabel* avgAmount;
    QLabel* everySaleNum;
    QProgressBar* saveProgress;
    QFileDialog* saveDialog;

signals:
    // "更新下载": the shop goes back to the sales gathering window as its one search result.
    void updateDownloadRequested(const vantor::TDianBaseInfo& shop);
    // A delete here changed what the other windows show.
    void dataChanged();
    // "加入监控" on a shop: its address for the competitor watch.
    void watchRequested(const QString& address);

private:
    void showSummary(const ItemSummary& summary);

    SalesDataView data_;
};

} // namespace vantor::views
