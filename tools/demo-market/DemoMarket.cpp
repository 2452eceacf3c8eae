#include "DemoMarket.h"

#include "Http.h"
#include "HttpServer.h"
#include "MarketRouter.h"

#include <stdexcept>

namespace vantor::demo {
DemoMarket::DemoMarket(DemoMarketOptions options)
    : model_(std::make_unique<MarketModel>(options.seed, options.today)),
      router_(std::make_unique<MarketRouter>(*model_)) {
    for (const FaultRule& rule : options.faults)
        faults_.add(rule);
    auto handler = [this](const HttpRequest& req) -> HttpResponse {
        ++handled_;
        if (req.host != kControlHost) return router_->route(req);
        if (req.path == "/fault") {
            try {
                faults_.add(parseFaultRule(req.query));
            } catch (const std::invalid_argument& e) {
                return textResponse(400, e.what());
            }
            return textResponse(200, "fault added");
        }
        if (req.path == "/fault/clear") {
            faults_.clear();
            return textResponse(200, "faults cleared");
        }
        if (req.path == "/stats")
            return textResponse(200, "requests " + std::to_string(handled_.load()) + "\nfaults " +
                                         std::to_string(faults_.fired()));
        return textResponse(404, "control paths: /fault?kind=..., /fault/clear, /stats");
    };
    server_ = std::make_unique<HttpServer>(
        HttpServer::Options{options.port, options.proxyUser, options.proxyPassword}, handler, faults_,
        [](const HttpRequest& req) { return MarketRouter::isMarketHost(req.host); });
}

DemoMarket::~DemoMarket() {
    stop();
}

std::uint16_t DemoMarket::port() const {
    return server_->port();
}

std::string DemoMarket::proxyUrl() const {
    return "http://127.0.0.1:" + std::to_string(port());
}

std::int64_t DemoMarket::busyMicros() const {
    return server_->busyMicros();
}

std::vector<std::string> DemoMarket::requests() const {
    return server_->requests();
}

void DemoMarket::stop() {
    server_->stop();
}

} // namespace vantor::demo
