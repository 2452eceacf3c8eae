#pragma once

#include "market/Records.h"

#include <string_view>

namespace vantor::parse {

// A shop's rating summary page. The good, neutral and bad rows are read by period: their first
// occurrence is the seller table, the second the buyer table. Also the number of ratings (rateCount),
// the cumulative credits with the virtual and physical trade shares, the three dynamic scores in the
// order item, service, shipping, and the good-rating rates (first seller, then buyer); the page's second
// layout (h4 headings) gives credit and rate together and takes precedence where present.
TRateBaseInfo parseRateSummary(std::string_view page);

} // namespace vantor::parse
