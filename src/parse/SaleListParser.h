#pragma once

#include "market/Records.h"

#include <string_view>

namespace vantor::parse {

// One sale per row of an item's buyer list page, in page order, under "0", "1", …: buyer name and id
// (from the buyer's rating link, empty for a buyer shown without one), item title as bought, price,
// quantity, time, status and the trade id found in the row.
RecordList<TAutionInfo> parseSaleList(std::string_view page);

} // namespace vantor::parse
