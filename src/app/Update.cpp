#include "Update.h"

#include "download/TransferLoop.h"

#include <openssl/evp.h>
#include <spawn.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>

#ifndef VANTOR_UPDATE_SERVICE
#define VANTOR_UPDATE_SERVICE "http://www.vantor.cn/update"
#endif
#ifndef VANTOR_VENDOR_SITE
#define VANTOR_VENDOR_SITE "http://www.vantor.cn"
#endif
#ifndef VANTOR_UPDATE_PUBLIC_KEY
#define VANTOR_UPDATE_PUBLIC_KEY ""
#endif

namespace vantor::app {
namespace fs = std::filesystem;

namespace {

std::string fromEnvironment(const char* name, const char* fallback) {
    const char* value = std::getenv(name);
    return value && *value ? value : fallback;
}

// Watches a transfer for a body beyond the ceiling and passes the progress on.
class CeilingGauge : public download::SlotProgress {
public:
    explicit CeilingGauge(download::SlotProgress* next) : next_(next) {}
    void begin(std::int64_t announced) override {
        if (announced > kMaxPackageBytes) tooBig = true;
        if (next_) next_->begin(announced);
    }
    void advance(std::int64_t received) override {
        if (received > kMaxPackageBytes) tooBig = true;
        if (next_) next_->advance(received);
    }
    void end() override {
        if (next_) next_->end();
    }
    std::atomic<bool> tooBig = false;

private:
    download::SlotProgress* next_;
};

// One GET through the download engine; the body, or nullopt with the reason.
std::optional<std::string> fetch(const std::string& url, std::shared_ptr<const THttpAgent> agent,
                                 download::SlotProgress* gauge, std::stop_token stop, std::string& failure) {
    CeilingGauge ceiling(gauge);
    TDownBean bean;
    if (download::fetchPage(url, bean, std::move(agent), &ceiling, stop,
                            [&] { return ceiling.tooBig.load(); }))
        return bean.getHtmlCode();
    failure = stop.stop_requested() ? "已取消" : ceiling.tooBig ? "文件过大" : bean.getErrorInfo();
    return std::nullopt;
}

std::string lowerHex(std::string text) {
    for (char& c : text)
        c = c >= 'A' && c <= 'F' ? char(c - 'A' + 'a') : c;
    return text;
}

std::optional<std::string> bytesOfHex(std::string_view hex) {
    if (hex.size() % 2) return std::nullopt;
    std::string bytes;
    for (size_t i = 0; i < hex.size(); i += 2) {
        unsigned value = 0;
        if (std::sscanf(std::string(hex.substr(i, 2)).c_str(), "%2x", &value) != 1) return std::nullopt;
        bytes.push_back(char(value));
    }
    return bytes;
}

} // namespace

std::string updateService() {
    return fromEnvironment("VANTOR_UPDATE_SERVICE", VANTOR_UPDATE_SERVICE);
}

std::string vendorSiteAddress() {
    return fromEnvironment("VANTOR_VENDOR_SITE", VANTOR_VENDOR_SITE);
}

std::string updatePublicKey() {
    // The environment may name the key of a release being tried out; the build's own is the default.
    return fromEnvironment("VANTOR_UPDATE_PUBLIC_KEY", VANTOR_UPDATE_PUBLIC_KEY);
}

int compareVersions(std::string_view a, std::string_view b) {
    while (!a.empty() || !b.empty()) {
        auto part = [](std::string_view& text) {
            const size_t dot = text.find('.');
            long value = std::strtol(std::string(text.substr(0, dot)).c_str(), nullptr, 10);
            text = dot == std::string_view::npos ? std::string_view() : text.substr(dot + 1);
            return value;
        };
        const long x = part(a), y = part(b);
        if (x != y) return x < y ? -1 : 1;
    }
    return 0;
}

std::optional<VersionInfo> parseVersionReply(std::string_view reply) {
    std::vector<std::string> fields;
    for (size_t start = 0;;) {
        const size_t bar = reply.find('|', start);
        fields.emplace_back(reply.substr(start, bar - start));
        if (bar == std::string_view::npos) break;
        start = bar + 1;
    }
    if (fields.size() < 4) return std::nullopt;
    const std::string& version = fields[0];
    if (version.empty() || version.find_first_not_of("0123456789.") != std::string::npos ||
        version.front() == '.')
        return std::nullopt;
    return VersionInfo{fields[0], fields[1], fields[2], fields[3]};
}

UpdateCheck checkForUpdate(std::shared_ptr<const THttpAgent> agent, const std::string& service,
                           std::string_view own, std::stop_token stop) {
    // Nobody waits for this answer, but a hanging service should not keep a thread for long.
    auto patient = std::make_shared<THttpAgent>(agent ? *agent : THttpAgent{});
    patient->ConnectTimeOut = std::min<std::int64_t>(patient->ConnectTimeOut, -55000);
    patient->ReadTimeOut = std::min<std::int64_t>(patient->ReadTimeOut, -25000);
    patient->ConnectTime = 1;
    UpdateCheck check;
    auto reply = fetch(service + "/getVerInfo", patient, nullptr, stop, check.error);
    if (!reply) return check;
    auto info = parseVersionReply(*reply);
    if (!info) {
        check.error = "版本信息格式不对";
        return check;
    }
    check.info = *info;
    check.state =
        compareVersions(info->version, own) > 0 ? UpdateCheck::State::Newer : UpdateCheck::State::UpToDate;
    return check;
}

std::string updateFoundMessage(const VersionInfo& info) {
    return "发现新版本，开始升级,请确认！\n最新版本：" + info.version + "\n更新日期：" + info.date +
           "\n更新内容：" + info.changes;
}

std::string updateFailedMessage() {
    return "无法升级程序，请访问官方网站" + vendorSiteAddress() + "下载升级！";
}

bool worthOffering(const UpdateCheck& check, const std::string& skipped) {
    if (check.state != UpdateCheck::State::Newer) return false;
    return skipped.empty() || compareVersions(check.info.version, skipped) > 0;
}

std::string updateFailedMessage(const std::string& reason) {
    return updateFailedMessage() + "\n原因：" + reason +
           "\n程序将照常运行，此版本不再提示；有更新的版本时再提示升级。";
}

std::string updateCheckFailedText(const std::string& reason) {
    return "检查新版本失败：" + (reason.empty() ? std::string("服务没有回答") : reason);
}

std::string packageFileName(const std::string& version) {
    return "vantor_" + version + "_amd64.deb";
}

std::string packageAddress(const std::string& service, const std::string& version) {
    return service + "/download/" + packageFileName(version);
}

bool openPackage(const fs::path& package) {
    const std::string path = package.string();
    char* const arguments[] = {const_cast<char*>("xdg-open"), const_cast<char*>(path.c_str()), nullptr};
    pid_t child = 0;
    // The handler lives on after this program has ended: nobody waits for it.
    return posix_spawnp(&child, "xdg-open", nullptr, nullptr, arguments, environ) == 0;
}

std::string toHex(std::string_view bytes) {
    std::string hex;
    char pair[3];
    for (unsigned char byte : bytes) {
        std::snprintf(pair, sizeof pair, "%02x", byte);
        hex += pair;
    }
    return hex;
}

std::string sha256Hex(std::string_view bytes) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr);
    return toHex(std::string_view(reinterpret_cast<const char*>(digest), length));
}

bool signatureValid(std::string_view data, std::string_view signature, std::string_view publicKeyHex) {
    const auto key = bytesOfHex(publicKeyHex);
    if (!key || key->size() != 32) return false;
    EVP_PKEY* pkey = EVP_PKEY_new_raw_public_key(
        EVP_PKEY_ED25519, nullptr, reinterpret_cast<const unsigned char*>(key->data()), key->size());
    if (!pkey) return false;
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    const bool valid =
        context && EVP_DigestVerifyInit(context, nullptr, nullptr, nullptr, pkey) == 1 &&
        EVP_DigestVerify(context, reinterpret_cast<const unsigned char*>(signature.data()), signature.size(),
                         reinterpret_cast<const unsigned char*>(data.data()), data.size()) == 1;
    EVP_MD_CTX_free(context);
    EVP_PKEY_free(pkey);
    return valid;
}

TDownSoft::TDownSoft(std::shared_ptr<const THttpAgent> agent, std::string service, VersionInfo info,
                     fs::path folder, std::string publicKeyHex, download::SlotProgress* gauge, Result result)
    : agent_(std::move(agent)),
      service_(std::move(service)),
      info_(std::move(info)),
      folder_(std::move(folder)),
      publicKey_(std::move(publicKeyHex)),
      gauge_(gauge),
      result_(std::move(result)) {
    thread_ = std::jthread([this](std::stop_token stop) { run(stop); });
}

TDownSoft::~TDownSoft() {
    thread_.request_stop();
    wait();
}

void TDownSoft::wait() {
    if (thread_.joinable()) thread_.join();
}

void TDownSoft::run(std::stop_token stop) {
    std::string failure;
    const std::string address = packageAddress(service_, info_.version);
    auto package = fetch(address, agent_, gauge_, stop, failure);
    std::optional<std::string> signature;
    if (package) signature = fetch(address + ".sig", agent_, nullptr, stop, failure);
    if (stop.stop_requested()) return result_({}, "已取消");
    if (!package || !signature) return result_({}, failure);
    if (sha256Hex(*package) != lowerHex(info_.packageHash)) return result_({}, "安装包校验值不符");
    if (!signatureValid(*package, *signature, publicKey_)) return result_({}, "安装包签名无效");

    const fs::path target = folder_ / packageFileName(info_.version);
    const fs::path partial = target.string() + ".part";
    std::error_code error;
    fs::create_directories(folder_, error);
    {
        std::ofstream out(partial, std::ios::binary | std::ios::trunc);
        out.write(package->data(), std::streamsize(package->size()));
        out.close();
        if (!out) error = std::make_error_code(std::errc::io_error);
    }
    if (!error) fs::rename(partial, target, error);
    if (error) {
        fs::remove(partial, error);
        return result_({}, "无法保存安装包");
    }
    result_(target, {});
}

} // namespace vantor::app
