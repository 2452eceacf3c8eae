#include "PgServer.h"

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <stdexcept>

namespace vantor::test {

namespace {

std::uint16_t freePort() {
    int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    socklen_t length = sizeof address;
    getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    close(fd);
    return ntohs(address.sin_port);
}

// Debian keeps the server programs in a folder of the version.
std::string serverPrograms() {
    std::set<std::filesystem::path> found;
    std::error_code ec;
    for (const auto& entry : std::filesystem::directory_iterator("/usr/lib/postgresql", ec))
        if (std::filesystem::exists(entry.path() / "bin" / "initdb")) found.insert(entry.path() / "bin");
    if (found.empty()) throw std::runtime_error("PostgreSQL is not installed (scripts/setup.sh installs it)");
    return found.rbegin()->string();
}

} // namespace

PgServer::PgServer() : bin_(serverPrograms()) {
    char pattern[] = "/tmp/vantor-pg-XXXXXX";
    if (!mkdtemp(pattern)) throw std::runtime_error("no temporary folder for PostgreSQL");
    dir_ = pattern;
    if (geteuid() == 0) {
        run("chown postgres " + dir_.string());
        asOwner_ = "runuser -u postgres -- ";
    }
    port_ = freePort();
    run(asOwner_ + bin_ + "/initdb -D " + dir_.string() + "/data -A trust -U postgres -E UTF8 --locale=C >" +
        dir_.string() + "/initdb.log 2>&1");
    run(asOwner_ + bin_ + "/pg_ctl -D " + dir_.string() + "/data -w -l " + dir_.string() +
        "/server.log -o \"-p " + std::to_string(port_) + " -k " + dir_.string() +
        " -c listen_addresses=127.0.0.1 -c fsync=off\" start >/dev/null");
    running_ = true;
}

PgServer::~PgServer() {
    stop();
    std::error_code ec;
    std::filesystem::remove_all(dir_, ec);
}

void PgServer::stop() {
    if (!running_) return;
    running_ = false;
    std::system((asOwner_ + bin_ + "/pg_ctl -D " + dir_.string() + "/data -m immediate stop >/dev/null 2>&1")
                    .c_str());
}

std::string PgServer::url(const std::string& database) {
    const std::string base = "postgresql://postgres@127.0.0.1:" + std::to_string(port_) + "/";
    // An existing database is left as it is.
    std::system(("psql -q -d " + base + "postgres -c 'CREATE DATABASE \"" + database + "\"' >/dev/null 2>&1")
                    .c_str());
    return base + database;
}

void PgServer::run(const std::string& command) const {
    if (std::system(command.c_str()) != 0) throw std::runtime_error("PostgreSQL: failed: " + command);
}

} // namespace vantor::test
