#include "TinyProxy.h"
#include "HttpServer.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

extern char** environ;

namespace vantor::test {
namespace {

bool accepts(std::uint16_t port) {
    int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    bool connected = connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
    close(fd);
    return connected;
}

} // namespace

TinyProxy::TinyProxy(const std::string& user, const std::string& password) {
    port_ = ClosedPort().port(); // free again once the object is gone
    std::string config = (dir_ / "tinyproxy.conf").string();
    writeFile(config, "Port " + std::to_string(port_) +
                          "\nListen 127.0.0.1\nTimeout 30\nMaxClients 32\nLogLevel Connect\n"
                          "LogFile \"" +
                          (dir_ / "tinyproxy.log").string() +
                          "\"\n"
                          "BasicAuth " +
                          user + " " + password + "\nAllow 127.0.0.1\n");
    const char* argv[] = {"tinyproxy", "-d", "-c", config.c_str(), nullptr};
    if (posix_spawnp(&pid_, "tinyproxy", nullptr, nullptr, const_cast<char**>(argv), environ) != 0)
        throw std::runtime_error("cannot start tinyproxy (scripts/setup.sh installs it)");
    bool ended = false;
    HttpServer::waitUntil(
        [&] { return accepts(port_) || (ended = waitpid(pid_, nullptr, WNOHANG) == pid_); });
    if (ended) {
        pid_ = -1;
        throw std::runtime_error("tinyproxy ended at start: " + log());
    }
    if (!accepts(port_))
        throw std::runtime_error("tinyproxy does not listen on port " + std::to_string(port_));
}

TinyProxy::~TinyProxy() {
    if (pid_ > 0) {
        kill(pid_, SIGTERM);
        waitpid(pid_, nullptr, 0);
    }
}

std::string TinyProxy::log() const {
    try {
        return readFile(dir_ / "tinyproxy.log");
    } catch (const std::exception&) {
        return {};
    }
}

} // namespace vantor::test
