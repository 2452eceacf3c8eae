#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace vantor::cli {

// A table on standard output: RFC 4180 CSV in UTF-8, a header line first.
void printCsvRow(std::ostream& out, const std::vector<std::string>& cells);

} // namespace vantor::cli
