#include "RunGauges.h"

#include "download/THttpAgent.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

#include <algorithm>

namespace vantor {

namespace {
constexpr int kSteps = 1000;
}

RunGauges::RunGauges(QObject* parent)
    : QObject(parent), total(new QProgressBar), remaining(new QLabel), slotPanel(new QWidget) {
    total->setObjectName("totalGauge");
    total->setRange(0, kSteps);
    total->setValue(0);
    remaining->setObjectName("remainingLabel");
    slotPanel->setObjectName("slotPanel");
    slotLayout_ = new QVBoxLayout(slotPanel);
    slotLayout_->setContentsMargins(0, 0, 0, 0);
    slotProgress(kDefaultSlots);
    // The estimate moves on while a long page keeps the bar still.
    tick_.setInterval(1000);
    connect(&tick_, &QTimer::timeout, this, &RunGauges::show);
}

std::vector<SlotProgress*> RunGauges::slotProgress(int slotCount) {
    slotCount = std::clamp(slotCount, kMinSlots, kMaxSlots);
    if (int(slotBars.size()) != slotCount) {
        slots_.clear();
        for (QProgressBar* bar : slotBars)
            delete bar;
        slotBars.clear();
        for (int i = 0; i < slotCount; ++i) {
            auto* bar = new QProgressBar;
            bar->setObjectName(QString("slotGauge%1").arg(i + 1));
            slots_.push_back(std::make_unique<QtProgress>(bar, QString("下载通道%1").arg(i + 1)));
            slotBars.push_back(bar);
            slotLayout_->addWidget(bar);
        }
    }
    std::vector<SlotProgress*> list;
    for (auto& slot : slots_)
        list.push_back(slot.get());
    return list;
}

void RunGauges::start(int parts) {
    progress_.start(parts, RunProgress::Clock::now());
    tick_.start();
    show();
}

void RunGauges::step(int index, int done, int expected) {
    progress_.step(index, done, expected);
    total->setValue(int(progress_.fraction() * kSteps));
}

void RunGauges::finished(int done) {
    progress_.finished(done);
    show();
}

void RunGauges::end(bool complete) {
    tick_.stop();
    if (complete) total->setValue(kSteps);
    remaining->clear();
}

void RunGauges::show() {
    total->setValue(int(progress_.fraction() * kSteps));
    remaining->setText(QString::fromStdString(remainingText(progress_.remaining(RunProgress::Clock::now()))));
}

} // namespace vantor
