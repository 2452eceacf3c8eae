#pragma once

#include "AnalysisWindow.h"
#include "charts/RatingAnalysis.h"

namespace vantor::charts {

// Credit growth: good, neutral and bad ratings and the credit they added, by week and by month.
class TrateAnalyseTopFrm : public AnalysisWindow {
    Q_OBJECT
public:
    TrateAnalyseTopFrm(db::TDM& dm, const DataFolder& folder, QWidget* parent = nullptr)
        : AnalysisWindow(creditGrowth(), widgets::HelpTopic::CreditGrowth, dm, folder, parent) {}
};

} // namespace vantor::charts
