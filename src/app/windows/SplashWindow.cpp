#include "SplashWindow.h"

#include "base/Version.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace vantor {

SplashWindow::SplashWindow(QWidget* parent)
    : QWidget(parent, Qt::SplashScreen | Qt::FramelessWindowHint), progress_(new QProgressBar(this)) {
    setWindowTitle("闪屏");
    setFixedSize(420, 200);
    stateLabel = new QLabel(" 运行状态...", this);
    stateLabel->setObjectName("stateLabel");
    versionLabel = new QLabel(QString("ver ") + kVersion, this);
    versionLabel->setObjectName("versionLabel");
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

void SplashWindow::setState(const QString& text) {
    stateLabel->setText(text);
}

} // namespace vantor
