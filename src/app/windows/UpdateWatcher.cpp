#include "UpdateWatcher.h"

#include "TupdateVantorFrm.h"
#include "UserMessages.h"
#include "app/Config.h"
#include "base/Version.h"

#include <QCoreApplication>
#include <QWidget>

namespace vantor {

UpdateWatcher::UpdateWatcher(Service service, QObject* parent)
    : QObject(parent), service_(std::move(service)) {}

UpdateWatcher::~UpdateWatcher() {
    check_.request_stop();
    if (check_.joinable()) check_.join();
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
}

bool UpdateWatcher::start() {
    if (service_.publicKeyHex.empty() || checking_) return false;
    checking_ = true;
    say(QString(app::kCheckingVersion).arg(1).toStdString());
    check_ = std::jthread([this](std::stop_token stop) {
        const app::UpdateCheck check = app::checkForUpdate(service_.agent, service_.address, kVersion, stop);
        if (stop.stop_requested()) return;
        QMetaObject::invokeMethod(
            this, [this, check] { answered(check); }, Qt::QueuedConnection);
    });
    return true;
}

void UpdateWatcher::setWindow(QWidget* window) {
    window_ = window;
    if (answer_ && !checking_) answered(*std::exchange(answer_, std::nullopt));
}

void UpdateWatcher::answered(const app::UpdateCheck& check) {
    checking_ = false;
    if (!window_) {
        answer_ = check;
        return;
    }
    if (check.state == app::UpdateCheck::State::Failed) return say(app::updateCheckFailedText(check.error));
    say("");
    if (worthOffering(check, app::ConfigFile(service_.configFile).skippedUpdate())) offer(check.info);
}

void UpdateWatcher::offer(const app::VersionInfo& info) {
    widgets::UserMessages::show(window_, updateFoundMessage(info));
    update_ = new TupdateVantorFrm(service_.agent, service_.address, info, service_.updateFolder,
                                   service_.publicKeyHex, window_);
    update_->setAttribute(Qt::WA_DeleteOnClose);
    update_->launcher = launcher;
    connect(update_, &QDialog::finished, this, [this, info](int result) {
        if (result == QDialog::Accepted) return quit();
        const std::string failure = update_ ? update_->failure() : std::string();
        if (failure.empty()) return; // cancelled: offered again at the next start
        try {
            app::ConfigFile(service_.configFile).saveSkippedUpdate(info.version);
        } catch (const std::exception&) {
            // Not remembered: the next start offers it again, nothing worse.
        }
        widgets::UserMessages::show(window_, app::updateFailedMessage(failure));
    });
    update_->open();
}

void UpdateWatcher::say(const std::string& text) {
    if (status) status(QString::fromStdString(text));
}

} // namespace vantor
