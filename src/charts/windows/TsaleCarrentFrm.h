#pragma once

#include "SaleAnalysisWindow.h"

namespace vantor::charts {

// Sales trend: pieces, turnover and mean price by day, week and month, with their lists.
class TsaleCarrentFrm : public SaleAnalysisWindow {
    Q_OBJECT
public:
    TsaleCarrentFrm(db::TDM& dm, const DataFolder& folder, QWidget* parent = nullptr)
        : SaleAnalysisWindow(salesTrend(), dm, folder, parent) {}
};

} // namespace vantor::charts
