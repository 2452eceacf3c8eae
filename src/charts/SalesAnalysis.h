#pragma once

#include "Analysis.h"

#include <vector>

namespace vantor::charts {

// The three sales analyses of the gathered sale records: ranking, time distribution, trend.
const Analysis& salesRanking();
const Analysis& salesTimeDistribution();
const Analysis& salesTrend();
const std::vector<const Analysis*>& salesAnalyses();

} // namespace vantor::charts
