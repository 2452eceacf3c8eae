#pragma once

#include "AnalysisWindow.h"
#include "charts/RatingAnalysis.h"

namespace vantor::charts {

// Rating authenticity: the report card of repeat raters, price bands, default ratings and burst days.
class TrateDataAnalyseFrm : public AnalysisWindow {
    Q_OBJECT
public:
    TrateDataAnalyseFrm(db::TDM& dm, const DataFolder& folder, QWidget* parent = nullptr)
        : AnalysisWindow(ratingCheck(), widgets::HelpTopic::RatingCheck, dm, folder, parent) {}
};

} // namespace vantor::charts
