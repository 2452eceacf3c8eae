#pragma once

#include <cstdint>
#include <string>

namespace vantor::test {

// What one GET with libcurl, the client the program itself uses, brought back.
struct Fetch {
    int curlCode = 0; // CURLE_OK is 0
    long status = 0;
    std::string body;
    std::string headers;
};

struct FetchOptions {
    std::uint16_t proxyPort = 0; // the proxy on 127.0.0.1 (absolute form); 0: straight to the url
    std::string proxyUserPwd{};  // "user:password"
    std::string hostHeader{};    // origin form: the url names 127.0.0.1, this names the host
    long timeoutMs = 10000;
};

Fetch fetch(const std::string& url, const FetchOptions& options);

inline Fetch viaProxy(std::uint16_t port, const std::string& url) {
    return fetch(url, {.proxyPort = port});
}

// Every byte but letters and digits as %XX, as a query value in the marketplace's GBK bytes is sent.
std::string percentEncode(const std::string& bytes);

} // namespace vantor::test
