#include "CsvTable.h"

namespace vantor::cli {

void printCsvRow(std::ostream& out, const std::vector<std::string>& cells) {
    for (size_t i = 0; i < cells.size(); ++i) {
        if (i) out << ',';
        const std::string& cell = cells[i];
        if (cell.find_first_of(",\"\r\n") == std::string::npos) {
            out << cell;
            continue;
        }
        out << '"';
        for (char c : cell) {
            if (c == '"') out << '"';
            out << c;
        }
        out << '"';
    }
    out << "\r\n";
}

} // namespace vantor::cli
