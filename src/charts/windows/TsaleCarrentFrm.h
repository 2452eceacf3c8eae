#pragma once

#include "AnalysisWindow.h"
#include "charts/SalesAnalysis.h"

namespace vantor::charts {

// Sales trend: pieces, turnover and mean price by day, week and month, with their lists.
class TsaleCarrentFrm : public AnalysisWindow {
    Q_OBJECT
public:
    TsaleCarrentFrm(db::TDM& dm, const DataFolder& folder, QWidget* parent = nullptr)
        : AnalysisWindow(salesTrend(), widgets::HelpTopic::SalesTrend, dm, folder, parent) {}
};

} // namespace vantor::charts
