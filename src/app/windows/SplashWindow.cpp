#include "SplashWindow.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QTimer>
#include <QVBoxLayout>

namespace vantor {

SplashWindow::SplashWindow(QWidget* parent)
    : QWidget(parent, Qt::SplashScreen | Qt::FramelessWindowHint),
      progress_(new QProgressBar(this)),
      timer1_(new QTimer(this)) {
    setWindowTitle("闪屏");
    setFixedSize(420, 200);
    stateLabel = new QLabel(" 运行状态...", this);
    stateLabel->setObjectName("stateLabel");
    versionLabel = new QLabel(QString("ver ") + kVersion, this);
    versionLabel->setObjectName("versionLabel");
    timer1_->setSingleShot(true);
    timer1_->setInterval(1000);
    connect(timer1_, &QTimer::timeout, this,
            [this] { stateLabel->setText(QString(kCheckingVersion).arg(++attempts_)); });
    auto* layout = new QVBoxLayout(this);
    auto* title = new QLabel("Vantor专业版", this);
    QFont font = title->font();
    font.setPointSize(22);
    font.setBold(true);
    title->setFont(font);
    title->setAlignment(Qt::AlignCenter);
    auto* subtitle = new QLabel("淘宝市场数据采集与分析", this);
    subtitle->setAlignment(Qt::AlignCenter);
    progress_->setRange(0, 100);
    progress_->setTextVisible(false);
    layout->addStretch();
    layout->addWidget(title);
    layout->addWidget(subtitle);
    layout->addStretch();
    auto* footer = new QHBoxLayout;
    footer->addWidget(stateLabel, 1);
    footer->addWidget(versionLabel);
    layout->addLayout(footer);
    layout->addWidget(progress_);
    setStyleSheet("SplashWindow { background: #f4f7fb; border: 1px solid #7a9cc6; }");
}

void SplashWindow::setGauge(int value) {
    progress_->setValue(value);
    // Start-up runs before the event loop: paint the new value now.
    QApplication::processEvents(QEventLoop::ExcludeUserInputEvents);
}

int SplashWindow::gauge() const {
    return progress_->value();
}

void SplashWindow::startVersionCheck(std::shared_ptr<const THttpAgent> agent, std::string service) {
    checking_ = true;
    connect(timer1_, &QTimer::timeout, this, [this, agent, service] {
        // Asked off the window's thread, so the splash keeps painting while the service answers.
        check_ = std::jthread([this, agent, service] {
            const UpdateCheck check = checkForUpdate(agent, service, kVersion);
            QMetaObject::invokeMethod(
                this, [this, check] { checkFinished(check); }, Qt::QueuedConnection);
        });
    });
    timer1_->start();
}

bool SplashWindow::checking() const {
    return checking_;
}

void SplashWindow::checkFinished(const UpdateCheck& check) {
    // Once per start, whatever the answer; a failed check is silent.
    attempts_ = 3;
    stateLabel->setText(kInitialising);
    checking_ = false;
    if (check.state == UpdateCheck::State::Newer) offered_ = check.info;
}

} // namespace vantor
