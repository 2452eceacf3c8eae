#include "UpdateService.h"

#include "app/Update.h"

#include <openssl/evp.h>

#include <cstdio>
#include <stdexcept>

namespace vantor::test {

SigningKey::SigningKey() {
    EVP_PKEY_CTX* context = EVP_PKEY_CTX_new_id(EVP_PKEY_ED25519, nullptr);
    EVP_PKEY* key = nullptr;
    if (!context || EVP_PKEY_keygen_init(context) != 1 || EVP_PKEY_keygen(context, &key) != 1)
        throw std::runtime_error("no Ed25519 key");
    EVP_PKEY_CTX_free(context);
    key_ = key;
}

SigningKey::~SigningKey() {
    EVP_PKEY_free(key_);
}

std::string SigningKey::publicKeyHex() const {
    unsigned char raw[32];
    size_t length = sizeof raw;
    EVP_PKEY_get_raw_public_key(key_, raw, &length);
    return app::toHex(std::string_view(reinterpret_cast<const char*>(raw), length));
}

std::string SigningKey::sign(const std::string& data) const {
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    std::string signature(64, '\0');
    size_t length = signature.size();
    EVP_DigestSignInit(context, nullptr, nullptr, nullptr, key_);
    EVP_DigestSign(context, reinterpret_cast<unsigned char*>(signature.data()), &length,
                   reinterpret_cast<const unsigned char*>(data.data()), data.size());
    EVP_MD_CTX_free(context);
    signature.resize(length);
    return signature;
}

UpdateService::UpdateService() {
    server_ = std::make_unique<HttpServer>([this](const HttpRequest& request) {
        std::lock_guard lock(mutex_);
        const std::string path = request.resource();
        if (path == "/update/getVerInfo") return HttpReply::page(reply_);
        const std::string prefix = "/update/download/";
        if (path.rfind(prefix, 0) == 0) {
            auto file = files_.find(path.substr(prefix.size()));
            if (file != files_.end()) return HttpReply::late(file->second, delay_);
        }
        return HttpReply::failure(404, "Not Found");
    });
}

void UpdateService::offer(const std::string& version, const std::string& package, const SigningKey& key) {
    setReply(version + "|2026-11-20|" + app::sha256Hex(package) + "|修复了若干问题");
    setFile(app::packageFileName(version), package);
    setFile(app::packageFileName(version) + ".sig", key.sign(package));
}

void UpdateService::setReply(std::string reply) {
    std::lock_guard lock(mutex_);
    reply_ = std::move(reply);
}

void UpdateService::setFile(const std::string& name, std::string bytes) {
    std::lock_guard lock(mutex_);
    files_[name] = std::move(bytes);
}

void UpdateService::setDelay(std::chrono::milliseconds delay) {
    std::lock_guard lock(mutex_);
    delay_ = delay;
}

} // namespace vantor::test
