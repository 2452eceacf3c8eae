#pragma once

#include "Analysis.h"

namespace vantor::charts {

// The rows of the three sales windows' charts, computed in one pass over the shop's sales read from
// the (itemId, sj, amount, getNum) index instead of one grouping statement per chart. The rows are
// those the windows' statements return, in their order; where the statements leave complete ties
// unordered, the rows follow the groups' own order (item id, title, then price, ascending). Money is
// summed in whole cents, so the two decimals are those of the exact sum.
ChartRows salesRankingRows(db::Database& db, const AnalysisRequest& request);
ChartRows salesTimeRows(db::Database& db, const AnalysisRequest& request);
ChartRows salesTrendRows(db::Database& db, const AnalysisRequest& request);

} // namespace vantor::charts
