#include "MarketClient.h"

#include <curl/curl.h>

#include <cctype>

namespace vantor::test {
namespace {

size_t append(char* data, size_t size, size_t count, void* target) {
    static_cast<std::string*>(target)->append(data, size * count);
    return size * count;
}

} // namespace

Fetch fetch(const std::string& url, const FetchOptions& options) {
    Fetch result;
    CURL* curl = curl_easy_init();
    curl_slist* headers = nullptr;
    curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
    // Never an environment proxy: only the one the test names.
    const std::string proxy =
        options.proxyPort ? "http://127.0.0.1:" + std::to_string(options.proxyPort) : "";
    curl_easy_setopt(curl, CURLOPT_PROXY, proxy.c_str());
    if (!options.proxyUserPwd.empty())
        curl_easy_setopt(curl, CURLOPT_PROXYUSERPWD, options.proxyUserPwd.c_str());
    if (!options.hostHeader.empty()) {
        headers = curl_slist_append(headers, ("Host: " + options.hostHeader).c_str());
        curl_easy_setopt(curl, CURLOPT_HTTPHEADER, headers);
    }
    curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, options.timeoutMs);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, append);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &result.body);
    curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, append);
    curl_easy_setopt(curl, CURLOPT_HEADERDATA, &result.headers);
    result.curlCode = curl_easy_perform(curl);
    curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &result.status);
    curl_slist_free_all(headers);
    curl_easy_cleanup(curl);
    return result;
}

std::string percentEncode(const std::string& bytes) {
    static const char* hex = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : bytes)
        out += std::isalnum(c) ? std::string(1, static_cast<char>(c))
                               : std::string{'%', hex[c >> 4], hex[c & 15]};
    return out;
}

} // namespace vantor::test
