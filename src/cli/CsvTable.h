#pragma once

#include "download/SlotProgress.h"

#include <algorithm>
#include <ostream>
#include <string>
#include <vector>

namespace vantor::cli {

// A table on standard output: RFC 4180 CSV in UTF-8, a header line first.
void printCsvRow(std::ostream& out, const std::vector<std::string>& cells);

// Download slots of the command line: as many as the settings give the windows bars, with nothing to
// draw.
struct Slots {
    explicit Slots(int count) : bars(size_t(std::max(count, 1))) {}
    std::vector<download::NoSlotProgress> bars;
    std::vector<download::SlotProgress*> list() {
        std::vector<download::SlotProgress*> gauges;
        for (auto& bar : bars)
            gauges.push_back(&bar);
        return gauges;
    }
};

} // namespace vantor::cli
