#pragma once

#include "RankingWindow.h"
#include "gather/ItemRanking.h"

#include <memory>
#include <vector>

class QLineEdit;
class QSlider;

namespace vantor {

// The item sales ranking: the marketplace's item search for a name, sorted by sales, as many result
// pages as the range needs, listed and exported. It stores nothing.
class TitemTopSaleGatherFrm : public RankingWindow {
    Q_OBJECT
public:
    explicit TitemTopSaleGatherFrm(download::AgentSource agent, QWidget* parent = nullptr);
    ~TitemTopSaleGatherFrm() override;

    bool busy() const { return job_ != nullptr; }
    QString stopLoss() const override;
    void searchClick();
    // Stops a running search and waits for it. For the exit.
    void stopAndWait();

    QLineEdit *q, *loc, *jg1, *jg2;
    QSlider* searchPageSel;
    QLabel* searchRange;
    QPushButton* search;

protected:
    void stopClick() override;
    CsvJob exportJob() const override { return gather::itemRankingExport(rows_); }
    std::string rowLink(int row) const override;

private:
    int expected_ = 0; // items the run will read: the range, or fewer when the marketplace has fewer
    class Bridge;
    void rankingEnded(gather::JobEnd end, std::vector<TItemInfo> rows, int total);

    download::AgentSource agent_;
    std::unique_ptr<Bridge> bridge_;
    std::unique_ptr<gather::ItemRankingJob> job_;
    std::vector<TItemInfo> rows_;
    int searches_ = 0;
};

} // namespace vantor
