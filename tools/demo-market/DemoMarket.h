#pragma once

#include "Faults.h"
#include "MarketModel.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace vantor::demo {

class HttpServer;
class MarketRouter;

struct DemoMarketOptions {
    std::uint64_t seed = 1;
    CivilDate today = localToday(); // the market has reached this day (see MarketModel)
    std::uint16_t port = 0;         // 0: a free port
    std::string proxyUser;          // non-empty: proxied requests need these Basic credentials (else 407)
    std::string proxyPassword;
    std::vector<FaultRule> faults;
};

// The demo marketplace: generates the market from the seed and serves it on 127.0.0.1 in a
// background thread, as a forward proxy for the marketplace's hosts and as their origin server.
// Requests for the host kControlHost steer it: "/fault?kind=..." adds a fault rule (see
// parseFaultRule), "/fault/clear" removes them all, "/stats" counts requests and faults.
class DemoMarket {
public:
    static constexpr const char* kControlHost = "demo.control";

    // Starts serving; throws std::runtime_error when the port cannot be had.
    explicit DemoMarket(DemoMarketOptions options = {});
    ~DemoMarket();
    DemoMarket(const DemoMarket&) = delete;
    DemoMarket& operator=(const DemoMarket&) = delete;

    std::uint16_t port() const;
    // "http://127.0.0.1:<port>", the proxy setting that leads the program here.
    std::string proxyUrl() const;
    const MarketModel& model() const { return *model_; }
    FaultPlan& faults() { return faults_; }
    // The addresses asked for, oldest first (the last few thousand).
    std::vector<std::string> requests() const;
    // Every request handled since the start, however many the log keeps.
    long requestCount() const { return handled_.load(); }
    // Microseconds with requests in hand, summed over requests (see HttpServer::busyMicros).
    std::int64_t busyMicros() const;
    // Ends every connection and the server thread; the destructor does it too.
    void stop();

private:
    std::unique_ptr<MarketModel> model_;
    std::unique_ptr<MarketRouter> router_;
    FaultPlan faults_;
    std::atomic<long> handled_{0};
    std::unique_ptr<HttpServer> server_;
};

} // namespace vantor::demo
