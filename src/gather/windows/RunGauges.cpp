#include "RunGauges.h"

#include "download/THttpAgent.h"

#include <QLabel>
#include <QProgressBar>
#include <QVBoxLayout>

namespace vantor {

namespace {
constexpr int kSteps = 1000;
}

namespace {
QVBoxLayout* barsOf(QWidget* panel) {
    auto* layout = new QVBoxLayout(panel);
    layout->setContentsMargins(0, 0, 0, 0);
    return layout;
}
} // namespace

RunGauges::RunGauges(QObject* parent)
    : QObject(parent),
      total(new QProgressBar),
      remaining(new QLabel),
      slotPanel(new QWidget),
      bars_(barsOf(slotPanel), SlotBars::Style::Named),
      slotBars(bars_.bars()) {
    total->setObjectName("totalGauge");
    total->setRange(0, kSteps);
    total->setValue(0);
    remaining->setObjectName("remainingLabel");
    slotPanel->setObjectName("slotPanel");
    bars_.forRun(download::kDefaultSlots);
    // The estimate moves on while a long page keeps the bar still.
    tick_.setInterval(1000);
    connect(&tick_, &QTimer::timeout, this, &RunGauges::show);
}

std::vector<download::SlotProgress*> RunGauges::slotProgress(int slotCount) {
    return bars_.forRun(slotCount);
}

void RunGauges::start(int parts) {
    progress_.start(parts, gather::RunProgress::Clock::now());
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
    remaining->setText(QString::fromStdString(
        gather::remainingText(progress_.remaining(gather::RunProgress::Clock::now()))));
}

} // namespace vantor
