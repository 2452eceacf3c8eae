#include "Http.h"

namespace vantor::demo {

std::string HttpRequest::url() const {
    return "http://" + host + path + (query.empty() ? "" : "?" + query);
}

std::string HttpRequest::resource() const {
    if (!absoluteForm) return target;
    const size_t slash = target.find('/', target.find("://") + 3);
    return slash == std::string::npos ? "/" : target.substr(slash);
}

std::string HttpRequest::header(const std::string& name) const {
    std::string lower = name;
    for (char& c : lower)
        c = c >= 'A' && c <= 'Z' ? char(c - 'A' + 'a') : c;
    auto it = headers.find(lower);
    return it == headers.end() ? std::string() : it->second;
}

HttpResponse HttpResponse::page(std::string body) {
    HttpResponse r;
    r.body = std::move(body);
    return r;
}

HttpResponse HttpResponse::late(std::string body, std::chrono::milliseconds delay) {
    HttpResponse r = page(std::move(body));
    r.delay = delay;
    return r;
}

HttpResponse HttpResponse::redirect(std::string location) {
    HttpResponse r;
    r.status = 302;
    r.headers = {{"Location", std::move(location)}};
    r.body = "moved";
    return r;
}

HttpResponse HttpResponse::failure(int status, std::string reason) {
    HttpResponse r;
    r.status = status;
    r.reason = std::move(reason);
    r.body = "error page";
    return r;
}

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

} // namespace

std::string percentDecode(const std::string& text) {
    std::string out;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%' && i + 2 < text.size() && hexValue(text[i + 1]) >= 0 &&
            hexValue(text[i + 2]) >= 0) {
            out += static_cast<char>(hexValue(text[i + 1]) * 16 + hexValue(text[i + 2]));
            i += 2;
        } else {
            out += text[i] == '+' ? ' ' : text[i];
        }
    }
    return out;
}

std::vector<std::pair<std::string, std::string>> parseQuery(const std::string& query) {
    std::vector<std::pair<std::string, std::string>> out;
    size_t start = 0;
    while (start <= query.size()) {
        size_t end = query.find('&', start);
        if (end == std::string::npos) end = query.size();
        const std::string part = query.substr(start, end - start);
        if (!part.empty()) {
            const size_t eq = part.find('=');
            out.emplace_back(percentDecode(part.substr(0, eq)),
                             eq == std::string::npos ? std::string() : percentDecode(part.substr(eq + 1)));
        }
        start = end + 1;
    }
    return out;
}

std::string base64(const std::string& bytes) {
    static const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    size_t i = 0;
    for (; i + 2 < bytes.size(); i += 3) {
        const unsigned v = static_cast<unsigned char>(bytes[i]) << 16 |
                           static_cast<unsigned char>(bytes[i + 1]) << 8 |
                           static_cast<unsigned char>(bytes[i + 2]);
        out += {digits[v >> 18 & 63], digits[v >> 12 & 63], digits[v >> 6 & 63], digits[v & 63]};
    }
    if (i + 1 == bytes.size()) {
        const unsigned v = static_cast<unsigned char>(bytes[i]) << 16;
        out += {digits[v >> 18 & 63], digits[v >> 12 & 63], '=', '='};
    } else if (i + 2 == bytes.size()) {
        const unsigned v =
            static_cast<unsigned char>(bytes[i]) << 16 | static_cast<unsigned char>(bytes[i + 1]) << 8;
        out += {digits[v >> 18 & 63], digits[v >> 12 & 63], digits[v >> 6 & 63], '='};
    }
    return out;
}

HttpResponse textResponse(int status, const std::string& text) {
    HttpResponse r;
    r.status = status;
    r.contentType = "text/plain; charset=UTF-8";
    r.body = text + "\n";
    return r;
}

const char* reasonPhrase(int status) {
    switch (status) {
    case 200:
        return "OK";
    case 400:
        return "Bad Request";
    case 404:
        return "Not Found";
    case 405:
        return "Method Not Allowed";
    case 407:
        return "Proxy Authentication Required";
    case 500:
        return "Internal Server Error";
    case 502:
        return "Bad Gateway";
    case 503:
        return "Service Unavailable";
    default:
        return "Status";
    }
}

} // namespace vantor::demo
