#pragma once

#include "download/SlotProgress.h"

#include <ostream>
#include <string>
#include <vector>

namespace vantor::cli {

// A table on standard output: RFC 4180 CSV in UTF-8, a header line first.
void printCsvRow(std::ostream& out, const std::vector<std::string>& cells);

// Download slots of the command line: as many as the windows show bars, with nothing to draw.
struct Slots {
    NoSlotProgress bars[4];
    std::vector<SlotProgress*> list() { return {&bars[0], &bars[1], &bars[2], &bars[3]}; }
};

} // namespace vantor::cli
