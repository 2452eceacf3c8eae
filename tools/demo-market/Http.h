#pragma once

#include <map>
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
    std::map<std::string, std::string> headers; // names in lower case

    // "http://" + host + path + "?" + query
    std::string url() const;
    std::string header(const std::string& lowerName) const;
};

struct HttpResponse {
    int status = 200;
    std::string contentType = "text/html; charset=GBK";
    std::string body;
    std::vector<std::pair<std::string, std::string>> headers;
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
