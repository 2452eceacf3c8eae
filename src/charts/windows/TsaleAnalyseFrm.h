#pragma once

#include "SaleAnalysisWindow.h"

namespace vantor::charts {

// Sales ranking: items by pieces sold and by turnover, each with its list to export.
class TsaleAnalyseFrm : public SaleAnalysisWindow {
    Q_OBJECT
public:
    TsaleAnalyseFrm(db::TDM& dm, const DataFolder& folder, QWidget* parent = nullptr)
        : SaleAnalysisWindow(salesRanking(), dm, folder, parent) {}
};

} // namespace vantor::charts
