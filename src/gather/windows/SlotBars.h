#pragma once

#include "QtProgress.h"

#include <memory>
#include <vector>

class QBoxLayout;
class QProgressBar;

namespace vantor {

// The progress bars of a run's download slots, in a layout of the window's: as many as the run has
// slots (the settings' "下载通道数"), made anew when that count changed. Named bars say which slot they
// are and whether it is idle; thin ones only move.
class SlotBars {
public:
    enum class Style { Named, Thin };

    SlotBars(QBoxLayout* into, Style style) : into_(into), style_(style) {}

    // The progress objects for the run's jobs; only between runs.
    std::vector<download::SlotProgress*> forRun(int count);
    const std::vector<QProgressBar*>& bars() const { return bars_; }

private:
    QBoxLayout* into_;
    Style style_;
    std::vector<QProgressBar*> bars_;
    std::vector<std::unique_ptr<QtProgress>> progress_;
};

} // namespace vantor
