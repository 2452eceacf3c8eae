#pragma once

#include <cstdint>
#include <filesystem>
#include <sys/types.h>

namespace vantor::cli {

// The demo marketplace as the program it is (vantor-demo-market beside vantor-cli), started for one
// command and ended with it, so the shipped command line carries no copy of the market.
class DemoMarketProcess {
public:
    // Starts the program and waits for the port it prints. Raises JobFailed when it cannot.
    explicit DemoMarketProcess(const std::filesystem::path& program);
    ~DemoMarketProcess(); // ends the program and waits for it
    DemoMarketProcess(const DemoMarketProcess&) = delete;
    DemoMarketProcess& operator=(const DemoMarketProcess&) = delete;

    std::uint16_t port() const { return port_; }

    // vantor-demo-market in the folder of the running program.
    static std::filesystem::path besideThisProgram();

private:
    pid_t pid_ = -1;
    std::uint16_t port_ = 0;
};

} // namespace vantor::cli
