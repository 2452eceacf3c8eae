#pragma once

#include "Http.h"
#include "MarketModel.h"

#include <map>
#include <mutex>

namespace vantor::demo {

// Answers a request for one of the marketplace's hosts with the page its address names, written
// from the model; anything the market does not know gets a "not found" page. Hosts outside the
// marketplace get a short stand-in page, since the demo reaches no other network.
class MarketRouter {
public:
    explicit MarketRouter(const MarketModel& model) : model_(model) {}

    HttpResponse route(const HttpRequest& request) const;
    // Whether the host is one of the marketplace's (where faults apply).
    static bool isMarketHost(const std::string& host);

private:
    // The shop's ratings as this visit sees them: a second visit of its summary page revises them.
    Shop ratingView(const Shop& shop, bool summaryVisit) const;

    const MarketModel& model_;
    mutable std::mutex visitsMutex_;
    mutable std::map<int, int> summaryVisits_; // by shop index
};

} // namespace vantor::demo
