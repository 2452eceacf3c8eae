#include "Cli.h"

#include "gather/GatherTexts.h"

#include <iostream>

namespace vantor::cli {

void Context::loadConfig(TConfig& config) const {
    DataFolder data = folder();
    try {
        data.create();
        app::ConfigFile(data.config()).load(config);
    } catch (const std::exception& e) {
        throw JobFailed(std::string(app::kConfigFileError) + " " + e.what());
    }
}

db::Store Context::store() const {
    return localFile ? db::Store(folder().database()) : app::configuredStore(folder());
}

std::unique_ptr<db::TDM> Context::openStore() const {
    DataFolder data = folder();
    auto dm = std::make_unique<db::TDM>(store());
    try {
        data.create();
        dm->open();
    } catch (const db::DbError& e) {
        if (!dm->store().isPostgres()) throw JobFailed(std::string(app::kDataFileError) + " " + e.what());
        throw StoreUnreachable(e.what() + std::string("\n数据库：") + dm->store().url + "\n详细信息：" +
                               e.detail() +
                               "\n重试：再次运行本命令；仅本次改用本机数据文件：加 --local-file；"
                               "以后都用本机数据文件：vantor-cli config db --sqlite");
    } catch (const std::exception& e) {
        throw JobFailed(std::string(app::kDataFileError) + " " + e.what());
    }
    return dm;
}

db::LockWait printedLockWait() {
    db::LockWait wait;
    wait.notice = [] { std::cerr << gather::kWaitingForLock << '\n'; };
    return wait;
}

app::ServerChoice StderrObserver::askServerUnreachable(const std::string& text, const std::string& detail) {
    std::cerr << text << '\n' << detail << '\n';
    return app::ServerChoice::Exit;
}

void StderrObserver::showMessage(const std::string& text) {
    std::cerr << text << '\n';
}
void StderrObserver::showStatus(const std::string& text) {
    std::cerr << text << '\n';
}

} // namespace vantor::cli
