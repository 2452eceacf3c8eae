#pragma once

#include "support/HttpServer.h"

#include <map>
#include <memory>
#include <mutex>
#include <string>

struct evp_pkey_st;

namespace vantor::test {

// An Ed25519 key pair made for one test run: no private key ever lies in the project.
class SigningKey {
public:
    SigningKey();
    ~SigningKey();
    SigningKey(const SigningKey&) = delete;
    SigningKey& operator=(const SigningKey&) = delete;

    std::string publicKeyHex() const;
    std::string sign(const std::string& data) const;

private:
    evp_pkey_st* key_ = nullptr;
};

// A local update service: getVerInfo answers `reply`; /download/<name> serves `files`, each delayed
// by `delay`.
class UpdateService {
public:
    UpdateService();
    std::string url() const { return server_->url("/update"); }
    const HttpServer& server() const { return *server_; }

    // Offers a version whose package is `package`, signed by `key`, with the hash the reply names.
    void offer(const std::string& version, const std::string& package, const SigningKey& key);
    void setReply(std::string reply);
    void setFile(const std::string& name, std::string bytes);
    void setDelay(std::chrono::milliseconds delay);

private:
    std::mutex mutex_;
    std::string reply_ = "0.0.1|2026-01-01|x|nothing";
    std::map<std::string, std::string> files_;
    std::chrono::milliseconds delay_{0};
    std::unique_ptr<HttpServer> server_;
};

} // namespace vantor::test
