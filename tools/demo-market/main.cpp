// vantor-demo-market: the demo marketplace as a program of its own. Prints the port it listens on
// and serves until interrupted.
#include "DemoMarket.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <iostream>
#include <thread>

namespace {

volatile std::sig_atomic_t gStop = 0;

void onSignal(int) {
    gStop = 1;
}

} // namespace

int main(int argc, char** argv) {
    using namespace vantor::demo;
    CLI::App app{"Demo marketplace: serves a generated market's pages on 127.0.0.1, as a forward proxy and "
                 "as the origin server of the marketplace's hosts."};
    DemoMarketOptions options;
    std::vector<std::string> faultSpecs;
    int port = 0;
    app.add_option("--port", port, "port on 127.0.0.1 (0: a free one)")->check(CLI::Range(0, 65535));
    app.add_option("--seed", options.seed, "seed of the generated market (the same seed, the same market)");
    std::string today;
    app.add_option("--today", today,
                   "the day the market has reached (yyyy-MM-dd; default: this machine's date): its pages "
                   "show the two years up to 20:15 that day of the seed's one history, so a later day shows "
                   "the same market moved on");
    app.add_option("--proxy-user", options.proxyUser, "demand Basic proxy authentication with this user");
    app.add_option("--proxy-password", options.proxyPassword, "password of --proxy-user");
    app.add_option(
        "--fault", faultSpecs,
        "inject a fault, e.g. \"kind=error&status=503&match=item.htm&every=3&count=10&ms=200\" "
        "(kinds: error, drop, delay, truncate; an error may ask for a pause with retry-after=SECONDS); "
        "repeatable");
    bool quiet = false;
    app.add_flag("--quiet", quiet, "print only the port (for a program that starts the market)");
    CLI11_PARSE(app, argc, argv);
    options.port = static_cast<std::uint16_t>(port);
    if (!today.empty()) {
        const auto date = parseDate(today);
        if (!date) {
            std::cerr << "vantor-demo-market: --today needs a date as yyyy-MM-dd, not \"" << today << "\"\n";
            return 2;
        }
        options.today = *date;
    }
    try {
        for (const std::string& spec : faultSpecs)
            options.faults.push_back(parseFaultRule(spec));
    } catch (const std::invalid_argument& e) {
        std::cerr << "vantor-demo-market: " << e.what() << "\n";
        return 2;
    }
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);
    try {
        DemoMarket market(options);
        std::cout << market.port() << std::endl;
        if (!quiet)
            std::cerr << "demo market: " << market.model().shops().size() << " shops, "
                      << market.model().items().size()
                      << " items; set the program's HTTP proxy to 127.0.0.1 port " << market.port()
                      << " (Ctrl+C ends)\n";
        while (!gStop)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        market.stop();
    } catch (const std::exception& e) {
        std::cerr << "vantor-demo-market: " << e.what() << "\n";
        return 1;
    }
    return 0;
}
