#pragma once

#include "app/Update.h"

#include <QWidget>

#include <memory>
#include <optional>
#include <thread>

class QLabel;
class QProgressBar;
class QTimer;

namespace vantor {

// Shown while the program starts; its gauge follows the start-up steps. A second after the version
// check is started, it asks the update service once; the start-up goes on when the check is over.
class SplashWindow : public QWidget {
    Q_OBJECT
public:
    explicit SplashWindow(QWidget* parent = nullptr);

    void setGauge(int value);
    int gauge() const;

    void startVersionCheck(std::shared_ptr<const THttpAgent> agent, std::string service);
    // Whether the check has yet to end (Timer1 still on, as the start-up sees it).
    bool checking() const;

    // The newer version the service offered, once the check is over.
    const std::optional<VersionInfo>& offered() const { return offered_; }

    QLabel* stateLabel;
    QLabel* versionLabel;

private:
    void checkFinished(const UpdateCheck& check);

    QProgressBar* progress_;
    QTimer* timer1_;
    int attempts_ = 0;
    bool checking_ = false;
    std::optional<VersionInfo> offered_;
    std::jthread check_; // joined on the way out: a check still asking ends within its time-outs
};

} // namespace vantor
