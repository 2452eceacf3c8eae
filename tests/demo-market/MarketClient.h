#pragma once

#include <cstdint>
#include <string>

namespace vantor::test {

// One GET with libcurl, the client the program itself uses.
struct Fetch {
    int curlCode = 0; // CURLE_OK is 0
    long status = 0;
    std::string body;
    std::string headers;
};

struct FetchOptions {
    std::string proxy;        // "http://127.0.0.1:<port>": the request goes out in absolute form
    std::string proxyUserPwd; // "user:password"
    std::string hostHeader;   // origin form: the url names 127.0.0.1, this names the host
    long timeoutMs = 10000;
};

Fetch fetch(const std::string& url, const FetchOptions& options);

// Every byte but letters and digits as %XX, as a query value in the marketplace's GBK bytes is sent.
std::string percentEncode(const std::string& bytes);

// Through the demo market as the program's proxy.
Fetch viaProxy(std::uint16_t port, const std::string& url);

} // namespace vantor::test
