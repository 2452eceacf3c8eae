#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace vantor::test {

// A PostgreSQL server of the test's own: a fresh cluster in a temporary folder, listening on a free
// port of 127.0.0.1, stopped and removed with everything in it at the end. Run as root, it runs as the
// postgres user. Throws std::runtime_error when it cannot start.
class PgServer {
public:
    PgServer();
    ~PgServer();
    PgServer(const PgServer&) = delete;
    PgServer& operator=(const PgServer&) = delete;

    // A database of its own on the server, created on the first call for that name.
    std::string url(const std::string& database = "vantor");
    std::uint16_t port() const { return port_; }
    // Stops the server, as a crash would; url() still names it.
    void stop();

private:
    void run(const std::string& command) const;

    std::filesystem::path dir_;
    std::string bin_;
    std::string asOwner_; // the prefix that runs a command as the cluster's owner
    std::uint16_t port_ = 0;
    bool running_ = false;
};

} // namespace vantor::test
