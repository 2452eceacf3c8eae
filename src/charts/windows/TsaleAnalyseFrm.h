#pragma once

#include "AnalysisWindow.h"
#include "charts/SalesAnalysis.h"

namespace vantor::charts {

// Sales ranking: items by pieces sold and by turnover, each with its list to export.
class TsaleAnalyseFrm : public AnalysisWindow {
    Q_OBJECT
public:
    TsaleAnalyseFrm(db::TDM& dm, const DataFolder& folder, QWidget* parent = nullptr)
        : AnalysisWindow(salesRanking(), widgets::HelpTopic::SalesRanking, dm, folder, parent) {}
};

} // namespace vantor::charts
