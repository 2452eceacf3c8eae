#pragma once

#include "TempDir.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace vantor::test {

// A private tinyproxy on a free port of 127.0.0.1, started in the foreground with its own settings
// file and Basic authentication, ended with the object. Never the machine's own service.
class TinyProxy {
public:
    TinyProxy(const std::string& user, const std::string& password);
    ~TinyProxy();
    TinyProxy(const TinyProxy&) = delete;
    TinyProxy& operator=(const TinyProxy&) = delete;

    std::uint16_t port() const { return port_; }
    // What the proxy wrote about its requests.
    std::string log() const;

private:
    TempDir dir_;
    std::uint16_t port_ = 0;
    pid_t pid_ = -1;
};

} // namespace vantor::test
