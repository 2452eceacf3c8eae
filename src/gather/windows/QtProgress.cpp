#include "QtProgress.h"

#include <algorithm>

namespace vantor {

template <class Change> void QtProgress::post(Change change) {
    QProgressBar* bar = bar_;
    if (!bar) return;
    QMetaObject::invokeMethod(
        bar, [bar, change] { change(bar); }, Qt::QueuedConnection);
}

QtProgress::QtProgress(QProgressBar* bar, const QString& slotName)
    : bar_(bar),
      busyFormat_(slotName + "：%p%"),
      idleFormat_(slotName + "：空闲"),
      waitingFormat_(slotName + "：等待服务器响应") {
    bar->setTextVisible(true);
    bar->setFormat(idleFormat_);
    bar->setValue(0);
}

void QtProgress::waiting() {
    post([format = waitingFormat_](QProgressBar* bar) {
        bar->setValue(0);
        if (!format.isEmpty()) bar->setFormat(format);
    });
}

void QtProgress::begin(std::int64_t announcedLength) {
    int maximum = int(std::clamp<std::int64_t>(announcedLength, 0, INT32_MAX));
    post([maximum, format = busyFormat_](QProgressBar* bar) {
        bar->setRange(0, maximum > 0 ? maximum : 100);
        bar->setValue(0);
        if (!format.isEmpty()) bar->setFormat(format);
    });
}

void QtProgress::advance(std::int64_t received) {
    int value = int(std::clamp<std::int64_t>(received, 0, INT32_MAX));
    post([value](QProgressBar* bar) {
        if (value > bar->maximum()) bar->setMaximum(value);
        bar->setValue(value);
    });
}

void QtProgress::end() {
    post([format = idleFormat_](QProgressBar* bar) {
        bar->setValue(0);
        if (!format.isEmpty()) bar->setFormat(format);
    });
}

void QtProgress::setMaximum(int maximum) {
    post([maximum](QProgressBar* bar) { bar->setRange(0, std::max(maximum, 1)); });
}

void QtProgress::setPosition(int position) {
    post([position](QProgressBar* bar) { bar->setValue(std::min(position, bar->maximum())); });
}

} // namespace vantor
