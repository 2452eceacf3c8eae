#pragma once

#include "Http.h"
#include "MarketModel.h"

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
    const MarketModel& model_;
};

} // namespace vantor::demo
