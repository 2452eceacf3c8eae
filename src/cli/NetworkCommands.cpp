#include "Cli.h"

#include "app/HttpTest.h"
#include "app/NetworkSettings.h"

#include <iostream>
#include <memory>
#include <mutex>

namespace vantor::cli {
namespace {

// Saves the settings page as the window's "应用" does: its refusals are bad arguments, a failed write
// is a failed job.
void saveForm(app::NetworkForm form, const Context& context, TConfig& settings) {
    app::NetworkSaveResult result =
        saveNetworkPage(form, app::ConfigFile(context.folder().config()), settings);
    if (result.saved) {
        std::cerr << "网络设置已保存。\n";
        return;
    }
    if (result.message == app::kConfigSaveError) throw JobFailed(result.message);
    throw CLI::ValidationError(result.message);
}

// Prints the test download's progress: the announced length at the start, the bytes at the end.
class StderrProgress : public download::SlotProgress {
public:
    void begin(std::int64_t announcedLength) override {
        if (announcedLength > 0) std::cerr << "页面大小 " << announcedLength << " 字节\n";
    }
    void advance(std::int64_t received) override { received_ = received; }
    void end() override { std::cerr << "已接收 " << received_ << " 字节\n"; }

private:
    std::int64_t received_ = 0;
};

struct ProxyOptions {
    std::string server;
    std::string port;
    std::string user;
    std::string password;
    std::string domain;
    bool none = false;
};

struct NetOptions {
    std::optional<std::string> connectTimeOut;
    std::optional<std::string> readTimeOut;
    std::optional<std::string> connectTime;
    std::optional<std::string> minInterval;
    std::optional<int> slotCount;
};

void addProxyCommand(CLI::App& config, Context& context) {
    auto options = std::make_shared<ProxyOptions>();
    auto* proxy = config.add_subcommand("proxy", "使用HTTP代理（--none：不使用网络代理，其余设置保留）");
    auto* server = proxy->add_option("--server", options->server, "代理服务器");
    auto* port = proxy->add_option("--port", options->port, "代理端口");
    auto* user = proxy->add_option("--user", options->user, "用户名");
    auto* password = proxy->add_option("--password", options->password, "密码");
    auto* domain = proxy->add_option("--domain", options->domain, "域");
    auto* none = proxy->add_flag("--none", options->none, "不使用网络代理");
    server->needs(port);
    port->needs(server);
    user->needs(password);
    password->needs(user);
    domain->needs(user);
    none->excludes(server)->excludes(port)->excludes(user)->excludes(password)->excludes(domain);
    proxy->callback([&context, options, server] {
        if (!options->none && server->count() == 0)
            throw CLI::ValidationError("请给出 --server 和 --port，或 --none");
        TConfig settings;
        context.loadConfig(settings);
        app::NetworkForm form = app::networkForm(*settings.getHttpAgent());
        if (options->none) {
            form.netType = app::kNoProxy;
        } else {
            form.netType = app::kHttpProxy;
            form.server = options->server;
            form.port = options->port;
            form.user = options->user;
            form.password = options->password;
            form.domain = options->domain;
        }
        saveForm(std::move(form), context, settings);
    });
}

void addNetCommand(CLI::App& config, Context& context) {
    auto options = std::make_shared<NetOptions>();
    auto* net = config.add_subcommand(
        "net", "设置连接超时间隔、读取超时间隔、同一主机的请求最小间隔（毫秒）、连接重试次数和下载通道数");
    net->add_option("--connect-timeout", options->connectTimeOut, "连接超时间隔（毫秒，另加 60000）");
    net->add_option("--read-timeout", options->readTimeOut, "读取超时间隔（毫秒，另加 30000）");
    net->add_option("--attempts", options->connectTime, "连接重试次数");
    net->add_option("--min-interval", options->minInterval, "同一主机两次请求的最小间隔（毫秒，0 为不限）");
    net->add_option("--slots", options->slotCount, "下载通道数：采集时同时下载的页面数（1 到 16）")
        ->check(CLI::Range(download::kMinSlots, download::kMaxSlots));
    net->require_option(1, 0);
    net->callback([&context, options] {
        TConfig settings;
        context.loadConfig(settings);
        app::NetworkForm form = app::networkForm(*settings.getHttpAgent());
        form.connectTimeOut = options->connectTimeOut.value_or(form.connectTimeOut);
        form.readTimeOut = options->readTimeOut.value_or(form.readTimeOut);
        form.connectTime = options->connectTime.value_or(form.connectTime);
        form.minInterval = options->minInterval.value_or(form.minInterval);
        if (options->slotCount) form.slotCount = std::to_string(*options->slotCount);
        saveForm(std::move(form), context, settings);
    });
}

void addOptimizeCommand(CLI::App& config, Context& context) {
    auto choice = std::make_shared<std::string>();
    auto* optimize = config.add_subcommand("optimize", "数据优化周期：每天一次、每周一次、每月一次");
    optimize->add_option("schedule", *choice, "daily | weekly | monthly")
        ->required()
        ->check(CLI::IsMember({"daily", "weekly", "monthly"}));
    optimize->callback([&context, choice] {
        int index = *choice == "daily"    ? int(app::Optimize::Daily)
                    : *choice == "weekly" ? int(app::Optimize::Weekly)
                                          : int(app::Optimize::Monthly);
        TConfig settings;
        context.loadConfig(settings);
        if (auto message = app::saveSchedulePage(index, app::ConfigFile(context.folder().config())))
            throw JobFailed(*message);
        std::cerr << "数据优化周期已保存，下次启动时优化数据。\n";
    });
}

void addTestConnectionCommand(CLI::App& app, Context& context) {
    auto url = std::make_shared<std::string>(app::kTestAddress);
    auto* test = app.add_subcommand("test-connection", "用保存的网络设置下载测试页面");
    test->add_option("--url", *url, "测试页面地址")->capture_default_str();
    test->callback([&context, url] {
        TConfig settings;
        context.loadConfig(settings);
        app::ConnectionTestCheck check = app::checkConnectionTest(app::networkForm(*settings.getHttpAgent()));
        if (!check.agent) throw CLI::ValidationError(check.message);
        std::cerr << app::kTestRunning << '\n';
        StderrProgress progress;
        std::mutex mutex;
        std::string verdict;
        THttpTest run(
            std::make_shared<const THttpAgent>(*check.agent), *url,
            [&](const std::string& state, const TDownBean&) {
                std::lock_guard lock(mutex);
                verdict = state;
            },
            &progress);
        run.wait();
        if (verdict != app::kTestPassed) throw JobFailed(app::testVerdict(app::kTestFailed, run.bean()));
        std::cout << verdict << '\n';
    });
}

} // namespace

void addNetworkCommands(CLI::App& app, Context& context) {
    CLI::App* config = app.get_subcommand("config");
    addProxyCommand(*config, context);
    addNetCommand(*config, context);
    addOptimizeCommand(*config, context);
    addTestConnectionCommand(app, context);
}

} // namespace vantor::cli
