#pragma once

#include "TupdateVantorFrm.h"
#include "app/Update.h"

#include <QCoreApplication>
#include <QObject>
#include <QPointer>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <thread>

class QWidget;

namespace vantor {

// The version check beside the start-up: it asks the service once on a thread of its own, so no
// window waits for the network, and offers a newer version once the main window is up. A failed
// update is said once with its reason and its version is not offered again; only a verified package
// that was started ends the program.
class UpdateWatcher : public QObject {
    Q_OBJECT
public:
    struct Service {
        std::shared_ptr<const THttpAgent> agent;
        std::string address;
        std::string publicKeyHex; // empty: a build that cannot verify a package checks nothing
        std::filesystem::path updateFolder;
        std::filesystem::path configFile; // where the failed version is remembered
    };

    explicit UpdateWatcher(Service service, QObject* parent = nullptr);
    ~UpdateWatcher() override; // a check still asking is stopped

    // Starts the check; false when the build has no key, and nothing is asked.
    bool start();
    bool checking() const { return checking_; }
    // The window offers go to; until it is given, an answer waits.
    void setWindow(QWidget* window);
    // The update window of the current offer, while it is open.
    TupdateVantorFrm* updateWindow() const { return update_; }

    // Opens a verified package; tests put their own here.
    std::function<bool(const std::filesystem::path&)> launcher = app::openPackage;
    // What to say in the status line (the check's state, a failed check).
    std::function<void(const QString&)> status;
    // The program's end once a verified package was started.
    std::function<void()> quit = [] { QCoreApplication::quit(); };

private:
    void answered(const app::UpdateCheck& check);
    void offer(const app::VersionInfo& info);
    void say(const std::string& text);

    Service service_;
    QPointer<QWidget> window_;
    std::optional<app::UpdateCheck> answer_;
    bool checking_ = false;
    QPointer<TupdateVantorFrm> update_;
    std::jthread check_;
};

} // namespace vantor
