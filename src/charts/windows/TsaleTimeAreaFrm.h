#pragma once

#include "AnalysisWindow.h"
#include "charts/SalesAnalysis.h"

namespace vantor::charts {

// Sales time distribution: sale records by hour, weekday and month; no lists.
class TsaleTimeAreaFrm : public AnalysisWindow {
    Q_OBJECT
public:
    TsaleTimeAreaFrm(db::TDM& dm, const DataFolder& folder, QWidget* parent = nullptr)
        : AnalysisWindow(salesTimeDistribution(), widgets::HelpTopic::SalesTime, dm, folder, parent) {}
};

} // namespace vantor::charts
