#pragma once

#include "SaleAnalysisWindow.h"

namespace vantor::charts {

// Sales time distribution: sale records by hour, weekday and month; no lists.
class TsaleTimeAreaFrm : public SaleAnalysisWindow {
    Q_OBJECT
public:
    TsaleTimeAreaFrm(db::TDM& dm, const DataFolder& folder, QWidget* parent = nullptr)
        : SaleAnalysisWindow(salesTimeDistribution(), dm, folder, parent) {}
};

} // namespace vantor::charts
