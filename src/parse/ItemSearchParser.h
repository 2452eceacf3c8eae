#pragma once

#include "market/Records.h"

#include <cstdint>
#include <string_view>

namespace vantor::parse {

// The rows of an item search result page (sorted by sales) with the short-row layout, and the
// "最近售出" count of each row in cell22.
RecordList<TItemInfo> parseItemSearchList(std::string_view page);

// The "找到相关宝贝" total of an item search result page, 0 when the page shows none.
std::int32_t parseItemSearchTotal(std::string_view page);

} // namespace vantor::parse
