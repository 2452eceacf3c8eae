#include "QtGatherObserver.h"

namespace vantor {

namespace {

QString q8(const std::string& utf8) {
    return QString::fromStdString(utf8);
}

} // namespace

template <class Call> void QtGatherObserver::post(Call call) {
    // The receiver owns this observer: a call still queued when it goes is dropped with it.
    QObject* receiver = receiver_.data();
    if (!receiver) return;
    QMetaObject::invokeMethod(receiver, std::move(call), Qt::QueuedConnection);
}

void QtGatherObserver::shopStarted(int index, int count, const TDianBaseInfo& shop) {
    if (!handlers_.shopStarted) return;
    post([this, index, count, name = q8(shop.dianming.empty() ? shop.webaddr : shop.dianming)] {
        handlers_.shopStarted(index, count, name);
    });
}

void QtGatherObserver::stageText(const std::string& text) {
    if (handlers_.stageText) post([this, text = q8(text)] { handlers_.stageText(text); });
}

void QtGatherObserver::itemsGathered(int count) {
    if (handlers_.gathered) post([this, count] { handlers_.gathered(count); });
}

void QtGatherObserver::ratingsGathered(int count) {
    itemsGathered(count);
}

void QtGatherObserver::shopFinished(int done, int count) {
    if (handlers_.shopFinished) post([this, done, count] { handlers_.shopFinished(done, count); });
}

void QtGatherObserver::statusLine(const std::string& text) {
    if (handlers_.statusLine) post([this, text = q8(text)] { handlers_.statusLine(text); });
}

void QtGatherObserver::message(const std::string& text) {
    if (handlers_.message) post([this, text = q8(text)] { handlers_.message(text); });
}

void QtGatherObserver::gatherEnded(gather::JobEnd end, const std::string& detail,
                                   const gather::GatherTally& saved) {
    if (handlers_.ended)
        post([this, end, detail = q8(detail), saved] { handlers_.ended(end, detail, saved); });
}

} // namespace vantor
