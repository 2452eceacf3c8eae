#include "Cli.h"

#include "app/Update.h"
#include "base/DataFolder.h"

#include <future>
#include <iostream>

namespace vantor::cli {

namespace {

app::UpdateCheck check(const Context& context, const std::string& service) {
    TConfig config;
    context.loadConfig(config);
    app::UpdateCheck check = app::checkForUpdate(config.getHttpAgent(), service, kVersion);
    if (check.state == app::UpdateCheck::State::Failed) throw JobFailed("无法检查更新：" + check.error);
    return check;
}

// The download's progress on standard error, a line every tenth.
class TenthsGauge : public download::SlotProgress {
public:
    void begin(std::int64_t announced) override { announced_ = announced; }
    void advance(std::int64_t received) override {
        const int tenth = announced_ > 0 ? int(received * 10 / announced_) : 0;
        if (tenth == shown_) return;
        shown_ = tenth;
        std::cerr << "已下载 " << received << "/" << announced_ << '\n';
    }
    void end() override {}

private:
    std::int64_t announced_ = 0;
    int shown_ = -1;
};

} // namespace

void addUpdateCommands(CLI::App& app, Context& context) {
    auto service = std::make_shared<std::string>(app::updateService());
    auto* checkCommand = app.add_subcommand("check-update", "询问更新服务是否有新版本");
    checkCommand->add_option("--service", *service, "更新服务地址");
    checkCommand->callback([&context, service] {
        if (app::updatePublicKey().empty()) {
            std::cout << app::kNoUpdateKey << '\n';
            return;
        }
        const app::UpdateCheck found = check(context, *service);
        if (found.state == app::UpdateCheck::State::UpToDate) {
            std::cout << app::kUpToDate << '\n';
            return;
        }
        std::cout << "最新版本：" << found.info.version << "\n更新日期：" << found.info.date << "\n更新内容："
                  << found.info.changes << '\n';
    });

    auto* updateCommand = app.add_subcommand("update", "下载并校验新版本的安装包，然后打开它");
    auto noStart = std::make_shared<bool>(false);
    updateCommand->add_option("--service", *service, "更新服务地址");
    updateCommand->add_flag("--no-start", *noStart, "只下载和校验，不打开安装包");
    updateCommand->callback([&context, service, noStart] {
        if (app::updatePublicKey().empty()) throw JobFailed(app::kNoUpdateKey);
        const app::UpdateCheck found = check(context, *service);
        if (found.state == app::UpdateCheck::State::UpToDate) {
            std::cout << app::kUpToDate << '\n';
            return;
        }
        TConfig config;
        context.loadConfig(config);
        TenthsGauge gauge;
        std::promise<std::pair<std::filesystem::path, std::string>> done;
        TDownSoft download(config.getHttpAgent(), *service, found.info, updateFolder(),
                           app::updatePublicKey(), &gauge,
                           [&](const std::filesystem::path& package, const std::string& failure) {
                               done.set_value({package, failure});
                           });
        download.wait();
        const auto [package, failure] = done.get_future().get();
        if (package.empty()) throw JobFailed(app::updateFailedMessage() + " " + failure);
        std::cout << package.string() << '\n';
        if (!*noStart && !app::openPackage(package)) throw JobFailed("无法打开安装包：" + package.string());
    });
}

} // namespace vantor::cli
