#pragma once

#include "Config.h"
#include "download/THttpAgent.h"

#include <optional>
#include <string>

namespace vantor::app {

// Messages of the network settings page, as the window shows them.
inline constexpr const char* kServerMissingOnSave = "保存失败，请输入服务器名！";
inline constexpr const char* kNotNumericOnSave = "保存失败，端口、读取超时间隔、连接超时间隔必须为数字！";
inline constexpr const char* kServerMissingOnTest = "请输入服务器名！";
inline constexpr const char* kPortNotNumericOnTest = "端口号必须是数字！";
inline constexpr const char* kNumbersNotNumericOnTest = "连接重试、连接超时间隔、读取超时间隔必须是数字！";

// The choices of netType, by index.
inline constexpr int kNoProxy = 0;   // "不使用网络代理"
inline constexpr int kHttpProxy = 1; // "使用HTTP代理"

// What the network page shows: the index of netType and the texts of the fields, as typed.
struct NetworkForm {
    int netType = kNoProxy;
    std::string server;
    std::string port = "8080";
    std::string user;
    std::string password;
    std::string domain;
    std::string connectTimeOut = "0";
    std::string readTimeOut = "0";
    std::string connectTime = "3";
    std::string minInterval = "0"; // ms between two requests to one host
    std::string slotCount = "4";   // pages on the wire at once, 1..16

    bool operator==(const NetworkForm&) const = default;
};

// The field that gets the focus after a refused save or test.
enum class NetworkField { None, Server, Port };

// The page filled in from the current settings when the window is shown.
NetworkForm networkForm(const THttpAgent& agent);

struct NetworkSaveResult {
    bool saved = false;
    std::string message; // to show when not saved
    NetworkField focus = NetworkField::None;
    // The numeric-field failure cancels the whole button action: "确定" then keeps the window open.
    bool cancelAction = false;
};

// "应用" and "确定" of the network page: validates, writes the network keys and installs the new agent
// in config. A refused number resets port, readTimeOut, connectTimeOut and minInterval in form, which
// the window then shows again.
NetworkSaveResult saveNetworkPage(NetworkForm& form, const ConfigFile& file, TConfig& config);

// The index of the compaction schedule ("每天一次", "每周一次", "每月一次") that TConfig holds;
// weekly when the text is not one of them.
int scheduleIndex(const std::string& optimize);

// "应用" of the second page. Returns the message to show, or nothing when saved.
std::optional<std::string> saveSchedulePage(int optimizeIndex, const ConfigFile& file);

struct ConnectionTestCheck {
    std::optional<THttpAgent> agent; // the temporary agent to test with, when the fields pass
    std::string message;             // to show otherwise
    NetworkField focus = NetworkField::None;
};

// The checks of "连接测试" before a test starts; the agent it builds is neither saved nor installed.
ConnectionTestCheck checkConnectionTest(const NetworkForm& form);

} // namespace vantor::app
