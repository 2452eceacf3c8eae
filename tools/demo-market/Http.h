#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vantor::demo {

struct HttpRequest {
    std::string method;
    std::string target; // as sent: "http://host/path?q" through a proxy, "/path?q" to an origin server
    std::string host;   // lower case, without port
    std::string path;   // percent-encoding kept
    std::string query;  // raw, without "?"
    bool absoluteForm = false;
    std::map<std::string, std::string> headers;     // names in lower case
    std::chrono::steady_clock::time_point received; // when the server had the whole head

    // "http://" + host + path + "?" + query
    std::string url() const;
    // The target without scheme and host: path and query as sent.
    std::string resource() const;
    // A header's value, its name found without regard to letter case; empty when absent.
    std::string header(const std::string& name) const;
};

// An answer, and the ways a real server misbehaves while giving it.
struct HttpResponse {
    int status = 200;
    std::string reason; // empty: the usual phrase of the status
    std::string contentType = "text/html; charset=GBK";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
    std::chrono::milliseconds delay{0}; // before the first byte; a client hanging up meanwhile is noticed
    bool closeBeforeAnyByte = false;
    std::optional<size_t> sendOnly; // hang up after this many bytes of the body (the length says all)
    bool lengthByClose = false;     // no Content-Length: the body ends when the server hangs up
    bool chunked = false;           // the body as one chunk; with sendOnly the closing chunk never comes

    static HttpResponse page(std::string body);
    // A page held back before its first byte.
    static HttpResponse late(std::string body, std::chrono::milliseconds delay);
    static HttpResponse redirect(std::string location);
    static HttpResponse failure(int status, std::string reason);
};

// Query keys and values, percent-decoded ("+" as blank), in order; a key may repeat. Values stay in
// the bytes sent (GBK for the marketplace's keyword fields).
std::vector<std::pair<std::string, std::string>> parseQuery(const std::string& query);
std::string percentDecode(const std::string& text);
std::string base64(const std::string& bytes);
// A short plain-text answer (errors, the control host's replies).
HttpResponse textResponse(int status, const std::string& text);
const char* reasonPhrase(int status);

} // namespace vantor::demo
