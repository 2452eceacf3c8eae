#include "TupdateVantorFrm.h"

#include "gather/windows/QtProgress.h"

#include <QCoreApplication>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace vantor {

TupdateVantorFrm::TupdateVantorFrm(std::shared_ptr<const THttpAgent> agent, std::string service,
                                   app::VersionInfo info, std::filesystem::path folder,
                                   std::string publicKeyHex, QWidget* parent)
    : QDialog(parent),
      agent_(std::move(agent)),
      service_(std::move(service)),
      info_(std::move(info)),
      folder_(std::move(folder)),
      publicKey_(std::move(publicKeyHex)) {
    setWindowTitle("Vantor更新");
    stateLabel = new QLabel(app::kDownloadingUpdate);
    ProgressBar1 = new QProgressBar;
    ProgressBar1->setObjectName("ProgressBar1");
    Button1 = new QPushButton("取消");
    Button1->setObjectName("Button1");
    progress_ = std::make_unique<QtProgress>(ProgressBar1);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(stateLabel);
    layout->addWidget(ProgressBar1);
    layout->addWidget(Button1, 0, Qt::AlignRight);
    setMinimumWidth(360);
    connect(Button1, &QPushButton::clicked, this, [this] {
        download_.reset(); // stops the transfer and waits for its thread
        QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
        reject();
    });
}

TupdateVantorFrm::~TupdateVantorFrm() {
    download_.reset();
    QCoreApplication::removePostedEvents(this, QEvent::MetaCall);
}

void TupdateVantorFrm::showEvent(QShowEvent* event) {
    QDialog::showEvent(event);
    if (download_) return;
    download_ = std::make_unique<TDownSoft>(
        agent_, service_, info_, folder_, publicKey_, progress_.get(),
        [this](const std::filesystem::path& package, const std::string& failure) {
            QMetaObject::invokeMethod(
                this, [this, package, failure] { downloaded(package, failure); }, Qt::QueuedConnection);
        });
}

void TupdateVantorFrm::downloaded(const std::filesystem::path& package, const std::string& failure) {
    download_.reset();
    if (package.empty() || !launcher(package)) {
        failure_ = failure.empty() ? "无法打开安装包" : failure;
        stateLabel->setText(QString::fromStdString("状态：" + failure_));
        reject();
        return;
    }
    accept();
}

} // namespace vantor
