#pragma once

#include "db/Database.h"

#include <string>

namespace vantor::test {

// The gathered tables as text, in id order, without the moments of the saves: two gatherings of the
// same shops compare equal.
inline std::string gatheredData(db::Database& db) {
    std::string text;
    for (const char* table : {"dianbase", "itemInfo", "saleInfo"}) {
        auto rows = db.prepare(std::string("select * from ") + table + " order by id");
        while (rows.step()) {
            for (int c = 0; c < rows.columnCount(); ++c)
                if (rows.columnName(c) != "updateDate") text += rows.text(c) + "|";
            text += "\n";
        }
    }
    return text;
}

} // namespace vantor::test
