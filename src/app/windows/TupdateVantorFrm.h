#pragma once

#include "app/Update.h"

#include <QDialog>

#include <filesystem>
#include <functional>
#include <memory>

class QLabel;
class QProgressBar;
class QPushButton;

namespace vantor {

class QtProgress;

// The update window: downloads the offered version's package and checks it; a verified package is
// handed to the launcher (the system's handler) and the window is accepted. A failure rejects it with
// its reason in failure(); "取消" stops the download and rejects it with none. Nothing unverified is
// ever started.
class TupdateVantorFrm : public QDialog {
    Q_OBJECT
public:
    TupdateVantorFrm(std::shared_ptr<const THttpAgent> agent, std::string service, app::VersionInfo info,
                     std::filesystem::path folder, std::string publicKeyHex, QWidget* parent = nullptr);
    ~TupdateVantorFrm() override;

    // Opens the verified package; tests put their own here.
    std::function<bool(const std::filesystem::path&)> launcher = app::openPackage;

    // Why the update failed, once the window is rejected; empty when it was cancelled.
    const std::string& failure() const { return failure_; }

    QLabel* stateLabel;
    QProgressBar* ProgressBar1;
    QPushButton* Button1;

protected:
    void showEvent(QShowEvent* event) override;

private:
    void downloaded(const std::filesystem::path& package, const std::string& failure);

    std::shared_ptr<const THttpAgent> agent_;
    std::string service_;
    app::VersionInfo info_;
    std::filesystem::path folder_;
    std::string publicKey_;
    std::unique_ptr<QtProgress> progress_;
    std::unique_ptr<TDownSoft> download_;
    std::string failure_;
};

} // namespace vantor
