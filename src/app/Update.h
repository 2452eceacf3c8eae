#pragma once

#include "base/Version.h"
#include "download/SlotProgress.h"
#include "download/THttpAgent.h"

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>

namespace vantor::app {

inline constexpr const char* kCheckingVersion = "正在第%1次检查最新版本.....";
inline constexpr const char* kInitialising = "正在初始化....";
inline constexpr const char* kDownloadingUpdate = "状态：正在下载....";
inline constexpr const char* kUpToDate = "已是最新版本";
// A build made without the release's public key can verify no package, so it asks for none.
inline constexpr const char* kNoUpdateKey =
    "此版本没有内置升级公钥，不检查也不安装新版本；请到官方网站下载新版本。";
// The largest package an update downloads: more is no package of this program.
inline constexpr std::int64_t kMaxPackageBytes = 256ll * 1024 * 1024;

// The update service (the build's setting, or VANTOR_UPDATE_SERVICE when set) and the vendor's site
// named in the failure message.
std::string updateService();
std::string vendorSiteAddress();
// The public key (hex of the raw Ed25519 key) packages must be signed with, fixed at build time; empty
// when the build has none, and then no update is ever installed.
std::string updatePublicKey();

// The reply of getVerInfo: "version|date|package SHA-256|changes".
struct VersionInfo {
    std::string version;
    std::string date;
    std::string packageHash;
    std::string changes;
};
// Nullopt for a reply with fewer than four fields or a version that is no dotted number.
std::optional<VersionInfo> parseVersionReply(std::string_view reply);
// Compares dotted numbers ("0.10.2" > "0.9"); missing parts count as 0.
int compareVersions(std::string_view a, std::string_view b);

struct UpdateCheck {
    enum class State { UpToDate, Newer, Failed } state = State::Failed;
    VersionInfo info;
    std::string error;
};
// Asks the service once, with a few seconds' patience; only a newer version than `own` is offered. A
// stop ends the question at once.
UpdateCheck checkForUpdate(std::shared_ptr<const THttpAgent> agent, const std::string& service,
                           std::string_view own, std::stop_token stop = {});
// Whether an answer is offered to the user: a newer version that is not the one whose update failed
// before (`skipped`, from the settings), unless a still newer one has come since.
bool worthOffering(const UpdateCheck& check, const std::string& skipped);

// "发现新版本，开始升级,请确认！" with the version, its date and its changes.
std::string updateFoundMessage(const VersionInfo& info);
// "无法升级程序，请访问官方网站" + the vendor's site + "下载升级！".
std::string updateFailedMessage();
// The same with the reason, and that the program goes on and will not offer this version again.
std::string updateFailedMessage(const std::string& reason);
// The status line's words for a check that got no usable answer.
std::string updateCheckFailedText(const std::string& reason);
// The package of a version on the service: <service>/download/vantor_<version>_amd64.deb; its
// signature lies beside it under the same name + ".sig".
std::string packageFileName(const std::string& version);
std::string packageAddress(const std::string& service, const std::string& version);

// Opens a verified package with the system's handler for it (xdg-open); false when that cannot start.
bool openPackage(const std::filesystem::path& package);

// Bytes as lower-case hex, two digits a byte.
std::string toHex(std::string_view bytes);
std::string sha256Hex(std::string_view bytes);
// Whether the signature is the Ed25519 signature of data under the key (hex of its raw 32 bytes).
bool signatureValid(std::string_view data, std::string_view signature, std::string_view publicKeyHex);

// Downloads a version's package and its signature on a thread of its own (the agent's proxy and
// time-outs), checks the hash the service named and the signature, and only then writes the package
// into the folder, under a temporary name renamed once complete. The result is called once, on that
// thread: the package's path, or empty with the reason. A stop ends the transfer and writes nothing.
class TDownSoft {
public:
    using Result = std::function<void(const std::filesystem::path& package, const std::string& failure)>;

    TDownSoft(std::shared_ptr<const THttpAgent> agent, std::string service, VersionInfo info,
              std::filesystem::path folder, std::string publicKeyHex, download::SlotProgress* gauge,
              Result result);
    ~TDownSoft();
    TDownSoft(const TDownSoft&) = delete;
    TDownSoft& operator=(const TDownSoft&) = delete;

    void requestStop() { thread_.request_stop(); }
    void wait();

private:
    void run(std::stop_token stop);

    std::shared_ptr<const THttpAgent> agent_;
    std::string service_;
    VersionInfo info_;
    std::filesystem::path folder_;
    std::string publicKey_;
    download::SlotProgress* gauge_;
    Result result_;
    std::jthread thread_; // last: starts when everything else is in place
};

} // namespace vantor::app

// The module keeps its name where the rest of the program meets it.
namespace vantor {
using app::TDownSoft;
} // namespace vantor
