#pragma once

#include "RankingWindow.h"
#include "db/TDM.h"
#include "download/THttpAgent.h"
#include "gather/CategoryRanking.h"

#include <memory>
#include <vector>

class QListWidget;
class QSpinBox;

namespace vantor {

// The category rankings: the best sellers of the categories the user ticks, read from the
// marketplace's category pages and saved as each category's ranking of the month.
class TtopListGatherFrm : public RankingWindow {
    Q_OBJECT
public:
    TtopListGatherFrm(download::AgentSource agent, db::TDM& dm, QWidget* parent = nullptr);
    ~TtopListGatherFrm() override;

    bool busy() const { return job_ != nullptr; }
    QString stopLoss() const override;
    void startClick();
    void markAll(bool ticked);
    // Stops a running gathering and waits for it; the category in hand is not saved. For the exit.
    void stopAndWait();

    QListWidget* categories;
    QSpinBox* depth;
    QPushButton *selAll, *cancelSel, *start;

signals:
    // Rankings were saved, the first of them this category's (a position in the category-browse
    // table) of this month; the ranking data view shows it.
    void rankingsSaved(int category, int month);

protected:
    void stopClick() override;
    CsvJob exportJob() const override { return gather::categoryRankingExport(rows_, saved_); }
    std::string rowLink(int row) const override;

private:
    int savedCategories_ = 0;
    class Bridge;
    void categorySaved(const std::vector<gather::RankedItem>& ranked);
    void rankingEnded(int categories, bool complete, const QString& summary);

    int firstCategory_ = 0;
    int runs_ = 0;

    download::AgentSource agent_;
    db::TDM& dm_;
    std::unique_ptr<Bridge> bridge_;
    std::unique_ptr<gather::CategoryRanking> job_;
    std::vector<gather::RankedItem> rows_;
    DateTime saved_;
};

} // namespace vantor
